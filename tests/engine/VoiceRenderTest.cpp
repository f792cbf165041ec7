#include <gtest/gtest.h>

#include "VoiceFixture.h"
#include "plug/ValueLaws.h"

using namespace MV;
using namespace MV::Test;
using ZnPlug::LoopMode;

namespace {
auto ramp = [](unsigned, uint32_t i) { return rampValue(i); };
}  // namespace

TEST(VoiceRender, RootKeyPlaysTheWaveUnchangedOnBothSidesOfAStereoOutput) {
    VoiceRig rig(makeWave(1000, 1, ramp));
    ASSERT_NE(rig.start(60), nullptr);
    rig.host.run(256);
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(rig.host.at(0, i), rampValue(uint32_t(i))) << i;
        ASSERT_EQ(rig.host.at(1, i), rampValue(uint32_t(i))) << i;
    }
    // Hard right: the left side is silent and the right one keeps unity, so the centre is
    // louder in sum than either side alone.
    VoiceRig panned(makeWave(1000, 1, ramp));
    panned.group->pan = 1.0f;
    ASSERT_NE(panned.start(60), nullptr);
    panned.host.run(256);
    EXPECT_EQ(panned.host.at(0, 100), 0.0f);
    EXPECT_EQ(panned.host.at(1, 100), rampValue(100));
}

TEST(VoiceRender, StereoWaveKeepsItsChannelsAndAMonoOutputSumsThemAtHalfGain) {
    auto wave = makeWave(600, 2, [](unsigned c, uint32_t i) { return c == 0 ? rampValue(i) : -2.0f * rampValue(i); });
    VoiceRig rig(wave);
    ASSERT_NE(rig.start(60), nullptr);
    rig.group->output = 4;  // "M 1", pin 8
    ASSERT_NE(rig.start(60), nullptr);
    rig.host.run(200);
    EXPECT_EQ(rig.host.at(0, 50), rampValue(50));
    EXPECT_EQ(rig.host.at(1, 50), -2.0f * rampValue(50));
    EXPECT_FLOAT_EQ(rig.host.at(8, 50), -0.5f * rampValue(50));
}

TEST(VoiceRender, OneOctaveUpReadsTwoFramesPerSample) {
    VoiceRig rig(makeWave(1000, 1, ramp));
    Voice* v = rig.start(72);
    ASSERT_NE(v, nullptr);
    EXPECT_FLOAT_EQ(v->pitch_ratio, 2.0f);
    rig.host.run(100);
    EXPECT_DOUBLE_EQ(v->position, 200.0);
    for (int i = 0; i < 100; ++i) ASSERT_FLOAT_EQ(rig.host.at(0, i), rampValue(uint32_t(2 * i))) << i;
}

TEST(VoiceRender, ForwardLoopWrapsExactlyAtItsEnd) {
    VoiceRig rig(makeWave(1000, 1, ramp));
    rig.setLoop(100, 200, LoopMode::Forward);
    ASSERT_NE(rig.start(60), nullptr);
    rig.host.run(256);
    std::vector<float> out(rig.host.buffers[0].begin(), rig.host.buffers[0].begin() + 256);
    rig.host.run(256);
    out.insert(out.end(), rig.host.buffers[0].begin(), rig.host.buffers[0].begin() + 256);
    for (uint32_t i = 0; i < out.size(); ++i) {
        const uint32_t frame = i < 200 ? i : 100 + (i - 200) % 100;
        ASSERT_EQ(out[i], rampValue(frame)) << i;
    }
}

TEST(VoiceRender, OneFrameLoopHoldsOneValue) {
    VoiceRig rig(makeWave(1000, 1, ramp));
    rig.setLoop(50, 51, LoopMode::Forward);
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    rig.host.run(256);
    for (int i = 51; i < 256; ++i) ASSERT_EQ(rig.host.at(0, i), rampValue(50)) << i;
    EXPECT_FALSE(v->idle());
}

TEST(VoiceRender, SliceStartsAtItsStartAndEndsTheVoiceAtItsEnd) {
    VoiceRig rig(makeWave(1000, 1, ramp));
    rig.setLoop(300, 400, LoopMode::Slice);
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->position, 300.0);
    rig.host.run(256);
    EXPECT_EQ(rig.host.at(0, 0), rampValue(300));
    EXPECT_EQ(rig.host.at(0, 99), rampValue(399));
    for (int i = 100; i < 256; ++i) ASSERT_EQ(rig.host.at(0, i), 0.0f) << i;
    EXPECT_TRUE(v->idle());
    EXPECT_EQ(v->position, 0.0);
}

TEST(VoiceRender, WaveWithoutLoopEndsAtItsEndAndAPositionPastItEndsSilently) {
    VoiceRig rig(makeWave(300, 1, [](unsigned, uint32_t) { return 0.5f; }));
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    rig.host.run(256);
    rig.host.run(256);
    EXPECT_EQ(rig.host.at(0, 43), 0.5f);  // frame 299
    EXPECT_EQ(rig.host.at(0, 44), 0.0f);
    EXPECT_TRUE(v->idle());

    Voice* late = rig.start(60);
    ASSERT_NE(late, nullptr);
    late->position = 310.5;
    rig.host.run(256);
    EXPECT_TRUE(late->idle());
    for (int i = 0; i < 256; ++i) ASSERT_EQ(rig.host.at(0, i), 0.0f);
}

