#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "VoiceFixture.h"
#include "engine/Lfo.h"
#include "engine/LfoTables.h"
#include "engine/TempoRule.h"
#include "model/ModulationTables.h"
#include "plug/ProcessContext.h"
#include "plug/ValueLaws.h"

using namespace MV;
using namespace MV::Test;

namespace {
constexpr double kCycle = 4294967296.0;

float samplesTime(double samples) { return float(ZnPlug::TimeLaw::fromMs(samples / 44.1)); }
// The stored rate of a note value.
float noteValue(int division) { return float(division) / 23.0f; }

// How far apart two phases are, in cycles, either way round.
double cycleDistance(uint32_t a, uint32_t b) {
    const double d = double(uint32_t(a - b)) / kCycle;
    return std::min(d, 1.0 - d);
}

// A rig whose voice loops a constant for as long as a test needs.
struct LfoRig : VoiceRig {
    LfoRig() : VoiceRig(makeWave(44100, 1, [](unsigned, uint32_t) { return 0.25f; })) {
        setLoop(100, 40000, ZnPlug::LoopMode::Forward);
    }
    // Host calls of at most one block at `tempo` beats per minute.
    void runAt(double tempo, int32_t samples) {
        ZnPlug::HostTime time;
        time.flags = ZnPlug::HostTime::kTempoValid;
        time.tempo = tempo;
        while (samples > 0) {
            const int32_t n = std::min(samples, 256);
            engine.audioCall(nullptr, host.pointers.data(), n, true, &time, false);
            samples -= n;
        }
    }
};
}  // namespace

TEST(Lfo, TablesHaveTheirShapesAndTheSineItsExtraPoint) {
    const float* tri = LfoTables::table(kLfoTriangle);
    EXPECT_EQ((std::array{tri[0], tri[64], tri[128], tri[192], tri[255]}),
              (std::array{0.0f, 1.0f, 0.0f, -1.0f, -1.0f / 64}));
    const float* sine = LfoTables::table(kLfoSinus);
    EXPECT_EQ(sine[64], 1.0f);
    EXPECT_NEAR(sine[256], 0.0f, 1e-6f);
    const float* saw = LfoTables::table(kLfoSawtooth);
    const float* square = LfoTables::table(kLfoSquare);
    EXPECT_EQ((std::array{saw[0], saw[255], square[127], square[128]}), (std::array{-1.0f, 1.0f, 1.0f, -1.0f}));
    // Up along e^x from -1 to 1 at the middle, and back down the same way.
    const float* expo = LfoTables::table(kLfoExponent);
    EXPECT_EQ(expo[0], -1.0f);
    EXPECT_NEAR(expo[64], 2.0 * (std::exp(0.5) - 1.0) / (std::exp(1.0) - 1.0) - 1.0, 1e-6);
    for (int j = 1; j < 128; ++j) ASSERT_EQ(expo[128 + j], expo[128 - j]) << j;
}

TEST(Lfo, RateZeroHoldsItsStartPointAndANegativeRateStandsStill) {
    LfoRig rig;
    rig.group->lfo1.rate = 0;
    rig.group->lfo1.pos = 0.25f;
    rig.group->lfo1.type = kLfoSinus;
    rig.group->lfo2.rate = -0.5f;
    rig.group->lfo2.pos = 0.5f;
    rig.group->lfo2.type = kLfoSawtooth;
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->lfo1.out, 1.0f);
    for (int block = 0; block < 4; ++block) {
        rig.runAt(120, 256);
        EXPECT_EQ(v->lfo1.out, 1.0f);
        EXPECT_EQ(v->lfo2.phase, 1u << 31);
    }

    // Stepping sample by sample and moving in bulk end in the same place.
    Lfo a;
    ZnPlug::ProcessContext ctx;
    LFO params;
    params.rate = 0.7f;
    a.setup(params, ctx);
    a.start(0.3f, kSyncKey, ctx, nullptr);
    Lfo b = a;
    for (int i = 0; i < 1000; ++i) a.tick();
    b.advance(1000);
    EXPECT_EQ(a.phase, b.phase);
    EXPECT_EQ(a.out, b.out);
}

TEST(Lfo, QuarterNoteInTempoModeMakesOneCyclePerBeatAtTheSongsTempo) {
    // The triplet of a row is 1.5 times as fast.
    EXPECT_DOUBLE_EQ(TempoRule::factor(TempoRule::division(noteValue(13))), 1.5 * TempoRule::factor(12));

    LfoRig rig;
    rig.group->lfo1.mode = kLfoModeTempo;
    rig.group->lfo1.rate = noteValue(12);  // "1/4"
    rig.group->lfo1.pos = 0;
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    // At 100 beats per minute a beat is 0.6 s: 26460 samples. The voice started at the
    // engine's default tempo and follows the host's from its first render call.
    rig.runAt(100, 13230);
    EXPECT_NEAR(cycleDistance(v->lfo1.phase, 1u << 31), 0.0, 1e-4);
    rig.runAt(100, 13230);
    EXPECT_NEAR(cycleDistance(v->lfo1.phase, 0), 0.0, 1e-4);
    // Twice the tempo, twice as fast.
    rig.runAt(200, 6615);
    EXPECT_NEAR(cycleDistance(v->lfo1.phase, 1u << 31), 0.0, 1e-4);
}

