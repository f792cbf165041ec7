#pragma once
#include <cmath>
#include <cstdint>
#include <cstring>

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

// of() over a work buffer in place, several values side by side in double: the same operations
// in the same order, so every value is the same bits. `wide` lets it use AVX2 where the processor
// has it; tests compare both paths.
void ofLane(float* values, int32_t n, bool wide = true) noexcept;

}  // namespace MV::Exp2
