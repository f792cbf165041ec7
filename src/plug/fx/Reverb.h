#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"
#include "plug/fx/Equalizer.h"
#include "plug/fx/StateBuffer.h"

namespace ZnPlug::FX {

// Ten damped combs in parallel and six all-passes in series per channel, after an equalizer that
// passes only the band between the two cuts, and a width matrix over the two channels. Line
// lengths are samples at 44.1 kHz times 44100 / rate, so the reverb shortens in time as the rate
// grows: banks were tuned against that. Two channels at most.
class Reverb : public Effect {
public:
    static constexpr int kCombs = 10;
    static constexpr int kAllPasses = 6;
    static const std::array<int32_t, kCombs> kCombTuning;
    static const std::array<int32_t, kAllPasses> kAllPassTuning;
    static constexpr int32_t kStereoSpread = 23;

    Reverb() noexcept;
    Reverb(const Reverb& other) noexcept;
    Reverb& operator=(const Reverb& other) noexcept;

    void prepare(const ProcessContext& context) override;
    void release() override;
    // [audio-thread] The outputs must not be the inputs.
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    // The length of a line of `tuning` samples at 44.1 kHz for channel `channel`.
    static uint32_t lineLength(int32_t tuning, int channel, double rateRatio) noexcept;

    float roomsize = 0.5f;
    float damp = 0.5f;
    float width = 1.0f;   // -1 to 1
    float lowCut = 0.0f;  // v: v x v x 20000 Hz
    float highCut = 1.0f;

private:
    struct Line {
        uint32_t offset = 0;  // into the pool
        uint32_t length = 1;
        uint32_t pos = 0;
        float store = 0;      // the comb's filter memory
    };

    // Up to `frames` frames (no more than the scratch holds) of one channel from the scratch into
    // `out`: comb bank, then all-pass chain.
    void runChannel(int c, const float* x, float* out, int32_t frames, float d, float fb) noexcept;

    Equalizer band;
    std::array<std::array<Line, 2>, kCombs> combs{};
    std::array<std::array<Line, 2>, kAllPasses> allPasses{};
    StateBuffer<float> pool;  // every line, then the two scratch channels
    uint32_t scratchOffset = 0;
    int32_t scratchFrames = 0;
};

}  // namespace ZnPlug::FX
