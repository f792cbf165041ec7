#include <gtest/gtest.h>

#include "TriggerFixture.h"
#include "engine/SwitcherProbe.h"

using namespace MV;
using namespace MV::Test;

namespace {
Switcher& giveSwitcher(Group& g) {
    g.setSwitcher(ZnLib::makeRef<Switcher>());
    return *g.switcher;
}

Switcher& sequenceStep(Group& g, int length, int pos, int32_t source) {
    Switcher& sw = giveSwitcher(g);
    sw.seqLength = length;
    sw.seqPos = pos;
    sw.roundRobinSource = source;
    return sw;
}

// The groups among `groups` that have a held voice of `key`.
std::vector<int> playing(TriggerRig& rig, uint8_t key, const std::vector<Group*>& groups) {
    std::vector<int> out;
    for (Voice* v : rig.held())
        for (std::size_t i = 0; i < groups.size(); ++i)
            if (v->key == key && v->group == groups[i]) out.push_back(int(i));
    return out;
}
}  // namespace

TEST(TriggerSwitcher, RandomRangesSplitTheNotesByTheDrawnValue) {
    TriggerRig rig;
    Group& lower = rig.addGroup();
    Group& upper = rig.addGroup();
    giveSwitcher(lower).randHigh = 0.5f;
    Switcher& sw = giveSwitcher(upper);
    sw.randLow = 0.5f;
    sw.randHigh = 1.0f;
    rig.engine.setRandomSeed(12345);
    int lowerCount = 0;
    for (int i = 0; i < 40; ++i) {
        const uint8_t key = uint8_t(30 + i);
        rig.press(key);
        const float r = rig.engine.lastRandom();
        ASSERT_EQ(playing(rig, key, {&lower, &upper}), (std::vector<int>{r < 0.5f ? 0 : 1})) << "draw " << r;
        lowerCount += r < 0.5f;
    }
    EXPECT_GT(lowerCount, 5);
    EXPECT_LT(lowerCount, 35);
}

TEST(TriggerSwitcher, SequenceStepsAlternateByGroupCounter) {
    TriggerRig rig;
    Group& first = rig.addGroup();
    Group& second = rig.addGroup();
    sequenceStep(first, 2, 1, kRoundRobinDefault);
    sequenceStep(second, 2, 2, kRoundRobinGroup);
    const std::vector<int> expected[] = {{0}, {1}, {0}, {1}};
    for (int i = 0; i < 4; ++i) {
        rig.press(uint8_t(60 + i));
        EXPECT_EQ(playing(rig, uint8_t(60 + i), {&first, &second}), expected[i]) << "note " << i;
    }
}

TEST(TriggerSwitcher, SequenceByGroupCountsOnlyTheGroupsOwnNotes) {
    TriggerRig rig;
    Group& byGroup = rig.addGroup(0, 63);
    Group& byProgram = rig.addGroup(0, 63);
    rig.addGroup(64, 127);
    sequenceStep(byGroup, 2, 1, kRoundRobinGroup);
    sequenceStep(byProgram, 2, 1, kRoundRobinProgram);
    rig.press(100);  // counts for the program, not for the low groups
    rig.press(40);
    EXPECT_EQ(playing(rig, 40, {&byGroup, &byProgram}), (std::vector<int>{0}));
    rig.press(41);
    EXPECT_EQ(playing(rig, 41, {&byGroup, &byProgram}), (std::vector<int>{1}));
}

TEST(TriggerSwitcher, SequenceByMidiCountsPressesOfTheSameKey) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    sequenceStep(g, 2, 2, kRoundRobinMidi);
    rig.press(60);
    EXPECT_EQ(rig.voiceOf(60), nullptr);
    rig.press(62);
    EXPECT_EQ(rig.voiceOf(62), nullptr) << "each key counts its own presses";
    rig.release(60);
    rig.press(60);
    EXPECT_NE(rig.voiceOf(60, &g), nullptr);
}

TEST(TriggerSwitcher, SequenceCountWrapsAt256) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    sequenceStep(g, 3, 1, kRoundRobinGroup);
    g.rr_count = 255;
    rig.press(60);  // the count wraps to 0, and 0 - 1 is 255 in 8 bits: step 255 % 3 = 0
    EXPECT_NE(rig.voiceOf(60), nullptr);
    rig.press(61);  // count 1: step 0 again
    EXPECT_NE(rig.voiceOf(61), nullptr);
    rig.press(62);
    EXPECT_EQ(rig.voiceOf(62), nullptr);
}

TEST(TriggerSwitcher, TempoRangeIsHalfOpen) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    Switcher& sw = giveSwitcher(g);
    sw.bpmLow = 100;
    sw.bpmHigh = 120;  // the host runs at 120
    rig.press(60);
    EXPECT_EQ(rig.voiceOf(60), nullptr);
    sw.bpmHigh = 120.5f;
    rig.press(61);
    EXPECT_NE(rig.voiceOf(61), nullptr);
}

