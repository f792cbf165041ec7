#include <gtest/gtest.h>

#include "model/Group.h"
#include "model/ModelTestUtil.h"
#include "model/Program.h"
#include "model/WaveMatrix.h"

using namespace MV;
using ZnLib::makeRef;
using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

Split splitAt(int key, const SharedRef<Wave>& wave) {
    Split s{int8_t(key)};
    s.setWave(wave);
    return s;
}

std::vector<int> keysOf(const Group& g) {
    std::vector<int> keys;
    for (const Split& s : g.splits) keys.push_back(s.key);
    return keys;
}

}  // namespace

TEST(Group, FreshGroupDefaults) {
    Group g;
    EXPECT_EQ(g.name, "New Group");
    EXPECT_FLOAT_EQ(g.amp, 0.5f);
    EXPECT_EQ(g.filter.type, kFilterOff);
    EXPECT_FLOAT_EQ(g.filter.freq, 1.0f);
    EXPECT_EQ(g.tuning, kTuningNormal);
    EXPECT_EQ(g.output, kOutputFromChannel);
    ASSERT_EQ(g.splits.size(), 1u);
    EXPECT_TRUE(g.isEmpty());
    EXPECT_FALSE(g.switcher);
    // 1000 ms through the time law, 0.5 Hz through the rate law.
    EXPECT_NEAR(g.env1.time1, 0.577450, 1e-5);
    EXPECT_NEAR(g.lfo1.rate, 0.2765053, 1e-6);
    EXPECT_EQ(g.lfo1.type, kLfoSinus);
    EXPECT_EQ(g.seq1.sync, kSyncKey);
    Switcher sw;
    EXPECT_EQ(sw.keyLow, -1);
    EXPECT_EQ(sw.keyHigh, -1);
    EXPECT_EQ(sw.keyDown, -1);
    EXPECT_EQ(sw.keyUp, -1);
    EXPECT_TRUE(sw.enabled);
}

TEST(Group, ModulationSlotsFreeAndUsed) {
    Group g;
    EXPECT_TRUE(g.modulation[0].isFree());
    EXPECT_TRUE(g.modulation[0].isUnused());

    // A source and a destination with no amount and no via cannot act: free.
    g.modulation[0] = {5, 0, 3, 0.0f, 0.0f, false, true};
    EXPECT_TRUE(g.modulation[0].isFree());
    EXPECT_FALSE(g.modulation[0].isUnused());
    g.modulation[1] = {5, 7, 3, 0.0f, 0.5f, false, true};  // with a via, amountVia counts
    EXPECT_FALSE(g.modulation[1].isFree());
    g.modulation[2] = {5, 0, 3, 0.5f, 0.0f, false, false};  // disabled
    EXPECT_TRUE(g.modulation[2].isFree());
    EXPECT_TRUE((ModulationEntry{0, 0, 0, 0, 0, false, false}.isUnused()));
    EXPECT_FALSE((ModulationEntry{0, 0, 0, 0, 0, true, true}.isUnused()));

    ModulationEntry& taken = g.addModulation(9);
    EXPECT_EQ(&taken, &g.modulation[0]);
    EXPECT_EQ(taken.source, 9);
    g.modulation[0].amount = 1;
    EXPECT_EQ(&g.addModulation(4), &g.modulation[2]);
    EXPECT_TRUE(g.modulation[2].enabled);

    for (auto& e : g.modulation) e = {1, 0, 1, 1.0f, 0.0f, false, true};
    try {
        g.addModulation(1);
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "All modulation slots used");
    }
}

TEST(Group, NormaliseTuningLevelsAndSwitcher) {
    Group g;
    g.fine = 120;
    g.normalise();
    EXPECT_EQ(g.fine, 20);
    EXPECT_EQ(g.coarse, 2);

    g.fine = -120;
    g.coarse = -126;
    g.amp = 1.5f;
    g.pan = -3;
    g.normalise();
    EXPECT_EQ(g.fine, -20);
    EXPECT_EQ(g.coarse, -127);
    EXPECT_FLOAT_EQ(g.amp, 1.0f);
    EXPECT_FLOAT_EQ(g.pan, -1.0f);
    g.amp = -0.5f;
    g.normalise();
    EXPECT_FLOAT_EQ(g.amp, 0.0f);

    g.setSwitcher(makeRef<Switcher>());
    g.normalise();
    EXPECT_FALSE(g.switcher);
    auto sw = makeRef<Switcher>();
    sw->keyPrev = 60;
    g.setSwitcher(sw);
    g.normalise();
    EXPECT_EQ(g.switcher, sw);
}

