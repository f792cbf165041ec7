#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "VoiceFixture.h"
#include "engine/Envelope.h"
#include "model/GroupSoundParams.h"
#include "model/ModulationTables.h"
#include "plug/ValueLaws.h"

using namespace MV;
using namespace MV::Test;
using ZnPlug::TimeLaw;

namespace {
// An envelope runs only while a slot reads it.
void readEnv1(Group& group) {
    ModulationEntry& e = group.addModulation(kSourceEnv1);
    e.destination = kDestPan;
    e.amount = 0.5f;
}

// A normalised time of `samples` samples at 44.1 kHz.
float samplesTime(double samples) { return float(TimeLaw::fromMs(samples / 44.1)); }

Env envelope(float level0, float level1, float level2, float level3, float time1, float time2, float time3) {
    Env e;
    e.level0 = level0;
    e.level1 = level1;
    e.level2 = level2;
    e.level3 = level3;
    e.time1 = time1;
    e.time2 = time2;
    e.time3 = time3;
    return e;
}

void ticks(Envelope& env, int n) {
    for (int i = 0; i < n; ++i) env.tick();
}
}  // namespace

TEST(Envelope, SegmentsOneAndTwoRunThenTheLevelWaitsForTheReleaseAndTheOutputIsItsCube) {
    const Env params = envelope(0.0f, 1.0f, 0.5f, 0.25f, samplesTime(100), 0.0f, 0.0f);
    Envelope env;
    env.setup(params, 1.0, kPlayNormal);
    env.start();
    EXPECT_EQ(env.segment, 1);
    EXPECT_EQ(env.out, 0.0f);

    // Half way up the first segment the level is 0.5, and the next sample puts out its cube.
    ticks(env, 50);
    EXPECT_NEAR(env.level, 0.5f, 1e-3f);
    const float half = env.level;
    env.tick();
    EXPECT_FLOAT_EQ(env.out, half * half * half);

    // A time of 0 is one sample: segment 2 arrives at level 2 at once, and there it stays.
    ticks(env, 60);
    EXPECT_EQ(env.segment, 2);
    EXPECT_NEAR(env.level, 0.5f, 1e-3f);
    const float held = env.level;
    ticks(env, 10000);
    EXPECT_EQ(env.level, held);
    EXPECT_FLOAT_EQ(env.out, held * held * held);

    env.release(params.level3);
    EXPECT_EQ(env.segment, 3);
    env.tick();
    EXPECT_FLOAT_EQ(env.out, held * held * held);
    EXPECT_NEAR(env.level, 0.25f, 1e-6f);
    ticks(env, 100);
    EXPECT_NEAR(env.out, 0.25f * 0.25f * 0.25f, 1e-6f);

    // Moving in bulk ends where ticking does, inside a segment, across its end and while held.
    Envelope a, b;
    a.setup(params, 1.0, kPlayNormal);
    a.start();
    b = a;
    for (const int n : {1, 37, 80, 5000}) {
        ticks(a, n);
        b.advance(n);
        ASSERT_EQ(std::tuple(a.level, a.out, a.seg_pos, a.segment), std::tuple(b.level, b.out, b.seg_pos, b.segment));
    }
}

TEST(Envelope, AmpScalesTheCubeAndLevelsBelowZeroOnlyBendTheSegment) {
    // From 1 down to -1 in 100 samples: the running level stops at 0 half way.
    Env params = envelope(1.0f, -1.0f, 1.0f, 0.0f, samplesTime(100), samplesTime(100), 0.0f);
    params.amp = 0.5f;
    Envelope env;
    env.setup(params, 1.0, kPlayNormal);
    env.start();
    EXPECT_FLOAT_EQ(env.out, 0.5f);
    ticks(env, 49);
    EXPECT_NEAR(env.level, 0.02f, 2e-3f);
    ticks(env, 40);
    EXPECT_EQ(env.level, 0.0f);
    EXPECT_EQ(env.out, 0.0f);

    // Segment 2 still climbs 2 over its time from the stored -1: it reaches 1 half way.
    ticks(env, 11 + 52);
    EXPECT_EQ(env.segment, 2);
    EXPECT_EQ(env.level, 1.0f);
    env.tick();
    EXPECT_FLOAT_EQ(env.out, 0.5f);

    // Static modulation adds to the amp once; the output clamps the sum to 1.
    env.amp_mod = 0.75f;
    env.foldStatic();
    EXPECT_EQ(env.amp_mod, 0.0f);
    env.tick();
    EXPECT_FLOAT_EQ(env.out, 1.0f);

    // At 88.2 kHz a segment takes twice the samples.
    Envelope fast;
    fast.setup(envelope(0.0f, 1.0f, 1.0f, 0.0f, samplesTime(100), 0.0f, 0.0f), 0.5, kPlayNormal);
    fast.start();
    ticks(fast, 100);
    EXPECT_NEAR(fast.level, 0.5f, 1e-3f);
}

