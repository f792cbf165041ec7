#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "engine/Lfo.h"

namespace MV {

struct Seq;

// A step sequencer (SEQ1 to SEQ3): an LFO over a table of its own, 256 cells built from the
// group's steps, each step filling 256 / length cells.
struct Sequencer : LfoCore {
    // A step's value as a part of the full swing: 1/127.
    static constexpr float kStepScale = 0.007874016f;

    // Step lengths that fill the table evenly: 0 (silent), 8, 16, 32, 64, 128.
    static bool validLength(std::size_t length) noexcept;
    // The cells of `steps`: each step holds its value, or with `smooth` runs in a straight line
    // to the next step's value (the last one to the first), truncated. Throws "should not reach"
    // for a length that validLength refuses.
    static void buildTable(const std::vector<int8_t>& steps, bool smooth, std::array<int8_t, 256>& table);

    // The table, then the rate; with "Tempo" and `stepsync` the note value is one step's
    // length rather than the whole pattern's. A length that cannot fill the table plays silence:
    // the audio path raises nothing.
    void setup(const Seq& params, const ZnPlug::ProcessContext& ctx);
    void start(float pos, uint8_t sync, const ZnPlug::ProcessContext& ctx, const Sequencer* peer) noexcept;

    float valueAt(uint32_t at) const noexcept {
        const uint32_t i = at >> 24;
        const float f = float(at & 0xFFFFFFu) * kFraction;
        return float(values[i]) * kStepScale * (1.0f - f) + float(values[(i + 1) & kLastPoint]) * kStepScale * f;
    }
    // valueAt() at four phases; `near` when the four lie within one point's span.
    FastMath::F4 valuesAt(FastMath::U4 at, bool near) const noexcept {
        const FastMath::U4 i = at >> 24u, next = (i + 1u) & kLastPoint;
        const FastMath::F4 f = FastMath::fraction24(at) * kFraction;
        // A slow sequencer stays on one cell for many samples: then two reads serve all four.
        if (near && i[0] == i[3])
            return float(values[i[0]]) * kStepScale * (1.0f - f) + float(values[next[0]]) * kStepScale * f;
        const FastMath::F4 here{float(values[i[0]]), float(values[i[1]]), float(values[i[2]]), float(values[i[3]])};
        const FastMath::F4 there{float(values[next[0]]), float(values[next[1]]), float(values[next[2]]),
                                 float(values[next[3]])};
        return here * kStepScale * (1.0f - f) + there * kStepScale * f;
    }
    float value() const noexcept { return valueAt(phase); }
    void tick() noexcept { tickWith(value()); }
    void tickBlock(float* before, int32_t n) noexcept {
        LfoCore::tickBlock(
            before, n, [this](uint32_t at) { return valueAt(at); },
            [this](FastMath::U4 at, bool near) MV_HOT_INLINE_LAMBDA { return valuesAt(at, near); });
    }
    void advance(int32_t n) noexcept {
        for (int32_t left = skip(n); left > 0; --left) tick();
    }

    std::array<int8_t, 256> values{};
};

}  // namespace MV
