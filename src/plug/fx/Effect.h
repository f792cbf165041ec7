#pragma once
#include <cstdint>

#include "plug/ProcessContext.h"

namespace ZnPlug::FX {

// The signal side of an effect unit. A send effect runs `process` once per block on its bus; an
// insert runs `processModulated` inside its voice, in place, with one value of each of its two
// modulation inputs per frame. The parameters are public fields that the unit writes and the
// loops read once a block or once a frame; the state lives behind prepare.
//
// Copies carry the parameter values only: a copy is unprepared and owns no state until its own
// prepare. Threads: the unit's owner calls everything under the engine's main lock.
class Effect {
public:
    Effect() noexcept = default;
    Effect(const Effect& other) noexcept : wet(other.wet), dry(other.dry) {}
    Effect& operator=(const Effect& other) noexcept {
        wet = other.wet;
        dry = other.dry;
        context_ = nullptr;
        return *this;
    }
    virtual ~Effect() = default;

    // [ui-thread or audio-thread] [main-lock] On a change of sample rate or block size: keeps the
    // context, which it reads at every block from then on, and builds the state cleared.
    virtual void prepare(const ProcessContext& context);
    // [main-lock] Frees what prepare allocated; processing afterwards gives silence where the
    // effect needs its state.
    virtual void release();
    // [audio-thread] [main-lock] `frames` frames from `start`; inputs and outputs may be the same
    // buffers. par1 and par2 hold one value per frame, indexed like the buffers. Allocates nothing.
    virtual void processModulated(const float* const* inputs, float* const* outputs, int32_t start,
                                  int32_t frames, int32_t channels, const float* par1, const float* par2);
    // [audio-thread] [main-lock] As processModulated with both inputs at zero.
    virtual void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                         int32_t channels) = 0;

    // output = input x dry + output x wet, skipped at wet 1 and dry 0.
    void mixDry(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                int32_t channels) const noexcept;

    float wet = 1.0f;
    float dry = 0.0f;

protected:
    // Silence in the outputs: what an effect without its state gives.
    static void silence(float* const* outputs, int32_t start, int32_t frames, int32_t channels) noexcept;

    const ProcessContext* context_ = nullptr;
};

}  // namespace ZnPlug::FX
