#pragma once
#include <cstdint>

namespace MV {

// The round robin counter of a program, group or wave matrix: raised by the engine at each note
// that reaches the item, reset at all-notes-off. A copy starts counting afresh.
class RoundRobin {
public:
    RoundRobin() noexcept = default;
    RoundRobin(const RoundRobin&) noexcept {}
    RoundRobin& operator=(const RoundRobin&) noexcept {
        rr_count = 0;
        return *this;
    }

    void resetRoundRobin() noexcept { rr_count = 0; }

    // 8 bit and wrapping: the switcher and matrix arithmetic take it modulo 256.
    uint8_t rr_count = 0;
};

}  // namespace MV
