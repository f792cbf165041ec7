#include <gtest/gtest.h>

#include <vector>

#include "EngineFixture.h"

using namespace MV;
using namespace MV::Test;

namespace {
// The history from the most recent key on.
std::vector<int> history(const Channel& ch) {
    std::vector<int> keys;
    for (uint8_t k = ch.head; k != Channel::kNoKey && keys.size() <= 128; k = ch.keys[k].next) keys.push_back(k);
    return keys;
}

// The history walked backwards from its oldest key, turned round: equal to history() when the
// back links are right.
std::vector<int> historyByBackLinks(const Channel& ch) {
    std::vector<int> keys = history(ch);
    if (keys.empty()) return keys;
    std::vector<int> back;
    for (uint8_t k = uint8_t(keys.back()); k != Channel::kNoKey && back.size() <= 128; k = ch.keys[k].prev)
        back.insert(back.begin(), k);
    return back;
}
}  // namespace

TEST(Channel, PressedKeysMoveToTheHeadAndReleasedOnesStay) {
    Channel all(Channel::kAllChannels, nullptr);
    Channel ch(0, &all);
    ch.pressKey(60, 100, -5);
    ch.pressKey(62, 90, 0);
    ch.pressKey(64, 80, 0);
    EXPECT_EQ(history(ch), (std::vector<int>{64, 62, 60}));
    ch.pressKey(62, 70, 3);
    EXPECT_EQ(history(ch), (std::vector<int>{62, 64, 60}));
    EXPECT_EQ(historyByBackLinks(ch), history(ch));
    ch.pressKey(60, 50, 0);  // the tail moves to the head
    EXPECT_EQ(history(ch), (std::vector<int>{60, 62, 64}));
    EXPECT_EQ(historyByBackLinks(ch), history(ch));
    ch.pressKey(60, 55, 0);  // already the head
    EXPECT_EQ(history(ch), (std::vector<int>{60, 62, 64}));
    EXPECT_EQ(ch.keys[60].velocity, 55);
    EXPECT_EQ(ch.key_count[60], 3);
    EXPECT_EQ(ch.keys[62].detune, 3);

    EXPECT_EQ(ch.releaseKey(62), 70);
    EXPECT_EQ(history(ch), (std::vector<int>{60, 62, 64}));
    EXPECT_FALSE(ch.held(62));
    EXPECT_EQ(ch.released_key, 62);
    EXPECT_EQ(ch.lastHeldKey(61, 70), 64);
    EXPECT_EQ(ch.lastHeldKey(0, 59), Channel::kNoKey);

    // The fallback record sees the union of its channels.
    Channel other(1, &all);
    other.pressKey(40, 100, 0);
    EXPECT_EQ(history(all), (std::vector<int>{40, 60, 62, 64}));
    EXPECT_FALSE(all.held(62));
    EXPECT_EQ(all.key_count[60], 3);

    ch.clearKeys();
    EXPECT_TRUE(history(ch).empty());
    EXPECT_EQ(ch.key_count[60], 0);
    ch.pressKey(64, 1, 0);
    EXPECT_EQ(history(ch), (std::vector<int>{64}));
}

TEST(Channel, ControllersReachTheFallbackAndExternalControllersScaleByTheirCentre) {
    TestEngine engine;
    engine.externalController[0] = {20, 0};
    engine.externalController[1] = {20, 127};
    engine.externalController[2] = {21, 64};
    engine.controller(event(0xB3, 20, 0, 0));
    const Channel& ch = engine.channel(3);
    EXPECT_FLOAT_EQ(ch.external[0], 0.0f);
    EXPECT_FLOAT_EQ(ch.external[1], -1.0f) << "centre 127 spans 127 below";
    engine.controller(event(0xB3, 20, 127, 0));
    EXPECT_FLOAT_EQ(ch.external[0], 1.0f);
    EXPECT_FLOAT_EQ(ch.external[1], 0.0f);
    EXPECT_FLOAT_EQ(engine.channel(16).external[1], 0.0f);
    EXPECT_TRUE(ch.changes & Channel::kChangeExternal);
    engine.controller(event(0xB3, 21, 0, 0));
    EXPECT_FLOAT_EQ(ch.external[2], -1.0f);

    engine.controller(event(0xB3, 1, 127, 0));
    EXPECT_FLOAT_EQ(ch.wheel, 1.0f);
    EXPECT_FLOAT_EQ(engine.channel(16).wheel, 1.0f);
    EXPECT_TRUE(ch.changes & Channel::kChangeWheel);
    engine.controller(event(0xB3, 125, 99, 0));
    EXPECT_EQ(ch.cc[125], 99);
    EXPECT_EQ(engine.channel(16).cc[125], 99);

    engine.controller(event(0xB3, 121, 0, 0));
    EXPECT_EQ(ch.cc[125], 0);
    EXPECT_FLOAT_EQ(ch.cc_value[1], 0.0f);
    EXPECT_FLOAT_EQ(ch.wheel, 0.0f);
    EXPECT_FLOAT_EQ(ch.external[0], 0.0f);
}

TEST(Channel, BendRunsFromMinusOneToJustBelowOne) {
    Channel ch;
    ch.storeBend(0, 0);
    EXPECT_FLOAT_EQ(ch.bend, -1.0f);
    ch.storeBend(0, 64);
    EXPECT_FLOAT_EQ(ch.bend, 0.0f);
    ch.storeBend(127, 127);
    EXPECT_LT(ch.bend, 1.0f);
    EXPECT_GT(ch.bend, 0.999f);
}
