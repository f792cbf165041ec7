#include <gtest/gtest.h>

#include <string>

#include "TriggerFixture.h"

using namespace MV;
using namespace MV::Test;

TEST(Controller, SustainPedalHoldsReleasedVoicesAndLetsGoWhenItRises) {
    TriggerRig rig;
    rig.addGroup();
    rig.addSlot(ProgramSlot::kAllChannels, rig.program);
    rig.cc(64, 127);
    rig.press(60);
    ASSERT_EQ(rig.held().size(), 2u);
    rig.release(60);
    rig.run(10);
    EXPECT_EQ(rig.held().size(), 2u) << "both the channel's voice and the omni one are held";
    for (Voice* v : rig.held()) EXPECT_TRUE(v->flags & Voice::kHeldBySustain);

    // The omni voice reads record 16, which every channel's pedal reaches.
    rig.cc(64, 0);
    EXPECT_TRUE(rig.held().empty());
    rig.cc(64, 127, 3);
    rig.press(62, 100, 5);
    rig.release(62, 5);
    ASSERT_EQ(rig.held().size(), 1u);
    EXPECT_EQ(rig.held()[0]->channel->number, Channel::kAllChannels);

    // A key going up after the pedal rose releases at once.
    rig.cc(64, 0, 3);
    rig.press(64);
    rig.release(64);
    EXPECT_EQ(rig.active().size(), 5u);
    EXPECT_TRUE(rig.held().empty()) << "both voices of key 64 are in release";
}

TEST(Controller, SostenutoOnAnyChannelCatchesEveryPlayingVoice) {
    TriggerRig rig;
    rig.addGroup();
    rig.press(60);
    rig.cc(66, 127, 2);  // the walk does not look at channels
    rig.release(60);
    ASSERT_NE(rig.voiceOf(60), nullptr);
    EXPECT_NE(rig.voiceOf(60)->state, Voice::kRelease);
    rig.cc(66, 0, 2);
    EXPECT_EQ(rig.voiceOf(60)->state, Voice::kRelease);
}

TEST(Controller, AllNotesOffClearsHistoryOfTheChannelAndItsFallbackWithNothingPlaying) {
    TriggerRig rig;
    rig.addGroup(0, 10);
    rig.press(5);
    rig.press(7, 100, 1);
    rig.cc(120, 0);
    ASSERT_TRUE(rig.active().empty());
    rig.program->rr_count = 3;

    rig.cc(123, 0);
    const Channel& ch = rig.engine.channel(0);
    const Channel& all = rig.engine.channel(Channel::kAllChannels);
    EXPECT_EQ(ch.head, Channel::kNoKey);
    EXPECT_EQ(ch.key_count[5], 0);
    EXPECT_EQ(all.head, Channel::kNoKey);
    EXPECT_EQ(all.key_count[7], 0);
    EXPECT_EQ(rig.program->rr_count, 0);
    EXPECT_EQ(rig.engine.channel(1).head, 7) << "another channel keeps its own history";
}

TEST(Controller, KeyNamesComeFromTheSplitOfTheFirstGroupHoldingTheKey) {
    TriggerRig rig;
    auto named = [](const char* name) {
        auto w = steadyWave();
        w->setName(name);
        return w;
    };
    auto low = ZnLib::makeRef<Group>();
    low->range.lowKey = 40;
    low->range.highKey = 59;
    low->splits.assign(2, Split(int8_t(40)));
    low->splits[0].setWave(named("Low"));
    low->splits[1].key = 50;
    low->splits[1].setWave(named("Mid"));
    auto high = ZnLib::makeRef<Group>();
    high->range.lowKey = 70;
    high->range.highKey = 90;
    high->splits[0] = Split(int8_t(70));
    high->splits[0].setWave(named("High"));
    rig.program->addGroup(high);
    rig.program->addGroup(low);

    std::string name = "stale";
    EXPECT_TRUE(rig.engine.midiKeyName(0, 45, name));
    EXPECT_EQ(name, "Low");
    EXPECT_TRUE(rig.engine.midiKeyName(0, 59, name));
    EXPECT_EQ(name, "Mid");
    EXPECT_TRUE(rig.engine.midiKeyName(0, 90, name));
    EXPECT_EQ(name, "High");
    EXPECT_TRUE(rig.engine.midiKeyName(0, 39, name)) << "below every group: known, without a name";
    EXPECT_EQ(name, "");
    EXPECT_FALSE(rig.engine.midiKeyName(0, 65, name)) << "between the groups";
    EXPECT_FALSE(rig.engine.midiKeyName(0, 91, name)) << "above them";
    EXPECT_FALSE(rig.engine.midiKeyName(1, 45, name)) << "no such slot";
    rig.slot().program = ZnLib::makeRef<Program>("Empty");
    EXPECT_FALSE(rig.engine.midiKeyName(0, 0, name));
}
