#pragma once
#include <cstdint>

#include "engine/FastMath.h"

namespace ZnPlug {
struct ProcessContext;
}

namespace MV {

struct LFO;

// What LFOs and step sequencers share: a 32-bit phase whose top 8 bits index a 256-point table
// and whose low 24 bits blend towards the next point, a step per sample, a fade-in, and the
// tempo rule in mode "Tempo". Rates are per second; steps are phase units per sample.
//
// Threads: [audio-thread] [main-lock], as part of the voice that owns it.
struct LfoCore {
    // One cycle: 256 points of 2^24 fraction units.
    static constexpr double kCycle = 4294967296.0;
    // A fraction unit as a part of one point: 2^-24.
    static constexpr float kFraction = 5.9604645e-08f;
    static constexpr uint32_t kLastPoint = 255;

    // The phase step of `hz` cycles per second, truncated and held to what the step can carry.
    // Rate modulation amounts become steps the same way, so that they add in hertz.
    static int32_t phaseStep(double hz, double invSampleRate) noexcept;

    // Step, fade and amplitude from the stored rate (the rate law, or a note value in mode
    // "Tempo"), fade-in time and amplitude; clears the modulation inputs. `scale` must be set.
    void setupRate(float rate, uint8_t mode, float fadein, float amplitude, const ZnPlug::ProcessContext& ctx);
    // The phase of a fresh note by `sync`: "Key" starts at `pos`; "Group" and "Voice" take the
    // phase of `peer` when there is one; "None" runs as if it had been running since the
    // transport's zero.
    void startPhase(float pos, uint8_t sync, const ZnPlug::ProcessContext& ctx, const LfoCore* peer) noexcept;
    // Mode "Tempo" only: the step at the host's current tempo.
    void followTempo(const ZnPlug::ProcessContext& ctx) noexcept;
    // Static modulation gathered in the inputs becomes part of the step and the amplitude once.
    void foldStatic() noexcept;

    // The phase moves per sample; a rate input never runs it backward, a negative sum stops it.
    uint32_t increment() const noexcept {
        const int64_t sum = int64_t(step) + int64_t(rate_mod);
        return sum > 0 ? uint32_t(sum) : 0u;
    }
    // One sample, given the table's value at the phase before the step.
    void tickWith(float value) noexcept {
        phase += increment();
        out = value * FastMath::clamp01(amp_mod + amp) * fade * fade;
        if (fade_step > 0) {
            fade += fade_step;
            if (fade >= 1.0f) {
                fade = 1.0f;
                fade_step = 0;
            }
        }
    }
    // `n` ticks while the modulation holds still, with the output before each one in `before`;
    // `valueAt` reads the table at a phase, `valuesAt` at four (and whether they span less than a
    // point). The running values stay in locals
    // meanwhile.
    template <class ValueAt, class ValuesAt>
    void tickBlock(float* before, int32_t n, ValueAt valueAt, ValuesAt valuesAt) noexcept {
        const uint32_t inc = increment();
        const float gain = FastMath::clamp01(amp_mod + amp);
        uint32_t ph = phase;
        float o = out, f = fade, fs = fade_step;
        int32_t i = 0;
        auto tickOne = [&] {
            before[i] = o;
            const float v = valueAt(ph);
            ph += inc;
            o = v * gain * f * f;
            if (fs > 0) {
                f += fs;
                if (f >= 1.0f) {
                    f = 1.0f;
                    fs = 0;
                }
            }
            ++i;
        };
        while (i < n && fs > 0) tickOne();
        // Past the fade the phases step evenly and nothing else moves: four samples at a time,
        // each output the before of the next sample.
        if (i + 4 < n) {
            using U4 = FastMath::U4;
            U4 at = U4{ph, ph + inc, ph + 2 * inc, ph + 3 * inc};
            const uint32_t inc4 = 4 * inc;
            // Four phases that span less than a point and begin and end on the same one share it.
            const bool near = uint64_t(inc) * 3 < (uint64_t(1) << 24);
            before[i] = o;
            // Past its fade the fade is 1, and multiplying by it changes nothing.
            if (f == 1.0f)
                for (; i + 4 < n; i += 4) {
                    FastMath::store4(before + i + 1, valuesAt(at, near) * gain);
                    at += inc4;
                }
            for (; i + 4 < n; i += 4) {
                FastMath::store4(before + i + 1, valuesAt(at, near) * gain * f * f);
                at += inc4;
            }
            o = before[i];
            ph = at[0];
        }
        while (i < n) tickOne();
        phase = ph, out = o, fade = f, fade_step = fs;
    }
    // For `n` samples that nobody reads: moves the phase over all but the last ones where the
    // result is exactly that of stepping; returns how many samples are left to tick.
    int32_t skip(int32_t n) noexcept {
        if (fade_step > 0 || n <= 1) return n;
        phase += uint32_t(n - 1) * increment();
        return 1;
    }

    // Modulation destination, in phase units per sample.
    float rate_mod = 0;
    float out = 0;
    uint32_t phase = 0;  // top 8 bits the table index, low 24 the fraction
    int32_t step = 0;
    float fade_step = 0;
    float fade = 1;
    float scale = 1;
    // Modulation destination.
    float amp_mod = 0;
    float amp = 1;
    // Mode "Tempo": cycles per second per beat per minute, times `scale`; 0 in mode "Normal".
    double tempo_factor = 0;
};

// An LFO (LFO1, LFO2) over one of the shared wave tables.
struct Lfo : LfoCore {
    void setup(const LFO& params, const ZnPlug::ProcessContext& ctx);
    // The fresh note's phase, and the output it starts from.
    void start(float pos, uint8_t sync, const ZnPlug::ProcessContext& ctx, const Lfo* peer) noexcept;

    float valueAt(uint32_t at) const noexcept {
        const uint32_t i = at >> 24;
        const float f = float(at & 0xFFFFFFu) * kFraction;
        return (1.0f - f) * table[i] + f * table[(i + 1) & kLastPoint];
    }
    // valueAt() at four phases; `near` when the four lie within one point's span.
    FastMath::F4 valuesAt(FastMath::U4 at, bool near) const noexcept {
        const FastMath::U4 i = at >> 24u, next = (i + 1u) & kLastPoint;
        const FastMath::F4 f = FastMath::fraction24(at) * kFraction;
        // A slow LFO stays on one point for many samples: then two reads serve all four.
        if (near && i[0] == i[3]) return (1.0f - f) * table[i[0]] + f * table[next[0]];
        const FastMath::F4 here{table[i[0]], table[i[1]], table[i[2]], table[i[3]]};
        const FastMath::F4 there{table[next[0]], table[next[1]], table[next[2]], table[next[3]]};
        return (1.0f - f) * here + f * there;
    }
    float value() const noexcept { return valueAt(phase); }
    void tick() noexcept { tickWith(value()); }
    void tickBlock(float* before, int32_t n) noexcept {
        LfoCore::tickBlock(
            before, n, [this](uint32_t at) { return valueAt(at); },
            [this](FastMath::U4 at, bool near) MV_HOT_INLINE_LAMBDA { return valuesAt(at, near); });
    }
    void advance(int32_t n) noexcept {
        for (int32_t left = skip(n); left > 0; --left) tick();
    }

    const float* table = nullptr;
};

}  // namespace MV
