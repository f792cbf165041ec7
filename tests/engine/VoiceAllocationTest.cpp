#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "VoiceFixture.h"
#include "engine/EffectUnits.h"
#include "engine/InsertUnits.h"

// Every allocation of this test executable goes through these, so a test can count what a piece
// of code allocates.
namespace {
std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};

void* counted(std::size_t size, std::size_t alignment = 0) noexcept {
    if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (size == 0) size = 1;
    if (alignment <= alignof(std::max_align_t)) return std::malloc(size);
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void* countedOrThrow(std::size_t size, std::size_t alignment = 0) {
    if (void* p = counted(size, alignment)) return p;
    throw std::bad_alloc();
}
}  // namespace

// All forms of the global allocation functions, so that no pair mixes this heap with another.
void* operator new(std::size_t size) { return countedOrThrow(size); }
void* operator new[](std::size_t size) { return countedOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void* operator new(std::size_t size, std::align_val_t a) { return countedOrThrow(size, std::size_t(a)); }
void* operator new[](std::size_t size, std::align_val_t a) { return countedOrThrow(size, std::size_t(a)); }
void* operator new(std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
    return counted(size, std::size_t(a));
}
void* operator new[](std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
    return counted(size, std::size_t(a));
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }

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

    g_allocations = 0;
    g_counting = true;
    // Note starts take their insert processors from the pool.
    for (int i = 16; i < 32; ++i) rig.start(uint8_t(40 + i));
    for (int call = 0; call < 20; ++call) rig.host.run(256);
    g_counting = false;
    EXPECT_EQ(g_allocations.load(), 0);
    int playing = 0;
    for (int i = 0; i < rig.engine.poolEnd(); ++i) playing += rig.engine.voice(i).idle() ? 0 : 1;
    EXPECT_EQ(playing, 32);
    EXPECT_EQ(rig.engine.insertPool().available(int32_t(FX::InsertType::Chorus)), std::size_t(Morvek::kVoices - 32));
}
