#pragma once
#include <charconv>
#include <cmath>
#include <cstdint>
#include <ratio>
#include <string>
#include <string_view>
#include <type_traits>

#include "lib/Text.h"
#include "plug/ValueLaws.h"

namespace ZnPlug {

// The text side of a Param. Each traits class names the type it reads and writes (`value_type`)
// and supplies
//     static std::string text(value_type stored);
//     static bool parse(std::string_view text, value_type& stored);   // false: unreadable
// where `stored` is what the Param holds, in its own range.

// Plain numbers: the shortest text that reads back to the same value; booleans as "true"/"false".
template <typename T>
struct ParamTraits {
    using value_type = T;

    static std::string text(T value) {
        if constexpr (std::is_same_v<T, bool>) {
            return boolText(value);
        } else {
            char buffer[64];
            auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
            return ec == std::errc() ? std::string(buffer, end) : std::string();
        }
    }

    static bool parse(std::string_view text, T& value) {
        if constexpr (std::is_same_v<T, bool>) {
            return parseBool(text, value);
        } else if constexpr (std::is_integral_v<T>) {
            long long v = 0;
            if (!ZnLib::Text::parseInt(text, v)) return false;
            value = T(v);
            return v == (long long)value;
        } else {
            double v = 0;
            if (!ZnLib::Text::parseDouble(text, v) || !std::isfinite(v)) return false;
            value = T(v);
            return true;
        }
    }
};

// A fraction shown in percent.
struct PercentTraits {
    using value_type = double;
    static std::string text(double value) { return percentText(value); }
    static bool parse(std::string_view text, double& value) { return parsePercent(text, value); }
};

// Milliseconds, shown and read through the time text.
struct MsTraits {
    using value_type = double;
    static std::string text(double ms) { return timeText(ms); }
    static bool parse(std::string_view text, double& ms) { return parseTime(text, ms); }
};

// A rate from Lo to Hi hertz (std::ratio bounds) on a decade curve: stored v in 0 to 1 means
// Lo + (Hi - Lo) * (10^v - 1) / 9, so that 0 is Lo and 1 is Hi.
template <typename T, typename Lo, typename Hi>
struct RateTraits {
    using value_type = double;
    static constexpr double kLoHz = double(Lo::num) / double(Lo::den);
    static constexpr double kHiHz = double(Hi::num) / double(Hi::den);

    static double hz(double v) { return kLoHz + (kHiHz - kLoHz) * (std::pow(10.0, v) - 1.0) / 9.0; }
    static double fromHz(double hz) {
        const double x = 1.0 + 9.0 * (hz - kLoHz) / (kHiHz - kLoHz);
        return x > 0 ? std::log10(x) : -1.0;  // below Lo: out of range, refused by the Param
    }
    static std::string text(double v) { return frequencyText(hz(v)); }
    static bool parse(std::string_view text, double& v) {
        double f = 0;
        if (!parseFrequency(text, f)) return false;
        v = fromHz(f);
        return true;
    }
};

// The LFO rate law: stored x in -1 to 1, shown "%+.2f Hz".
struct _RateTraits {
    using value_type = double;
    static std::string text(double x) { return rateText(RateLaw::hz(x)); }
    static bool parse(std::string_view text, double& x) {
        double f = 0;
        if (!parseFrequency(text, f)) return false;
        x = RateLaw::fromHz(f);
        return true;
    }
};

// A linear gain shown in decibels.
struct Decibel {
    using value_type = double;
    static std::string text(double gain) { return decibelText(gain); }
    static bool parse(std::string_view text, double& gain) { return parseDecibel(text, gain); }
};

namespace Filters {
// A filter frequency: stored v in 0 to 1 means v^2 * 20000 Hz; hertz read back are clamped to
// 0 to 20 kHz.
struct FreqParam {
    using value_type = double;
    static std::string text(double v) { return frequencyText(FrequencyLaw::hz(v)); }
    static bool parse(std::string_view text, double& v) {
        double f = 0;
        if (!parseFrequency(text, f)) return false;
        v = FrequencyLaw::fromHzPositive(f);
        return true;
    }
};
}  // namespace Filters

}  // namespace ZnPlug