TEST(Group, NormaliseSplitsAndRanges) {
    auto wave = Fake::makeWave("w", 60, 0, 2);
    Group g;
    Split s = splitAt(0, wave);
    s.setOverride(60, 60);
    s.loop = 5;
    s.release = 1;
    g.splits = {s};
    g.range = {70, 20, 0, 127};  // out of order
    g.fade = {0, 127, 0, 127};
    g.normalise();
    EXPECT_EQ(g.range.lowKey, 20);
    EXPECT_EQ(g.range.highKey, 70);
    EXPECT_GE(g.fade.lowKey, g.range.lowKey);
    EXPECT_LE(g.fade.highKey, g.range.highKey);
    EXPECT_EQ(g.splits[0].key, 20);
    EXPECT_EQ(g.splits[0].loop, 1);
    EXPECT_EQ(g.splits[0].release, 1);
    // 60 cents becomes -40 on the next key: whole hundreds counted from 50 on.
    EXPECT_TRUE(g.splits[0].hasOverride());
    EXPECT_EQ(g.splits[0].root(), 61);
    EXPECT_EQ(g.splits[0].fine(), -40);

    // 100 cents count twice 50: two keys up, minus 200 cents.
    g.splits[0].setOverride(59, 100);
    g.normalise();
    EXPECT_EQ(g.splits[0].root(), 61);
    EXPECT_EQ(g.splits[0].fine(), -100);
    // An override that ends up saying what the wave says goes.
    wave->fine = -50;
    g.splits[0].setOverride(59, 50);
    g.splits[0].normalise();
    EXPECT_FALSE(g.splits[0].hasOverride());
    EXPECT_EQ(g.splits[0].root(), 60);
    EXPECT_EQ(g.splits[0].fine(), -50);
}

TEST(Group, RemovingSplits) {
    auto a = Fake::makeWave("a"), b = Fake::makeWave("b");
    Group g;
    g.setHighKey(100);
    g.setLowKey(36);
    g.addSplit(splitAt(50, a));  // replaces the lone empty split, moves to the low key
    EXPECT_EQ(keysOf(g), std::vector<int>({36}));
    g.addSplit(splitAt(60, b));
    g.addSplit(splitAt(48, b));
    EXPECT_EQ(keysOf(g), std::vector<int>({36, 48, 60}));
    g.addSplit(splitAt(48, a));  // same key: replaced in place
    EXPECT_EQ(g.splits.size(), 3u);
    EXPECT_EQ(g.splits[1].wave(), a.get());

    // Below the low key only the last split can play: the one it shadows goes, rather than
    // sharing key 36 with it (a document could not carry both).
    g.addSplit(splitAt(20, b));
    g.addSplit(splitAt(30, a));
    EXPECT_EQ(keysOf(g), std::vector<int>({36, 48, 60}));
    EXPECT_EQ(g.splits[0].wave(), a.get());
    g.addSplit(splitAt(36, b));  // the low key itself: replaced in place
    EXPECT_EQ(g.splits[0].wave(), b.get());

    g.removeSplit(59);  // the split that holds 59
    EXPECT_EQ(keysOf(g), std::vector<int>({36, 60}));
    g.removeSplit(40);  // the first: its successor moves down to the low key
    EXPECT_EQ(keysOf(g), std::vector<int>({36}));
    EXPECT_EQ(g.splits[0].wave(), b.get());
    g.removeSplit(127);
    ASSERT_EQ(g.splits.size(), 1u);
    EXPECT_TRUE(g.splits[0].isEmpty());
    EXPECT_EQ(g.splits[0].key, 36);
    EXPECT_EQ(g.splits[0].loop, -1);
    EXPECT_EQ(g.splits[0].root(), 255);
}

