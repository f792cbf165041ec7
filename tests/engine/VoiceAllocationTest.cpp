#include <gtest/gtest.h>

#include "AllocationCounter.h"
#include "VoiceFixture.h"
#include "engine/EffectUnits.h"
#include "engine/InsertUnits.h"

using namespace MV;
using namespace MV::Test;

TEST(VoiceAllocation, AudioCallWithThirtyTwoPlayingVoicesAllocatesNothing) {
    auto wave = makeWave(3000, 2, [](unsigned c, uint32_t i) { return float((i * (c + 3)) % 97) / 97.0f - 0.5f; });
    VoiceRig rig(wave);
    rig.setLoop(500, 2500, ZnPlug::LoopMode::Bidirectional);
    // A chorus insert in every voice, and a reverb and a delay on the buses the voices feed.
    rig.group->setInsert(FX::createInsertUnit(int32_t(FX::InsertType::Chorus)));
    rig.group->sends[0].dest = 1;
    rig.group->sends[0].level = 0.5f;
    rig.group->sends[1].dest = 2;
    rig.group->sends[1].level = 0.25f;
    rig.engine.performance().fx[0] = FX::createEffectUnit(int32_t(FX::EffectType::Reverb));
    rig.engine.performance().fx[1] = FX::createEffectUnit(int32_t(FX::EffectType::Delay));
    rig.engine.reconfigure();
    for (int i = 0; i < 16; ++i) {
        rig.group->interpolation = int8_t(1 + i % 5);
        ASSERT_NE(rig.start(uint8_t(40 + i)), nullptr);
    }
    rig.host.run(256);

    AllocationCounter::Scope allocations;
    // Note starts take their insert processors from the pool.
    for (int i = 16; i < 32; ++i) rig.start(uint8_t(40 + i));
    for (int call = 0; call < 20; ++call) rig.host.run(256);
    EXPECT_EQ(allocations.count(), 0);
    int playing = 0;
    for (int i = 0; i < rig.engine.poolEnd(); ++i) playing += rig.engine.voice(i).idle() ? 0 : 1;
    EXPECT_EQ(playing, 32);
    EXPECT_EQ(rig.engine.insertPool().available(int32_t(FX::InsertType::Chorus)), std::size_t(Morvek::kVoices - 32));
}
