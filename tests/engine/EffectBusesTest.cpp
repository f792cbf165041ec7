#include <gtest/gtest.h>

#include "EngineFixture.h"

using namespace MV;
using namespace MV::Test;

namespace {
constexpr uint8_t kFx(int n) { return uint8_t(n); }  // routing code of "FX<n>"
constexpr uint8_t kS12 = 7, kM1 = 11;
}  // namespace

TEST(EffectBuses, ABusFeedingAnotherRunsFirst) {
    Morvek engine;
    Host host(engine, 64);
    auto& fx = engine.performance().fx;
    // FX3 feeds FX1, which feeds "S 1+2": FX1 must see FX3's output in its input.
    fx[0] = ZnLib::makeRef<ConstEffect>(1.0f, kS12);
    fx[2] = ZnLib::makeRef<ConstEffect>(10.0f, kFx(1));
    host.run(64);
    EXPECT_FLOAT_EQ(host.at(0, 0), 11.0f);
    EXPECT_FLOAT_EQ(host.at(1, 63), 11.0f);
}

TEST(EffectBuses, ACycleEndsAndDropsTheSecondOfThePair) {
    Morvek engine;
    Host host(engine, 32);
    auto& fx = engine.performance().fx;
    auto first = ZnLib::makeRef<ConstEffect>(1.0f, kFx(2));
    auto second = ZnLib::makeRef<ConstEffect>(2.0f, kFx(1));
    fx[0] = first;
    fx[1] = second;
    host.run(32);
    EXPECT_EQ(first->processed, 1);
    EXPECT_EQ(second->processed, 0);
}

TEST(EffectBuses, MuteBypassAndMonoDestinations) {
    Morvek engine;
    Host host(engine, 16);
    auto& fx = engine.performance().fx;
    // FX2 (bypassed, dry 0.5 * level 1) passes FX3's output on to "M 1" as a mono sum.
    auto feeder = ZnLib::makeRef<ConstEffect>(4.0f, kFx(2));
    auto bypassed = ZnLib::makeRef<ConstEffect>(100.0f, kM1);
    bypassed->bypass = true;
    auto muted = ZnLib::makeRef<ConstEffect>(7.0f, kS12);
    muted->mute = true;
    fx[2] = feeder;
    fx[1] = bypassed;
    fx[5] = muted;
    host.run(16);
    EXPECT_EQ(bypassed->processed, 0);
    EXPECT_EQ(muted->processed, 0);
    // (4 + 4) * (0.5 * 1) * 0.5
    EXPECT_FLOAT_EQ(host.at(8, 5), 2.0f);
    EXPECT_EQ(host.at(0, 5), 0.0f);
}

TEST(EffectBuses, UnknownDestinationMixesNothing) {
    Morvek engine;
    Host host(engine, 16);
    auto unit = ZnLib::makeRef<ConstEffect>(1.0f, 40);
    engine.performance().fx[4] = unit;
    host.run(16);
    EXPECT_EQ(unit->processed, 0);
    for (int pin = 0; pin < 16; ++pin) EXPECT_EQ(host.at(pin, 0), 0.0f);
}