TEST(Group, KeyEditsClampAndCarryTheFade) {
    auto w = Fake::makeWave("w");
    Group g;
    g.addSplit(splitAt(0, w));
    g.addSplit(splitAt(40, w));
    g.fade.lowKey = 10;
    g.fade.highKey = 117;
    g.setLowKey(60);  // stops below the second split
    EXPECT_EQ(g.range.lowKey, 39);
    EXPECT_EQ(g.splits[0].key, 39);
    EXPECT_EQ(g.fade.lowKey, 49);  // kept its distance of 10
    g.setLowKey(-5);
    EXPECT_EQ(g.range.lowKey, 0);

    g.setHighKey(20);  // not below the last split
    EXPECT_EQ(g.range.highKey, 40);
    EXPECT_EQ(g.fade.highKey, 30);  // distance 10 kept
    EXPECT_LE(g.fade.lowKey, g.fade.highKey);
    g.setHighKey(200);
    EXPECT_EQ(g.range.highKey, 127);

    g.setLowVelocity(100);
    g.setHighVelocity(50);
    EXPECT_EQ(g.range.lowVel, 100);
    EXPECT_EQ(g.range.highVel, 100);
    EXPECT_LE(g.fade.lowVel, g.fade.highVel);

    Group s;
    s.setHighKey(100);
    s.addSplit(splitAt(0, w));
    s.addSplit(splitAt(50, w));
    s.shift(20, 0);
    EXPECT_EQ(keysOf(s), std::vector<int>({20, 70}));
    EXPECT_EQ(s.range.highKey, 120);
    s.shift(8, 0);  // high key would pass 127
    EXPECT_EQ(s.range.highKey, 120);
    s.shift(-21, 0);  // low key would pass 0
    EXPECT_EQ(s.range.lowKey, 20);
    s.shift(0, -1);
    EXPECT_EQ(s.range.lowVel, 0);
    s.setHighVelocity(100);
    s.shift(-20, 5);  // each offset tested on its own
    EXPECT_EQ(s.range.lowKey, 0);
    EXPECT_EQ(s.range.lowVel, 5);
    EXPECT_EQ(s.range.highVel, 105);
    EXPECT_EQ(s.fade.highVel, 105);
}

TEST(Group, SplitsFromAndTo) {
    auto w = Fake::makeWave("w");
    Group g;
    for (int k : {0, 30, 60, 90}) g.addSplit(splitAt(k, w));
    g.splitsFrom(40);
    EXPECT_EQ(keysOf(g), std::vector<int>({40, 60, 90}));
    EXPECT_EQ(g.range.lowKey, 40);
    g.splitsTo(70);
    EXPECT_EQ(keysOf(g), std::vector<int>({40, 60}));
    EXPECT_EQ(g.range.highKey, 70);
    EXPECT_EQ(g.fade.highKey, 70);
}

TEST(Group, PlaceWaveBetweenRoots) {
    Group g;
    EXPECT_TRUE(g.placeWave(Fake::makeWave("c", 48), 36, 50));
    EXPECT_EQ(keysOf(g), std::vector<int>({36}));
    EXPECT_EQ(g.range.lowKey, 36);
    EXPECT_EQ(g.range.highKey, 50);

    // Half way from root 48 to root 60, plus one.
    EXPECT_TRUE(g.placeWave(Fake::makeWave("d", 60), 0, 90));
    EXPECT_EQ(keysOf(g), std::vector<int>({36, 55}));
    EXPECT_EQ(g.range.highKey, 90);
    // Without a root: four keys above the last root.
    EXPECT_TRUE(g.placeWave(Fake::makeWave("e"), 0, 127));
    EXPECT_EQ(g.splits.back().key, 64);
    // The last wave has no root: one key above the last split; lowered to the wanted high key.
    EXPECT_TRUE(g.placeWave(Fake::makeWave("f", 100), 0, 127));
    EXPECT_EQ(g.splits.back().key, 65);
    EXPECT_TRUE(g.placeWave(Fake::makeWave("g", 120), 0, 70));
    EXPECT_EQ(g.splits.back().key, 70);
    EXPECT_FALSE(g.placeWave(Fake::makeWave("h", 120), 0, 70));
    EXPECT_EQ(g.splits.size(), 5u);
}

