#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "TriggerFixture.h"
#include "engine/ModSources.h"
#include "engine/NoteSources.h"
#include "model/ModulationTables.h"

using namespace MV;
using namespace MV::Test;

namespace {

ModulationEntry entry(uint16_t source, uint8_t destination, float amount) {
    ModulationEntry e;
    e.source = source;
    e.destination = destination;
    e.amount = amount;
    return e;
}

// 1200 cents of raw pitch: the voice's pitch in octaves is the source's value.
constexpr float kOctave = 1200.0f;

}  // namespace

TEST(ModSources, TablesNameEverySourceAndDestinationOnce) {
    std::set<std::string> texts;
    for (uint16_t s = 0; s < kSourceCount; ++s) {
        const std::string text = ModulationTables::sourceText(s);
        EXPECT_TRUE(texts.insert(text).second) << text;
        EXPECT_EQ(ModulationTables::sourceCode(text), s) << text;
        EXPECT_EQ(ModulationTables::sourceCode(ModulationTables::sourceShortText(s)), s);
    }
    EXPECT_EQ(ModulationTables::sourceText(kSourceCount), "");
    EXPECT_EQ(ModulationTables::sourceText(kSourceFirstExternal + 15), "External Controller 16");
    EXPECT_EQ(ModulationTables::sourceShortText(kSourceFirstExternal), "Ext Ctrl 1");
    EXPECT_EQ(ModulationTables::sourceShortText(kSourceChannelPressure), "Channel Pressure");
    EXPECT_EQ(ModulationTables::sourceText(kSourceFirstMidiCC + 127), "Midi CC 127");
    EXPECT_EQ(ModulationTables::sourceText(kSourceFirstParam + 7), "Param 07");
    EXPECT_EQ(ModulationTables::sourceCode("Param 007"), kSourceFirstParam + 7);
    EXPECT_EQ(ModulationTables::sourceCode("Midi CC 128"), -1);

    for (uint8_t d = 0; d < kDestinationCount; ++d) {
        EXPECT_EQ(ModulationTables::destinationCode(ModulationTables::destinationText(d)), d);
        EXPECT_EQ(ModulationTables::destinationCode(ModulationTables::destinationFileText(d)), d);
    }
    EXPECT_EQ(ModulationTables::destinationText(kDestSeq3Amp), "SEQ3 Amp");
    EXPECT_EQ(ModulationTables::destinationFileText(kDestSeq3Amp), "SEQ4 Amp");
    EXPECT_EQ(ModulationTables::destinationText(kDestGlide), "Glide");
    EXPECT_EQ(ModulationTables::amountText(kDestGlide, -0.5f).front(), '-');

    for (uint16_t s = 0; s < 30; ++s) EXPECT_EQ(ModulationTables::bipolar(s), s >= 9 && s <= 11) << s;
}

TEST(ModSources, NoteStartValuesSquareVelocitiesAndSpreadKeysOverTheirRange) {
    TriggerRig rig;
    Group& g = rig.addGroup(40, 80);
    g.range.lowVel = 20;
    g.range.highVel = 120;
    rig.program->range = {0, 100, 0, 100};
    NoteContext note;
    note.channel = &rig.engine.channel(0);
    note.program = rig.program.get();
    note.group = &g;
    note.key = 70;
    note.velocity = 70;
    auto value = [&](uint16_t s) { return ModSources::noteStartValue(rig.engine, note, s); };
    EXPECT_FLOAT_EQ(value(kSourceKey), 2.0f * 70 / 127 - 1);
    EXPECT_FLOAT_EQ(value(kSourceKeyGroup), 0.5f);
    EXPECT_FLOAT_EQ(value(kSourceKeyProgram), 0.4f);
    EXPECT_FLOAT_EQ(value(kSourceVelocity), (70.0f / 127) * (70.0f / 127));
    EXPECT_FLOAT_EQ(value(kSourceVelocityGroup), 0.25f);
    EXPECT_FLOAT_EQ(value(kSourceVelocityProgram), 0.49f);

    // The same through a voice: a static slot on raw pitch carries the value into its pitch.
    g.modulation[0] = entry(kSourceVelocityGroup, kDestPitchRaw, kOctave);
    rig.press(70, 70);
    Voice* v = rig.voiceOf(70);
    ASSERT_NE(v, nullptr);
    EXPECT_NEAR(v->static_pitch, 0.25f, 1e-6);
}

