#include <gtest/gtest.h>

#include "TriggerFixture.h"

using namespace MV;
using namespace MV::Test;

TEST(Trigger, VelocityZeroEndsTheNoteAndCountsNothing) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    rig.press(60);
    Voice* v = rig.voiceOf(60);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(rig.program->rr_count, 1);
    EXPECT_EQ(g.rr_count, 1);

    rig.press(60, 0);
    EXPECT_EQ(v->state, Voice::kRelease);
    EXPECT_TRUE(v->flags & Voice::kKeyReleased);
    EXPECT_EQ(rig.program->rr_count, 1);
    EXPECT_EQ(rig.engine.channel(0).key_count[60], 1);
    EXPECT_FALSE(rig.engine.channel(0).held(60));
}

TEST(Trigger, TransposedSlotIgnoresKeysAbove127AndKeepsThePlayedKey) {
    TriggerRig rig;
    rig.addGroup();
    rig.slot().transpose = 10;
    rig.press(120);  // 130: nothing
    EXPECT_TRUE(rig.active().empty());
    EXPECT_EQ(rig.program->rr_count, 0);

    rig.press(60);
    Voice* v = rig.voiceOf(60);
    ASSERT_NE(v, nullptr) << "the voice keeps the key as played, not 70";
    rig.release(60);
    EXPECT_EQ(v->state, Voice::kRelease);

    // Below 0 wraps to a large 8-bit value, which is ignored as well.
    rig.slot().transpose = -5;
    rig.press(2);
    EXPECT_EQ(rig.voiceOf(2), nullptr);
}

TEST(Trigger, MutedGroupsRangesAndEmptySplitsPlayNothing) {
    TriggerRig rig;
    Group& muted = rig.addGroup();
    muted.setMute(ZnPlug::Soloable::MutedBySolo);
    Group& high = rig.addGroup(64, 127);
    Group& soft = rig.addGroup();
    soft.setHighVelocity(40);
    auto empty = ZnLib::makeRef<Group>();
    rig.program->addGroup(empty);

    rig.press(60, 100);
    EXPECT_TRUE(rig.active().empty());
    EXPECT_EQ(muted.rr_count, 0);
    EXPECT_EQ(high.rr_count, 0);
    EXPECT_EQ(empty->rr_count, 0);

    rig.press(70, 30);
    ASSERT_EQ(rig.active().size(), 2u);
    EXPECT_EQ(high.rr_count, 1);
    EXPECT_EQ(soft.rr_count, 1);
}

TEST(Trigger, ToggleEndsTheNoteOnTheSecondPress) {
    TriggerRig rig;
    rig.addGroup().playmode = kPlayToggle;
    rig.press(60);
    Voice* v = rig.voiceOf(60);
    ASSERT_NE(v, nullptr);
    rig.release(60);
    EXPECT_NE(v->state, Voice::kRelease) << "key up leaves a toggled note sounding";

    rig.press(60);
    EXPECT_EQ(v->state, Voice::kRelease);
    EXPECT_TRUE(rig.held().empty()) << "the second press starts nothing";
    rig.release(60);

    rig.press(60);
    EXPECT_EQ(rig.held().size(), 1u);
}

TEST(Trigger, ReleaseGroupPlaysAtTheVelocityTheKeyWentDownWith) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    g.playmode = kPlayRelease;
    rig.press(60, 100);
    EXPECT_TRUE(rig.active().empty());
    EXPECT_EQ(g.rr_count, 0);

    rig.release(60, 0, 10);
    Voice* v = rig.voiceOf(60);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(int(v->velocity), 100);
    EXPECT_EQ(g.rr_count, 1);
    EXPECT_EQ(rig.program->rr_count, 1) << "a release trigger does not count for the program";

    // Its velocity range is tested with the stored velocity too.
    g.setHighVelocity(50);
    rig.press(62, 100);
    rig.release(62, 0, 20);
    EXPECT_EQ(rig.voiceOf(62), nullptr);
}

TEST(Trigger, MonoLowestRefusesAHigherKeyWhileALowerIsHeld) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    g.polymode = kPolyMono;
    g.noteprio = kNotePrioLowest;
    rig.press(60);
    ASSERT_EQ(rig.active().size(), 1u);
    Voice* v = rig.active().front();

    rig.press(64);
    EXPECT_EQ(v->key, 60);
    EXPECT_EQ(rig.held().size(), 1u);

    rig.press(55);
    EXPECT_EQ(v->key, 55) << "a lower key takes the voice over";
    EXPECT_EQ(rig.held().size(), 1u);
}

