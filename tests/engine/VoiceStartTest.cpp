#include <gtest/gtest.h>

#include <cmath>

#include "VoiceFixture.h"
#include "plug/ValueLaws.h"

using namespace MV;
using namespace MV::Test;
using ZnPlug::LoopMode;
using ZnPlug::TimeLaw;

namespace {
auto ramp = [](unsigned, uint32_t i) { return rampValue(i); };
}  // namespace

TEST(VoiceStart, FreshStartOfAPlayingVoiceHandsItsSoundToAFreeVoice) {
    VoiceRig rig(makeWave(5000, 1, ramp));
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    rig.host.run(100);
    ASSERT_TRUE(v->start(rig.engine, rig.engine.channel(0), *rig.slot, *rig.group, *rig.program, 64, 100, 0,
                         rig.engine.nextNoteNumber(), false));
    ASSERT_EQ(rig.engine.poolEnd(), 2);
    const Voice& copy = rig.engine.voice(1);
    EXPECT_EQ(copy.key, 60);
    EXPECT_EQ(copy.state, Voice::kRelease);
    EXPECT_TRUE(copy.flags & Voice::kDead);
    EXPECT_DOUBLE_EQ(copy.position, 100.0);
    EXPECT_EQ(v->key, 64);
    EXPECT_EQ(v->state, Voice::kAttack);
    EXPECT_EQ(v->position, 0.0);
    rig.host.run(256);
    EXPECT_TRUE(copy.idle());  // faded out within 5 ms

    // With every voice busy the sound of the restarted voice just stops.
    while (rig.engine.poolEnd() < Morvek::kVoices) ASSERT_NE(rig.start(60), nullptr);
    const uint32_t before = rig.engine.voice(5).note_number;
    ASSERT_TRUE(rig.engine.voice(5).start(rig.engine, rig.engine.channel(0), *rig.slot, *rig.group, *rig.program, 70,
                                          100, 0, rig.engine.nextNoteNumber(), false));
    EXPECT_NE(rig.engine.voice(5).note_number, before);
    for (int i = 0; i < Morvek::kVoices; ++i) {
        if (i == 5) continue;
        ASSERT_FALSE(rig.engine.voice(i).flags & Voice::kDead) << i;
    }
}

TEST(VoiceStart, MonoRetargetKeepsTheEnvelopeAndNotePriorityRefuses) {
    VoiceRig rig(makeWave(5000, 1, ramp));
    rig.group->polymode = kPolyMono;
    rig.group->noteprio = kNotePrioLowest;
    rig.group->aeg.attack = float(TimeLaw::fromMs(100.0));
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    rig.host.run(256);
    const double level = v->aeg.level;
    auto retarget = [&](uint8_t key) {
        return v->start(rig.engine, rig.engine.channel(0), *rig.slot, *rig.group, *rig.program, key, 100, 0,
                        rig.engine.nextNoteNumber(), false);
    };
    EXPECT_FALSE(retarget(64));  // a higher key while the lowest is held
    EXPECT_EQ(v->key, 60);
    EXPECT_TRUE(retarget(55));
    EXPECT_EQ(v->key, 55);
    EXPECT_EQ(v->state, Voice::kAttack);
    EXPECT_EQ(v->aeg.level, level);     // no new attack
    EXPECT_DOUBLE_EQ(v->position, 256.0);  // the wave goes on...
    EXPECT_EQ(v->declick_left, 64u);       // ...blended from where it was
    EXPECT_EQ(rig.engine.poolEnd(), 1);
    // A released key no longer defends itself.
    v->flags |= Voice::kKeyReleased;
    EXPECT_TRUE(retarget(70));
}

TEST(VoiceStart, VelocityCurveSensitivityAndFadesSetTheLevel) {
    VoiceRig rig(makeWave(100, 1, ramp));
    rig.group->velocityCurve = 3;  // "Exp2"
    const float g = (64 * 0.007874016f) * (64 * 0.007874016f);
    EXPECT_FLOAT_EQ(rig.start(60, 64)->static_gain, g);
    rig.group->velocity = 0.5f;
    EXPECT_FLOAT_EQ(rig.start(60, 64)->static_gain, 1.0f - (1.0f - g) * 0.5f);
    rig.group->velocity = -1.0f;
    EXPECT_FLOAT_EQ(rig.start(60, 64)->static_gain, 1.0f - g);

    // The slot's curve counts when the group has none.
    rig.group->velocity = 1.0f;
    rig.group->velocityCurve = 0;
    rig.slot->velocityCurve = 7;  // "Log3"
    EXPECT_FLOAT_EQ(rig.start(60, 127)->static_gain, 1.0f);

    rig.slot->velocityCurve = 1;
    rig.group->range.lowKey = 40;
    rig.group->fade.lowKey = 50;
    rig.group->range.highVel = 120;
    rig.group->fade.highVel = 100;
    EXPECT_FLOAT_EQ(rig.start(45, 110)->static_gain, 110 * 0.007874016f * 0.5f * 0.5f);
}

