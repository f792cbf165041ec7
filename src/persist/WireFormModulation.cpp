#include "persist/WireFormModulation.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "lib/Text.h"
#include "plug/ValueLaws.h"

namespace MV {

using ZnPlug::FrequencyLaw;
using ZnPlug::RateLaw;
using ZnPlug::TimeLaw;
using Unit = ModulationTables::AmountUnit;

namespace {

// The old documents' name of the channel pressure source.
constexpr std::string_view kOldPressure = "Pressure";
// The old documents' name of the volume destination.
constexpr std::string_view kOldVolume = "Amp";

// A number, anything after it ignored; limited to what a float holds.
bool parsePlain(std::string_view text, double& value) {
    if (ZnLib::Text::scan(std::string(text).c_str(), "%lf", &value) != 1 || !std::isfinite(value)) return false;
    value = std::clamp(value, -double(FLT_MAX), double(FLT_MAX));
    return true;
}

}  // namespace

std::string WireFormModulation::sourceName(uint16_t source) { return ModulationTables::sourceText(source); }

int WireFormModulation::parseSource(std::string_view text) {
    if (text == kOldPressure) return kSourceChannelPressure;
    return ModulationTables::sourceCode(text);
}

std::string_view WireFormModulation::destinationName(uint8_t destination) {
    return ModulationTables::destinationFileText(destination);
}

int WireFormModulation::parseDestination(std::string_view text) {
    if (text == kOldVolume) return kVolume;
    return ModulationTables::destinationCode(text);
}

std::string WireFormModulation::amountText(uint8_t destination, float amount) {
    return ModulationTables::amountText(destination, amount);
}

bool WireFormModulation::parseAmount(uint8_t destination, std::string_view text, float& amount) {
    double value = 0;
    switch (ModulationTables::amountUnit(destination)) {
    case Unit::Frequency:
        if (!ZnPlug::parseFrequency(text, value)) return false;
        amount = float(FrequencyLaw::fromHz(value));
        return true;
    case Unit::Rate:
        if (!ZnPlug::parseFrequency(text, value)) return false;
        amount = float(RateLaw::fromHz(value));
        return true;
    case Unit::Time: {
        if (!ZnPlug::parseTime(text, value)) return false;
        const float t = float(TimeLaw::fromMs(std::fabs(value)));
        amount = value < 0 ? -t : t;
        return true;
    }
    case Unit::Cents:
    case Unit::Plain:
        break;
    }
    if (!parsePlain(text, value)) return false;
    amount = float(value);
    return true;
}

}  // namespace MV
