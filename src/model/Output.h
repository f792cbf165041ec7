#pragma once
#include <array>
#include <cstdint>
#include <string>

namespace MV {

// One of the twelve named outputs: four stereo pairs on pins 0 to 7, eight mono pins 8 to 15.
struct Output {
    std::string name;
    uint8_t pin = 0;  // first host output pin
    uint8_t channels = 2;
    bool enabled = true;
    uint8_t id = 0;  // 0 to 11

    // A mono pin, even when paired to a stereo output.
    bool isMonoPin() const noexcept { return channels < 2 || pin >= 8; }
    bool operator==(const Output&) const = default;

    // "S 1+2" to "S 7+8" on pins 0, 2, 4, 6, then "M 1" to "M 8" on pins 8 to 15, all enabled.
    static std::array<Output, 12> defaults();
};

}  // namespace MV
