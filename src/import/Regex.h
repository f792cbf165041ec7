#pragma once
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace MV {

// A compiled regular expression over UTF-8 text (PCRE2, which keeps no recursion on the stack
// for long inputs). Patterns are the program's own, so a pattern that does not compile is a
// programming error and throws std::logic_error.
//
// Threads: any thread [any-thread]; one object is not used by two threads at once.
class Regex {
public:
    // The captures of one match: [0] the whole match, then each group; an unset group is empty.
    using Captures = std::vector<std::string_view>;

    explicit Regex(const std::string& pattern);
    ~Regex();
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    // Calls `onMatch` for every match from left to right, as a global search walks them.
    void forEach(std::string_view subject, const std::function<void(const Captures&)>& onMatch) const;
    // `subject` with every match replaced by `replacement`, taken literally.
    std::string replaceAll(std::string_view subject, std::string_view replacement) const;

private:
    void* code_ = nullptr;
};

}  // namespace MV
