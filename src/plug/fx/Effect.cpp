#include "plug/fx/Effect.h"

#include <algorithm>

namespace ZnPlug::FX {

void Effect::prepare(const ProcessContext& context) { context_ = &context; }

void Effect::release() { context_ = nullptr; }

void Effect::processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                              int32_t channels, const float* par1, const float* par2) {
    (void)par1;
    (void)par2;
    process(inputs, outputs, start, frames, channels);
}

void Effect::mixDry(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                    int32_t channels) const noexcept {
    if (wet == 1.0f && dry == 0.0f) return;
    const float w = wet, d = dry;
    for (int32_t c = 0; c < channels; ++c) {
        const float* in = inputs[c];
        float* out = outputs[c];
        for (int32_t i = start; i < start + frames; ++i) out[i] = in[i] * d + out[i] * w;
    }
}

void Effect::silence(float* const* outputs, int32_t start, int32_t frames, int32_t channels) noexcept {
    for (int32_t c = 0; c < channels; ++c) std::fill_n(outputs[c] + start, frames, 0.0f);
}

}  // namespace ZnPlug::FX
