// Morvek.so as a host sees it: loaded with dlopen, driven only through the entry point.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "vst/TestHost.h"

namespace MorvekTest {
namespace {

using namespace ZnPlug::Vst;
using ::testing::HasSubstr;

TEST(VstModule, OpensAsAStereoInInstrumentWithSixteenOutputs) {
    TestHost host(TestHost::moduleEntry());
    ASSERT_NE(host.effect(), nullptr);
    const AEffect& e = *host.effect();
    EXPECT_EQ(e.magic, fourCC("VstP"));
    host.open();
    EXPECT_EQ(e.numInputs, 2);
    EXPECT_EQ(e.numOutputs, 16);
    EXPECT_EQ(e.uniqueID, fourCC("Mrvk"));
    EXPECT_EQ(e.flags, effFlagsCanReplacing | effFlagsProgramChunks | effFlagsIsSynth);
    EXPECT_NE(e.process, nullptr);
    EXPECT_NE(e.processReplacing, nullptr);
    EXPECT_EQ(host.call(effGetPlugCategory), kPlugCategSynth);
    EXPECT_EQ(host.call(effIdentify), fourCC("NvEf"));
    EXPECT_EQ(host.call(effGetVstVersion), 2400);
    EXPECT_EQ(host.text(effGetEffectName), "Morvek");
    EXPECT_EQ(host.text(effGetVendorString), "Znl");
    EXPECT_EQ(host.call(effGetVendorVersion), e.version);
    char midi[] = "receiveVstMidiEvent", other[] = "bypass";
    EXPECT_EQ(host.call(effCanDo, 0, 0, midi), 1);
    EXPECT_EQ(host.call(effCanDo, 0, 0, other), 0);
    EXPECT_EQ(host.call(effGetNumMidiInputChannels), 16);
    // The entry asked the host's version first; effOpen took the host's rate and block size.
    ASSERT_GE(host.asked.size(), 3u);
    EXPECT_EQ(host.asked[0], audioMasterVersion);
    EXPECT_THAT(host.asked, ::testing::Contains(audioMasterGetSampleRate));
    EXPECT_THAT(host.asked, ::testing::Contains(audioMasterGetBlockSize));

    // Output pins come as stereo pairs named by their pins.
    VstPinProperties pin{};
    ASSERT_EQ(host.call(effGetOutputProperties, 2, 0, &pin), 1);
    EXPECT_STREQ(pin.label, "S 3+4");
    EXPECT_EQ(pin.flags, kVstPinIsActive | kVstPinIsStereo);
    EXPECT_EQ(pin.arrangementType, kSpeakerArrStereo);

    host.process(256);
    host.process(256);
}

TEST(VstModule, RefusesAHostThatGivesNoVersion) {
    auto silent = [](AEffect*, int32_t, int32_t, intptr_t, void*, float) -> intptr_t { return 0; };
    EXPECT_EQ(TestHost::moduleEntry()(silent), nullptr);
}

TEST(VstModule, GetChunkWithoutAPointerAnswersZero) {
    TestHost host(TestHost::moduleEntry());
    host.open();
    EXPECT_EQ(host.call(effGetChunk, 0, 0, nullptr), 0);
    EXPECT_EQ(host.call(effSetChunk, 0, 0, nullptr), 0);
}

TEST(VstModule, TwoInstancesKeepTheirOwnState) {
    TestHost a(TestHost::moduleEntry(), 48000, 128);
    TestHost b(TestHost::moduleEntry(), 44100, 512);
    a.open();
    b.open();
    char name[] = "Alpha";
    a.call(effSetProgramName, 0, 0, name);
    EXPECT_EQ(a.text(effGetProgramName), "Alpha");
    EXPECT_EQ(b.text(effGetProgramName), "New Performance");
    a.process(128);
    b.process(512);
    b.close();
    a.process(128);
    EXPECT_EQ(a.text(effGetProgramName), "Alpha");
}

TEST(VstModule, AFailingOpcodeAnswersZeroAndLogsWhy) {
    TestHost host(TestHost::moduleEntry());
    host.open();
    VstPinProperties pin{};
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(host.call(effGetOutputProperties, 99, 0, &pin), 0);
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Morvek ERROR dispatcher: index"));

    // A record the host cannot have meant: unreadable, or more channels than pins.
    EXPECT_EQ(host.call(effSetSpeakerArrangement, 0, intptr_t(0x10), nullptr), 0);
    VstSpeakerArrangement wide{};
    wide.type = kSpeakerArrUserDefined;
    wide.numChannels = 17;
    EXPECT_EQ(host.call(effSetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&wide), nullptr), 0);
    // Unknown opcodes answer 0 too; the instance plays on.
    EXPECT_EQ(host.call(9999), 0);
    host.process(256);
}

TEST(VstModuleDeathTest, ExceptionHandlerWritesAReportBesideTheModule) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(MORVEK_VST_PATH).parent_path();
    auto reports = [&] {
        std::vector<fs::path> found;
        for (const auto& f : fs::directory_iterator(folder))
            if (f.path().filename().string().starts_with("Morvek-crash-")) found.push_back(f.path());
        return found;
    };
    for (const auto& f : reports()) fs::remove(f);
    auto install = reinterpret_cast<void (*)()>(TestHost::moduleSymbol("ZNPSetExceptionHandler"));
    ASSERT_NE(install, nullptr);
    EXPECT_DEATH(
        {
            install();
            std::raise(SIGSEGV);
        },
        "");
    const auto found = reports();
    ASSERT_EQ(found.size(), 1u);
    std::ifstream in(found[0]);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_THAT(text.str(), HasSubstr("Unhandled exception\n"));
    EXPECT_THAT(text.str(), HasSubstr("Exception 0xb@"));
    EXPECT_THAT(text.str(), HasSubstr("Backtrace:"));
    fs::remove(found[0]);
}

}  // namespace
}  // namespace MorvekTest
