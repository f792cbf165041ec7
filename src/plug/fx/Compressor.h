#pragma once
#include <cstdint>

#include "plug/fx/Effect.h"

namespace ZnPlug::FX {

// A peak envelope (fast up, fast down) over the power of all channels, and a gain that falls by
// `slope` per unit of envelope above `threshold`. All channels take the same gain; there is no
// floor, so the gain goes negative above threshold + 1 / slope.
class Compressor : public Effect {
public:
    Compressor() noexcept = default;

    // Sets the power smoother from the time law at the value 2, which makes it pass the power
    // through unchanged at every usable rate.
    void prepare(const ProcessContext& context) override;
    // [audio-thread] par1 adds to `threshold`, par2 to `slope`.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float threshold = 0.5f;
    float slope = 0.5f;

private:
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par1, const float* par2) noexcept;

    float lastPower = 0;
    float envelope = 0;
    float c1 = 1.0f;
    float c2 = -0.0f;
};

}  // namespace ZnPlug::FX
