#include "plug/AssignableAutomation.h"

#include "lib/Text.h"

namespace ZnPlug {

std::string AssignableAutomation::name(int32_t index) { return ZnLib::Text::format("Param %02d", index); }

bool AssignableAutomation::parseName(std::string_view text, int32_t& index) {
    int value = -1;
    if (ZnLib::Text::scan(std::string(text).c_str(), "Param %d", &value) != 1) return false;
    if (value < 0 || value >= kCount) return false;
    index = value;
    return true;
}

}  // namespace ZnPlug
