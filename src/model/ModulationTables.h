#pragma once
#include <cstdint>
#include <string>
#include <string_view>

// The numbers of modulation sources and destinations, the one table of their texts, and the
// units in which an entry's amounts are shown. A group's modulation table, the engine's slots,
// the documents, the presets and the importers all speak these numbers.
namespace MV {

enum ModSource : uint16_t {
    kSourceNone = 0,
    kSourceAeg = 1,
    kSourceEnv1 = 2,
    kSourceEnv2 = 3,
    kSourceLfo1 = 4,
    kSourceLfo2 = 5,
    kSourceSeq1 = 6,
    kSourceSeq2 = 7,
    kSourceSeq3 = 8,
    kSourceKey = 9,
    kSourceKeyGroup = 10,
    kSourceKeyProgram = 11,
    kSourceVelocity = 12,
    kSourceVelocityGroup = 13,
    kSourceVelocityProgram = 14,
    kSourcePitchbend = 15,
    kSourceModWheel = 16,
    kSourceChannelPressure = 17,
    kSourceAftertouch = 18,
    kSourceRandom = 19,
    kSourceBpmRatio = 20,
    kSourceFirstExternal = 21,  // "External Controller 1" to 16
    kSourceFirstMidiCC = 37,    // "Midi CC 0" to 127
    kSourceFirstParam = 165,    // "Param 00" to 127: automation cells
    kSourceCount = 293,
};
// The voice's own modulators, AEG to SEQ3, are the sources 1 to 8.
inline constexpr uint16_t kSourceLastModulator = kSourceSeq3;
inline constexpr int kExternalSources = 16;
inline constexpr int kMidiCCSources = 128;
inline constexpr int kParamSources = 128;

enum ModDestination : uint8_t {
    kDestNone = 0,
    kDestAegAttack = 1,
    kDestAegTime = 2,
    kDestAegAmp = 3,
    kDestEnv1Amp = 4,
    kDestEnv2Amp = 5,
    kDestLfo1Rate = 6,
    kDestLfo1Amp = 7,
    kDestLfo2Rate = 8,
    kDestLfo2Amp = 9,
    kDestSeq1Rate = 10,
    kDestSeq1Amp = 11,
    kDestSeq2Rate = 12,
    kDestSeq2Amp = 13,
    kDestSeq3Rate = 14,
    kDestSeq3Amp = 15,
    kDestFilterFreq = 16,
    kDestFilterRes = 17,
    kDestFilterDrive = 18,
    kDestPitch = 19,
    kDestPitchRaw = 20,
    kDestVolume = 21,
    kDestPan = 22,
    kDestLoopStart = 23,
    kDestLoopEnd = 24,
    kDestLoopDirection = 25,
    kDestInsertPar1 = 26,
    kDestInsertPar2 = 27,
    kDestSendLevel1 = 28,
    kDestSendLevel2 = 29,
    kDestSendLevel3 = 30,
    kDestWaveStart = 31,  // this and the two below act at note start only
    kDestDelay = 32,
    kDestGlide = 33,
    kDestinationCount = 34,
};

// The tables themselves. [any-thread]
class ModulationTables {
public:
    // How a switcher or a wave matrix axis scales a source onto 0 to 127. External controllers
    // and automation cells depend on the bank: bipolar when their centre, or their default, is
    // not 0.
    enum class Polarity { Unipolar, Bipolar, ByCentre, ByDefault };
    // The unit in which the amounts of an entry are written, by its destination.
    enum class AmountUnit { Plain, Cents, Frequency, Rate, Time };

    // "--", "AEG" ... "BPM/R", "External Controller 1", "Midi CC 0", "Param 00"; "" past the table.
    static std::string sourceText(uint16_t source);
    // The interface's shorter text: "Ext Ctrl 1" to "Ext Ctrl 16", else the text.
    static std::string sourceShortText(uint16_t source);
    // The number of a text or short text, or -1. Numbers behind "Param ", "Midi CC " and the
    // controller prefixes may have any width ("Param 5", "Param 005").
    static int sourceCode(std::string_view text);
    // The value of the source runs from -1 to 1 as a modulation: the three key sources.
    static bool bipolar(uint16_t source) noexcept;
    static Polarity switcherPolarity(uint16_t source) noexcept;

    // "--" to "Glide", code 15 "SEQ3 Amp"; "" past the table.
    static std::string_view destinationText(uint8_t destination) noexcept;
    // The documents' form, the same but for code 15, which they write "SEQ4 Amp".
    static std::string_view destinationFileText(uint8_t destination) noexcept;
    // The number of a text or a file form, or -1.
    static int destinationCode(std::string_view text) noexcept;

    static AmountUnit amountUnit(uint8_t destination) noexcept;
    // An amount in its destination's unit: "Pitch" and "Pitch (raw)" cents as a plain number
    // ("200"); "Filter Freq" a signed frequency ("2000 Hz", "-350 Hz"); the rates a signed rate
    // ("+2.00 Hz"); loop points, wave start, delay and glide a signed time ("120ms", "-1.50s");
    // every other destination a plain number ("0.5").
    static std::string amountText(uint8_t destination, float amount);
};

}  // namespace MV
