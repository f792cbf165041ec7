#include "plug/fx/Gloubi.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ZnPlug::FX {

using FxMath::F4;

namespace {

ZN_FX_INLINE F4 curve(F4 x) noexcept {
    // Exponentials within float rounding of the library's; beyond about +-87 they saturate, so
    // the curve stays finite where the exact formula would give inf / inf.
    const F4 root = FxMath::sqrt(x < 0.0f ? -x : x);
    const F4 a = FxMath::exp(x);
    const F4 q = (1.0f + FxMath::exp(-0.75f * root)) * x;
    return (a - FxMath::exp(-q)) / (FxMath::exp(-x) + a);
}

}  // namespace

F4 Gloubi::shape(F4 x) noexcept { return curve(x); }

float Gloubi::shape(float x) noexcept { return shape(F4{x, x, x, x})[0]; }

void Gloubi::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels) {
    const float g = gain;
    for (int32_t c = 0; c < channels; ++c) {
        const float* in = inputs[c] + start;
        float* out = outputs[c] + start;
        for (int32_t i = 0; i < frames; i += 4) {
            const auto n = std::size_t(std::min(4, frames - i));
            F4 x{};
            std::memcpy(&x, in + i, n * sizeof(float));
            const F4 y = curve(x * g * 0.686306f);
            std::memcpy(out + i, &y, n * sizeof(float));
        }
    }
}

}  // namespace ZnPlug::FX
