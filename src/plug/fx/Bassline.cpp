#include "plug/fx/Bassline.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

Bassline::Bassline() noexcept
    : madeW(std::numeric_limits<float>::quiet_NaN()), madeQ(std::numeric_limits<float>::quiet_NaN()) {
    update(freq, res);
}

void Bassline::update(float f, float r) noexcept {
    freq = f;
    res = r;
    cutoff = (f < 0 ? -f * f : f * f) * 20000.0f * 4.5351473e-5f;
    resonance = r;
    lastCut = 0;
    lastRes = 0;
    c = std::exp(-0.005892857f);
    b0 = (1.0f + c) * 0.5f;
    b1 = -(1.0f + c) * 0.5f;
}

void Bassline::reset() noexcept {
    state = {};
    z1 = cutoff;
    z2 = resonance;
}

void Bassline::coefficients(float w, float q) noexcept {
    madeW = w;
    madeQ = q;
    const float fx = w * 0.70710677f * 0.25f;
    const float ki = (1.0f - FxMath::exp(-3.0f * q)) / (1.0f - std::exp(-3.0f));
    ac = (0.00045522346f + 6.192219f * fx) / (1.0f + 12.358354f * fx + 4.4156346f * fx * fx);
    const float poly =
        ((((((fx + 7198.6997f) * fx - 5837.7915f) * fx - 476.47308f) * fx + 614.9561f) * fx + 213.87126f) * fx +
         16.998793f);
    k = poly * ki;
    g = ((poly * 0.05882353f - 1.0f) * ki + 1.0f) * ((1.0f + ki) * (1.0f + ki) * (1.0f + ki));
}

template <bool Modulated>
void Bassline::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                   int32_t channels, const float* par1, const float* par2) noexcept {
    const int32_t n = std::min(channels, 2);
    float p1 = 0, p2 = 0;
    // (v x 2) x ac as v x (2 x ac): doubling is exact, so the products are the same.
    float ac2 = 2.0f * ac;
    for (int32_t i = start; i < start + frames; ++i) {
        if constexpr (Modulated) {
            p1 = par1[i];
            p2 = par2[i];
        }
        const float v = p1 + cutoff;
        const float f = (std::fabs(v - 0.0009070295f) + 1.0009071f - std::fabs(v - 1.0f)) * 0.5f;
        const float r = FxMath::clamp01(resonance + p2);
        if (r != lastRes || f != lastCut) {
            z1 = z1 * a + double(f) * b;
            z2 = z2 * a + double(f) * b;
            const float w = float(z1), q = float(z2);
            lastCut = w;
            lastRes = q;
            // Once the smoothers have settled the same values come back at every frame.
            if (w != madeW || q != madeQ) {
                coefficients(w, q);
                ac2 = 2.0f * ac;
            }
        }
        for (int32_t ch = 0; ch < n; ++ch) {
            Channel& s = state[std::size_t(ch)];
            const float x = inputs[ch][i];
            for (int o = 0; o < 4; ++o) {
                const float t = k * s.y4;
                const float hp = t * b0 + s.hx * b1 + s.hy * c;
                s.hx = t;
                s.hy = hp;
                s.y1 = (x - hp - s.y1 + s.y2) * ac2 + s.y1;
                s.y2 = (s.y1 - 2.0f * s.y2 + s.y3) * ac + s.y2;
                s.y3 = (s.y2 - 2.0f * s.y3 + s.y4) * ac + s.y3;
                s.y4 = (s.y3 - 2.0f * s.y4) * ac + s.y4;
            }
            outputs[ch][i] = 2.0f * g * s.y4;
        }
    }
}

void Bassline::processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                                int32_t channels, const float* par1, const float* par2) {
    FxMath::DenormalGuard guard;
    run<true>(inputs, outputs, start, frames, channels, par1, par2);
}

void Bassline::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                       int32_t channels) {
    FxMath::DenormalGuard guard;
    run<false>(inputs, outputs, start, frames, channels, nullptr, nullptr);
}

}  // namespace ZnPlug::FX
