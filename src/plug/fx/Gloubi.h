#pragma once
#include <cstdint>

#include "plug/fx/Effect.h"
#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

// An asymmetric soft clipper built from exponentials. Ignores wet and dry and the modulation
// inputs.
class Gloubi : public Effect {
public:
    Gloubi() noexcept = default;

    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    // The curve for one sample already scaled by gain x 0.686306.
    static float shape(float x) noexcept;
    // The same for four samples at once.
    static FxMath::F4 shape(FxMath::F4 x) noexcept;

    float gain = 1.0f;  // linear
};

}  // namespace ZnPlug::FX