TEST(Trigger, MonoReturnsToTheHeldKeyWithoutANewAttack) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    g.polymode = kPolyMono;
    g.aeg.attack = 0.2f;  // about 9 ms: a new attack would still be rising a block later
    rig.press(60, 90);
    rig.run(10);
    Voice* v = rig.active().front();
    rig.press(64);
    rig.run(10);
    ASSERT_EQ(v->state, Voice::kSustain);
    ASSERT_EQ(v->key, 64);
    const uint8_t stateBefore = v->state;
    const uint32_t ageBefore = v->note_number;

    rig.release(64);
    EXPECT_EQ(v->key, 60);
    EXPECT_EQ(int(v->velocity), 90);
    EXPECT_EQ(v->state, stateBefore);
    EXPECT_GT(v->note_number, ageBefore);
    EXPECT_EQ(rig.active().size(), 1u);

    rig.release(60);
    EXPECT_EQ(v->state, Voice::kRelease);
}

TEST(Trigger, MonoReturnFollowsThePriorityAndSkipsKeysTheGroupRefuses) {
    TriggerRig rig;
    Group& g = rig.addGroup(50, 127);
    g.polymode = kPolyMono;
    g.noteprio = kNotePrioHighest;
    rig.press(40);  // below the group: in the history, never played
    rig.press(52);
    rig.press(58);
    rig.press(70);
    Voice* v = rig.voiceOf(70);
    ASSERT_NE(v, nullptr);
    rig.release(70);
    EXPECT_EQ(v->key, 58);

    g.noteprio = kNotePrioLowest;
    rig.release(58);
    EXPECT_EQ(v->key, 52) << "40 is held but outside the group";
}

TEST(Trigger, LegatoCarriesTheNewestHeldVoice) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    g.polymode = kPolyLegato;
    rig.press(60);
    rig.press(62);
    rig.press(64);
    ASSERT_EQ(rig.active().size(), 1u);
    EXPECT_EQ(rig.active().front()->key, 64);
}

TEST(Trigger, ChokeGroupCutsItsPartnerAcrossSlotsWithAFastRelease) {
    TriggerRig rig;
    Group& low = rig.addGroup(0, 59);
    Group& high = rig.addGroup(60, 127);
    low.chokeGroup = high.chokeGroup = 3;
    rig.addSlot(1, rig.program);

    rig.press(40);
    rig.run(8);
    ASSERT_NE(rig.voiceOf(40, &low), nullptr);
    rig.press(70, 100, 1);
    EXPECT_NE(rig.voiceOf(70, &high), nullptr);
    Voice* cut = rig.voiceOf(40, &low);
    ASSERT_NE(cut, nullptr) << "the cut voice fades out instead of stopping dead";
    EXPECT_EQ(cut->state, Voice::kRelease);
    rig.run(8);  // 12 ms
    EXPECT_EQ(rig.voiceOf(40, &low), nullptr);

    // The same choke number in another program is left alone.
    auto other = ZnLib::makeRef<Program>("Other");
    Group& foreign = rig.addGroup(0, 127, other.get());
    foreign.chokeGroup = 3;
    rig.addSlot(2, other);
    rig.press(40, 100, 2);
    EXPECT_EQ(rig.held().size(), 2u);
}

TEST(Trigger, WithAllVoicesBusyTheOldestNoteIsStolenOutright) {
    TriggerRig rig;
    rig.addGroup();
    for (int k = 0; k < 128; ++k) rig.press(uint8_t(k));
    ASSERT_EQ(rig.engine.poolEnd(), 128);
    ASSERT_EQ(rig.held().size(), 128u);

    rig.press(60);
    EXPECT_EQ(rig.engine.voice(0).key, 60);
    EXPECT_EQ(rig.voiceOf(0), nullptr) << "no voice is free for a fading copy";
    EXPECT_EQ(rig.held().size(), 128u);
    EXPECT_GT(rig.engine.voice(0).note_number, rig.engine.voice(127).note_number);
}

TEST(Trigger, SlotVoiceLimitStealsFromItsOwnVoicesOnly) {
    TriggerRig rig;
    rig.addGroup();
    auto other = ZnLib::makeRef<Program>("Other");
    rig.addGroup(0, 127, other.get());
    rig.addSlot(1, other);
    rig.slot().poly = 2;

    rig.press(30, 100, 1);  // the oldest note, but another slot's
    rig.press(60);
    rig.press(62);
    rig.press(64);
    EXPECT_NE(rig.voiceOf(30), nullptr);
    rig.run(8);
    std::vector<uint8_t> keys;
    for (Voice* v : rig.held())
        if (v->slot == &rig.slot()) keys.push_back(v->key);
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keys, (std::vector<uint8_t>{62, 64}));
    EXPECT_EQ(rig.voiceOf(60), nullptr);
}

