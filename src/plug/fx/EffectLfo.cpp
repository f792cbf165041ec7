#include "plug/fx/EffectLfo.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "plug/ValueLaws.h"

namespace ZnPlug::FX {

namespace {

constexpr double kCycle = 4294967296.0;

// One point more than a cycle, as the modulation LFO's sine has; reads wrap before it.
struct SineTable {
    std::array<float, EffectLfo::kPoints + 1> points{};
    SineTable() {
        constexpr double kPi = 3.14159265358979323846;
        for (int i = 0; i <= EffectLfo::kPoints; ++i)
            points[std::size_t(i)] = float(std::sin(2.0 * kPi * i / EffectLfo::kPoints));
    }
};

const SineTable kSine;

}  // namespace

EffectLfo::EffectLfo() noexcept : table(kSine.points.data()) {}

void EffectLfo::configure(float rate, const ProcessContext& context) noexcept {
    constexpr double lo = double(std::numeric_limits<int32_t>::min());
    constexpr double hi = double(std::numeric_limits<int32_t>::max());
    const double units = std::trunc(RateLaw::hz(double(rate)) * context.inv_sample_rate * kCycle);
    increment = std::isnan(units) ? 0 : int32_t(std::clamp(units, lo, hi));
    amp = 0;
    ampMod = 0;
    rateMod = 0;
    fade = 1;
    fadeStep = 0;
}

void EffectLfo::reposition(double samplePos) noexcept {
    const double units = std::trunc(double(increment) * samplePos);
    if (!std::isfinite(units)) return;
    phase = uint32_t(uint64_t(units - std::floor(units / kCycle) * kCycle));
}

}  // namespace ZnPlug::FX
