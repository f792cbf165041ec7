#pragma once
#include <cstdint>

#include "engine/FastMath.h"

namespace MV {

struct AEG;

// The amplitude envelope of a voice: attack, two decays, sustain and release on a linear level
// whose square is the output, so that a straight ramp sounds as a power curve. Its state is the
// voice's state (0 idle, 1 attack, 2 decay 1, 3 decay 2, 4 sustain, 5 release), which the voice
// keeps and passes in. Rates are per sample, already scaled by 44100 / sample rate.
struct Aeg {
    enum State : uint8_t { kIdle = 0, kAttack = 1, kDecay1 = 2, kDecay2 = 3, kSustain = 4, kRelease = 5 };

    // Level steps per sample of a normalised time: 1 for no time (the stage completes in one
    // sample), else 1 / (seconds * 44100); times `rateRatio`.
    static double rate(float time, double rateRatio);

    // Rates and levels from the group's envelope. Play modes "Oneshot" and "Release" (2 and up)
    // ignore the key: the envelope releases by itself after its decays and, with no release
    // rate, holds there until the wave ends.
    void setup(const AEG& params, double rateRatio, int32_t playmode);
    // Static modulation accumulated in the destinations shapes the rates and the level once,
    // then the accumulators are free for per-sample use again.
    void foldStatic();
    // A fresh attack from silence.
    void start(uint8_t& state);
    // Release within 5 ms at the current rate ratio: what a stolen or cut voice gets.
    void fastRelease(uint8_t& state, double rateRatio);

    // One sample: moves the level and the state, then the squared output.
    void step(uint8_t& state);

    // Modulation destinations.
    float attack_mod = 0;
    float time_mod = 0;
    float amp_mod = 0;
    float out = 0;
    double level = 0;
    double level1 = 1;
    double attack_rate = 1;
    double decay1_rate = 1;
    double decay2_rate = 1;
    double release_rate = 1;
    double sustain = 1;
    double amp = 1;
    bool no_release = false;
};

inline void Aeg::step(uint8_t& state) {
    switch (state) {
    case kAttack:
        level += double(FastMath::fastPow2(10.0f * attack_mod)) * attack_rate;
        if (level >= 1.0) {
            level = 1.0;
            state = kDecay1;
        }
        break;
    case kDecay1:
        level -= double(FastMath::fastPow2(10.0f * time_mod)) * decay1_rate;
        if (level <= level1) {
            level = level1;
            state = kDecay2;
        }
        break;
    case kDecay2: {
        const double delta = double(FastMath::fastPow2(10.0f * time_mod)) * decay2_rate;
        bool arrived;
        if (level < sustain) {
            level += delta;
            arrived = level >= sustain;
        } else {
            level -= delta;
            arrived = level <= sustain;
        }
        if (arrived) {
            level = sustain;
            state = (no_release || sustain == 0) ? kRelease : kSustain;
        }
        break;
    }
    case kRelease:
        level -= double(FastMath::fastPow2(10.0f * time_mod)) * release_rate;
        if (level <= 0) {
            level = 0;
            state = kIdle;
        }
        break;
    default:
        break;
    }
    out = FastMath::clamp01(float((double(amp_mod) + amp) * level * level));
}

}  // namespace MV
