#pragma once
#include <cmath>
#include <cstdint>

#include "engine/FastMath.h"

namespace MV {

// Level of one output pin for the editor: the block's peak, a peak hold that keeps the highest
// value for about a second and then falls, and a falling bar that decays by 20 dB per second.
struct OutputMeter {
    float peak = 0;
    float hold = 0;
    float fall = 0;
    int32_t holdLeftSamples = 0;

    // [audio-thread] [main-lock]
    void update(const float* samples, int32_t count, double sampleRate) {
        // A comparison, not fmax: it keeps the peak for a NaN just the same, and needs no library
        // call. Four running peaks side by side, so that no sample waits on the one before.
        FastMath::F4 peaks{};
        int32_t i = 0;
        for (; i + FastMath::kWidth <= count; i += FastMath::kWidth) {
            const FastMath::F4 a = FastMath::abs4(FastMath::load4(samples + i));
            peaks = a > peaks ? a : peaks;
        }
        float p = 0;
        for (const float a : {peaks[0], peaks[1], peaks[2], peaks[3]}) p = a > p ? a : p;
        for (; i < count; ++i) {
            const float a = std::fabs(samples[i]);
            p = a > p ? a : p;
        }
        peak = p;
        // 20 dB per second: a factor of 0.1 per sampleRate samples.
        const float decay = float(std::pow(0.1, double(count) / sampleRate));
        fall = std::fmax(p, fall * decay);
        if (p >= hold) {
            hold = p;
            holdLeftSamples = int32_t(sampleRate);
        } else if ((holdLeftSamples -= count) <= 0) {
            hold = std::fmax(p, hold * decay);
        }
    }
};

}  // namespace MV
