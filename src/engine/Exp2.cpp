#include "engine/Exp2.h"

#include <immintrin.h>

namespace MV::Exp2 {

const uint64_t kTable[32] = {
    0x3ff0000000000000ull,
    0x3fefd9b0d3158574ull,
    0x3fefb5586cf9890full,
    0x3fef9301d0125b51ull,
    0x3fef72b83c7d517bull,
    0x3fef54873168b9aaull,
    0x3fef387a6e756238ull,
    0x3fef1e9df51fdee1ull,
    0x3fef06fe0a31b715ull,
    0x3feef1a7373aa9cbull,
    0x3feedea64c123422ull,
    0x3feece086061892dull,
    0x3feebfdad5362a27ull,
    0x3feeb42b569d4f82ull,
    0x3feeab07dd485429ull,
    0x3feea47eb03a5585ull,
    0x3feea09e667f3bcdull,
    0x3fee9f75e8ec5f74ull,
    0x3feea11473eb0187ull,
    0x3feea589994cce13ull,
    0x3feeace5422aa0dbull,
    0x3feeb737b0cdc5e5ull,
    0x3feec49182a3f090ull,
    0x3feed503b23e255dull,
    0x3feee89f995ad3adull,
    0x3feeff76f2fb5e47ull,
    0x3fef199bdd85529cull,
    0x3fef3720dcef9069ull,
    0x3fef5818dcfba487ull,
    0x3fef7c97337b9b5full,
    0x3fefa4afa2a490daull,
    0x3fefd0765b6e4540ull,
};

namespace {

constexpr double kShift = 0x1.8p+52 / 32;
constexpr double kC0 = 0x1.c6af84b912394p-5, kC1 = 0x1.ebfce50fac4f3p-3, kC2 = 0x1.62e42ff0c52d6p-1;

void ofLaneBase(float* values, int32_t n) noexcept {
    const __m128d shift = _mm_set1_pd(kShift), c0 = _mm_set1_pd(kC0), c1 = _mm_set1_pd(kC1), c2 = _mm_set1_pd(kC2);
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

// Four at a time. AVX2 without FMA: a fused multiply-add would round differently.
[[gnu::target("avx2")]] void ofLaneWide(float* values, int32_t n) noexcept {
    const __m256d shift = _mm256_set1_pd(kShift), c0 = _mm256_set1_pd(kC0), c1 = _mm256_set1_pd(kC1);
    const __m256d c2 = _mm256_set1_pd(kC2), one = _mm256_set1_pd(1.0), limit = _mm256_set1_pd(128.0);
    const __m256d noSign = _mm256_castsi256_pd(_mm256_set1_epi64x(0x7FFFFFFFFFFFFFFF));
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m256d xd = _mm256_cvtps_pd(_mm_loadu_ps(values + i));
        if (_mm256_movemask_pd(_mm256_cmp_pd(_mm256_and_pd(xd, noSign), limit, _CMP_LT_OQ)) != 15) {
            for (int32_t l = 0; l < 4; ++l) values[i + l] = of(values[i + l]);
            continue;
        }
        __m256d kd = _mm256_add_pd(xd, shift);
        const __m256i ki = _mm256_castpd_si256(kd);
        kd = _mm256_sub_pd(kd, shift);
        const __m256d r = _mm256_sub_pd(xd, kd);
        alignas(32) uint64_t k[4];
        _mm256_store_si256(reinterpret_cast<__m256i*>(k), ki);
        const __m256i table = _mm256_set_epi64x(int64_t(kTable[k[3] % 32]), int64_t(kTable[k[2] % 32]),
                                                int64_t(kTable[k[1] % 32]), int64_t(kTable[k[0] % 32]));
        const __m256i t = _mm256_add_epi64(table, _mm256_slli_epi64(ki, 47));
        const __m256d z = _mm256_add_pd(_mm256_mul_pd(c0, r), c1);
        const __m256d y =
            _mm256_add_pd(_mm256_mul_pd(z, _mm256_mul_pd(r, r)), _mm256_add_pd(_mm256_mul_pd(c2, r), one));
        _mm_storeu_ps(values + i, _mm256_cvtpd_ps(_mm256_mul_pd(y, _mm256_castsi256_pd(t))));
    }
    ofLaneBase(values + i, n - i);
}

bool processorIsWide() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

}  // namespace

void ofLane(float* values, int32_t n, bool wide) noexcept {
    static const bool kHasWide = processorIsWide();
    if (wide && kHasWide)
        ofLaneWide(values, n);
    else
        ofLaneBase(values, n);
}

}  // namespace MV::Exp2
