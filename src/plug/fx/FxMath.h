#pragma once
#include <cmath>
#include <cstdint>
#include <limits>

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#endif

// Numeric helpers of the effects' sample loops: the branch-free clamp, conversions that stay
// defined for any float, an exponential accurate to float rounding, and the denormal guard.
namespace ZnPlug::FX::FxMath {

#define ZN_FX_INLINE [[gnu::always_inline]] inline

// clamp(x, 0, 1) as (|x| + 1 - |x - 1|) / 2: no branch, and NaN stays NaN.
ZN_FX_INLINE float clamp01(float x) noexcept { return (std::fabs(x) + 1.0f - std::fabs(x - 1.0f)) * 0.5f; }
ZN_FX_INLINE double clamp01(double x) noexcept { return (std::fabs(x) + 1.0 - std::fabs(x - 1.0)) * 0.5; }

// Truncation toward zero. A value the target cannot hold (or NaN) gives the lowest value, as
// the x86 conversion instructions do, instead of undefined behaviour.
ZN_FX_INLINE int64_t truncInt64(double x) noexcept {
    return (x > -9223372036854775808.0 && x < 9223372036854775808.0) ? int64_t(x)
                                                                      : std::numeric_limits<int64_t>::min();
}
ZN_FX_INLINE int32_t truncInt32(double x) noexcept {
    return (x > -2147483649.0 && x < 2147483648.0) ? int32_t(x) : std::numeric_limits<int32_t>::min();
}

// Four floats, what every x86-64 has: loops that would otherwise call the library per sample
// run four lanes at once through these.
using F4 = float __attribute__((vector_size(16)));
using I4 = int32_t __attribute__((vector_size(16)));

// e^x within two units of the last place of a float over the whole range where e^x is a
// normal float (the classic reduction by ln 2 in two parts and a degree-6 polynomial). Beyond
// that range the argument is held at its ends, so overflow gives a large finite value. Each lane
// gives what the scalar form gives.
ZN_FX_INLINE F4 exp(F4 x) noexcept {
    const F4 lo = F4{} - 87.0f, hi = F4{} + 88.0f;
    x = x < lo ? lo : x;
    x = x > hi ? hi : x;
    // Adding and taking away 1.5 * 2^23 rounds to the nearest integer without a library call.
    const F4 n = (x * 1.44269504088896341f + 12582912.0f) - 12582912.0f;
    const F4 r = (x - n * 0.693359375f) + n * 2.12194440e-4f;
    F4 p = F4{} + 1.9875691500e-4f;
    p = p * r + 1.3981999507e-3f;
    p = p * r + 8.3334519073e-3f;
    p = p * r + 4.1665795894e-2f;
    p = p * r + 1.6666665459e-1f;
    p = p * r + 5.0000001201e-1f;
    p = p * (r * r) + r + 1.0f;
    return p * (F4)((__builtin_convertvector(n, I4) + 127) << 23);
}
ZN_FX_INLINE float exp(float x) noexcept { return exp(F4{x, x, x, x})[0]; }

// Square roots of four lanes, correctly rounded like std::sqrt.
ZN_FX_INLINE F4 sqrt(F4 x) noexcept {
#if defined(__SSE__) || defined(__x86_64__)
    return _mm_sqrt_ps(x);
#else
    for (int k = 0; k < 4; ++k) x[k] = std::sqrt(x[k]);
    return x;
#endif
}

// Sets flush-to-zero and denormals-are-zero for the life of the guard: recursive lines that
// decay in silence would otherwise spend their time on denormal arithmetic. Values below
// 1.2e-38 become zero, far below anything audible.
class DenormalGuard {
public:
#if defined(__SSE__) || defined(__x86_64__)
    DenormalGuard() noexcept : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | 0x8040u); }
    ~DenormalGuard() { _mm_setcsr(saved_); }

private:
    unsigned saved_;
#else
    DenormalGuard() noexcept = default;
#endif

public:
    DenormalGuard(const DenormalGuard&) = delete;
    DenormalGuard& operator=(const DenormalGuard&) = delete;
};

}  // namespace ZnPlug::FX::FxMath