TEST(VoiceRender, DelayOfExactlyOneCallStartsTheSoundInTheNextCall) {
    VoiceRig rig(makeWave(1000, 1, ramp));
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    v->delay_left = 256;
    rig.host.run(256);
    EXPECT_EQ(rig.host.at(0, 255), 0.0f);
    EXPECT_EQ(v->delay_left, 0.0);
    rig.host.run(256);
    EXPECT_EQ(rig.host.at(0, 0), rampValue(0));
    EXPECT_EQ(rig.host.at(0, 10), rampValue(10));

    // A part-block delay starts within the call; released while waiting, the note never sounds.
    v->kill();
    Voice* w = rig.start(60);
    w->delay_left = 100.5;
    rig.host.run(256);
    EXPECT_EQ(rig.host.at(0, 99), 0.0f);
    EXPECT_EQ(rig.host.at(0, 110), rampValue(10));
    Voice* x = rig.start(60);
    x->delay_left = 1000;
    x->enterRelease(rig.engine);
    rig.host.run(16);
    EXPECT_TRUE(x->idle());
}

TEST(VoiceRender, MutedSlotsVoiceIsSilentAndEndsWhenAnAudibleOneWould) {
    VoiceRig rig(makeWave(700, 1, [](unsigned, uint32_t) { return 0.25f; }));
    auto muted = ZnLib::makeRef<ProgramSlot>(uint8_t(1), ZnLib::SharedRef<Program>(rig.program));
    muted->setMute(ZnPlug::Soloable::Muted);
    muted->output = 1;  // "S 3+4"
    Voice* audible = rig.start(60);
    Voice* silent = rig.start(60, 127, muted.get());
    ASSERT_TRUE(audible && silent);
    for (int call = 0; call < 4; ++call) {
        rig.host.run(200);
        EXPECT_EQ(audible->idle(), silent->idle()) << call;
        for (int i = 0; i < 200; ++i) ASSERT_EQ(rig.host.at(2, i), 0.0f);
    }
    EXPECT_TRUE(silent->idle());
}

TEST(VoiceRender, EnvelopeLevelAndSlotAmpScaleTheOutput) {
    VoiceRig rig(makeWave(1000, 1, [](unsigned, uint32_t) { return 1.0f; }));
    rig.group->aeg.attack = ZnPlug::TimeLaw::fromMs(10.0);
    rig.group->amp = 0.5f;
    rig.slot->amp = 0.5f;
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    rig.host.run(256);
    // A 10 ms attack is 441 samples: the level rises linearly, the output with its square.
    const double level = 100.0 / 441.0;
    EXPECT_NEAR(rig.host.at(0, 99), 0.25 * level * level, 1e-4);
    EXPECT_LT(rig.host.at(0, 10), rig.host.at(0, 11));
}

TEST(VoiceRender, ReleaseLoopTakesOverAtNoteOffAndOneshotIgnoresTheKey) {
    VoiceRig rig(makeWave(1000, 1, ramp));
    rig.wave->loops = {ZnPlug::Loop(100, 200, LoopMode::Forward), ZnPlug::Loop(500, 600, LoopMode::Forward)};
    rig.group->splits[0].loop = 0;
    rig.group->splits[0].release = 1;
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->loop_index, 0);
    v->enterRelease(rig.engine);
    EXPECT_EQ(v->state, Voice::kRelease);
    EXPECT_EQ(v->loop_index, 1);

    rig.group->playmode = kPlayOneshot;
    Voice* one = rig.start(60);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->loop_index, Voice::kNoLoop);  // loops are not used from "Oneshot" on
    rig.host.run(8);
    const uint8_t before = one->state;
    one->enterRelease(rig.engine);
    EXPECT_EQ(one->state, before);
}

TEST(VoiceRender, EmptyWaveAndEmptyPlayRangeRefuseToStart) {
    VoiceRig rig(makeWave(100, 1, ramp));
    rig.wave->start = rig.wave->end = 40;
    EXPECT_EQ(rig.start(60), nullptr);
    rig.group->splits[0].setWave(ZnLib::SharedRef<ZnPlug::Wave>(ZnPlug::Wave::none()));
    EXPECT_EQ(rig.start(60), nullptr);
    EXPECT_TRUE(rig.engine.voice(0).idle());
}

TEST(VoiceRender, SendsTapTheSignalBeforeOrAfterTheFader) {
    VoiceRig rig(makeWave(1000, 1, [](unsigned, uint32_t) { return 1.0f; }));
    rig.group->amp = 0.5f;
    rig.group->sends[0] = {8, 1.0f, true};    // "S 3+4" before the fader: the raw signal on both sides
    rig.group->sends[1] = {11, 1.0f, false};  // "M 1" after it: the stereo result summed at half gain
    rig.slot->sends[0].dest = 12;             // "M 2", after the fader, times the slot's level
    rig.slot->sends[0].level = 0.5f;
    rig.slot->amp = 0.8f;
    ASSERT_NE(rig.start(60), nullptr);
    rig.host.run(64);
    EXPECT_FLOAT_EQ(rig.host.at(0, 10), 0.4f);
    EXPECT_FLOAT_EQ(rig.host.at(1, 10), 0.4f);
    EXPECT_FLOAT_EQ(rig.host.at(2, 10), 1.0f);
    EXPECT_FLOAT_EQ(rig.host.at(3, 10), 1.0f);
    EXPECT_FLOAT_EQ(rig.host.at(8, 10), 0.5f);
    EXPECT_FLOAT_EQ(rig.host.at(9, 10), 0.5f * 0.8f * 0.5f);
}
