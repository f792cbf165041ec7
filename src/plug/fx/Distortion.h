#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"

namespace ZnPlug::FX {

// A triangular wave folder above a limit of threshold / 5, with feedback of its own output and
// a make-up gain of (2 - threshold)^2. The dry branch carries the input with the feedback in it.
// Two channels at most.
class Distortion : public Effect {
public:
    Distortion() noexcept = default;

    void prepare(const ProcessContext& context) override;
    // [audio-thread] par1 adds to `threshold`, par2 to `feedback`.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    // ||fmod(x - lim, 4 lim)| - 2 lim| - lim.
    static float fold(float x, float lim) noexcept;

    float threshold = 0.5f;
    float feedback = 0.0f;

private:
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par1, const float* par2) noexcept;

    std::array<float, 2> last{};
};

}  // namespace ZnPlug::FX