TEST(VoiceStart, PitchFollowsTuningRootTransposeAndWaveRate) {
    VoiceRig rig(makeWave(1000, 1, ramp, 22050, 255));  // no root: plays as if at 60
    rig.group->tuning = kTuningTimes2;
    EXPECT_FLOAT_EQ(rig.start(61)->pitch_ratio, std::exp2(200.0f / 1200.0f));
    rig.group->tuning = kTuningFixed;
    EXPECT_FLOAT_EQ(rig.start(90)->pitch_ratio, 1.0f);
    rig.group->tuning = kTuningNormal;
    rig.group->coarse = -12;
    rig.slot->transpose = 24;
    Voice* v = rig.start(60);
    EXPECT_EQ(v->key, 60);  // as played, so that note-off finds it
    EXPECT_FLOAT_EQ(v->pitch_ratio, 2.0f);
    EXPECT_FLOAT_EQ(v->wave_rate, 0.5f);
    v->render(rig.engine, 0, 100);
    EXPECT_NEAR(v->position, 100.0, 1e-4);  // two octaves of ratio at half the wave's rate
}

TEST(VoiceStart, GlideRunsFromThePreviousKeyInItsTime) {
    VoiceRig rig(makeWave(5000, 1, ramp));
    rig.group->polymode = kPolyLegato;
    rig.group->glide = float(TimeLaw::fromMs(10.0));  // 441 samples
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->glide_pitch, v->glide_target);  // the first note has nowhere to glide from
    ASSERT_TRUE(v->start(rig.engine, rig.engine.channel(0), *rig.slot, *rig.group, *rig.program, 72, 100, 0,
                         rig.engine.nextNoteNumber(), false));
    EXPECT_FLOAT_EQ(v->glide_pitch, 0.0f);
    EXPECT_FLOAT_EQ(v->glide_target, 1.0f);
    v->render(rig.engine, 0, 220);
    EXPECT_NEAR(v->glide_pitch, 220.0f / 441.0f, 1e-3);
    v->render(rig.engine, 0, 256);
    EXPECT_EQ(v->glide_pitch, 1.0f);
    EXPECT_FLOAT_EQ(v->pitch_ratio, 2.0f);
}

TEST(VoiceStart, StartOffsetAndDelayAreSamplesAt44kAndDelayScalesTheOtherWay) {
    VoiceRig rig(makeWave(1000, 1, ramp, 22050));
    rig.engine.applySampleRate(88200.0);
    rig.group->start = float(TimeLaw::fromMs(10.0));  // 441 samples at 44.1 kHz
    rig.group->delay = float(TimeLaw::fromMs(10.0));
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    EXPECT_NEAR(v->position, 441.0 * 0.5, 1e-2);   // frames of the 22.05 kHz wave
    EXPECT_NEAR(v->delay_left, 441.0 * 0.5, 1e-2);  // 2.5 ms at 88.2 kHz

    // Past the end only a repeating loop that ends inside the wave keeps the note.
    rig.group->start = float(TimeLaw::fromMs(100.0));
    rig.group->delay = 0;
    EXPECT_EQ(rig.start(60), nullptr);
    rig.setLoop(100, 900, LoopMode::Forward);
    EXPECT_NE(rig.start(60), nullptr);
    rig.setLoop(100, 1000, LoopMode::Forward);
    EXPECT_EQ(rig.start(60), nullptr);
}

TEST(VoiceStart, MatrixCellComesFromTheRoundRobinCountOrTheSource) {
    VoiceRig rig(makeWave(100, 1, ramp));
    auto a = makeWave(100, 1, ramp);
    auto b = makeWave(200, 1, ramp);
    auto matrix = ZnLib::makeRef<WaveMatrix>();
    WaveMatrix::setCellWave(matrix->cell(0, 0), a);
    matrix->addColumn(64);
    WaveMatrix::setCellWave(matrix->cell(1, 0), b);
    rig.group->splits[0].setMatrix(matrix);

    EXPECT_EQ(rig.start(60)->wave, a.get());
    Voice* second = rig.start(60);
    EXPECT_EQ(second->wave, b.get());
    EXPECT_EQ(second->matrix_x, 1);
    EXPECT_EQ(second->matrix, matrix.get());
    matrix->xAxis.invert = true;
    EXPECT_EQ(rig.start(60)->wave, b.get());  // count 3: column 0, mirrored
    EXPECT_EQ(matrix->rr_count, 3);

    // The group's counter instead of the matrix's own.
    matrix->xAxis.invert = false;
    matrix->xAxis.roundRobinSource = kRoundRobinGroup;
    rig.group->rr_count = 2;
    EXPECT_EQ(rig.start(60)->wave, b.get());
}

TEST(VoiceStart, ProbeNeverTouchesThePoolAndInterpolationFallsBackInOrder) {
    VoiceRig rig(makeWave(100, 1, ramp));
    EXPECT_TRUE(rig.engine.probeVoice().start(rig.engine, rig.engine.channel(0), *rig.slot, *rig.group, *rig.program,
                                              60, 100, 0, 0, true));
    EXPECT_EQ(rig.engine.poolEnd(), 0);

    rig.group->interpolation = kInterpolationDefault;
    rig.slot->interpolation = kInterpolationSinc64;
    EXPECT_EQ(rig.start(60)->interpolation, kInterpolationSinc64);
    rig.program->interpolation = kInterpolationHermite;
    EXPECT_EQ(rig.start(60)->interpolation, kInterpolationHermite);
    rig.program->interpolation = kInterpolationDefault;
    rig.slot->interpolation = kInterpolationDefault;
    rig.engine.interpolation = kInterpolationSinc128;  // the bank's
    EXPECT_EQ(rig.start(60)->interpolation, kInterpolationSinc128);
    rig.engine.interpolation = kInterpolationDefault;
    const uint8_t fallback = rig.engine.settings().defaultInterpolation;
    EXPECT_EQ(rig.start(60)->interpolation, fallback ? fallback : uint8_t(kInterpolationDraft));
}