TEST(ModSources, RandomDiffersFromVoiceToVoiceInOneChord) {
    TriggerRig rig;
    Group& a = rig.addGroup();
    Group& b = rig.addGroup();
    a.modulation[0] = entry(kSourceRandom, kDestPitchRaw, kOctave);
    b.modulation[0] = entry(kSourceRandom, kDestPitchRaw, kOctave);
    rig.engine.setRandomSeed(12345);
    auto e1 = event(0x90, 60, 100, 0), e2 = event(0x90, 64, 100, 0), e3 = event(0x90, 67, 100, 0);
    rig.engine.processEvents(&e1, 1);
    rig.engine.processEvents(&e2, 1);
    rig.engine.processEvents(&e3, 1);
    rig.host.run(64);
    // "Random" counts as a channel value: its slot adds the same offset at every sample.
    std::set<float> values;
    for (Voice* v : rig.active()) {
        const float octaves = std::log2(v->pitch_ratio);
        EXPECT_GE(octaves, -1.0f);
        EXPECT_LE(octaves, 1.0f);
        values.insert(octaves);
    }
    EXPECT_EQ(rig.active().size(), 6u);
    EXPECT_EQ(values.size(), 6u) << "every voice draws, also the two groups of one key";
}

TEST(ModSources, BendReadsMinusOneAtTheBottomAndZeroInTheMiddle) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    g.modulation[0] = entry(kSourcePitchbend, kDestPitchRaw, kOctave);
    rig.press(60);
    Voice* v = rig.voiceOf(60);
    ASSERT_NE(v, nullptr);
    EXPECT_FLOAT_EQ(v->pitch_ratio, 1.0f);
    rig.send(0xE0, 0, 0);
    rig.run(5);  // the bend glides in, then lands at the next call
    EXPECT_FLOAT_EQ(v->pitch_ratio, 0.5f);
    rig.send(0xE0, 0, 64);
    rig.run(5);
    EXPECT_FLOAT_EQ(v->pitch_ratio, 1.0f);
}

TEST(ModSources, ChannelValuesAreReadLiveAndAftertouchIsNotNormalised) {
    TriggerRig rig;
    rig.engine.externalController[2] = {20, 64};
    Group& g = rig.addGroup();
    g.amp = 0;
    g.modulation[0] = entry(kSourceAftertouch, kDestVolume, 1.0f / 127);
    g.modulation[1] = entry(kSourceFirstMidiCC + 74, kDestPan, 1.0f);
    g.modulation[2] = entry(kSourceFirstExternal + 2, kDestSendLevel1, 1.0f);
    rig.press(60);
    Voice* v = rig.voiceOf(60);
    ASSERT_NE(v, nullptr);
    rig.send(0xA0, 60, 127);
    rig.cc(74, 127);
    rig.cc(20, 0);
    rig.run(5);
    EXPECT_FLOAT_EQ(v->slots[0].value, 1.0f) << "pressure 127 with 1/127 is full";
    EXPECT_FLOAT_EQ(v->slots[1].value, 1.0f);
    EXPECT_FLOAT_EQ(v->slots[2].value, -1.0f) << "centre 64: 0 is the bottom";
    rig.send(0xA0, 61, 30);  // another key's pressure
    rig.run(5);
    EXPECT_FLOAT_EQ(v->slots[0].value, 1.0f);
}
