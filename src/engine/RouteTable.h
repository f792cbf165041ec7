#pragma once
#include <array>
#include <cstdint>

namespace MV {

// Routing numbers, one shared code for sends and outputs: 0 none, 1 to 6 the FX buses "FX1" to
// "FX6", 7 to 18 the twelve named outputs. The engine refreshes the table at the start of every
// block, since the host's output pointers may change from block to block.
struct RouteTable {
    static constexpr int kCodes = 19;
    static constexpr int kFirstBus = 1;
    static constexpr int kFirstOutput = 7;

    struct Route {
        float* channel[2] = {nullptr, nullptr};
        int32_t channels = 0;  // 0 for a code that reaches nothing
    };

    // Buffers and channel count of a code; any other number reaches nothing.
    const Route& operator[](int code) const noexcept {
        return (code > 0 && code < kCodes) ? routes[std::size_t(code)] : routes[0];
    }

    std::array<Route, kCodes> routes{};
};

}  // namespace MV
