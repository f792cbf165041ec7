#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"

namespace ZnPlug::FX {

// Three bands split by two chains of four one-pole low-passes. The crossover coefficients are
// smoothed towards sin(hz x pi / rate), without the usual factor 2, so the crossovers lie about
// an octave below their nominal frequencies. The dry branch is delayed three samples to line up
// with the filters. Two channels at most.
class Equalizer : public Effect {
public:
    Equalizer() noexcept = default;

    // Sets the smoothers from the stored cut values rather than hertz, so that the coefficients
    // start near 0 and rise in the first milliseconds.
    void prepare(const ProcessContext& context) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float lowCut = 0.2097618f;  // v: v x v x 20000 Hz (880 Hz)
    float highCut = 0.5f;       // 5000 Hz
    float lowGain = 1.0f;
    float midGain = 1.0f;
    float highGain = 1.0f;

private:
    struct Channel {
        float l0 = 0, l1 = 0, l2 = 0, l3 = 0;
        float h0 = 0, h1 = 0, h2 = 0, h3 = 0;
        float s1 = 0, s2 = 0, s3 = 0;
    };
    static constexpr double a = 0.9900000095367432;
    static constexpr double b = 0.009999990463256836;

    std::array<Channel, 2> state{};
    double zl = 0;
    double zh = 0;
    double inv_sample_rate = 1.0 / 44100.0;
};

}  // namespace ZnPlug::FX
