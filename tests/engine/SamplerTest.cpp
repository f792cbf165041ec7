#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <stdexcept>
#include <vector>

#include "engine/Morvek.h"
#include "engine/Sampler.h"
#include "plug/HostTime.h"
#include "plug/Wave.h"

namespace {

using MV::Sampler;

// The engine with a sampler, its two input pins fed from a function of the absolute frame.
struct Rig {
    Rig() {
        engine.applySampleRate(48000);
        engine.applyBlockSize(4096);
        for (std::size_t i = 0; i < 16; ++i) outPointers[i] = outputs.data();
    }
    void run(int32_t n, bool playing = false, std::vector<ZnPlug::MidiEvent> events = {}) {
        for (unsigned c = 0; c < 2; ++c) {
            in[c].resize(std::size_t(n));
            for (int32_t i = 0; i < n; ++i) in[c][std::size_t(i)] = input(c, frame + uint64_t(i));
        }
        std::lock_guard lock(engine.mainLock());
        if (!events.empty()) engine.processEvents(events.data(), int32_t(events.size()));
        const std::array<const float*, 2> pins = {in[0].data(), in[1].data()};
        ZnPlug::HostTime time;
        time.flags = playing ? ZnPlug::HostTime::kTransportPlaying : 0;
        engine.audioCall(pins.data(), outPointers.data(), n, true, &time, false);
        frame += uint64_t(n);
    }
    // The take holds exactly the input's frames [from, from + frames).
    void expectTake(uint64_t from, uint32_t frames, unsigned channels) {
        const auto wave = sampler.takeWave();
        ASSERT_NE(wave, nullptr);
        ASSERT_EQ(wave->frames(), frames);
        ASSERT_EQ(wave->channels(), channels);
        for (unsigned c = 0; c < channels; ++c)
            for (uint32_t i = 0; i < frames; ++i)
                if (wave->channelData(c)[i] != input(c, from + i)) FAIL() << "channel " << c << " frame " << i;
    }

    MV::Morvek engine;
    Sampler sampler{engine};
    std::function<float(unsigned, uint64_t)> input = [](unsigned c, uint64_t f) {
        return float((f * 7 + c * 13) % 1001) / 1001.0f - 0.5f;
    };
    uint64_t frame = 0;
    std::array<std::vector<float>, 2> in;
    std::vector<float> outputs = std::vector<float>(4096);
    std::array<float*, 16> outPointers{};
};

ZnPlug::MidiEvent midi(uint8_t status, uint8_t d1, uint8_t d2) {
    ZnPlug::MidiEvent e;
    e.status = status;
    e.data1 = d1;
    e.data2 = d2;
    return e;
}

TEST(Sampler, TakeIsBitExactAcrossTheBlockBoundaryMonoAndStereo) {
    for (const uint32_t channels : {1u, 2u})
        // One frame short, exactly one block (which leaves an empty block behind), and past it.
        for (const uint32_t frames : {Sampler::kBlockFrames - 1, Sampler::kBlockFrames, Sampler::kBlockFrames + 5000}) {
            Rig rig;
            rig.sampler.setChannels(channels);
            rig.run(100);
            rig.sampler.setRecord(true);
            for (uint32_t left = frames, n = 0; left > 0; left -= n) rig.run(int32_t(n = std::min(left, 4096u)));
            EXPECT_EQ(rig.sampler.takeWave(), nullptr) << "still recording";
            rig.sampler.setRecord(false);
            rig.expectTake(100, frames, channels);
            EXPECT_EQ(rig.sampler.takeWave(), nullptr) << "a take is collected once";
        }
}

TEST(Sampler, TriggersRecordTheBlocksTheyHold) {
    struct Case {
        const char* name;
        std::function<void(Rig&)> arm;
        // Block b's input, events and transport; blocks 2 to 4 are to be recorded.
        std::function<void(Rig&, int)> block;
        bool latched = false;  // recording goes on after block 4
    };
    const std::vector<Case> cases = {
        {"threshold",
         [](Rig& r) {
             // A square wave, whose RMS is its amplitude: block 2 exactly at the threshold.
             r.input = [](unsigned, uint64_t f) { return (f / 512 == 2 ? 0.25f : 0.2475f) * (f % 2 ? 1 : -1); };
             r.sampler.setThreshold(0.25f);
             r.sampler.setThresholdArmed(true);
         },
         [](Rig& r, int) { r.run(512); }, true},
        {"controller 64 starts, 63 stops",
         [](Rig& r) {
             r.engine.store().samplerMidiCC = 7;
             r.sampler.setMidiCCArmed(true);
         },
         [](Rig& r, int b) { r.run(512, false, {midi(0xB3, 7, b < 2 || b == 5 ? 63 : b == 2 ? 64 : 100)}); }},
        {"held key",
         [](Rig& r) {
             r.engine.store().samplerMidiKey = 60;
             r.engine.store().samplerMidiChannel = 0;
             r.sampler.setMidiKeyArmed(true);
         },
         [](Rig& r, int b) {
             const uint8_t status = b == 1 ? 0x91 : b == 2 ? 0x90 : b == 5 ? 0x80 : 0xA0;  // 1: another channel
             r.run(512, false, {midi(status, 60, 100)});
         }},
        {"transport", [](Rig& r) { r.sampler.setTransportArmed(true); },
         [](Rig& r, int b) { r.run(512, b >= 2 && b <= 4); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Rig rig;
        c.arm(rig);
        for (int b = 0; b < 6; ++b) {
            c.block(rig, b);
            EXPECT_EQ(rig.sampler.recording(), b >= 2 && (b <= 4 || c.latched)) << "block " << b;
        }
        rig.sampler.setRecord(false);
        rig.expectTake(2 * 512, (c.latched ? 4 : 3) * 512, 2);
    }
}

TEST(Sampler, OptionsOffStopTheTakeAndClearTheMetersAndARatelessHostIsRefused) {
    Rig rig;
    rig.sampler.setListen(true);
    rig.sampler.setRecord(true);
    rig.run(512);
    EXPECT_GT(rig.sampler.level(1), 0.0f);
    rig.sampler.setRecord(false);
    EXPECT_TRUE(rig.sampler.recording()) << "listening on: the next block decides";
    rig.sampler.setListen(false);
    EXPECT_FALSE(rig.sampler.recording());
    EXPECT_EQ(rig.sampler.level(0), 0.0f);
    EXPECT_EQ(rig.sampler.level(1), 0.0f);
    rig.run(512);

    rig.engine.context().sample_rate = 0.5;
    try {
        rig.sampler.takeWave();
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Invalid host sample rate: 0");
    }
    rig.engine.context().sample_rate = 0;
    EXPECT_THROW(rig.sampler.setRecord(true), std::runtime_error);
}

}  // namespace
