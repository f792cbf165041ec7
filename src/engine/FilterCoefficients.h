#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <xmmintrin.h>

#include "engine/FastMath.h"
#include "model/Names.h"

// The voice filter's biquad coefficients from frequency, resonance and drive, written once for
// one sample (OneLane) and for four side by side (FourLanes). Both run the same float operations
// in the same order, lane by lane, so a sample's coefficients are the same bits either way.
namespace MV::FilterDesign {

// 22/7 as the product has always had it, deliberately not pi: frequencies are a little high.
inline constexpr float kTwentyTwoSevenths = 3.142857f;
inline constexpr float kSqrt2 = 1.41421356f;
// Damping at full resonance with the 12 dB slope's factor.
inline constexpr float kLeastDamping = 1.0f / 3.0f;
// Resonance factor by slope code "24dB", "12dB", "6dB": two Butterworth-like stages for 24 dB.
inline constexpr std::array<float, 3> kSlopeQ = {0.7071135640144348f, 1.0f, 1.0f};
// Drive 1 sets a shelf or peak of 12 dB: A = 10^(0.3 D), A squared the linear gain.
inline constexpr float kDriveToGainExponent = 0.3f;
// The shelves' slope parameter stays away from 0, where its formula divides by it.
inline constexpr float kMinShelfSlope = 0.0001f;

// sin and cos of w by the polynomials the product has always used, in float precision. The
// forms that write through a reference serve vectors wider than the base ABI passes.
template <class V>
MV_HOT_INLINE void polySinInto(const V& w, V& out) noexcept {
    const V u = w * w;
    const V p = (((-2.39e-08f * u + 2.7526e-06f) * u - 0.000198409f) * u + 0.00833333f) * u - 0.166667f;
    out = (p * u + 1.0f) * w;
}
template <class V>
MV_HOT_INLINE void polyCosInto(const V& w, V& out) noexcept {
    const V u = w * w;
    out = ((((-2.605e-07f * u + 2.47609e-05f) * u - 0.00138884f) * u + 0.0416666f) * u - 0.5f) * u + 1.0f;
}
template <class V>
MV_HOT_INLINE V polySin(V w) noexcept {
    V out;
    polySinInto(w, out);
    return out;
}
template <class V>
MV_HOT_INLINE V polyCos(V w) noexcept {
    V out;
    polyCosInto(w, out);
    return out;
}

struct OneLane {
    using V = float;
    using Mask = bool;
    static V all(float x) noexcept { return x; }
    static V pick(Mask m, V a, V b) noexcept { return m ? a : b; }
    static Mask either(Mask a, Mask b) noexcept { return a || b; }
    static V root(V x) noexcept { return std::sqrt(x); }
    static V expOf(V x) noexcept { return std::exp(x); }
    static V tenTo(V x) noexcept { return std::pow(10.0f, x); }
};

struct FourLanes {
    using V = FastMath::F4;
    using Mask = int32_t __attribute__((vector_size(16)));
    static V all(float x) noexcept { return FastMath::splat4(x); }
    static V pick(Mask m, V a, V b) noexcept {
        Mask ia, ib;
        std::memcpy(&ia, &a, sizeof ia);
        std::memcpy(&ib, &b, sizeof ib);
        const Mask r = (ia & m) | (ib & ~m);
        V out;
        std::memcpy(&out, &r, sizeof out);
        return out;
    }
    static Mask either(Mask a, Mask b) noexcept { return a | b; }
    template <class F>
    static V each(V x, F f) noexcept {
        return V{f(x[0]), f(x[1]), f(x[2]), f(x[3])};
    }
    // The correctly rounded square root, lane by lane the same as std::sqrt.
    static V root(V x) noexcept {
        __m128 v;
        std::memcpy(&v, &x, sizeof v);
        v = _mm_sqrt_ps(v);
        std::memcpy(&x, &v, sizeof x);
        return x;
    }
    static V expOf(V x) noexcept { return each(x, [](float v) { return std::exp(v); }); }
    static V tenTo(V x) noexcept { return each(x, [](float v) { return std::pow(10.0f, v); }); }
};

template <class Lanes>
struct Coefficients {
    using V = typename Lanes::V;
    using Mask = typename Lanes::Mask;

    V b0, b1, b2, a1, a2;

    static Coefficients gain(V g) noexcept {
        const V zero = Lanes::all(0);
        return {g, zero, zero, zero, zero};
    }
    static Coefficients pick(Mask m, const Coefficients& a, const Coefficients& b) noexcept {
        return {Lanes::pick(m, a.b0, b.b0), Lanes::pick(m, a.b1, b.b1), Lanes::pick(m, a.b2, b.b2),
                Lanes::pick(m, a.a1, b.a1), Lanes::pick(m, a.a2, b.a2)};
    }

