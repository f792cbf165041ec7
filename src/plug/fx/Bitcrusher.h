#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"

namespace ZnPlug::FX {

// Sample-rate and word-length reduction: a phase that gains `rate` per frame takes a new sample
// whenever it reaches 1, truncated toward zero to `bits` bits. Ignores wet and dry. Two channels
// at most.
class Bitcrusher : public Effect {
public:
    Bitcrusher() noexcept = default;

    void prepare(const ProcessContext& context) override;
    // [audio-thread] par1 adds whole bits, par2 adds to `rate`.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    int32_t bits = 16;  // 1 to 32
    float rate = 0.5f;  // of the sample rate, 0 to 1

private:
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par1, const float* par2) noexcept;

    float phase = 1.0f;
    std::array<float, 2> held{};
};

}  // namespace ZnPlug::FX
