// Live sampling through the plug-in's input pins, driven by the test host.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "AllocationCounter.h"
#include "engine/Morvek.h"
#include "engine/Sampler.h"
#include "plug/Wave.h"
#include "plug/vst/VSTDispatcher.h"
#include "plug/vst/VSTInit.h"
#include "vst/TestHost.h"

namespace MorvekTest {
namespace {

using namespace ZnPlug::Vst;

// The engine with the sampler that its editor's panel would hold.
struct SamplingEngine : MV::Morvek {
    MV::Sampler sampler{*this};
};

SamplingEngine& behind(const TestHost& host) {
    return dynamic_cast<SamplingEngine&>(ZnPlug::VSTDispatcher::of(host.effect())->plugin());
}

float signal(unsigned channel, uint32_t frame) { return float((frame * 5 + channel * 11) % 997) / 997.0f - 0.5f; }

TEST(SamplerHost, TakeThroughTheInputPinsAllocatesOnlyItsBlocksAndTravelsEmbeddedInTheBankChunk) {
    ZnPlug::pluginFactory() = [] {
        return ZnLib::SharedRef<ZnPlug::AudioPlugin>(static_cast<ZnPlug::AudioPlugin*>(new SamplingEngine()),
                                                     ZnLib::adoptRef);
    };
    constexpr int32_t kBlock = 256;
    TestHost host(&ZnPlug::vstPluginMain, 48000, kBlock);
    host.open();
    SamplingEngine& engine = behind(host);
    engine.sampler.setRecord(true);

    // Past one block of the take, so that the second block is allocated too.
    constexpr uint32_t kFrames = MV::Sampler::kBlockFrames + 3 * kBlock;
    std::array<std::vector<float>, 2> in{std::vector<float>(kBlock), std::vector<float>(kBlock)};
    std::vector<float> out(kBlock);
    std::array<float*, 2> inPointers = {in[0].data(), in[1].data()};
    std::vector<float*> outPointers(16, out.data());
    host.asked.reserve(4 * kFrames / kBlock);
    long allocations = 0;
    for (uint32_t at = 0; at < kFrames; at += kBlock) {
        for (unsigned c = 0; c < 2; ++c)
            for (int32_t i = 0; i < kBlock; ++i) in[c][std::size_t(i)] = signal(c, at + uint32_t(i));
        AllocationCounter::Scope scope;
        host.effect()->processReplacing(host.effect(), inPointers.data(), outPointers.data(), kBlock);
        allocations += scope.count();
    }
    EXPECT_EQ(allocations, 2);

    engine.sampler.setRecord(false);
    const auto take = engine.sampler.collectTake({});
    ASSERT_NE(take, nullptr);

    void* data = nullptr;
    const intptr_t size = host.call(effGetChunk, 0, 0, &data);
    ASSERT_GT(size, intptr_t(kFrames * 2 * sizeof(float))) << "the samples themselves are in the chunk";
    std::vector<uint8_t> chunk(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
    host.close();

    TestHost fresh(&ZnPlug::vstPluginMain, 48000, kBlock);
    fresh.open();
    ASSERT_EQ(fresh.call(effSetChunk, 0, intptr_t(chunk.size()), chunk.data()), 1);
    const MV::Morvek& restored = behind(fresh);
    const ZnPlug::Wave* wave = nullptr;
    for (const auto& w : restored.waves)
        if (w->name() == "New Wave") wave = w.get();
    ASSERT_NE(wave, nullptr);
    ASSERT_EQ(wave->frames(), kFrames);
    ASSERT_EQ(wave->channels(), 2);
    for (unsigned c = 0; c < 2; ++c)
        for (uint32_t i = 0; i < kFrames; ++i)
            if (wave->channelData(c)[i] != signal(c, i)) FAIL() << "channel " << c << " frame " << i;
}

}  // namespace
}  // namespace MorvekTest