TEST(Envelope, NoteOffReleasesFromTheCurrentLevelUnlessTheGroupPlaysOneshot) {
    VoiceRig rig(makeWave(44100, 1, [](unsigned, uint32_t) { return 0.5f; }));
    rig.setLoop(100, 40000, ZnPlug::LoopMode::Forward);
    rig.group->env1 = envelope(0.0f, 1.0f, 0.5f, 0.0f, samplesTime(1024), 0.0f, samplesTime(256));
    rig.group->aeg.release = samplesTime(44100);
    readEnv1(*rig.group);
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    rig.host.run(256);
    EXPECT_EQ(v->env1.segment, 1);
    const float before = v->env1.level;
    EXPECT_NEAR(before, 0.25f, 2e-3f);
    v->enterRelease(rig.engine);
    EXPECT_EQ(v->env1.segment, 3);
    EXPECT_FLOAT_EQ(v->env1.seg_slope, -before);
    rig.host.run(256);
    EXPECT_NEAR(v->env1.level, 0.0f, 1e-3f);

    // "Oneshot" runs segment 3 right after segment 2, and the key changes nothing.
    VoiceRig oneshot(makeWave(44100, 1, [](unsigned, uint32_t) { return 0.5f; }));
    oneshot.group->playmode = kPlayOneshot;
    oneshot.group->env1 = envelope(0.0f, 1.0f, 0.5f, 0.25f, 0.0f, 0.0f, samplesTime(100));
    readEnv1(*oneshot.group);
    Voice* w = oneshot.start(60);
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(w->env1.no_release);
    EXPECT_TRUE(w->aeg.no_release);
    oneshot.host.run(50);
    EXPECT_EQ(w->env1.segment, 3);
    const float falling = w->env1.level;
    EXPECT_GT(falling, 0.25f);
    EXPECT_LT(falling, 0.5f);
    w->enterRelease(oneshot.engine);
    EXPECT_FLOAT_EQ(w->env1.seg_slope, -0.25f);
    // The level is not snapped at a segment's end: it may go one step past.
    oneshot.host.run(200);
    EXPECT_NEAR(w->env1.level, 0.25f, 3e-3f);
}

TEST(Envelope, ABlockGivesWhatTicksGiveOverLongSegments) {
    // Segments of thousands of samples, where a block predicts its levels and checks them: up,
    // down, across zero and one (clamped), slow and fast, released part way; blocks of odd sizes.
    const Env shapes[] = {
        envelope(0, 1, 0.3f, 0, samplesTime(5000), samplesTime(9000), samplesTime(20000)),
        envelope(-1, 1, -0.4f, 0.7f, samplesTime(3000), samplesTime(700), samplesTime(4000)),
        envelope(0.2f, 0.21f, 1, -1, samplesTime(60000), samplesTime(300), samplesTime(90)),
        envelope(1, 0, 0.5f, 1, samplesTime(1), samplesTime(12345), samplesTime(2)),
    };
    const int32_t sizes[] = {256, 37, 1, 200, 255, 4};
    for (const Env& shape : shapes) {
        Envelope ticked, blocked, advanced;  // advanced keeps only the last output
        ticked.setup(shape, 1.0, kPlayNormal);
        ticked.amp_mod = -0.1f;
        ticked.start();
        blocked = advanced = ticked;
        std::vector<float> before(256);
        for (int call = 0; call < 400; ++call) {
            if (call == 150)
                for (Envelope* e : {&ticked, &blocked, &advanced}) e->release(shape.level3);
            const int32_t n = sizes[call % std::size(sizes)];
            blocked.tickBlock(before.data(), n);
            advanced.advance(n);
            for (int32_t i = 0; i < n; ++i) {
                ASSERT_EQ(before[std::size_t(i)], ticked.out) << "call " << call << " sample " << i;
                ticked.tick();
            }
            ASSERT_EQ(blocked.level, ticked.level) << "call " << call;
            ASSERT_EQ(blocked.out, ticked.out) << "call " << call;
            ASSERT_EQ(blocked.segment, ticked.segment) << "call " << call;
            ASSERT_EQ(blocked.seg_pos, ticked.seg_pos) << "call " << call;
            ASSERT_EQ(advanced.level, ticked.level) << "call " << call;
            ASSERT_EQ(advanced.out, ticked.out) << "call " << call;
        }
    }
}
