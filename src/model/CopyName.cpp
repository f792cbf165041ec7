#include "model/CopyName.h"

#include <cctype>

#include "lib/Text.h"

namespace MV {

namespace {

// The stem of "Stem (digits)", or the whole name when it has not that form: the greedy match of
// "(.*) \(\d+\)" over the whole name.
std::string copyStem(const std::string& name) {
    const std::size_t n = name.size();
    if (n < 4 || name[n - 1] != ')') return name;
    std::size_t open = n - 1;
    while (open > 0 && std::isdigit(static_cast<unsigned char>(name[open - 1]))) --open;
    // name[open .. n - 2] are digits; at least one, preceded by " (".
    if (open == n - 1 || open < 2 || name[open - 1] != '(' || name[open - 2] != ' ') return name;
    return name.substr(0, open - 2);
}

}  // namespace

std::string copyName(const std::string& wanted, const std::function<bool(const std::string&)>& taken) {
    if (!taken(wanted)) return wanted;
    const std::string stem = copyStem(wanted);
    for (int counter = 2;; ++counter) {
        std::string candidate = ZnLib::Text::format("%s (%d)", stem.c_str(), counter);
        if (!taken(candidate)) return candidate;
    }
}

}  // namespace MV
