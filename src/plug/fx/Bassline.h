#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"

namespace ZnPlug::FX {

// The bass filter of the "Bassline" insert: four one-pole stages with a high-passed resonance
// loop, run four times per sample on the same input. The cutoff is a fraction of 22050 Hz fixed
// at 44.1 kHz scaling (the filter does not follow the sample rate) and reaches the coefficients
// through a smoother, which is fed with the cutoff for both of its values: the resonance only
// wakes the update. Ignores wet and dry. Two channels at most.
class Bassline : public Effect {
public:
    Bassline() noexcept;

    // [main-lock] Takes the insert's "freq" and "res": sets the cutoff fraction and the loop's
    // high-pass, and makes the next frame update the coefficients.
    void update(float freq, float res) noexcept;
    // [audio-thread] At a voice's start: clears the memories and sets the smoothers to the
    // cutoff and the resonance as they stand.
    void reset() noexcept;

    // [audio-thread] par1 adds to the cutoff fraction, par2 to the resonance.
    void processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                          int32_t channels, const float* par1, const float* par2) override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    float freq = 1.0f;  // v: v x v x 20000 Hz
    float res = 0.0f;

private:
    struct Channel {
        float y1 = 0, y2 = 0, y3 = 0, y4 = 0, hx = 0, hy = 0;
    };
    static constexpr double a = 0.9900000095367432;
    static constexpr double b = 0.009999990463256836;

    template <bool Modulated>
    void run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames, int32_t channels,
             const float* par1, const float* par2) noexcept;
    // The coefficients for the smoothed values w and q.
    void coefficients(float w, float q) noexcept;

    float cutoff = 0;
    float resonance = 0;
    std::array<Channel, 2> state{};
    double z1 = 0;
    double z2 = 0;
    float lastCut = 0;
    float lastRes = 0;
    float k = 0;
    float g = 0;
    float ac = 0;
    float b0 = 0;
    float b1 = 0;
    float c = 0;
    // The smoothed values the coefficients were last made from; NaN before the first.
    float madeW;
    float madeQ;
};

}  // namespace ZnPlug::FX
