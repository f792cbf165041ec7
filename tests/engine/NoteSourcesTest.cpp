#include <gtest/gtest.h>

#include <cmath>

#include "EngineFixture.h"
#include "engine/NoteSources.h"

using namespace MV;
using namespace MV::Test;

namespace {
struct Sources : ::testing::Test {
    Sources() {
        group.range = {40, 80, 20, 120};
        program.range = {0, 100, 0, 100};
        note.channel = &engine.channel(2);
        note.program = &program;
        note.group = &group;
        note.key = 60;
        note.velocity = 70;
    }
    float value(uint16_t source) {
        bool bipolar = false;
        return noteSourceValue(engine, note, source, bipolar);
    }
    bool bipolar(uint16_t source) {
        bool b = false;
        noteSourceValue(engine, note, source, b);
        return b;
    }

    TestEngine engine;
    Group group;
    Program program;
    NoteContext note;
};
}  // namespace

TEST_F(Sources, KeyAndVelocityPositionsAreRaw) {
    EXPECT_FLOAT_EQ(value(9), 2.0f * 60 / 127 - 1);
    EXPECT_FLOAT_EQ(value(10), 0.0f);  // 60 is the middle of 40..80
    EXPECT_FLOAT_EQ(value(11), 0.2f);
    EXPECT_FLOAT_EQ(value(12), 70.0f / 127);  // not squared
    EXPECT_FLOAT_EQ(value(13), 0.5f);
    EXPECT_FLOAT_EQ(value(14), 0.7f);
    note.key = 127;
    EXPECT_FLOAT_EQ(value(9), 1.0f);
    EXPECT_FLOAT_EQ(value(10), 1.0f) << "clamped to the group's range";
    note.key = 0;
    EXPECT_FLOAT_EQ(value(9), -1.0f);
    group.range.highKey = group.range.lowKey;
    EXPECT_TRUE(std::isfinite(value(10))) << "a range of one key divides by nothing";
}

TEST_F(Sources, ChannelValuesComeFromTheNotesChannel) {
    Channel& ch = engine.channel(2);
    ch.storeBend(0, 0);
    ch.storeController(1, 127);
    ch.refreshWheel();
    ch.storeChannelPressure(127);
    ch.storeController(74, 127);
    ch.storeKeyPressure(60, 100);
    EXPECT_FLOAT_EQ(value(15), -1.0f);
    EXPECT_FLOAT_EQ(value(16), 1.0f);
    EXPECT_FLOAT_EQ(value(17), 1.0f);
    EXPECT_FLOAT_EQ(value(18), 100.0f) << "aftertouch is the raw byte";
    EXPECT_FLOAT_EQ(value(37 + 74), 1.0f);
    EXPECT_FLOAT_EQ(value(37 + 7), 0.0f);

    // A transposed note reads the pressure of the key as played.
    note.key = 72;
    note.playedKey = 60;
    EXPECT_FLOAT_EQ(value(18), 100.0f);
}

TEST_F(Sources, RandomIsTheGeneratorsNextStepWithoutMovingIt) {
    engine.setRandomSeed(1);
    EXPECT_FLOAT_EQ(value(19), 16807 * 4.656613e-10f);
    EXPECT_FLOAT_EQ(value(19), 16807 * 4.656613e-10f);
    engine.setRandomSeed(200000);  // wraps: 200000 * 16807 - 2^32
    EXPECT_FLOAT_EQ(value(19), float(int64_t(200000) * 16807 - (int64_t(1) << 32)) * 4.656613e-10f);
    EXPECT_TRUE(bipolar(19));
}

TEST_F(Sources, ExternalControllersAndAutomationAreBipolarOffTheirCentre) {
    engine.externalController[3] = {20, 64};
    engine.controller(event(0xB2, 20, 127, 0));
    EXPECT_FLOAT_EQ(value(21 + 3), 63.0f / 64);
    EXPECT_TRUE(bipolar(21 + 3));
    EXPECT_FALSE(bipolar(21 + 4));

    engine.setAutomationDefault(5, 0.5f);
    engine.setParameter(5, 0.75f);
    EXPECT_FLOAT_EQ(value(165 + 5), 0.5f);
    EXPECT_TRUE(bipolar(165 + 5));
    engine.setParameter(6, 0.25f);
    EXPECT_FLOAT_EQ(value(165 + 6), 0.25f);
    EXPECT_FALSE(bipolar(165 + 6));
    EXPECT_FLOAT_EQ(value(292), 0.0f);
    EXPECT_FLOAT_EQ(value(293), 0.0f);
}

TEST_F(Sources, SwitcherBipolarityFollowsTheSourceTable) {
    for (uint16_t s : {1, 4, 8, 9, 10, 11, 14, 15, 19, 20}) EXPECT_TRUE(bipolar(s)) << s;
    for (uint16_t s : {0, 12, 13, 16, 17, 18, 37, 100, 164}) EXPECT_FALSE(bipolar(s)) << s;
    EXPECT_FLOAT_EQ(value(4), 0.0f) << "no voice has started the note's modulators";
    Voice probe;
    probe.env1.out = 0.25f;
    probe.lfo2.out = -0.5f;
    probe.seq3.out = 0.75f;
    note.modulators = &probe;
    EXPECT_FLOAT_EQ(value(2), 0.25f);
    EXPECT_FLOAT_EQ(value(5), -0.5f);
    EXPECT_FLOAT_EQ(value(8), 0.75f);

    note.bpmRatio = -1.0f;
    EXPECT_FLOAT_EQ(value(20), -1.0f);
}

TEST(NoteSourceStep, ScalesOntoSevenBitsRoundingHalfAway) {
    EXPECT_EQ(noteSourceStep(0.0f, true), 64);  // 63.5
    EXPECT_EQ(noteSourceStep(-1.0f, true), 0);
    EXPECT_EQ(noteSourceStep(1.0f, true), 127);
    EXPECT_EQ(noteSourceStep(0.5f, false), 64);  // 63.5
    EXPECT_EQ(noteSourceStep(100.0f, false), 12700);
    EXPECT_GT(noteSourceStep(1e30f, false), 127);
}
