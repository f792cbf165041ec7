#include "plug/fx/Compressor.h"

#include <cmath>

#include "plug/ValueLaws.h"
#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

void Compressor::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    const double r = TimeLaw::ratePerSample(2.0) * context.rate_ratio;
    const double e = std::exp(-1.0 / r);
    c1 = float(1.0 - e);
    c2 = float(-e);
    lastPower = 0;
    envelope = 0;
}

template <bool Modulated>
void Compressor::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels, const float* par1, const float* par2) noexcept {
    const float wt = wet, dr = dry;
    float th = FxMath::clamp01(threshold), sl = FxMath::clamp01(slope);
    float last = lastPower, env = envelope;
    for (int32_t i = start; i < start + frames; ++i) {
        if constexpr (Modulated) {
            th = FxMath::clamp01(threshold + par1[i]);
            sl = FxMath::clamp01(slope + par2[i]);
        }
        float p = 0;
        for (int32_t c = 0; c < channels; ++c) p += inputs[c][i] * inputs[c][i];
        const float level = std::sqrt(p * c1 - last * c2) * 1.4142f;
        last = p;
        const float k = level > env ? 0.001f : 0.3f;
        env = (1.0f - k) * level + env * k;
        const float gain = env > th ? 1.0f - (env - th) * sl : 1.0f;
        for (int32_t c = 0; c < channels; ++c) {
            const float x = inputs[c][i];
            outputs[c][i] = x * wt * gain + x * dr;
        }
    }
    lastPower = last;
    envelope = env;
}

void Compressor::processModulated(const float* const* inputs, float* const* outputs, int32_t start,
                                  int32_t frames, int32_t channels, const float* par1, const float* par2) {
    FxMath::DenormalGuard guard;
    run<true>(inputs, outputs, start, frames, channels, par1, par2);
}

void Compressor::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                         int32_t channels) {
    FxMath::DenormalGuard guard;
    run<false>(inputs, outputs, start, frames, channels, nullptr, nullptr);
}

}  // namespace ZnPlug::FX
