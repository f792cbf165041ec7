#pragma once
#include <cstdint>

namespace MV {

// How a key's velocity becomes gain. Curve codes: 0 default, 1 "Linear", 2 "Exp1", 3 "Exp2",
// 4 "Exp3", 5 "Log1", 6 "Log2", 7 "Log3"; 0 and unknown codes count as linear.
struct VelocityCurve {
    // Gain 0 to 1 of a 7-bit velocity on the curve.
    static float gain(uint8_t curve, uint8_t velocity) noexcept;
    // The note's level from the curve's gain `g` and the group's sensitivity `k` (-1 to 1): full
    // sensitivity follows the curve, 0 ignores velocity, negative values turn it round.
    static float staticGain(float g, float k) noexcept { return k < 0 ? g * k + 1.0f : 1.0f - (1.0f - g) * k; }
    // The first non-zero of the group's, the slot's and the engine's codes; 1 when all are 0.
    static uint8_t effective(uint8_t group, uint8_t slot, uint8_t engineDefault) noexcept {
        return group ? group : slot ? slot : engineDefault ? engineDefault : 1;
    }
};

}  // namespace MV
