#pragma once
#include <cstdint>

#include "plug/ProcessContext.h"
#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

// The modulation LFO as the effects borrow it, on the shape "Sinus": a 32-bit phase whose top 8
// bits index a 256-point table and whose low 24 bits blend towards the next point. The effects
// configure it with an amplitude of 0, so its output is 0 unless an amplitude input arrives.
struct EffectLfo {
    static constexpr int kPoints = 256;

    // Step from a stored rate in the LFO rate law; amplitude 0, no amplitude input, full fade.
    // The phase is left where it is. [audio-thread]
    void configure(float rate, const ProcessContext& context) noexcept;
    // The phase of a free-running LFO at the transport position: increment x position, wrapped.
    void reposition(double samplePos) noexcept;

    // The output at the current phase.
    ZN_FX_INLINE float compute() const noexcept {
        const uint32_t i = phase >> 24;
        const float f = float(phase & 0xFFFFFFu) * 5.9604645e-8f;
        const float v = (1.0f - f) * table[i] + f * table[(i + 1) & 0xFFu];
        return v * FxMath::clamp01(amp + ampMod) * fade * fade;
    }
    // One frame: the output from the phase before the step, then the phase moves by the
    // increment plus the truncated rate input, but never backward.
    ZN_FX_INLINE float step() noexcept {
        value = compute();
        advance();
        if (fadeStep > 0) {
            fade += fadeStep;
            if (fade >= 1.0f) {
                fade = 1.0f;
                fadeStep = 0;
            }
        }
        return value;
    }
    ZN_FX_INLINE void advance() noexcept {
        const int64_t s = int64_t(FxMath::truncInt32(rateMod)) + increment;
        if (s >= 1) phase += uint32_t(s);
    }

    float rateMod = 0;
    float value = 0;
    uint32_t phase = 0;
    int32_t increment = 0;
    float fadeStep = 0;
    float fade = 1;
    float ampMod = 0;
    float amp = 0;
    const float* table;

    EffectLfo() noexcept;
};

}  // namespace ZnPlug::FX
