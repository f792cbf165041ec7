#include "Interpolation.h"

#include "lib/Text.h"
#include "model/Names.h"

namespace Cli {

int interpolationCode(std::string_view name) {
    // Code 0 is named "Default" in the table too.
    for (std::size_t i = 0; i < MV::kInterpolationNames.size(); ++i)
        if (ZnLib::Text::iequals(name, MV::kInterpolationNames[i])) return int(i);
    return -1;
}

std::string interpolationChoices() {
    std::string out = "{";
    for (std::size_t i = 0; i < MV::kInterpolationNames.size(); ++i)
        out += (i ? "," : "") + ZnLib::Text::toLower(MV::kInterpolationNames[i]);
    return out + "}";
}

}  // namespace Cli
