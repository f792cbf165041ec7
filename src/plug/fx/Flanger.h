#pragma once
#include <cstdint>

#include "plug/fx/Chorus.h"

namespace ZnPlug::FX {

// The chorus line with subtractive feedback. Its LFO never receives an amplitude input, so the
// delay always rests at depthSamples / 2 + delaySamples; an insert's second modulation input
// adds to the feedback instead.
class Flanger : public Chorus {
public:
    Flanger() noexcept = default;

    // [audio-thread] par1 is the LFO's rate input, par2 adds to `feedback`.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float feedback = 0.5f;

private:
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par2) noexcept;
};

}  // namespace ZnPlug::FX
