#pragma once
#include <cmath>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>

#include "engine/FastMath.h"

namespace MV::Exp2 {

// 2^(i/32) for i = 0..31 as double bits, less i << 47, so that adding the integer part's bits
// gives the scale directly.
extern const uint64_t kTable[32];

// 2^x in float: a 32-point table and a cubic in double, rounded once to float. It gives what
// glibc's exp2f gives on every input of magnitude below 128, but inline and without a call, so
// that a lane of pitches costs a few cycles a sample; larger inputs and NaN go to std::exp2.
MV_HOT_INLINE float of(float x) noexcept {
    if (!(std::fabs(x) < 128.0f)) return std::exp2(x);
    constexpr double kShift = 0x1.8p+52 / 32;
    constexpr double kC0 = 0x1.c6af84b912394p-5, kC1 = 0x1.ebfce50fac4f3p-3, kC2 = 0x1.62e42ff0c52d6p-1;
    const double xd = x;
    double kd = xd + kShift;
    uint64_t ki;
    std::memcpy(&ki, &kd, sizeof ki);
    kd -= kShift;
    const double r = xd - kd;
    const uint64_t t = kTable[ki % 32] + (ki << 47);
    double s;
    std::memcpy(&s, &t, sizeof s);
    const double z = kC0 * r + kC1;
    const double y = z * (r * r) + (kC2 * r + 1.0);
    return float(y * s);
}

// of() over a work buffer in place, two values side by side in double: the same operations in
// the same order, so every value is the same bits. A pair with a value outside the table's range
// takes of() one by one.
inline void ofLane(float* values, int32_t n) noexcept {
    constexpr double kShift = 0x1.8p+52 / 32;
    const __m128d shift = _mm_set1_pd(kShift), c0 = _mm_set1_pd(0x1.c6af84b912394p-5);
    const __m128d c1 = _mm_set1_pd(0x1.ebfce50fac4f3p-3), c2 = _mm_set1_pd(0x1.62e42ff0c52d6p-1);
    const __m128d one = _mm_set1_pd(1.0), limit = _mm_set1_pd(128.0);
    const __m128d noSign = _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
    int32_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const __m128d xd = _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(values + i))));
        if (_mm_movemask_pd(_mm_cmplt_pd(_mm_and_pd(xd, noSign), limit)) != 3) {
            values[i] = of(values[i]);
            values[i + 1] = of(values[i + 1]);
            continue;
        }
        __m128d kd = _mm_add_pd(xd, shift);
        const __m128i ki = _mm_castpd_si128(kd);
        kd = _mm_sub_pd(kd, shift);
        const __m128d r = _mm_sub_pd(xd, kd);
        const auto k0 = uint64_t(_mm_cvtsi128_si64(ki)), k1 = uint64_t(_mm_cvtsi128_si64(_mm_unpackhi_epi64(ki, ki)));
        const __m128i t = _mm_add_epi64(_mm_set_epi64x(int64_t(kTable[k1 % 32]), int64_t(kTable[k0 % 32])),
                                        _mm_slli_epi64(ki, 47));
        const __m128d z = _mm_add_pd(_mm_mul_pd(c0, r), c1);
        const __m128d y = _mm_add_pd(_mm_mul_pd(z, _mm_mul_pd(r, r)), _mm_add_pd(_mm_mul_pd(c2, r), one));
        const __m128 f = _mm_cvtpd_ps(_mm_mul_pd(y, _mm_castsi128_pd(t)));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(values + i), _mm_castps_si128(f));
    }
    for (; i < n; ++i) values[i] = of(values[i]);
}

}  // namespace MV::Exp2
