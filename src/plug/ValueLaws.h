#pragma once
#include <cmath>
#include <string>
#include <string_view>

namespace ZnPlug {

// The laws between a stored (normalised) value, its real unit and its text. Text is made and
// read in the C locale whatever the host set. Parsers return false for a text they cannot read;
// the caller raises Unparsable with the name of the value.

// Times: a normalised t in 0 to 1, t = 0 meaning none, otherwise 10 microseconds to 38 seconds
// on a square-root-of-log scale.
struct TimeLaw {
    inline static const double log_max = std::log10(38.0);
    inline static const double log_min = std::log10(0.00001);

    static double seconds(double t);
    static double ms(double t) { return seconds(t) * 1000.0; }
    static double fromMs(double ms);
    // Envelope step per sample at 44.1 kHz: 1 / (seconds * 44100), or 1 for no time.
    static double ratePerSample(double t);
    // A signed modulation offset `d` on a base time `t0`, added or taken away in milliseconds.
    static double offset(double t0, double d);
    // Two times in sequence, as the interface sums them.
    static double combine(double a, double b);
};

// Signed frequencies: f in -1 to 1 means sign(f) * f^2 * 20000 Hz.
struct FrequencyLaw {
    static constexpr double kMaxHz = 20000.0;
    static double hz(double f) { return (f < 0 ? -f * f : f * f) * kMaxHz; }
    // Inverse of hz() with the magnitude limited to 20 kHz.
    static double fromHz(double hz);
    // What a filter stores: sqrt(clamp(hz, 0, 20000) / 20000).
    static double fromHzPositive(double hz);
};

// LFO rates: x in -1 to 1 means sign(x) * (e^(k x^2) - 1) Hz, k = ln 201, so at most 200 Hz.
struct RateLaw {
    static constexpr double kExponent = 5.303305;  // ln 201
    static constexpr double kInverse = 0.18856166; // 1 / ln 201
    static constexpr double kMaxHz = 200.0;
    static double hz(double x);
    static double fromHz(double hz);
};

// Linear gain against decibels; anything below -80 dB shows as -90.
struct DecibelLaw {
    static constexpr double kFloorGain = 0.0001;
    static constexpr float kFloorDb = -90.0f;
    static double db(double gain) { return gain < kFloorGain ? double(kFloorDb) : 20.0 * std::log10(gain); }
    static double gain(double db) { return std::pow(10.0, db / 20.0); }
};

// Time from milliseconds: "0ms", "%.2fms" below 10 ms, "%.1fms" below 1 s, else "%.2fs".
std::string timeText(double ms);
// A number and an optional word: "s", "m", "h" (any case) scale to milliseconds, anything else
// or nothing means milliseconds. No number: false.
bool parseTime(std::string_view text, double& ms);

// Display form: "%.2f Hz", "%.1f Hz", "%.0f Hz" below 1 kHz, then the same classes in kHz.
std::string frequencyText(double hz);
// Document form: "%.2f Hz" below 100 Hz, "%.1f Hz" below 1 kHz, "%.0f Hz" from there on.
std::string frequencyFileText(double hz);
// A number and an optional word "hz", "khz" or "mhz" (any case, a blank before it allowed);
// any other word refuses the text.
bool parseFrequency(std::string_view text, double& hz);

// LFO rate display: "%+.2f Hz". In documents a rate takes frequencyFileText.
std::string rateText(double hz);

// "%.1f dB" of the gain, -90.0 below 0.0001.
std::string decibelText(double gain);
// A number in decibels (an "dB" after it is ignored) to linear gain.
bool parseDecibel(std::string_view text, double& gain);

// "%+d Ct"
std::string centsText(int cents);
bool parseCents(std::string_view text, int& cents);

// Display: value * 100 as "%0.1f". Document (the schema's percent type): whole percent, a
// blank and "%", 0 to 100.
std::string percentText(double value);
std::string percentFileText(double value);
// A number of percent, "%" after it allowed, to a fraction.
bool parsePercent(std::string_view text, double& value);

// "true" / "false"; read back also "1" / "0", any case.
std::string boolText(bool value);
bool parseBool(std::string_view text, bool& value);

}  // namespace ZnPlug
