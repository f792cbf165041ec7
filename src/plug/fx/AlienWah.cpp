#include "plug/fx/AlienWah.h"

#include <algorithm>
#include <cmath>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

void AlienWah::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    lfos = {};
    const int64_t entries = FxMath::truncInt64(context.sample_rate * 0.05 + 0.5);
    capacity_ = uint32_t(std::clamp<int64_t>(entries, 1, 1 << 24));
    lines.allocate(std::size_t(capacity_) * 4);
    position = 0;
    lineLength = 0;
    effectiveFeedback = 0;
}

void AlienWah::release() {
    lines.reset();
    Effect::release();
}

template <bool Modulated>
void AlienWah::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                   int32_t channels, const float* par1, const float* par2) noexcept {
    // Both LFOs take the same rate; the position (phase + 0.25) is never applied, since nothing
    // repositions them, and their phases run on from block to block. Only the first one steps.
    for (EffectLfo& lfo : lfos) lfo.configure(rate, *context_);
    effectiveFeedback = feedback * 0.25f + 0.75f;
    const int64_t length = FxMath::truncInt64(double(delay) * context_->sample_rate * 0.001);
    lineLength = uint32_t(std::clamp<int64_t>(length, 0, capacity_));
    // The LFO's output is 0 at every frame (amp 0, no amplitude input): the angle is 1 radian.
    const float angle = lfos[0].value + 1.0f;
    const float cosA = std::cos(angle), sinA = std::sin(angle);
    const float wt = wet, dr = dry;
    const int32_t n = std::min(channels, 2);
    float* const line[2] = {lines.data(), lines.data() + std::size_t(capacity_) * 2};
    float g = FxMath::clamp01(effectiveFeedback) * 0.99f;
    for (int32_t i = start; i < start + frames; ++i) {
        EffectLfo& lfo = lfos[0];
        if constexpr (Modulated) {
            lfo.rateMod = par1[i];
            g = FxMath::clamp01(par2[i] + effectiveFeedback) * 0.99f;
        }
        lfo.advance();
        const float A = cosA * g, B = sinA * g;
        const float makeup = g * 13.0f * g + 3.0f;
        for (int32_t c = 0; c < n; ++c) {
            float* entry = line[c] + std::size_t(position) * 2;
            const float re = entry[0], im = entry[1];
            const float x = inputs[c][i];
            const float nre = re * A - im * B + (1.0f - g) * x;
            const float nim = re * B + im * A;
            entry[0] = nre;
            entry[1] = nim;
            outputs[c][i] = makeup * nre * wt + x * dr;
        }
        // Compared only after the step: a line of length 0 stays at entry 0.
        if (++position >= lineLength) position = 0;
    }
}

void AlienWah::processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                                int32_t channels, const float* par1, const float* par2) {
    if (lines.empty() || !context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    run<true>(inputs, outputs, start, frames, channels, par1, par2);
}

void AlienWah::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                       int32_t channels) {
    if (lines.empty() || !context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    run<false>(inputs, outputs, start, frames, channels, nullptr, nullptr);
}

}  // namespace ZnPlug::FX
