#include "plug/Unparsable.h"

namespace ZnPlug {

Unparsable::Unparsable(std::string_view name, std::string_view text)
    : std::runtime_error("Illegal argument for " + std::string(name) + ": " + std::string(text)) {}

Unparsable::Unparsable(std::string_view text) : std::runtime_error("Illegal argument : " + std::string(text)) {}

}  // namespace ZnPlug
