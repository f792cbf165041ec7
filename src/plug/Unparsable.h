#pragma once
#include <stdexcept>
#include <string>
#include <string_view>

namespace ZnPlug {

// A value text that cannot be read. Parsing functions return false; the caller that knows what
// it was reading raises this with the name of the value.
class Unparsable : public std::runtime_error {
public:
    // "Illegal argument for <name>: <text>"
    Unparsable(std::string_view name, std::string_view text);
    // "Illegal argument : <text>"
    explicit Unparsable(std::string_view text);
};

}  // namespace ZnPlug
