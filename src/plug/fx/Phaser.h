#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"
#include "plug/fx/EffectLfo.h"

namespace ZnPlug::FX {

// Six first-order all-passes per channel with feedback, one LFO per channel. The LFOs have no
// amplitude, so the all-passes rest at the middle of the sweep, between 880 and 4400 Hz in the
// program's scaling. Two channels at most.
class Phaser : public Effect {
public:
    static constexpr int kStages = 6;

    Phaser() noexcept = default;

    void prepare(const ProcessContext& context) override;
    // [audio-thread] par1 is the LFOs' rate input, par2 adds to `feedback`.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float rate = 0.2765053f;  // LFO rate law, 0.5 Hz
    float feedback = 0.5f;
    float spread = 0.5f;

private:
    // The all-pass coefficient of the block.
    float setUpBlock() noexcept;
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par2) noexcept;

    std::array<EffectLfo, 2> lfos;
    std::array<std::array<float, kStages>, 2> stages{};
    std::array<float, 2> lastOut{};
    float sweepMin = 0;
    float sweepMax = 0;
};

}  // namespace ZnPlug::FX
