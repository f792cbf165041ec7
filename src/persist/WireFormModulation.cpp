#include "persist/WireFormModulation.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>

#include "lib/Text.h"
#include "persist/WireForm.h"
#include "plug/ValueLaws.h"

namespace MV {

using ZnPlug::FrequencyLaw;
using ZnPlug::RateLaw;
using ZnPlug::TimeLaw;

namespace {

constexpr std::array<const char*, 21> kNamedSources = {
    "--",         "AEG",    "ENV1",  "ENV2", "LFO1",  "LFO2",  "SEQ1",      "SEQ2",      "SEQ3",
    "Key",        "Key/R",  "Key/P", "Vel",  "Vel/R", "Vel/P", "Pitchbend", "Mod Wheel", "Channel Pressure",
    "Aftertouch", "Random", "BPM/R"};
constexpr uint16_t kChannelPressure = 17;

constexpr std::array<std::string_view, WireFormModulation::kDestinationCount> kDestinations = {
    "--",           "AEG Attack",   "AEG Time",     "AEG Amp",    "ENV1 Amp",       "ENV2 Amp",     "LFO1 Rate",
    "LFO1 Amp",     "LFO2 Rate",    "LFO2 Amp",     "SEQ1 Rate",  "SEQ1 Amp",       "SEQ2 Rate",    "SEQ2 Amp",
    "SEQ3 Rate",    "SEQ4 Amp",     "Filter Freq",  "Filter Res", "Filter Drive",   "Pitch",        "Pitch (raw)",
    "Volume",       "Pan",          "Loop Start",   "Loop End",   "Loop Direction", "Insert Par 1", "Insert Par 2",
    "Send Level 1", "Send Level 2", "Send Level 3", "Wave Start", "Delay",          "Glide"};

enum class AmountUnit { Plain, Cents, Frequency, Rate, Time };

AmountUnit unitOf(uint8_t destination) {
    switch (destination) {
        case 19:
        case 20: return AmountUnit::Cents;
        case 16: return AmountUnit::Frequency;
        case 6:
        case 8:
        case 10:
        case 12:
        case 14: return AmountUnit::Rate;
        case 23:
        case 24:
        case 31:
        case 32:
        case 33: return AmountUnit::Time;
        default: return AmountUnit::Plain;
    }
}

// The number behind `prefix` when the text is exactly the prefix and decimal digits in
// [first, last]; -1 otherwise.
int numbered(std::string_view text, std::string_view prefix, int first, int last) {
    if (text.size() <= prefix.size() || text.substr(0, prefix.size()) != prefix) return -1;
    int n = 0;
    for (char c : text.substr(prefix.size())) {
        if (c < '0' || c > '9') return -1;
        n = n * 10 + (c - '0');
        if (n > last) return -1;
    }
    return n >= first ? n : -1;
}

// A number, anything after it ignored; limited to what a float holds.
bool parsePlain(std::string_view text, double& value) {
    if (ZnLib::Text::scan(std::string(text).c_str(), "%lf", &value) != 1 || !std::isfinite(value)) return false;
    value = std::clamp(value, -double(FLT_MAX), double(FLT_MAX));
    return true;
}

}  // namespace

std::string WireFormModulation::sourceName(uint16_t source) {
    if (source < kFirstExternal) return kNamedSources[source];
    if (source < kFirstMidiCC) return ZnLib::Text::format("External Controller %d", source - kFirstExternal + 1);
    if (source < kFirstParam) return ZnLib::Text::format("Midi CC %d", source - kFirstMidiCC);
    if (source < kSourceCount) return ZnLib::Text::format("Param %02d", source - kFirstParam);
    return {};
}

int WireFormModulation::parseSource(std::string_view text) {
    for (std::size_t i = 0; i < kNamedSources.size(); ++i)
        if (text == kNamedSources[i]) return int(i);
    if (text == "Pressure") return kChannelPressure;
    if (int n = numbered(text, "External Controller ", 1, 16); n >= 0) return kFirstExternal + n - 1;
    if (int n = numbered(text, "Midi CC ", 0, 127); n >= 0) return kFirstMidiCC + n;
    if (int n = numbered(text, "Param ", 0, 127); n >= 0) return kFirstParam + n;
    return -1;
}

std::string_view WireFormModulation::destinationName(uint8_t destination) {
    return destination < kDestinationCount ? kDestinations[destination] : std::string_view();
}

int WireFormModulation::parseDestination(std::string_view text) {
    for (std::size_t i = 0; i < kDestinations.size(); ++i)
        if (text == kDestinations[i]) return int(i);
    if (text == "SEQ3 Amp") return 15;
    if (text == "Amp") return kVolume;
    return -1;
}

std::string WireFormModulation::amountText(uint8_t destination, float amount) {
    switch (unitOf(destination)) {
        case AmountUnit::Frequency: return ZnPlug::frequencyFileText(FrequencyLaw::hz(amount));
        case AmountUnit::Rate: return ZnPlug::rateText(RateLaw::hz(amount));
        case AmountUnit::Time: {
            const double ms = TimeLaw::ms(std::fabs(amount));
            return ZnPlug::timeText(amount < 0 ? -ms : ms);
        }
        case AmountUnit::Cents:
        case AmountUnit::Plain: break;
    }
    return WireForm::floatText(amount);
}

bool WireFormModulation::parseAmount(uint8_t destination, std::string_view text, float& amount) {
    double value = 0;
    switch (unitOf(destination)) {
        case AmountUnit::Frequency:
            if (!ZnPlug::parseFrequency(text, value)) return false;
            amount = float(FrequencyLaw::fromHz(value));
            return true;
        case AmountUnit::Rate:
            if (!ZnPlug::parseFrequency(text, value)) return false;
            amount = float(RateLaw::fromHz(value));
            return true;
        case AmountUnit::Time: {
            if (!ZnPlug::parseTime(text, value)) return false;
            const float t = float(TimeLaw::fromMs(std::fabs(value)));
            amount = value < 0 ? -t : t;
            return true;
        }
        case AmountUnit::Cents:
        case AmountUnit::Plain: break;
    }
    if (!parsePlain(text, value)) return false;
    amount = float(value);
    return true;
}

}  // namespace MV
