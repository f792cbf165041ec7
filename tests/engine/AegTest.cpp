#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine/Aeg.h"
#include "model/GroupSoundParams.h"
#include "plug/ValueLaws.h"

using namespace MV;
using ZnPlug::TimeLaw;

namespace {
// Steps until the state changes (or `limit`), returning the count.
int stepsInState(Aeg& aeg, uint8_t& state, int limit = 1000000) {
    const uint8_t start = state;
    int n = 0;
    while (state == start && n < limit) {
        aeg.step(state);
        ++n;
    }
    return n;
}
}  // namespace

TEST(Aeg, StagesRunForTheirTimesAndTheOutputIsTheSquaredLevel) {
    AEG params;
    params.attack = float(TimeLaw::fromMs(10.0));  // 441 samples
    params.decay1 = float(TimeLaw::fromMs(5.0));
    params.level1 = 0.6f;
    params.decay2 = float(TimeLaw::fromMs(20.0));
    params.sustain = 0.3f;
    params.release = float(TimeLaw::fromMs(50.0));
    Aeg aeg;
    aeg.setup(params, 1.0, kPlayNormal);
    uint8_t state = 0;
    aeg.start(state);
    ASSERT_EQ(state, Aeg::kAttack);

    for (int i = 0; i < 100; ++i) aeg.step(state);
    EXPECT_NEAR(aeg.level, 100.0 / 441.0, 1e-6);
    EXPECT_FLOAT_EQ(aeg.out, float(aeg.level * aeg.level));
    EXPECT_NEAR(stepsInState(aeg, state) + 100, 441, 1);
    EXPECT_EQ(state, Aeg::kDecay1);
    EXPECT_EQ(aeg.level, 1.0);

    // Decay 1 covers 1 - level1 in its time, decay 2 the distance to the sustain in its own.
    EXPECT_NEAR(stepsInState(aeg, state), 220, 1);
    EXPECT_EQ(state, Aeg::kDecay2);
    EXPECT_DOUBLE_EQ(aeg.level, double(0.6f));
    EXPECT_NEAR(stepsInState(aeg, state), 882, 1);
    EXPECT_EQ(state, Aeg::kSustain);
    EXPECT_DOUBLE_EQ(aeg.level, double(0.3f));
    for (int i = 0; i < 5000; ++i) aeg.step(state);
    EXPECT_EQ(state, Aeg::kSustain);

    // The release rate covers the full level in its time, from wherever it starts.
    state = Aeg::kRelease;
    EXPECT_NEAR(stepsInState(aeg, state), 0.3 * 2205, 1);
    EXPECT_EQ(state, Aeg::kIdle);
    EXPECT_EQ(aeg.out, 0.0f);
}

TEST(Aeg, ZeroTimesCompleteInOneSampleAndLevelsKeepTheirDistances) {
    AEG params;  // no times, level1 1, sustain 1
    Aeg aeg;
    aeg.setup(params, 1.0, kPlayNormal);
    uint8_t state = 0;
    aeg.start(state);
    aeg.step(state);
    EXPECT_EQ(state, Aeg::kDecay1);
    EXPECT_EQ(aeg.out, 1.0f);
    aeg.step(state);
    EXPECT_EQ(state, Aeg::kDecay2);
    aeg.step(state);
    EXPECT_EQ(state, Aeg::kSustain);

    // A decay 1 with a time never ends at full level; a sustain equal to level1 is pulled away
    // when decay 2 has a time, so that stage lasts.
    params.decay1 = 0.3f;
    aeg.setup(params, 1.0, kPlayNormal);
    EXPECT_EQ(aeg.level1, double(0.99f));
    params.decay1 = 0;
    params.level1 = params.sustain = 0.7f;
    params.decay2 = 0.3f;
    aeg.setup(params, 1.0, kPlayNormal);
    EXPECT_DOUBLE_EQ(aeg.sustain, std::fabs(double(0.7f) - 0.01));
    EXPECT_GT(aeg.decay2_rate, 0.0);

    // No release is shorter than the time law's value of 0.08.
    params.release = 0;
    aeg.setup(params, 1.0, kPlayNormal);
    EXPECT_DOUBLE_EQ(aeg.release_rate, TimeLaw::ratePerSample(double(0.08f)));
    // At 88.2 kHz every rate halves.
    aeg.setup(params, 0.5, kPlayNormal);
    EXPECT_DOUBLE_EQ(aeg.release_rate, 0.5 * TimeLaw::ratePerSample(double(0.08f)));
}