    // The coefficients of `type` and `slope` for the smoothed frequency F (a fraction of
    // 22050 Hz), resonance R and drive D. Every branch is computed and the fitting one picked,
    // so lanes of one vector may take different ones.
    static Coefficients design(uint8_t type, uint8_t slope, V F, V R, V D, double rateRatio) noexcept {
        const V one = Lanes::all(1.0f), zero = Lanes::all(0.0f);
        const V w = float(rateRatio) * F * kTwentyTwoSevenths;
        const V s = polySin(w);
        const V c = polyCos(w);
        const float q = kSlopeQ[slope < kSlopeQ.size() ? slope : 0];
        const Mask top = F >= one;
        const Mask bottom = F <= zero;
        const Mask still = R <= zero;
        switch (type) {
        case kFilterLowPass:
        case kFilterHighPass: {
            const bool low = type == kFilterLowPass;
            if (slope == kSlope6dB) {
                const V e = Lanes::expOf(-kTwentyTwoSevenths * (low ? F : 1.0f - F));
                if (low) return {1.0f - e, zero, zero, -e, zero};
                return {e - 1.0f, zero, zero, e, zero};
            }
            // Damping from sqrt(2) at no resonance down to about 1/3 at full (12 dB).
            const V t = s * (kSqrt2 - Lanes::root(q * R) * (kSqrt2 - kLeastDamping)) * 0.5f;
            const V B = ((1.0f - t) * 0.5f) / (1.0f + t);
            const V g = c * (B + 0.5f);
            const V k = low ? ((B + 0.5f) - g) * 0.25f : (B + 0.5f + g) * 0.25f;
            return {2.0f * k, low ? 4.0f * k : -4.0f * k, 2.0f * k, -2.0f * g, 2.0f * B};
        }
        case kFilterBandPass: {
            const V alpha = s / (R * 2.0f * q);
            const V n = 1.0f / (alpha + 1.0f);
            const Coefficients band{n * alpha, zero, -alpha * n, -2.0f * c * n, (1.0f - alpha) * n};
            return pick(top, gain(zero), pick(still, gain(one), band));
        }
        case kFilterNotch: {
            const V alpha = s / (R * 2.0f * q);
            const V n = 1.0f / (alpha + 1.0f);
            const Coefficients notch{n, -2.0f * c * n, n, -2.0f * c * n, (1.0f - alpha) * n};
            return pick(top, gain(one), pick(still, gain(zero), notch));
        }
        case kFilterLowShelf:
        case kFilterHighShelf: {
            const bool low = type == kFilterLowShelf;
            const V A = Lanes::tenTo(kDriveToGainExponent * D);
            const V least = Lanes::all(kMinShelfSlope);
            const V m = Lanes::pick(R < least, least, Lanes::pick(one < R, one, R));
            const V y = s * 0.5f * Lanes::root((1.0f / m - 1.0f) * (1.0f / A + A) + 2.0f) * Lanes::root(A) * 2.0f;
            const V p = A + 1.0f;
            const V qa = A - 1.0f;
            const V v = qa * c + p;
            const V u = p - qa * c;
            if (low) {
                const V n = 1.0f / (v + y);
                const Coefficients shelf{(u + y) * A * n, (qa - p * c) * A * 2.0f * n, (u - y) * A * n,
                                         (p * c + qa) * -2.0f * n, (v - y) * n};
                return pick(top, gain(A * A), pick(bottom, gain(one), shelf));
            }
            const V n = 1.0f / (u + y);
            const Coefficients shelf{(v + y) * A * n, (p * c + qa) * A * -2.0f * n, (v - y) * A * n,
                                     (qa - p * c) * 2.0f * n, (u - y) * n};
            return pick(top, gain(one), pick(bottom, gain(A * A), shelf));
        }
        case kFilterPeak: {
            const V A = Lanes::tenTo(kDriveToGainExponent * D);
            const V alpha = s / (R * 2.0f * q);
            const V e = alpha / A;
            const V d = alpha * A;
            const V n = 1.0f / (e + 1.0f);
            const Coefficients peak{(d + 1.0f) * n, -2.0f * c * n, (1.0f - d) * n, -2.0f * c * n, (1.0f - e) * n};
            return pick(Lanes::either(bottom, top), gain(one), pick(still, gain(A * A), peak));
        }
        case kFilterAllPass: {
            // Without the slope's factor, and with b2 at 1 as the product has it.
            const V h = s / (R * 2.0f);
            const V n = 1.0f / (h + 1.0f);
            const V b = (1.0f - h) * n;
            const Coefficients all{b, -2.0f * c * n, one, -2.0f * c * n, b};
            return pick(Lanes::either(bottom, top), gain(one), pick(still, gain(-one), all));
        }
        default:
            return gain(one);
        }
    }
};

}  // namespace MV::FilterDesign
