#include "engine/VelocityCurve.h"

#include <algorithm>
#include <cmath>

namespace MV {

namespace {
constexpr float kInv127 = 0.007874016f;  // 1 / 127
constexpr float kE = 2.7182817f;
constexpr float kLn2 = 0.6931472f;
}  // namespace

float VelocityCurve::gain(uint8_t curve, uint8_t velocity) noexcept {
    const float v = std::clamp(float(velocity) * kInv127, 0.0f, 1.0f);
    switch (curve) {
    case 2:
        return (std::exp(v) - 1.0f) / (kE - 1.0f);
    case 3:
        return v * v;
    case 4:
        return v * v * v;
    case 5:
        return std::log(1.0f + v) / kLn2;
    case 6:
        return 1.0f - (1.0f - v) * (1.0f - v);
    case 7:
        return 1.0f - (1.0f - v) * (1.0f - v) * (1.0f - v);
    default:
        return v;
    }
}

}  // namespace MV
