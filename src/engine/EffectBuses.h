#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "engine/RouteTable.h"
#include "plug/AssignableAutomation.h"

namespace MV {

class Performance;

// The six FX bus input pairs and the scratch pair that a unit writes into, backed by one
// allocation of 14 * block_size floats, and the walk that runs the buses of a performance in
// dependency order for a segment.
class EffectBuses {
public:
    static constexpr int kBuses = 6;

    // [ui-thread] [main-lock] Lays out 14 * blockSize floats: bus i left at 2 * i * blockSize,
    // right behind it, the scratch pair at 12 and 13 * blockSize. Allocates: never from process.
    void resize(int32_t blockSize);
    int32_t blockSize() const noexcept { return blockSize_; }

    float* left(int bus) noexcept { return buffers_[std::size_t(bus)][0]; }
    float* right(int bus) noexcept { return buffers_[std::size_t(bus)][1]; }

    // [audio-thread] [main-lock] Clears [from, to) of both inputs of every bus that has a unit.
    void clearInputs(const Performance& performance, int32_t from, int32_t to) noexcept;

    // [audio-thread] [main-lock] Runs every bus of the performance once for the segment
    // [segStart, segEnd) of a block of `count` frames. A bus that feeds another runs first; of a
    // cycle, the bus found second is dropped for the segment. A unit always processes the whole
    // block from 0 (so a block split by a performance switch runs it once per segment), and only
    // the segment's part of its output is mixed into the destination.
    // Parameters bound to automation take their cells' values before the unit runs.
    void run(const Performance& performance, const RouteTable& routes, const ZnPlug::AssignableAutomation& cells,
             int32_t segStart, int32_t segEnd, int32_t count) noexcept;

private:
    std::vector<float> pool_;
    std::array<std::array<float*, 2>, kBuses> buffers_{};
    std::array<float*, 2> scratch_{};
    int32_t blockSize_ = 0;
};

}  // namespace MV
