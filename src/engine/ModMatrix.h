#pragma once
#include <cstdint>

namespace MV {

class Morvek;
class Voice;
struct ModulationEntry;

// One entry of the group's modulation table as a voice runs it. The amounts are in the units of
// the destination. `via` points at a constant 1 when the entry has none.
struct ModSlot {
    const float* source = nullptr;
    const float* via = nullptr;
    float* dest = nullptr;
    float amount = 0;
    float amount_via = 0;
    float value = 0;         // the last result
    float source_local = 0;  // storage of a source fixed at note start
    float via_local = 0;

    // `amount` is the depth while the via is 0, `amount_via` while it is 1.
    float compute() const noexcept {
        const float s = *source;
        return s * amount + s * *via * (amount_via - amount);
    }
};

// A voice's modulation table in three runs, by how often a slot must be computed: the audio run
// (a modulator is involved) every sample, the control run (channel or automation values) once
// per render call or slewed, and the static run once at note start, folded into the voice so
// that key- or velocity-scaled settings cost nothing per sample.
class ModMatrix {
public:
    // A stepped controller glides to its new value over this many samples...
    static constexpr int32_t kSmoothSamples = 256;
    // ...moving this part of the remaining distance per sample: 1 / 256.
    static constexpr float kSmoothFactor = 0.00390625f;

    // [audio-thread] [main-lock] Turns the group's table into the voice's slots, audio run first,
    // then control, then static, and stores the run ends and the count of automation readers.
    // The control run gets its first values. `soundingKey` has the slot's transpose.
    static void build(Morvek& engine, Voice& voice, uint8_t playedKey, uint8_t soundingKey);
    // [audio-thread] [main-lock] Evaluates the static run into the destinations and folds them
    // into the voice's static state: modulator rates and levels, filter bases, static pitch,
    // volume, pan, inserts and sends. Sources are taken once, at the first run after build, so
    // running it again after the modulators were set up anew gives the same fold.
    static void runStatic(Voice& voice);
    // [audio-thread] [main-lock] The control run's values from their sources, in one step.
    static void refreshControl(Voice& voice) noexcept;
    // [audio-thread] One sample: clears the destinations of the audio and control runs, adds the
    // audio run, then the control run, slewing it while `smoothLeft` counts down.
    static void accumulate(ModSlot* slots, int32_t nAudio, int32_t nControl, int32_t& smoothLeft) noexcept;

    // [any-thread] The run a usable entry belongs to.
    enum class Run { Audio, Control, Static };
    static Run runOf(const ModulationEntry& entry) noexcept;
    // [any-thread] An amount in the units of `destination`, or false when the voice cannot take
    // it (an insert parameter without an insert). `centsPerKey` is the group's keyboard scale.
    static bool convert(uint8_t destination, float amount, float centsPerKey, double invSampleRate,
                        const Voice& voice, float& out);
    // [any-thread] Keyboard tracking in cents per key of a tuning code, "Inv * 4" to "* 4".
    static float centsPerKey(int32_t tuning) noexcept;
    // [any-thread] The float a destination code names in the voice; null for none.
    static float* destination(Voice& voice, uint8_t code) noexcept;
};

inline void ModMatrix::accumulate(ModSlot* slots, int32_t nAudio, int32_t nControl, int32_t& smoothLeft) noexcept {
    for (int32_t i = 0; i < nControl; ++i) *slots[i].dest = 0;
    for (int32_t i = 0; i < nAudio; ++i) *slots[i].dest += slots[i].compute();
    if (smoothLeft > 0) {
        --smoothLeft;
        for (int32_t i = nAudio; i < nControl; ++i) {
            ModSlot& s = slots[i];
            s.value += (s.compute() - s.value) * kSmoothFactor;
            *s.dest += s.value;
        }
    } else {
        for (int32_t i = nAudio; i < nControl; ++i) *slots[i].dest += slots[i].value;
    }
}

}  // namespace MV
