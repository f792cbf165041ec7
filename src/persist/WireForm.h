#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace MV {

// The text forms that values take in the documents, both ways. Stored values are the model's
// normalised floats; the texts hold real units. Nothing here depends on the process locale.
// Parsers return false for a text they cannot read; the caller knows the attribute and raises
// ZnPlug::Unparsable with its name. [any-thread]
class WireForm {
public:
    // A wave or matrix reference that points nowhere.
    static constexpr std::string_view kNoneRef = "<none>";
    // The root key of a wave that does not follow the keyboard.
    static constexpr int kNoRoot = 255;

    // Keys: "C-1" is 0, "C4" is 60; the sharp names are written, sharp and flat names and plain
    // numbers read (numbers limited to 127, names clamped to 0 to 127).
    static std::string noteText(int key);
    static bool parseNote(std::string_view text, int& key);
    // As a key, or "no" for kNoRoot.
    static std::string rootText(int root);
    static bool parseRoot(std::string_view text, int& root);

    // Times, normalised by the time law: "0ms", "%.2fms" below 10 ms, "%.1fms" below 1 s,
    // "%.2fs" above. Read: a number and an optional unit "s", "m", "h", anything else ms.
    static std::string timeText(float value);
    static bool parseTime(std::string_view text, float& value);

    // Filter frequencies, stored as sqrt(hz / 20000): "%.2f Hz" below 100, "%.1f Hz" below 1000,
    // "%.0f Hz" above. Read with the unit "hz", "khz" or "mhz" (any case) or none.
    static std::string filterFrequencyText(float value);
    static bool parseFilterFrequency(std::string_view text, float& value);

    // LFO and step sequencer rates: a frequency in the form above, by the rate law, in mode
    // "Normal"; one of the 24 note values ("1/4T"), stored as index / 23, in mode "Tempo".
    static std::string rateText(float value, uint8_t mode);
    static bool parseRate(std::string_view text, uint8_t mode, float& value);

    // Step values between commas. Reading takes every run of digits with an optional leading
    // "-", skips everything else, limits each step to -100 to 100 and cuts or pads the list
    // with zeros to `length` steps.
    static std::string sequenceText(const std::vector<int8_t>& steps);
    static std::vector<int8_t> parseSequence(std::string_view text, std::size_t length);

    // An output name: the index into kOutputNames (12 is "(ch)"); the mono pairs "M 1+2" to
    // "M 7+8" name their first mono pin, by which the output is kept. -1 for anything else.
    static int parseOutput(std::string_view text);
    // A send destination: the index into kSendDestinationNames, mono pairs as above, or -1.
    static int parseSendDestination(std::string_view text);

    // "<none>" for a negative id, else the decimal id.
    static std::string waveRefText(long long id);
    static bool isNoneRef(std::string_view text) { return text == kNoneRef; }

    // Attribute values: `"`, `&`, `'`, `<`, `>` as the five predefined entities.
    static std::string escape(std::string_view text);

    // Floats as the writers put them: six significant digits ("%g").
    static std::string floatText(double value);
    // True for "true" and "1", false for everything else.
    static bool parseBoolean(std::string_view text);

    // Base 10 integers as std::stoi reads them: blanks, a sign, digits, anything after ignored.
    // Throws std::invalid_argument "invalid stoi argument" or std::out_of_range "stoi argument
    // out of range".
    static int parseInt(std::string_view text);
    // Likewise for unsigned 64 bits, a leading "-" negating modulo 2^64 as std::stoull does;
    // "invalid stoull argument", "stoull argument out of range".
    static uint64_t parseIndex(std::string_view text);

    // The branch-free clamps of levels: (|v| + 1 - |v - 1|) / 2 to 0..1, and
    // (|v + 1| - |v - 1|) / 2 to -1..1.
    static float clampUnit(float v);
    static float clampSigned(float v);
};

}  // namespace MV
