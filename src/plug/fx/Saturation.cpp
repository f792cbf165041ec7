#include "plug/fx/Saturation.h"

#include <cmath>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

template <bool Modulated>
void Saturation::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels, const float* par1, const float* par2) const noexcept {
    const float wt = wet, dr = dry;
    float t = threshold, g = gain;
    for (int32_t i = start; i < start + frames; ++i) {
        if constexpr (Modulated) {
            t = threshold + par1[i];
            g = gain + par2[i];
        }
        const float th = FxMath::clamp01(t) * 0.2f;
        const float pre = (std::fabs(g) + 3.0f - std::fabs(g - 3.0f)) * 0.5f;
        for (int32_t c = 0; c < channels; ++c) {
            const float s = inputs[c][i] * pre;
            const float m = std::fabs(s);
            float y = s;
            if (m > 1.0f) {
                y = (th + 1.0f) * 0.5f;
            } else if (m > th) {
                const float u = m - th;
                const float v = u / (1.0f - th);
                y = (u / (v * v + 1.0f) + th) * (s < 0 ? -1.0f : 1.0f);
            }
            outputs[c][i] = y * wt + s * dr;
        }
    }
}

void Saturation::processModulated(const float* const* inputs, float* const* outputs, int32_t start,
                                  int32_t frames, int32_t channels, const float* par1, const float* par2) {
    run<true>(inputs, outputs, start, frames, channels, par1, par2);
}

void Saturation::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                         int32_t channels) {
    run<false>(inputs, outputs, start, frames, channels, nullptr, nullptr);
}

}  // namespace ZnPlug::FX