TEST(Lfo, SyncNoneRunsAsIfFromTransportZeroAcrossNotes) {
    LfoRig rig;
    rig.group->lfo1.sync = kSyncNone;
    rig.group->lfo1.rate = 0.3f;
    rig.group->lfo1.pos = 0.1f;
    rig.group->lfo2.sync = kSyncNone;
    rig.group->lfo2.mode = kLfoModeTempo;
    rig.group->lfo2.rate = noteValue(14);  // "1/8"
    rig.group->lfo2.pos = 0.6f;
    Voice* first = rig.start(60);
    ASSERT_NE(first, nullptr);
    rig.runAt(120, 768);
    Voice* second = rig.start(64);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->lfo1.phase, first->lfo1.phase);
    EXPECT_NEAR(cycleDistance(second->lfo2.phase, first->lfo2.phase), 0.0, 1e-5);
    // A "Key" LFO starts where its `pos` says.
    rig.group->lfo1.sync = kSyncKey;
    Voice* third = rig.start(67);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(third->lfo1.phase, uint32_t(0.1f * kCycle));
}

TEST(Lfo, GroupAndVoiceSyncTakeThePhaseOfAPlayingVoice) {
    LfoRig rig;
    rig.group->lfo1.sync = kSyncGroup;
    rig.group->lfo2.sync = kSyncVoice;
    rig.group->lfo1.rate = rig.group->lfo2.rate = 0.4f;
    rig.group->seq1.sync = kSyncGroup;
    rig.group->seq1.rate = 0.4f;
    Voice* first = rig.start(60);
    ASSERT_NE(first, nullptr);
    rig.runAt(120, 300);
    ASSERT_NE(first->lfo1.phase, 0u);
    Voice* second = rig.start(62);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->lfo1.phase, first->lfo1.phase);
    EXPECT_EQ(second->lfo2.phase, first->lfo2.phase);
    EXPECT_EQ(second->seq1.phase, first->seq1.phase);

    // Another group of the same program: "Voice" finds the program's voice, "Group" nobody.
    auto other = ZnLib::makeRef<Group>();
    other->splits[0].setWave(rig.wave);
    other->lfo1 = rig.group->lfo1;
    other->lfo2 = rig.group->lfo2;
    rig.program->addGroup(other);
    Voice* third = rig.engine.findFreeVoice();
    ASSERT_TRUE(third->start(rig.engine, rig.engine.channel(0), *rig.slot, *other, *rig.program, 64, 100, 0,
                             rig.engine.nextNoteNumber(), false));
    EXPECT_EQ(third->lfo1.phase, 0u);
    EXPECT_EQ(third->lfo2.phase, first->lfo2.phase);
}

TEST(Lfo, FadeInRisesAsTheSquareOfItsRampInItsTime) {
    LFO params;
    params.type = kLfoSquare;
    params.rate = 0;
    params.fadein = samplesTime(1000);
    for (const double rate : {44100.0, 88200.0}) {
        ZnPlug::ProcessContext ctx;
        ctx.sample_rate = rate;
        ctx.inv_sample_rate = 1.0 / rate;
        ctx.rate_ratio = 44100.0 / rate;
        const int fadeSamples = int(1000 * rate / 44100.0);
        Lfo lfo;
        lfo.setup(params, ctx);
        lfo.start(0, kSyncKey, ctx, nullptr);
        EXPECT_EQ(lfo.out, 0.0f);
        for (int i = 0; i < fadeSamples / 2; ++i) lfo.tick();
        EXPECT_NEAR(lfo.out, 0.25f, 3e-3f) << rate;
        for (int i = 0; i < fadeSamples / 2 + 2; ++i) lfo.tick();
        EXPECT_EQ(lfo.fade, 1.0f);
        EXPECT_EQ(lfo.fade_step, 0.0f);
        lfo.tick();
        EXPECT_EQ(lfo.out, 1.0f);
    }
}

TEST(Lfo, AnEditOfTheGroupReachesThePlayingVoiceWithoutRestartingIt) {
    LfoRig rig;
    rig.group->lfo1.rate = 0.3f;
    rig.group->env1.level1 = 1.0f;
    rig.group->env1.time1 = samplesTime(2048);
    // Read by a slot, so that it runs.
    ModulationEntry& e = rig.group->addModulation(kSourceEnv1);
    e.destination = kDestPan;
    e.amount = 0.5f;
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    rig.runAt(120, 256);
    const uint32_t phase = v->lfo1.phase;
    const float level = v->env1.level;
    ASSERT_GT(level, 0.0f);

    rig.group->lfo1.rate = 0.5f;
    rig.group->touch();
    rig.runAt(120, 256);
    const int32_t step = LfoCore::phaseStep(ZnPlug::RateLaw::hz(0.5), 1.0 / 44100.0);
    EXPECT_EQ(v->lfo1.step, step);
    EXPECT_EQ(v->lfo1.phase, phase + 256u * uint32_t(step));
    EXPECT_GT(v->env1.level, level);
    EXPECT_EQ(v->env1.segment, 1);
}