TEST(Aeg, ZeroSustainAndOneshotReleaseByThemselves) {
    AEG params;
    params.decay2 = float(TimeLaw::fromMs(1.0));
    params.sustain = 0.0f;
    Aeg aeg;
    aeg.setup(params, 1.0, kPlayNormal);
    uint8_t state = 0;
    aeg.start(state);
    for (int i = 0; i < 2000 && state != Aeg::kIdle; ++i) aeg.step(state);
    EXPECT_EQ(state, Aeg::kIdle);  // no note-off needed

    // "Oneshot": at the end of the decays the envelope is in release at rate 0, holding.
    params.sustain = 0.5f;
    aeg.setup(params, 1.0, kPlayOneshot);
    EXPECT_TRUE(aeg.no_release);
    aeg.start(state);
    for (int i = 0; i < 5000; ++i) aeg.step(state);
    EXPECT_EQ(state, Aeg::kRelease);
    EXPECT_DOUBLE_EQ(aeg.level, 0.5);

    // A fast release ends any of them within 5 ms.
    aeg.fastRelease(state, 1.0);
    const int steps = stepsInState(aeg, state);
    EXPECT_LE(steps, 221);
    EXPECT_EQ(state, Aeg::kIdle);
    aeg.fastRelease(state, 1.0);
    EXPECT_EQ(state, Aeg::kIdle);
}

TEST(Aeg, StaticModulationFoldsIntoRatesAndLevelOnce) {
    AEG params;
    params.attack = params.decay1 = params.decay2 = params.release = 0.4f;
    params.level1 = 0.5f;
    params.sustain = 0.25f;
    Aeg plain, folded;
    plain.setup(params, 1.0, kPlayNormal);
    folded.setup(params, 1.0, kPlayNormal);
    folded.attack_mod = 0.1f;  // twice as fast
    folded.time_mod = -0.1f;   // half as fast
    folded.amp_mod = -0.5f;
    folded.foldStatic();
    EXPECT_NEAR(folded.attack_rate / plain.attack_rate, 2.0, 1e-6);
    EXPECT_NEAR(folded.decay1_rate / plain.decay1_rate, 0.5, 1e-6);
    EXPECT_NEAR(folded.release_rate / plain.release_rate, 0.5, 1e-6);
    EXPECT_EQ(folded.amp, 0.5);
    EXPECT_EQ(folded.attack_mod, 0.0f);
    EXPECT_EQ(folded.amp_mod, 0.0f);
}

TEST(Aeg, FastPow2IsExactAtWholeNumbersAndCloseBetween) {
    // An unmodulated envelope (x = 0) must run at exactly its rate.
    for (int i = 0; i <= 20; ++i) EXPECT_EQ(FastMath::fastPow2(float(i)), std::ldexp(1.0f, i)) << i;
    for (float x = -10.0f; x <= 10.0f; x += 0.0137f)
        ASSERT_NEAR(FastMath::fastPow2(x) / std::exp2(x), 1.0, 3e-3) << x;
}

TEST(Aeg, ARunMakesWhatSingleStepsMakeAndStopsWhereTheEnvelopeEnds) {
    // Short stages, and long ones whose levels cross many binades in even steps.
    for (const double ms : {1.0, 150.0}) {
        AEG params;
        params.attack = float(TimeLaw::fromMs(3.0 * ms));
        params.decay1 = float(TimeLaw::fromMs(2.0 * ms));
        params.level1 = 0.5f;
        params.decay2 = float(TimeLaw::fromMs(4.0 * ms));
        params.sustain = 0.0f;  // releases by itself after the decays
        params.release = float(TimeLaw::fromMs(5.0 * ms));
        Aeg stepped, run;
        stepped.setup(params, 1.0, kPlayNormal);
        stepped.attack_mod = -0.05f;
        stepped.time_mod = 0.03f;
        stepped.amp_mod = 0.1f;
        run = stepped;
        uint8_t a = 0, b = 0;
        stepped.start(a);
        run.start(b);
        std::vector<float> made(64), before(64);
        int32_t total = 0;
        while (true) {
            const int32_t n = run.run(b, 0.7f, made.data(), 64, before.data());
            for (int32_t i = 0; i < n; ++i) {
                ASSERT_EQ(before[std::size_t(i)], stepped.out) << "sample " << total + i;
                stepped.step(a);
                ASSERT_EQ(made[std::size_t(i)], 0.7f * stepped.out) << "sample " << total + i;
            }
            ASSERT_EQ(a, b);
            ASSERT_EQ(run.level, stepped.level);
            total += n;
            if (n < 64) break;
        }
        EXPECT_EQ(b, Aeg::kIdle);
        EXPECT_GT(total, 132 * ms);  // longer than the attack alone
    }
}
