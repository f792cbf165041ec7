#pragma once
#include <cstdint>

#include "plug/fx/Effect.h"

namespace ZnPlug::FX {

// A soft knee above threshold / 5 after a gain of up to 3. Above 1 the output is the fixed value
// (th + 1) / 2 with no sign: a large negative sample comes out positive.
class Saturation : public Effect {
public:
    Saturation() noexcept = default;

    // [audio-thread] par1 adds to `threshold`, par2 to `gain`.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float threshold = 0.5f;
    float gain = 1.0f;  // linear

private:
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par1, const float* par2) const noexcept;
};

}  // namespace ZnPlug::FX
