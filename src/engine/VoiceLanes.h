#pragma once
#include <array>
#include <cstddef>

#include "engine/FastMath.h"
#include "engine/SincKernel.h"

namespace MV {

// The control lanes of the voice that is rendering, and its work buffers. One set lives in the
// engine and is shared by all voices, since only one voice renders at a time.
struct VoiceLanes {
    static constexpr std::size_t kLength = 256;
    enum Lane : std::size_t {
        kAmp,
        kPitchRatio,
        kFilterFreq,
        kFilterRes,
        kFilterDrive,
        kLoopStart,
        kLoopEnd,
        kLoopDir,
        kPan,
        kVolume,
        kInsert1,
        kInsert2,
        kSend1,
        kSend2,
        kSend3,
        kLaneCount
    };

    float* lane(Lane l) noexcept { return lanes[l].data(); }
    bool moves(Lane l) const noexcept { return (moving >> l) & 1u; }
    // A stage that reads `l` as an array gets its one value spread over the first `n` samples
    // when it holds still.
    float* spread(Lane l, int32_t n) noexcept {
        if (!moves(l)) FastMath::fill(lanes[l].data(), lanes[l][0], n);
        return lanes[l].data();
    }

    // The control lanes (kFilterFreq onward) that change within the sub-block, a bit for each;
    // a lane whose bit is clear holds the value at index 0, and only that one is written.
    uint32_t moving = 0;

    alignas(64) std::array<std::array<float, kLength>, kLaneCount> lanes{};
    // Two channels each: the raw voice signal, the filter output and the insert output.
    alignas(64) std::array<std::array<float, kLength>, 2> raw{};
    alignas(64) std::array<std::array<float, kLength>, 2> filtered{};
    alignas(64) std::array<std::array<float, kLength>, 2> inserted{};
    // The sinc kernels' numerator tables of the last cutoff used.
    SincCache sinc;
};

}  // namespace MV
