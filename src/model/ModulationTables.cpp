#include "model/ModulationTables.h"

#include <array>
#include <cmath>

#include "lib/Text.h"
#include "plug/ValueLaws.h"

namespace MV {

using ZnLib::Text::format;

namespace {

constexpr std::array<const char*, kSourceFirstExternal> kNamedSources = {
    "--",         "AEG",    "ENV1",  "ENV2", "LFO1",  "LFO2",  "SEQ1",      "SEQ2",      "SEQ3",
    "Key",        "Key/R",  "Key/P", "Vel",  "Vel/R", "Vel/P", "Pitchbend", "Mod Wheel", "Channel Pressure",
    "Aftertouch", "Random", "BPM/R"};

constexpr std::array<std::string_view, kDestinationCount> kDestinations = {
    "--",           "AEG Attack",   "AEG Time",     "AEG Amp",    "ENV1 Amp",       "ENV2 Amp",     "LFO1 Rate",
    "LFO1 Amp",     "LFO2 Rate",    "LFO2 Amp",     "SEQ1 Rate",  "SEQ1 Amp",       "SEQ2 Rate",    "SEQ2 Amp",
    "SEQ3 Rate",    "SEQ3 Amp",     "Filter Freq",  "Filter Res", "Filter Drive",   "Pitch",        "Pitch (raw)",
    "Volume",       "Pan",          "Loop Start",   "Loop End",   "Loop Direction", "Insert Par 1", "Insert Par 2",
    "Send Level 1", "Send Level 2", "Send Level 3", "Wave Start", "Delay",          "Glide"};

// The documents name the third sequencer's amplitude after a fourth one; that spelling stays.
constexpr std::string_view kSeq3AmpFileText = "SEQ4 Amp";

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

}  // namespace

std::string ModulationTables::sourceText(uint16_t source) {
    if (source < kSourceFirstExternal) return kNamedSources[source];
    if (source < kSourceFirstMidiCC) return format("External Controller %d", source - kSourceFirstExternal + 1);
    if (source < kSourceFirstParam) return format("Midi CC %d", source - kSourceFirstMidiCC);
    if (source < kSourceCount) return format("Param %02d", source - kSourceFirstParam);
    return {};
}

std::string ModulationTables::sourceShortText(uint16_t source) {
    if (source >= kSourceFirstExternal && source < kSourceFirstMidiCC)
        return format("Ext Ctrl %d", source - kSourceFirstExternal + 1);
    return sourceText(source);
}

int ModulationTables::sourceCode(std::string_view text) {
    for (std::size_t i = 0; i < kNamedSources.size(); ++i)
        if (text == kNamedSources[i]) return int(i);
    if (int n = numbered(text, "External Controller ", 1, kExternalSources); n >= 0)
        return kSourceFirstExternal + n - 1;
    if (int n = numbered(text, "Ext Ctrl ", 1, kExternalSources); n >= 0) return kSourceFirstExternal + n - 1;
    if (int n = numbered(text, "Midi CC ", 0, kMidiCCSources - 1); n >= 0) return kSourceFirstMidiCC + n;
    if (int n = numbered(text, "Param ", 0, kParamSources - 1); n >= 0) return kSourceFirstParam + n;
    return -1;
}

bool ModulationTables::bipolar(uint16_t source) noexcept { return source >= kSourceKey && source <= kSourceKeyProgram; }

ModulationTables::Polarity ModulationTables::switcherPolarity(uint16_t source) noexcept {
    if (source >= kSourceFirstParam) return source < kSourceCount ? Polarity::ByDefault : Polarity::Unipolar;
    if (source >= kSourceFirstMidiCC) return Polarity::Unipolar;
    if (source >= kSourceFirstExternal) return Polarity::ByCentre;
    const bool bipolar = (source >= kSourceAeg && source <= kSourceKeyProgram) || source == kSourceVelocityProgram ||
                         source == kSourcePitchbend || source == kSourceRandom || source == kSourceBpmRatio;
    return bipolar ? Polarity::Bipolar : Polarity::Unipolar;
}

std::string_view ModulationTables::destinationText(uint8_t destination) noexcept {
    return destination < kDestinationCount ? kDestinations[destination] : std::string_view();
}

std::string_view ModulationTables::destinationFileText(uint8_t destination) noexcept {
    return destination == kDestSeq3Amp ? kSeq3AmpFileText : destinationText(destination);
}

int ModulationTables::destinationCode(std::string_view text) noexcept {
    for (std::size_t i = 0; i < kDestinations.size(); ++i)
        if (text == kDestinations[i]) return int(i);
    if (text == kSeq3AmpFileText) return kDestSeq3Amp;
    return -1;
}

ModulationTables::AmountUnit ModulationTables::amountUnit(uint8_t destination) noexcept {
    switch (destination) {
    case kDestPitch:
    case kDestPitchRaw:
        return AmountUnit::Cents;
    case kDestFilterFreq:
        return AmountUnit::Frequency;
    case kDestLfo1Rate:
    case kDestLfo2Rate:
    case kDestSeq1Rate:
    case kDestSeq2Rate:
    case kDestSeq3Rate:
        return AmountUnit::Rate;
    case kDestLoopStart:
    case kDestLoopEnd:
    case kDestWaveStart:
    case kDestDelay:
    case kDestGlide:
        return AmountUnit::Time;
    default:
        return AmountUnit::Plain;
    }
}

std::string ModulationTables::amountText(uint8_t destination, float amount) {
    switch (amountUnit(destination)) {
    case AmountUnit::Frequency:
        return ZnPlug::frequencyFileText(ZnPlug::FrequencyLaw::hz(amount));
    case AmountUnit::Rate:
        return ZnPlug::rateText(ZnPlug::RateLaw::hz(amount));
    case AmountUnit::Time: {
        const double ms = ZnPlug::TimeLaw::ms(std::fabs(amount));
        return ZnPlug::timeText(amount < 0 ? -ms : ms);
    }
    case AmountUnit::Cents:
    case AmountUnit::Plain:
        break;
    }
    return format("%g", double(amount));
}

}  // namespace MV