TEST(Trigger, SustainPedalHoldsReleasedKeysUntilItGoesUp) {
    TriggerRig rig;
    rig.addGroup();
    rig.press(60);
    Voice* v = rig.voiceOf(60);
    ASSERT_NE(v, nullptr);
    rig.cc(64, 127);
    rig.release(60);
    EXPECT_NE(v->state, Voice::kRelease);
    EXPECT_EQ(v->flags & (Voice::kHeldBySustain | Voice::kKeyReleased),
              Voice::kHeldBySustain | Voice::kKeyReleased);

    rig.press(62);
    rig.cc(64, 10);
    EXPECT_EQ(v->state, Voice::kRelease);
    EXPECT_FALSE(v->flags & Voice::kHeldBySustain);
    EXPECT_NE(rig.voiceOf(62)->state, Voice::kRelease) << "a key still down keeps sounding";
}

TEST(Trigger, SostenutoHoldsOnlyTheVoicesThatSoundedWhenItWentDown) {
    TriggerRig rig;
    rig.addGroup();
    rig.press(60);
    rig.cc(66, 127);
    rig.press(62);
    rig.release(60);
    rig.release(62);
    EXPECT_NE(rig.voiceOf(60)->state, Voice::kRelease);
    EXPECT_EQ(rig.voiceOf(62)->state, Voice::kRelease);

    rig.cc(66, 0);
    EXPECT_EQ(rig.voiceOf(60)->state, Voice::kRelease);
}

TEST(Trigger, NoteOffMatchesTheChannelOrAllChannels) {
    TriggerRig rig;
    rig.addGroup();
    rig.addSlot(ProgramSlot::kAllChannels, rig.program);
    rig.press(60, 100, 0);  // two voices: the slot on channel 1 and the one on all
    ASSERT_EQ(rig.held().size(), 2u);
    rig.press(60, 100, 1);  // only the slot on all channels
    ASSERT_EQ(rig.held().size(), 3u);

    rig.release(60, 2);
    EXPECT_EQ(rig.held().size(), 1u) << "the omni voices answer any channel";
    rig.release(60, 0);
    EXPECT_TRUE(rig.held().empty());
}

TEST(Trigger, AllNotesOffWithNothingPlayingStillClearsHistoryAndCounters) {
    TriggerRig rig;
    Group& g = rig.addGroup();
    auto matrix = ZnLib::makeRef<WaveMatrix>();
    rig.addGroup(0, 10).splits.front().setMatrix(matrix);
    auto other = ZnLib::makeRef<Program>("Other");
    Group& otherGroup = rig.addGroup(0, 127, other.get());
    rig.addSlot(1, other);

    rig.press(60);
    rig.press(61, 100, 1);
    rig.cc(120, 0);
    EXPECT_EQ(rig.voiceOf(60), nullptr);
    EXPECT_NE(rig.voiceOf(61), nullptr);
    rig.cc(120, 0, 1);
    ASSERT_TRUE(rig.active().empty());
    rig.program->rr_count = 7;
    g.rr_count = 5;
    matrix->rr_count = 9;

    rig.cc(123, 0);
    const Channel& ch = rig.engine.channel(0);
    EXPECT_EQ(ch.head, Channel::kNoKey);
    EXPECT_FALSE(ch.held(60));
    EXPECT_EQ(ch.key_count[60], 0);
    EXPECT_EQ(rig.program->rr_count, 0);
    EXPECT_EQ(g.rr_count, 0);
    EXPECT_EQ(matrix->rr_count, 0);
    EXPECT_EQ(other->rr_count, 1) << "a slot on another channel keeps counting";
    EXPECT_EQ(otherGroup.rr_count, 1);
    EXPECT_TRUE(rig.engine.channel(1).held(61));
}

TEST(Trigger, AllNotesOffReleasesAndAllSoundOffKillsTheChannelsVoices) {
    TriggerRig rig;
    rig.addGroup();
    rig.addSlot(1, rig.program);
    rig.press(60, 100, 0);
    rig.press(62, 100, 1);
    rig.cc(123, 0, 1);
    EXPECT_NE(rig.voiceOf(60)->state, Voice::kRelease);
    EXPECT_EQ(rig.voiceOf(62)->state, Voice::kRelease);

    rig.engine.soundOff(0);
    EXPECT_EQ(rig.voiceOf(60), nullptr);
    rig.press(64, 100, 0);
    rig.engine.notesOff(Channel::kAllChannels);
    EXPECT_TRUE(rig.held().empty());
    EXPECT_EQ(rig.engine.channel(0).head, Channel::kNoKey);
}