TEST(TriggerSwitcher, KeySwitchesReadTheHeldKeysOfTheirRange) {
    TriggerRig rig;
    Group& a = rig.addGroup(36, 127);
    Group& b = rig.addGroup(36, 127);
    Group& up = rig.addGroup(36, 127);
    Group& down = rig.addGroup(36, 127);
    for (Group* g : {&a, &b, &up, &down}) {
        Switcher& sw = giveSwitcher(*g);
        sw.keyLow = 0;
        sw.keyHigh = 11;
    }
    a.switcher->keyLast = 0;
    b.switcher->keyLast = 1;
    up.switcher->keyUp = 5;
    down.switcher->keyDown = 6;
    const std::vector<Group*> all = {&a, &b, &up, &down};

    rig.press(60);
    EXPECT_EQ(playing(rig, 60, all), (std::vector<int>{3})) << "no switch held: only key-down passes";

    rig.press(0);
    rig.press(1);
    rig.press(61);
    EXPECT_EQ(playing(rig, 61, all), (std::vector<int>{1, 3})) << "1 is the last held switch";

    rig.release(1);
    rig.press(5);
    rig.press(6);
    rig.press(62);
    EXPECT_EQ(playing(rig, 62, all), (std::vector<int>{2})) << "6 is the last switch, and 6 is down";

    rig.release(6);
    rig.release(5);
    rig.press(63);
    EXPECT_EQ(playing(rig, 63, all), (std::vector<int>{0, 3})) << "released switches leave 0 as the last";
}

TEST(TriggerSwitcher, PreviousKeyIsTheHeadOfTheHistory) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    g.playmode = kPlayRelease;
    giveSwitcher(g).keyPrev = 62;
    rig.press(60);
    rig.press(62);
    rig.release(60);  // 62 was pressed last
    EXPECT_NE(rig.voiceOf(60), nullptr);
    rig.press(64);
    rig.release(62);
    EXPECT_EQ(rig.voiceOf(62), nullptr);
}

TEST(TriggerSwitcher, SourceRangeReadsRawVelocityAndCentredBend) {
    TriggerRig rig;
    Group& soft = rig.addGroup();
    Switcher& sw = giveSwitcher(soft);
    sw.source = 12;  // "Vel": raw, not squared
    sw.rangeLow = 0;
    sw.rangeHigh = 63;
    rig.press(60, 63);
    EXPECT_NE(rig.voiceOf(60), nullptr);
    rig.press(61, 64);
    EXPECT_EQ(rig.voiceOf(61), nullptr);

    sw.source = 15;  // "Pitchbend": bipolar, the centre is 63.5 and rounds up to 64
    rig.press(62);
    EXPECT_EQ(rig.voiceOf(62), nullptr);
    sw.rangeHigh = 64;
    rig.press(63);
    EXPECT_NE(rig.voiceOf(63), nullptr);
    rig.send(0xE0, 0, 0);  // bend fully down: -1
    sw.rangeHigh = 0;
    rig.press(64);
    EXPECT_NE(rig.voiceOf(64), nullptr);
}

TEST(TriggerSwitcher, DisabledSwitcherLetsEveryNoteThroughAndFailingOnesStillCount) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    Switcher& sw = giveSwitcher(g);
    sw.keyPrev = 0;  // never the head while other keys are played
    rig.press(60);
    EXPECT_EQ(rig.voiceOf(60), nullptr);
    EXPECT_EQ(g.rr_count, 1) << "the counter rises before the switcher is asked";
    sw.enabled = false;
    rig.press(61);
    EXPECT_NE(rig.voiceOf(61), nullptr);
}

TEST(TriggerSwitcher, KeyLastAndKeyPrevReadTheHistory) {
    // Without an engine walk: a channel whose history holds 3 then 7, and a note at key 64.
    TestEngine engine;
    Channel& ch = engine.channel(0);
    ch.pressKey(3, 100, 0);
    ch.pressKey(7, 100, 0);
    NoteContext note;
    note.channel = &ch;
    note.key = 64;
    note.velocity = 127;
    Switcher sw;
    sw.keyLow = 0;
    sw.keyHigh = 10;
    sw.keyLast = 7;
    EXPECT_TRUE(switcherPasses(engine, sw, note));
    sw.keyLast = 3;
    EXPECT_FALSE(switcherPasses(engine, sw, note));
    ch.releaseKey(7);
    EXPECT_TRUE(switcherPasses(engine, sw, note)) << "a released key no longer counts as last";

    sw = Switcher();
    sw.keyPrev = 7;
    EXPECT_TRUE(switcherPasses(engine, sw, note));
    sw.keyLow = 0;  // half a key range is no key test
    sw.keyDown = 3;
    EXPECT_TRUE(switcherPasses(engine, sw, note));
}
