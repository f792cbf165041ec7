#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"
#include "plug/fx/EffectLfo.h"
#include "plug/fx/StateBuffer.h"

namespace ZnPlug::FX {

// A line of complex values per channel, rotated at every frame by an angle of LFO output + 1
// radians. The LFO has no amplitude, so the angle is 1 radian and the rotation holds still.
// Two channels at most.
class AlienWah : public Effect {
public:
    AlienWah() noexcept = default;

    void prepare(const ProcessContext& context) override;
    void release() override;
    // [audio-thread] par1 is the LFO's rate input, par2 adds to the effective feedback.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float rate = 0.2765053f;  // LFO rate law, 0.5 Hz
    float feedback = 0.5f;
    float delay = 5.0f;       // milliseconds, 0 to 50
    float phase = 0.0f;

private:
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par1, const float* par2) noexcept;

    std::array<EffectLfo, 2> lfos;
    // Per channel `capacity_` pairs of real and imaginary parts.
    StateBuffer<float> lines;
    uint32_t capacity_ = 0;
    uint32_t position = 0;
    uint32_t lineLength = 0;
    float effectiveFeedback = 0;
};

}  // namespace ZnPlug::FX
