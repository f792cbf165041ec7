// The adapter driven through the same host, with plug-ins made in this process so that the
// tests can look behind the AEffect.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>

#include "DemoInstrument.h"
#include "engine/Morvek.h"
#include "plug/vst/VSTDispatcher.h"
#include "plug/vst/VSTInit.h"
#include "vst/TestHost.h"

namespace MorvekTest {
namespace {

using namespace ZnPlug::Vst;
using ZnPlug::AudioPlugin;

// The engine playing the demo instrument, with the calls the tests watch.
struct ProbeEngine : MV::Morvek {
    ProbeEngine() {
        std::lock_guard lock(mainLock());
        Cli::loadDemoInstrument(*this);
        setRandomSeed(7);
    }
    void reconfigure() override {
        ++reconfigured;
        Morvek::reconfigure();
    }
    bool getBankChunk(std::ostream& out, const std::string& context) override {
        out << "bank in [" << context << "]";
        return true;
    }
    bool getProgramChunk(std::ostream&, const std::string&) override { return false; }
    bool setProgramChunk(std::span<const uint8_t>, const std::string&) override { return false; }
    bool setBankChunk(std::span<const uint8_t> data, const std::string& context) override {
        restored.assign(data.begin(), data.end());
        restoredContext = context;
        return true;
    }
    int reconfigured = 0;
    std::string restored, restoredContext;
};

// The plain frame, whose buses nothing adjusts.
struct PlainPlugin : AudioPlugin {};

template <typename Plugin>
void registerPlugin() {
    ZnPlug::pluginFactory() = [] {
        return ZnLib::SharedRef<AudioPlugin>(static_cast<AudioPlugin*>(new Plugin()), ZnLib::adoptRef);
    };
}

template <typename Plugin>
Plugin& behind(const TestHost& host) {
    return dynamic_cast<Plugin&>(ZnPlug::VSTDispatcher::of(host.effect())->plugin());
}

constexpr uint8_t kNoteOn = 0x90;

// First frame of pin 0 that is not silent, or -1.
int firstSound(const TestHost& host, int frames) {
    for (int i = 0; i < frames; ++i)
        if (host.out(0, i) != 0.0f) return i;
    return -1;
}

TEST(VstAdapter, NotesSoundAtTheirOffsets) {
    registerPlugin<ProbeEngine>();
    for (int32_t offset : {0, 1, 100, 255}) {
        TestHost host(&ZnPlug::vstPluginMain, 48000, 256);
        host.open();
        host.send({{kNoteOn, 60, 100, offset}});
        host.process(256);
        EXPECT_EQ(firstSound(host, 256), offset) << "note at " << offset;
    }
    // Two notes in one block, and one in the next block: each starts where it was sent.
    TestHost host(&ZnPlug::vstPluginMain, 48000, 256);
    host.open();
    host.send({{kNoteOn, 60, 100, 40}, {0x80, 60, 0, 41}, {kNoteOn, 72, 100, 200}});
    host.process(256);
    EXPECT_EQ(firstSound(host, 256), 40);
    host.send({{0x80, 72, 0, 0}});
    host.process(256);
    TestHost other(&ZnPlug::vstPluginMain, 48000, 256);
    other.open();
    other.process(256);
    other.send({{kNoteOn, 64, 100, 17}});
    other.process(256);
    EXPECT_EQ(firstSound(other, 256), 17);
}

TEST(VstAdapter, HostCountAboveTheBlockIsClampedWhileTheTransportRunsOn) {
    // The plain frame keeps no clock of its own, so the transport is the adapter's to move.
    registerPlugin<PlainPlugin>();
    TestHost host(&ZnPlug::vstPluginMain, 48000, 64);
    host.open();
    const AudioPlugin& plugin = behind<PlainPlugin>(host);
    host.process(200, 9.0f);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(host.out(0, i), 0.0f) << "frame " << i << " was not rendered";
    for (int i = 64; i < 200; ++i) ASSERT_EQ(host.out(0, i), 9.0f) << "frame " << i << " was rendered";
    EXPECT_EQ(plugin.context().sample_pos, 200.0);
    EXPECT_NEAR(plugin.context().ppq_pos, 120.0 / 60.0 * 200 / 48000, 1e-12);

    // A count of 0 still reads the host's time and level; the offline level reaches the plug-in.
    host.asked.clear();
    host.processLevel = kVstProcessLevelOffline;
    host.time.tempo = 90;
    host.process(0);
    EXPECT_THAT(host.asked, ::testing::ElementsAre(audioMasterGetCurrentProcessLevel, audioMasterGetTime));
    EXPECT_TRUE(plugin.isOffline());
    EXPECT_EQ(plugin.context().tempo, 90.0);
}

TEST(VstAdapter, SetBlockSizeWithTheSameSizeDoesNothing) {
    registerPlugin<ProbeEngine>();
    TestHost host(&ZnPlug::vstPluginMain, 48000, 256);
    host.open();
    ProbeEngine& engine = behind<ProbeEngine>(host);
    const int before = engine.reconfigured;
    host.call(effSetBlockSize, 0, 256);
    EXPECT_EQ(engine.reconfigured, before);
    host.call(effSetBlockSize, 0, 128);
    EXPECT_EQ(engine.reconfigured, before + 1);
    EXPECT_EQ(engine.context().block_size, 128);
}

TEST(VstAdapter, ChunksTravelWithTheHostsChunkFile) {
    registerPlugin<ProbeEngine>();
    TestHost host(&ZnPlug::vstPluginMain);
    host.open();
    host.chunkFile = "/projects/song/song.chunk";
    void* data = nullptr;
    const intptr_t size = host.call(effGetChunk, 0, 0, &data);
    const std::string expected = "bank in [/projects/song/song.chunk]";
    ASSERT_EQ(size, intptr_t(expected.size()));
    EXPECT_EQ(std::string(static_cast<const char*>(data), std::size_t(size)), expected);
    // A program chunk the plug-in does not have answers 0; so does a null pointer.
    EXPECT_EQ(host.call(effGetChunk, 1, 0, &data), 0);
    EXPECT_EQ(host.call(effGetChunk, 0, 0, nullptr), 0);

    TestHost fresh(&ZnPlug::vstPluginMain);
    fresh.open();
    std::string saved = expected;
    EXPECT_EQ(fresh.call(effSetChunk, 0, intptr_t(saved.size()), saved.data()), 1);
    EXPECT_EQ(behind<ProbeEngine>(fresh).restored, expected);
    EXPECT_EQ(behind<ProbeEngine>(fresh).restoredContext, "");
    EXPECT_EQ(fresh.call(effSetChunk, 1, intptr_t(saved.size()), saved.data()), 0);
}

TEST(VstAdapter, SpeakerArrangementsBecomeBuses) {
    registerPlugin<PlainPlugin>();
    TestHost host(&ZnPlug::vstPluginMain);
    host.open();
    // A left and right pair, then a lone left speaker at the end: a stereo and a mono bus.
    VstSpeakerArrangement arr{};
    arr.type = kSpeakerArrUserDefined;
    arr.numChannels = 3;
    const int32_t types[] = {kSpeakerL, kSpeakerR, kSpeakerL};
    const char* names[] = {"Front L", "Front R", "Extra"};
    for (int i = 0; i < 3; ++i) {
        arr.speakers[i].type = types[i];
        std::strcpy(arr.speakers[i].name, names[i]);
    }
    ASSERT_EQ(host.call(effSetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&arr), nullptr), 1);
    const AudioPlugin& plugin = behind<PlainPlugin>(host);
    const auto& pins = plugin.pins(AudioPlugin::Direction::Output);
    EXPECT_EQ(pins[0].bus->name, "Stereo 1");
    EXPECT_EQ(pins[1].bus, pins[0].bus);
    EXPECT_EQ(pins[2].bus->name, "Mono 1");
    EXPECT_EQ(pins[2].bus->pins, 1);
    EXPECT_EQ(pins[2].name, "Extra");
    EXPECT_TRUE(pins[2].active);
    EXPECT_FALSE(pins[3].active);

    VstPinProperties pin{};
    ASSERT_EQ(host.call(effGetOutputProperties, 2, 0, &pin), 1);
    EXPECT_EQ(pin.arrangementType, kSpeakerArrMono);
    EXPECT_STREQ(pin.label, "Extra");

    VstSpeakerArrangement *in = nullptr, *out = nullptr;
    ASSERT_EQ(host.call(effGetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&in), &out), 1);
    EXPECT_EQ(in->type, kSpeakerArrStereo);
    EXPECT_EQ(in->numChannels, 2);
    EXPECT_EQ(out->type, kSpeakerArrUserDefined);
    ASSERT_EQ(out->numChannels, 16);
    EXPECT_EQ(out->speakers[1].type, kSpeakerR);
    EXPECT_EQ(out->speakers[2].type, kSpeakerM);
    EXPECT_STREQ(out->speakers[0].name, "Front L");
    // Inactive pins play into nothing: the host's buffer keeps what it held.
    host.process(64, 5.0f);
    EXPECT_EQ(host.out(3, 0), 5.0f);
    EXPECT_EQ(host.out(0, 0), 0.0f);
}

}  // namespace
}  // namespace MorvekTest
