#include "engine/Lfo.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "engine/Aeg.h"
#include "engine/LfoTables.h"
#include "engine/TempoRule.h"
#include "model/GroupSoundParams.h"
#include "plug/ProcessContext.h"
#include "plug/ValueLaws.h"

namespace MV {

namespace {
// Cycles per beat of a tempo factor, which is per second per beat per minute.
constexpr double kSecondsPerMinute = 60.0;

// A whole number of phase units, modulo one cycle.
uint32_t wrapPhase(double units) noexcept {
    return uint32_t(uint64_t(units - std::floor(units / LfoCore::kCycle) * LfoCore::kCycle));
}
}  // namespace

int32_t LfoCore::phaseStep(double hz, double invSampleRate) noexcept {
    constexpr double lo = double(std::numeric_limits<int32_t>::min());
    constexpr double hi = double(std::numeric_limits<int32_t>::max());
    return int32_t(std::clamp(std::trunc(hz * invSampleRate * kCycle), lo, hi));
}

void LfoCore::setupRate(float rate, uint8_t mode, float fadein, float amplitude, const ZnPlug::ProcessContext& ctx) {
    if (mode == kLfoModeTempo) {
        tempo_factor = TempoRule::factor(TempoRule::division(rate)) * double(scale);
        step = phaseStep(ctx.tempo * tempo_factor, ctx.inv_sample_rate);
    } else {
        tempo_factor = 0;
        step = phaseStep(ZnPlug::RateLaw::hz(double(rate)) * double(scale), ctx.inv_sample_rate);
    }
    if (fadein > 0) {
        fade_step = float(Aeg::rate(fadein, ctx.rate_ratio));
        fade = 0;
    } else {
        fade_step = 0;
        fade = 1;
    }
    amp = amplitude;
    amp_mod = 0;
    rate_mod = 0;
}

void LfoCore::startPhase(float pos, uint8_t sync, const ZnPlug::ProcessContext& ctx, const LfoCore* peer) noexcept {
    const uint32_t p = uint32_t(int64_t(double(pos) * kCycle));
    switch (sync) {
    case kSyncNone:
        if (tempo_factor > 0) {
            const double cycles = tempo_factor * kSecondsPerMinute * ctx.ppq_pos;
            phase = p + uint32_t(uint64_t((cycles - std::floor(cycles)) * kCycle));
        } else {
            phase = p + wrapPhase(std::trunc(double(step) * ctx.sample_pos));
        }
        break;
    case kSyncGroup:
    case kSyncVoice:
        phase = peer ? peer->phase : p;
        break;
    default:
        phase = p;
        break;
    }
}

void LfoCore::followTempo(const ZnPlug::ProcessContext& ctx) noexcept {
    if (tempo_factor > 0) step = phaseStep(ctx.tempo * tempo_factor, ctx.inv_sample_rate);
}

void LfoCore::foldStatic() noexcept {
    const int64_t folded = int64_t(step) + int64_t(rate_mod);
    constexpr int64_t lo = std::numeric_limits<int32_t>::min(), hi = std::numeric_limits<int32_t>::max();
    step = int32_t(std::clamp(folded, lo, hi));
    amp += amp_mod;
    rate_mod = 0;
    amp_mod = 0;
}

void Lfo::setup(const LFO& params, const ZnPlug::ProcessContext& ctx) {
    table = LfoTables::table(params.type);
    scale = 1;
    setupRate(params.rate, params.mode, params.fadein, params.amp, ctx);
}

void Lfo::start(float pos, uint8_t sync, const ZnPlug::ProcessContext& ctx, const Lfo* peer) noexcept {
    startPhase(pos, sync, ctx, peer);
    out = value() * FastMath::clamp01(amp_mod + amp) * fade * fade;
}

}  // namespace MV
