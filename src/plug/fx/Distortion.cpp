#include "plug/fx/Distortion.h"

#include <algorithm>
#include <cmath>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

namespace {

struct Shape {
    float fb, lim, makeup;
    // t is the threshold, held to 0.01 to 1 without a branch.
    Shape(float feedback, float t) noexcept {
        fb = FxMath::clamp01(feedback);
        const float th = (std::fabs(t - 0.01f) + 1.01f - std::fabs(t - 1.0f)) * 0.5f;
        lim = th * 0.2f;
        makeup = (2.0f - th) * (2.0f - th);
    }
};

// fmod of floats, which is exact, without the library's bit loop: while the quotient fits 2^26
// the double quotient truncates to the true one and the remainder comes out exact.
ZN_FX_INLINE float remainder(float a, float b) noexcept {
    const double q = double(a) / double(b);
    if (!(std::fabs(q) < 67108864.0)) return std::fmod(a, b);
    return float(double(a) - std::trunc(q) * double(b));
}

ZN_FX_INLINE float triangle(float x, float lim) noexcept {
    return std::fabs(std::fabs(remainder(x - lim, 4.0f * lim)) - 2.0f * lim) - lim;
}

}  // namespace

float Distortion::fold(float x, float lim) noexcept { return triangle(x, lim); }

void Distortion::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    last = {};
}

template <bool Modulated>
void Distortion::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels, const float* par1, const float* par2) noexcept {
    const float wt = wet, dr = dry;
    const int32_t n = std::min(channels, 2);
    Shape k(feedback, threshold);
    float mem[2] = {last[0], last[1]};
    for (int32_t i = start; i < start + frames; ++i) {
        if constexpr (Modulated) k = Shape(feedback + par2[i], threshold + par1[i]);
        for (int32_t c = 0; c < n; ++c) {
            const float x = mem[c] * k.fb + inputs[c][i];
            const float y = std::fabs(x) > k.lim ? triangle(x, k.lim) : x;
            mem[c] = y;
            outputs[c][i] = y * wt * k.makeup + x * dr;
        }
    }
    last = {mem[0], mem[1]};
}

void Distortion::processModulated(const float* const* inputs, float* const* outputs, int32_t start,
                                  int32_t frames, int32_t channels, const float* par1, const float* par2) {
    FxMath::DenormalGuard guard;
    run<true>(inputs, outputs, start, frames, channels, par1, par2);
}

void Distortion::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                         int32_t channels) {
    FxMath::DenormalGuard guard;
    run<false>(inputs, outputs, start, frames, channels, nullptr, nullptr);
}

}  // namespace ZnPlug::FX