TEST(Group, CopiesDeepButSharesSounds) {
    auto w = Fake::makeWave("w");
    Group g("g");
    g.splits[0].setWave(w);
    g.setInsert(makeRef<Fake::FakeInsert>(0.25f));
    auto sw = makeRef<Switcher>();
    sw->seqLength = 4;
    g.setSwitcher(sw);
    g.rr_count = 9;

    Group copy(g);
    EXPECT_NE(copy.switcher.get(), g.switcher.get());
    EXPECT_EQ(*copy.switcher, *g.switcher);
    ASSERT_TRUE(copy.insert);
    EXPECT_NE(copy.insert.get(), g.insert.get());
    EXPECT_FLOAT_EQ(static_cast<Fake::FakeInsert&>(*copy.insert).value, 0.25f);
    EXPECT_EQ(copy.splits[0].wave(), w.get());
    EXPECT_EQ(copy.rr_count, 0);
    EXPECT_FALSE(copy == g);  // other switcher and insert objects
    copy.switcher = g.switcher;
    copy.insert = g.insert;
    EXPECT_TRUE(copy == g);
    copy.setMute(ZnPlug::Soloable::Muted);
    EXPECT_FALSE(copy == g);

    // A group is modified by its count or by a split's sound.
    Group clean;
    EXPECT_FALSE(clean.modified());
    clean.splits[0].setWave(w);
    EXPECT_TRUE(clean.modified());  // the wave was never saved
}

TEST(Program, CopySharesGroupsAndAddSlicesFillsGroups) {
    Program p("p");
    p.addGroup(makeRef<Group>());
    p.rr_count = 3;
    Program copy(p);
    EXPECT_EQ(copy.groups[0], p.groups[0]);
    EXPECT_EQ(copy.rr_count, 0);

    auto wave = Fake::makeWave("loop", 255, 0, 10, ZnPlug::LoopMode::Slice);
    wave->loops.insert(wave->loops.begin(), ZnPlug::Loop(0, 10, ZnPlug::LoopMode::Forward));
    Program slices("s");
    EXPECT_EQ(slices.addSlices(wave, 0, 127, 0), 1);
    const Group& g = *slices.groups[0];
    EXPECT_EQ(g.name, "loop");
    EXPECT_EQ(g.tuning, kTuningFixed);
    ASSERT_EQ(g.splits.size(), 10u);
    EXPECT_EQ(g.range.lowKey, 36);  // keys 0 to 9 moved by 36
    EXPECT_EQ(g.range.highKey, 45);
    EXPECT_EQ(g.fade.highKey, 45);
    EXPECT_EQ(g.splits[0].key, 36);
    EXPECT_EQ(g.splits[0].loop, 1);  // the forward loop is no slice
    EXPECT_EQ(g.splits[9].loop, 10);

    // Keys 0 to 99: 36 does not fit, 24 does. Then the rest from the low key again.
    auto many = Fake::makeWave("many", 255, 0, 150, ZnPlug::LoopMode::PinnedSlice);
    Program big("b");
    EXPECT_EQ(big.addSlices(many, 0, 99, 0), 2);
    EXPECT_EQ(big.groups[0]->range.lowKey, 24);
    EXPECT_EQ(big.groups[0]->range.highKey, 123);
    EXPECT_EQ(big.groups[1]->splits.size(), 50u);
    EXPECT_EQ(big.groups[1]->range.lowKey, 36);
    EXPECT_EQ(big.groups[1]->splits[0].loop, 100);

    Program full("f");
    EXPECT_EQ(full.addSlices(many, 0, 127, 20), 2);
    EXPECT_EQ(full.groups[0]->range.lowKey, 0);  // no offset fits keys 0 to 127
    EXPECT_EQ(full.groups[0]->range.highKey, 127);
    EXPECT_EQ(full.groups[1]->splits[0].loop, 148);
}
