#pragma once
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

// Small numeric helpers of the voice's hot path: the fast power of two of the envelopes, the
// branch-free clamp, and block operations on the 256-sample work buffers written with vector
// types, so that they run wide at -O2 without depending on the compiler's cost model. The vectors
// are 16 bytes, what every x86-64 has, so no function passes a vector the base ABI lacks.
namespace MV::FastMath {

#define MV_HOT_INLINE [[gnu::always_inline]] inline
// The same for a lambda, written after its parameter list.
#define MV_HOT_INLINE_LAMBDA __attribute__((always_inline))

// 2^x by a quadratic on the fraction and the exponent bits for the integer part. Only for
// envelope time scaling, where 1e-3 of error is inaudible. The integer part is held to what a
// normal float can carry.
MV_HOT_INLINE float fastPow2(float x) noexcept {
    int32_t i = int32_t(x);
    if (x < 0) --i;
    const float f = x - float(i);
    i = i < -126 ? -126 : (i > 127 ? 127 : i);
    const float scale = std::bit_cast<float>(uint32_t(i + 127) << 23);
    return ((f * 0.33977f + 0.66023f) * f + 1.0f) * scale;
}

// clamp(x, 0, 1) as (|x| + 1 - |x - 1|) / 2: no branch in the sample loops.
MV_HOT_INLINE float clamp01(float x) noexcept { return (std::fabs(x) + 1.0f - std::fabs(x - 1.0f)) * 0.5f; }
MV_HOT_INLINE double clamp01(double x) noexcept { return (std::fabs(x) + 1.0 - std::fabs(x - 1.0)) * 0.5; }
// clamp(x, -1, 1) the same way.
MV_HOT_INLINE float clampSigned(float x) noexcept { return (std::fabs(x + 1.0f) - std::fabs(x - 1.0f)) * 0.5f; }

// sin and cos of x for |x| <= pi/2 by their series to x^15 and x^16: the first term left out is
// below 6e-12 there. The interpolators need them per sample, where a library call costs more
// than the kernel's taps; the powers are grouped in pairs (Estrin's scheme) so that the chain of
// dependent operations stays short.
MV_HOT_INLINE void sinCosQuarterTurn(double x, double& s, double& c) noexcept {
    const double y = x * x, y2 = y * y, y4 = y2 * y2;
    const double s01 = 1.0 - y * (1.0 / 6), s23 = 1.0 / 120 - y * (1.0 / 5040);
    const double s45 = 1.0 / 362880 - y * (1.0 / 39916800), s67 = 1.0 / 6227020800 - y * (1.0 / 1307674368000);
    s = x * ((s01 + y2 * s23) + y4 * (s45 + y2 * s67));
    const double c01 = 1.0 - y * 0.5, c23 = 1.0 / 24 - y * (1.0 / 720);
    const double c45 = 1.0 / 40320 - y * (1.0 / 3628800), c67 = 1.0 / 479001600 - y * (1.0 / 87178291200);
    c = (c01 + y2 * c23) + y4 * ((c45 + y2 * c67) + y4 * (1.0 / 20922789888000));
}

// sin and cos of x in [0, pi]: the upper half by reflection, so that small angles keep their
// full relative precision.
MV_HOT_INLINE void sinCosHalfTurn(double x, double& s, double& c) noexcept {
    constexpr double kPi = 3.14159265358979323846;
    if (x <= kPi * 0.5) {
        sinCosQuarterTurn(x, s, c);
    } else {
        sinCosQuarterTurn(kPi - x, s, c);
        c = -c;
    }
}

using F4 = float __attribute__((vector_size(16)));
using U4 = uint32_t __attribute__((vector_size(16)));
constexpr int kWidth = 4;

MV_HOT_INLINE F4 load4(const float* p) noexcept {
    F4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
MV_HOT_INLINE void store4(float* p, F4 v) noexcept { std::memcpy(p, &v, sizeof v); }
MV_HOT_INLINE F4 splat4(float x) noexcept { return F4{x, x, x, x}; }
// The low 24 bits of each lane as a float, exactly: a signed conversion suffices below 2^24.
MV_HOT_INLINE F4 fraction24(U4 v) noexcept {
    using I4 = int32_t __attribute__((vector_size(16)));
    return __builtin_convertvector(I4(v & 0xFFFFFFu), F4);
}
MV_HOT_INLINE F4 abs4(F4 v) noexcept {
    U4 bits;
    std::memcpy(&bits, &v, sizeof bits);
    bits &= 0x7FFFFFFFu;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}
MV_HOT_INLINE F4 clamp01(F4 x) noexcept { return (abs4(x) + 1.0f - abs4(x - 1.0f)) * 0.5f; }
MV_HOT_INLINE F4 clampSigned(F4 x) noexcept { return (abs4(x + 1.0f) - abs4(x - 1.0f)) * 0.5f; }

// Work buffers hold 256 floats, so their block operations may run over the count rounded up to
// whole vectors; the samples past the count are scratch.
MV_HOT_INLINE int32_t roundUp4(int32_t n) noexcept { return (n + kWidth - 1) & ~(kWidth - 1); }

inline void fill(float* dst, float value, int32_t n) noexcept {
    const F4 v = splat4(value);
    for (int32_t i = 0; i < roundUp4(n); i += kWidth) store4(dst + i, v);
}

// Whether the first n values all equal the first one (a NaN never does), four at a time.
inline bool holdsStill(const float* v, int32_t n) noexcept {
    using I4 = int32_t __attribute__((vector_size(16)));
    const F4 first = splat4(v[0]);
    I4 differ{};
    int32_t i = 0;
    for (; i + kWidth <= n; i += kWidth) differ |= load4(v + i) != first;
    for (; i < n; ++i)
        if (v[i] != v[0]) return false;
    return (differ[0] | differ[1] | differ[2] | differ[3]) == 0;
}

// dst[i] += value over a work buffer.
inline void addTo(float* dst, float value, int32_t n) noexcept {
    const F4 v = splat4(value);
    for (int32_t i = 0; i < roundUp4(n); i += kWidth) store4(dst + i, load4(dst + i) + v);
}

// dst[i] *= g over a work buffer.
inline void scale(float* dst, float g, int32_t n) noexcept {
    for (int32_t i = 0; i < roundUp4(n); i += kWidth) store4(dst + i, load4(dst + i) * g);
}

// dst[i] += src[i] * g, exactly n samples: dst may be a host buffer of no more than n.
inline void addScaled(float* dst, const float* src, float g, int32_t n) noexcept {
    int32_t i = 0;
    for (; i + kWidth <= n; i += kWidth) store4(dst + i, load4(dst + i) + load4(src + i) * g);
    for (; i < n; ++i) dst[i] += src[i] * g;
}

// dst[i] += (a[i] + b[i]) * g, exactly n samples.
inline void addSumScaled(float* dst, const float* a, const float* b, float g, int32_t n) noexcept {
    int32_t i = 0;
    for (; i + kWidth <= n; i += kWidth) store4(dst + i, load4(dst + i) + (load4(a + i) + load4(b + i)) * g);
    for (; i < n; ++i) dst[i] += (a[i] + b[i]) * g;
}

// dst[i] += src[i] * (base + lane[i]), exactly n samples.
inline void addLaneScaled(float* dst, const float* src, const float* lane, float base, int32_t n) noexcept {
    int32_t i = 0;
    for (; i + kWidth <= n; i += kWidth)
        store4(dst + i, load4(dst + i) + load4(src + i) * (load4(lane + i) + base));
    for (; i < n; ++i) dst[i] += src[i] * (lane[i] + base);
}

// dst[i] += (a[i] + b[i]) * (base + lane[i]) * 0.5, exactly n samples.
inline void addSumLaneScaled(float* dst, const float* a, const float* b, const float* lane, float base,
                             int32_t n) noexcept {
    int32_t i = 0;
    for (; i + kWidth <= n; i += kWidth)
        store4(dst + i, load4(dst + i) + (load4(a + i) + load4(b + i)) * (load4(lane + i) + base) * 0.5f);
    for (; i < n; ++i) dst[i] += (a[i] + b[i]) * (lane[i] + base) * 0.5f;
}

}  // namespace MV::FastMath
