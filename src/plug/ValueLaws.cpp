#include "plug/ValueLaws.h"

#include <algorithm>
#include <cstdlib>

#include "lib/Text.h"

namespace ZnPlug {

using ZnLib::Text::format;
using ZnLib::Text::iequals;
using ZnLib::Text::scan;

namespace {

double clamp01(double x) { return std::clamp(x, 0.0, 1.0); }

// A number and at most 15 characters of the word after it (blanks between allowed). Returns the
// count scanned: 0 for no number, 1 for a number alone, 2 with a word. A non-finite number is
// no number.
int scanNumberWord(std::string_view text, double& number, std::string& word) {
    char buffer[16] = {};
    const std::string s(text);
    int n = scan(s.c_str(), "%lf%15s", &number, buffer);
    if (n < 1 || !std::isfinite(number)) return 0;
    word = n >= 2 ? buffer : "";
    return n >= 2 ? 2 : 1;
}

// The three magnitude classes of times and frequencies, decided on the rounded value.
int decimalsFor(double value) {
    const double r = std::fabs(std::round(value));
    return r < 10 ? 2 : (r < 100 ? 1 : 0);
}

}  // namespace

// ---- time ----

double TimeLaw::seconds(double t) {
    if (!(t > 0)) return 0.0;
    return std::pow(10.0, std::sqrt(t) * (log_max - log_min) + log_min);
}

double TimeLaw::fromMs(double ms) {
    // Non-positive times (and NaN) mean none. Below 10 microseconds the root turns negative and
    // its square folds back up; documents have always been read so.
    if (!(ms > 0)) return 0.0;
    const double v = (std::log10(ms * 0.001) - log_min) / (log_max - log_min);
    return clamp01(v * v);
}

double TimeLaw::ratePerSample(double t) {
    const double s = seconds(t);
    return s == 0 ? 1.0 : 1.0 / (s * 44100.0);
}

double TimeLaw::offset(double t0, double d) {
    if (d == 0) return t0;
    if (t0 == 0) return clamp01(d);
    const double base = ms(t0);
    const double move = ms(std::fabs(d));
    return clamp01(fromMs(d > 0 ? base + move : base - move));
}

double TimeLaw::combine(double a, double b) {
    if (a == 0) return b;
    if (b == 0) return a;
    if (a == 1 || b == 1) return 1.0;
    return fromMs(ms(a) + ms(b));
}

std::string timeText(double ms) {
    if (ms == 0) return "0ms";
    const double r = std::fabs(std::round(ms));
    if (r < 10) return format("%.2fms", ms);
    if (r < 1000) return format("%.1fms", ms);
    return format("%.2fs", ms / 1000.0);
}

bool parseTime(std::string_view text, double& ms) {
    double number = 0;
    std::string word;
    const int n = scanNumberWord(text, number, word);
    if (n == 0) return false;
    if (iequals(word, "s")) number *= 1000.0;
    else if (iequals(word, "m")) number *= 60000.0;
    else if (iequals(word, "h")) number *= 3600000.0;
    ms = number;
    return true;
}

// ---- frequency ----

double FrequencyLaw::fromHz(double hz) {
    const double v = std::sqrt(std::min(std::fabs(hz), kMaxHz) / kMaxHz);
    return hz < 0 ? -v : v;
}

double FrequencyLaw::fromHzPositive(double hz) { return std::sqrt(std::clamp(hz, 0.0, kMaxHz) * 0.00005); }

std::string frequencyText(double hz) {
    const char* unit = "Hz";
    double shown = hz;
    if (std::fabs(std::round(hz)) >= 1000) {
        unit = "kHz";
        shown = hz / 1000.0;
    }
    return format("%.*f %s", decimalsFor(shown), shown, unit);
}

std::string frequencyFileText(double hz) {
    const double m = std::fabs(hz);
    if (m < 100) return format("%.2f Hz", hz);
    if (m < 1000) return format("%.1f Hz", hz);
    return format("%.0f Hz", hz);
}

bool parseFrequency(std::string_view text, double& hz) {
    double number = 0;
    std::string word;
    const int n = scanNumberWord(text, number, word);
    if (n == 0) return false;
    if (n == 2) {
        if (iequals(word, "khz")) number *= 1000.0;
        else if (iequals(word, "mhz")) number *= 1000000.0;
        else if (!iequals(word, "hz")) return false;
    }
    hz = number;
    return true;
}

// ---- rate ----

double RateLaw::hz(double x) {
    const double v = std::exp(kExponent * x * x) - 1.0;
    return x < 0 ? -v : v;
}

double RateLaw::fromHz(double hz) {
    const double v = std::min(std::sqrt(kInverse * std::log1p(std::fabs(hz))), 1.0);
    return hz < 0 ? -v : v;
}

std::string rateText(double hz) { return format("%+.2f Hz", hz); }

// ---- decibels, cents, percent, booleans ----

std::string decibelText(double gain) { return format("%.1f dB", DecibelLaw::db(gain)); }

bool parseDecibel(std::string_view text, double& gain) {
    double db = 0;
    if (scan(std::string(text).c_str(), "%lf", &db) != 1 || !std::isfinite(db)) return false;
    gain = DecibelLaw::gain(db);
    return true;
}

std::string centsText(int cents) { return format("%+d Ct", cents); }

bool parseCents(std::string_view text, int& cents) {
    return scan(std::string(text).c_str(), "%d", &cents) == 1;
}

std::string percentText(double value) { return format("%0.1f", value * 100.0); }

std::string percentFileText(double value) {
    return format("%ld %%", std::clamp(std::lround(value * 100.0), 0L, 100L));
}

bool parsePercent(std::string_view text, double& value) {
    double percent = 0;
    if (scan(std::string(text).c_str(), "%lf", &percent) != 1 || !std::isfinite(percent)) return false;
    value = percent / 100.0;
    return true;
}

std::string boolText(bool value) { return value ? "true" : "false"; }

bool parseBool(std::string_view text, bool& value) {
    const std::string_view t = ZnLib::Text::trim(text);
    if (iequals(t, "true") || t == "1") value = true;
    else if (iequals(t, "false") || t == "0") value = false;
    else return false;
    return true;
}

}  // namespace ZnPlug
