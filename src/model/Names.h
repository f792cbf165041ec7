#pragma once
#include <array>
#include <cstdint>
#include <string_view>

// The enumerations of the sound model with their display strings. An enumeration is stored as an
// index into its table, and the table's texts are also the forms the documents hold.
namespace MV {

enum ProgramChangeMode : int32_t { kProgramChangePerformance = 0, kProgramChangeProgram = 1, kProgramChangeOff = 2 };
inline constexpr std::array<const char*, 3> kProgramChangeModeNames = {"Performance", "Program", "Off"};

// Stored order; the documents' schema lists "Oneshot" before "Toggle", the numbers stay these.
enum PlayMode : int32_t { kPlayNormal = 0, kPlayToggle = 1, kPlayOneshot = 2, kPlayRelease = 3 };
inline constexpr std::array<const char*, 4> kPlayModeNames = {"Normal", "Toggle", "Oneshot", "Release"};

enum PolyMode : int32_t { kPolyPoly = 0, kPolyMono = 1, kPolyLegato = 2 };
inline constexpr std::array<const char*, 3> kPolyModeNames = {"Poly", "Mono", "Legato"};

enum NotePriority : uint8_t { kNotePrioLast = 0, kNotePrioLowest = 1, kNotePrioHighest = 2 };
inline constexpr std::array<const char*, 3> kNotePriorityNames = {"Last", "Lowest", "Highest"};

// Keyboard tracking; 8 "Normal" is one semitone per key.
enum Tuning : int32_t {
    kTuningInv4 = 0,
    kTuningInv2 = 1,
    kTuningInv = 2,
    kTuningInvHalf = 3,
    kTuningInvQuarter = 4,
    kTuningFixed = 5,
    kTuningQuarter = 6,
    kTuningHalf = 7,
    kTuningNormal = 8,
    kTuningTimes2 = 9,
    kTuningTimes4 = 10,
};
inline constexpr std::array<const char*, 11> kTuningNames = {"Inv * 4", "Inv * 2", "Inv", "Inv 1/2", "Inv 1/4", "Fixed",
                                                             "1/4",     "1/2",     "Normal", "* 2",  "* 4"};

enum Interpolation : uint8_t {
    kInterpolationDefault = 0,
    kInterpolationDraft = 1,
    kInterpolationHermite = 2,
    kInterpolationSinc32 = 3,
    kInterpolationSinc64 = 4,
    kInterpolationSinc128 = 5,
};
inline constexpr std::array<const char*, 6> kInterpolationNames = {"Default", "Draft",  "Hermite",
                                                                   "Sinc32",  "Sinc64", "Sinc128"};

inline constexpr std::array<const char*, 8> kVelocityCurveNames = {"Default", "Linear", "Exp1", "Exp2",
                                                                   "Exp3",    "Log1",   "Log2", "Log3"};

enum FilterType : uint8_t {
    kFilterOff = 0,
    kFilterLowPass = 1,
    kFilterHighPass = 2,
    kFilterBandPass = 3,
    kFilterNotch = 4,
    kFilterLowShelf = 5,
    kFilterHighShelf = 6,
    kFilterPeak = 7,
    kFilterAllPass = 8,
};
inline constexpr std::array<const char*, 9> kFilterTypeNames = {
    "Off", "LowPass", "HighPass", "BandPass", "Notch", "LowShelf", "HighShelf", "Peak", "AllPass"};

enum FilterSlope : uint8_t { kSlope24dB = 0, kSlope12dB = 1, kSlope6dB = 2 };
inline constexpr std::array<const char*, 3> kFilterSlopeNames = {"24dB", "12dB", "6dB"};

enum LfoType : uint8_t { kLfoTriangle = 0, kLfoSinus = 1, kLfoSawtooth = 2, kLfoSquare = 3, kLfoExponent = 4 };
inline constexpr std::array<const char*, 5> kLfoTypeNames = {"Triangle", "Sinus", "Sawtooth", "Square", "Exponent"};

enum LfoSync : uint8_t { kSyncNone = 0, kSyncKey = 1, kSyncGroup = 2, kSyncVoice = 3 };
inline constexpr std::array<const char*, 4> kLfoSyncNames = {"None", "Key", "Group", "Voice"};

enum LfoMode : uint8_t { kLfoModeNormal = 0, kLfoModeTempo = 1 };
inline constexpr std::array<const char*, 2> kLfoModeNames = {"Normal", "Tempo"};

// Rates in mode "Tempo": a note value, stored as index / 23.
inline constexpr std::array<const char*, 24> kNoteValueNames = {
    "16/1", "16/1T", "8/1",  "8/1T",  "4/1",  "4/1T",  "2/1",  "2/1T",  "1/1",   "1/1T",   "1/2",   "1/2T",
    "1/4",  "1/4T",  "1/8",  "1/8T",  "1/16", "1/16T", "1/32", "1/32T", "1/64",  "1/64T",  "1/128", "1/128T"};

// The twelve named outputs; index 12 "(ch)" only in a group: use the slot's output.
inline constexpr uint8_t kOutputCount = 12;
inline constexpr uint8_t kOutputFromChannel = 12;
inline constexpr std::array<const char*, 13> kOutputNames = {"S 1+2", "S 3+4", "S 5+6", "S 7+8", "M 1",
                                                             "M 2",   "M 3",   "M 4",   "M 5",   "M 6",
                                                             "M 7",   "M 8",   "(ch)"};

// Send destinations, and the routing numbers of effect outputs: 0 none, 1 to 6 the FX buses,
// 7 to 18 the named outputs.
inline constexpr uint8_t kRouteNone = 0;
inline constexpr uint8_t kRouteFirstBus = 1;
inline constexpr uint8_t kRouteFirstOutput = 7;
inline constexpr std::array<const char*, 19> kSendDestinationNames = {
    "None",  "FX1",   "FX2",   "FX3", "FX4", "FX5", "FX6", "S 1+2", "S 3+4", "S 5+6",
    "S 7+8", "M 1",   "M 2",   "M 3", "M 4", "M 5", "M 6", "M 7",   "M 8"};

enum RoundRobinSource : int32_t {
    kRoundRobinDefault = 0,
    kRoundRobinGroup = 1,
    kRoundRobinProgram = 2,
    kRoundRobinMidi = 3,
};
inline constexpr std::array<const char*, 4> kRoundRobinSourceNames = {"Default", "Group", "Program", "MIDI"};

// Index of `text` in `table` (exact comparison), or -1.
template <std::size_t N>
constexpr int indexOfName(const std::array<const char*, N>& table, std::string_view text) {
    for (std::size_t i = 0; i < N; ++i)
        if (text == table[i]) return int(i);
    return -1;
}

}  // namespace MV
