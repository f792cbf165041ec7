#include "engine/Aeg.h"

#include <algorithm>
#include <cmath>

#include "model/GroupSoundParams.h"
#include "plug/ValueLaws.h"

namespace MV {

namespace {
// The shortest release any note gets: the time law's value of 0.08 (about 0.7 ms).
constexpr float kMinReleaseTime = 0.08f;
// A decay 1 never ends at full level, so that it has a length.
constexpr float kMaxDecayLevel = 0.99f;
// The sustain is pulled this far from level 1 when both are equal, so that decay 2 lasts.
constexpr double kSustainPull = 0.01;
// The fast release: 5 ms at 44.1 kHz.
constexpr double kFastReleaseSeconds = 0.005;
}  // namespace

double Aeg::rate(float time, double rateRatio) {
    return ZnPlug::TimeLaw::ratePerSample(double(time)) * rateRatio;
}

void Aeg::setup(const AEG& params, double rateRatio, int32_t playmode) {
    attack_rate = rate(params.attack, rateRatio);
    level1 = params.decay1 > 0 ? std::min(double(params.level1), double(kMaxDecayLevel)) : double(params.level1);
    decay1_rate = rate(params.decay1, rateRatio) * (1.0 - level1);
    sustain = double(params.sustain);
    if (sustain == level1 && params.decay2 > 0) sustain = std::fabs(level1 - kSustainPull);
    decay2_rate = rate(params.decay2, rateRatio) * std::fabs(level1 - sustain);
    release_rate = rate(std::max(params.release, kMinReleaseTime), rateRatio);
    no_release = false;
    amp = 1.0;
    attack_mod = 0;
    time_mod = 0;
    if (playmode >= 2) {
        no_release = true;
        release_rate = 0;
    }
}

void Aeg::foldStatic() {
    attack_rate *= double(FastMath::fastPow2(10.0f * attack_mod));
    const double timeScale = double(FastMath::fastPow2(10.0f * time_mod));
    decay1_rate *= timeScale;
    decay2_rate *= timeScale;
    release_rate *= timeScale;
    attack_mod = 0;
    time_mod = 0;
    amp += double(amp_mod);
    amp_mod = 0;
}

void Aeg::start(uint8_t& state) {
    state = kAttack;
    level = 0;
    out = 0;
}

void Aeg::fastRelease(uint8_t& state, double rateRatio) {
    if (state == kIdle) return;
    state = kRelease;
    release_rate = rateRatio / (kFastReleaseSeconds * 44100.0);
}

int32_t Aeg::run(uint8_t& state, float gain, float* amp_out, int32_t n, float* before) {
    // An idle envelope makes its one sample, as step() would.
    Runner runner(*this, state, gain, amp_out, before);
    const int32_t made = runner.run(0, n);
    runner.finish();
    return made;
}

}  // namespace MV
