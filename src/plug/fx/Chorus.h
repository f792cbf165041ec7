#pragma once
#include <cstdint>

#include "plug/fx/Effect.h"
#include "plug/fx/EffectLfo.h"
#include "plug/fx/StateBuffer.h"

namespace ZnPlug::FX {

// A modulated delay line of 8192 samples read with linear interpolation; the second channel
// carries the wet signal in opposite polarity. Its LFO has no amplitude of its own: as a send
// effect the delay rests at depthSamples / 2 + delaySamples, and only an insert's second
// modulation input ("Insert Par 2", the LFO's amplitude input) sweeps it.
class Chorus : public Effect {
public:
    static constexpr int32_t kBufferSize = 8192;
    static constexpr int32_t kMask = kBufferSize - 1;

    Chorus() noexcept = default;

    void prepare(const ProcessContext& context) override;
    void release() override;
    // [audio-thread] par1 is the LFO's rate input, par2 its amplitude input.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float rate = 0.1f;   // 0 to 1: 0.1 + 1.1 x (10^v - 1) Hz
    float width = 0.5f;  // depth, 0 to 1 of 50 ms
    float delay = 0.1f;  // 0 to 1: 10^(2v) ms

protected:
    // Once a block: LFO step and phase from the rate and the transport, and the two lengths.
    void setUpBlock() noexcept;

    EffectLfo lfo;
    StateBuffer<float> buffer;
    int32_t writeCounter = 0;
    float depthSamples = 0;
    float delaySamples = 0;

private:
    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par1, const float* par2) noexcept;
};

}  // namespace ZnPlug::FX
