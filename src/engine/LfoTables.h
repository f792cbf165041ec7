#pragma once
#include <cstdint>

namespace MV {

// The five LFO wave shapes, 256 points per cycle, by type code: "Triangle", "Sinus", "Sawtooth",
// "Square", "Exponent". Built once when the library loads and shared by every voice; an LFO
// reads point i and point (i + 1) & 255 and blends them by the phase fraction.
class LfoTables {
public:
    static constexpr int kPoints = 256;

    // [any-thread] The table of `type`; a code past the last one reads "Sinus".
    static const float* table(uint8_t type) noexcept;
};

}  // namespace MV
