#include "plug/fx/Phaser.h"

#include <algorithm>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

void Phaser::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    lfos = {};
    stages = {};
    lastOut = {};
    sweepMin = float(880.0 * 2.0 * context.inv_sample_rate);
    sweepMax = float(4400.0 * 2.0 * context.inv_sample_rate);
}

float Phaser::setUpBlock() noexcept {
    const float rates[2] = {rate * (1.0f - spread * 0.5f), rate * (1.0f + spread * 0.5f)};
    for (int c = 0; c < 2; ++c) {
        EffectLfo& lfo = lfos[std::size_t(c)];
        lfo.configure(rates[c], *context_);
        lfo.reposition(context_->sample_pos);
        lfo.value = lfo.compute();
    }
    // The LFOs' output is 0 at every frame (amp 0, no amplitude input), so the sweep position,
    // and with it the coefficient, holds for the block; their phases are set again next block.
    const float x = sweepMin + (sweepMax - sweepMin) * (lfos[0].value + 1.0f) * 0.5f;
    return (1.0f - x) / (1.0f + x);
}

template <bool Modulated>
void Phaser::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels, const float* par2) noexcept {
    const float a = setUpBlock();
    const float wt = wet, dr = dry;
    const int32_t n = std::min(channels, 2);
    float fb = FxMath::clamp01(feedback);
    // The state in locals, which the output stores cannot alias; both channels in one pass, so
    // that their chains of dependent operations interleave.
    float st[2][kStages], last[2];
    for (int c = 0; c < 2; ++c) {
        std::copy(stages[std::size_t(c)].begin(), stages[std::size_t(c)].end(), st[c]);
        last[c] = lastOut[std::size_t(c)];
    }
    for (int32_t i = start; i < start + frames; ++i) {
        if constexpr (Modulated) fb = FxMath::clamp01(par2[i] + feedback);
        for (int32_t c = 0; c < n; ++c) {
            const float in = inputs[c][i];
            float y = in + last[c] * fb;
            for (int s = 0; s < kStages; ++s) {
                const float t = st[c][s] - y * a;
                st[c][s] = t * a + y;
                y = t;
            }
            last[c] = y;
            outputs[c][i] = y * wt + in * dr;
        }
    }
    for (int c = 0; c < 2; ++c) {
        std::copy(st[c], st[c] + kStages, stages[std::size_t(c)].begin());
        lastOut[std::size_t(c)] = last[c];
    }
}

void Phaser::processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                              int32_t channels, const float* par1, const float* par2) {
    (void)par1;
    if (!context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    run<true>(inputs, outputs, start, frames, channels, par2);
}

void Phaser::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels) {
    if (!context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    run<false>(inputs, outputs, start, frames, channels, nullptr);
}

}  // namespace ZnPlug::FX
