// The REX handler over stand-ins of the library built by the tests: where slices land, the
// library's failures, the version test, and that a failed start is not tried again.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "lib/Error.h"
#include "plug/RexHandler.h"
#include "plug/Wave.h"
#include "plug/WaveReader.h"

namespace ZnPlug::Rex2 {
namespace {

std::string standIn(const std::string& file) { return std::string(MORVEK_REX_STAND_IN_DIR) + "/" + file; }
const std::string kGood = standIn("libRexStandIn.so.1.6.0");

// The stand-in's made-up file: head, seven numbers, then a position and a length per slice.
std::vector<uint8_t> rexFile(int channels, int rate, int tempo, int ppqLength, int bits,
                             std::vector<std::pair<int, int>> slices, int error = 0) {
    std::vector<uint8_t> out = {'C', 'A', 'T', ' ', 0, 0, 0, 0, 'R', 'E', 'X', '2'};
    auto put = [&](int v) {
        for (int i = 0; i < 4; ++i) out.push_back(uint8_t(uint32_t(v) >> (8 * i)));
    };
    for (int v : {channels, rate, tempo, ppqLength, bits, error, int(slices.size())}) put(v);
    for (auto [position, length] : slices) {
        put(position);
        put(length);
    }
    return out;
}

std::string failure(const std::function<void()>& f) {
    try {
        f();
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return {};
}

// One quarter note is 15360 ticks: at 120 beats per minute and 44100 Hz, 22050 frames.
TEST(RexHandler, EverySliceLandsAtItsPositionAsASliceLoop) {
    RexHandler rex(kGood);
    const auto bytes = rexFile(2, 44100, 120000, 2 * 15360, 16, {{0, 1000}, {15360, 500}, {7680, 300}});
    ZnLib::ByteReader reader(bytes.data(), bytes.size());
    ASSERT_TRUE(rex.canLoad(reader));
    Wave wave;
    rex.load(reader, wave);
    EXPECT_EQ(wave.frames(), 44100u) << "the length of two quarters";
    EXPECT_EQ(wave.channels(), 2);
    EXPECT_EQ(wave.format, kFormatRex);
    EXPECT_EQ(wave.bits, 16);
    EXPECT_EQ(wave.sampleType, 2);
    EXPECT_EQ(wave.root, 255);
    EXPECT_FLOAT_EQ(wave.tempo, 120.0f);
    ASSERT_EQ(wave.loops.size(), 3u);
    EXPECT_EQ(wave.loops[1], Loop(22050, 22550, LoopMode::Slice, "Slc2"));
    EXPECT_EQ(wave.loops[2], Loop(11025, 11325, LoopMode::Slice, "Slc3"));
    EXPECT_FLOAT_EQ(wave.channelData(0)[999], 0.1f);
    EXPECT_FLOAT_EQ(wave.channelData(1)[999], 0.11f);
    EXPECT_FLOAT_EQ(wave.channelData(0)[1000], 0.0f);
    EXPECT_FLOAT_EQ(wave.channelData(0)[22549], 0.2f);
    EXPECT_FLOAT_EQ(wave.channelData(0)[11025], 0.3f);

    // A slice past the length makes the wave longer; no slices leave the length of the loop.
    Wave longer;
    const auto past = rexFile(1, 44100, 120000, 15360, 24, {{15360, 100}});
    rex.load(ZnLib::ByteReader(past.data(), past.size()), longer);
    EXPECT_EQ(longer.frames(), 22150u);
    EXPECT_EQ(longer.bits, 24);
    Wave empty;
    const auto none = rexFile(1, 48000, 60000, 15360, 32, {});
    rex.load(ZnLib::ByteReader(none.data(), none.size()), empty);
    EXPECT_EQ(empty.frames(), 48000u);
    EXPECT_EQ(empty.sampleType, 3);
}

TEST(RexHandler, TheLibrarysFailuresHaveTheirTextsAndFreeTheLoop) {
    RexHandler rex(kGood);
    auto load = [&](const std::vector<uint8_t>& bytes) {
        return failure([&] {
            Wave wave;
            rex.load(ZnLib::ByteReader(bytes.data(), bytes.size()), wave);
        });
    };
    EXPECT_EQ(load(rexFile(1, 44100, 120000, 15360, 16, {}, 106)), "File corrupt");
    EXPECT_EQ(load(rexFile(1, 44100, 120000, 15360, 16, {}, 210)), "Invalid tempo");
    EXPECT_EQ(load(rexFile(1, 44100, 120000, 15360, 16, {}, 999)), "REX error");
    EXPECT_EQ(load(rexFile(1, 44100, 0, 15360, 16, {})), "Invalid tempo");
    void* library = ::dlopen(kGood.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    auto openHandles = reinterpret_cast<int (*)()>(::dlsym(library, "RexStandInOpenHandles"));
    ASSERT_NE(openHandles, nullptr);
    EXPECT_EQ(load(rexFile(3, 44100, 120000, 15360, 16, {{0, 10}})), "Invalid argument");
    EXPECT_EQ(openHandles(), 0) << "the handle is deleted on failure too";
    ::dlclose(library);

    const std::vector<uint8_t> other = {'C', 'A', 'T', ' ', 0, 0, 0, 0, 'A', 'I', 'F', 'F'};
    EXPECT_FALSE(rex.canLoad(ZnLib::ByteReader(other.data(), other.size())));
}

TEST(RexHandler, ALibraryThatDoesNotFitIsRefused) {
    EXPECT_EQ(failure([] { RexHandler(standIn("libNoSuchLibrary.so.1.6.0")); }), "Could not load REX library");
    EXPECT_EQ(failure([] { RexHandler(standIn("libRexStandInUnversioned.so")); }), "Could not query REX version info");
    EXPECT_EQ(failure([] { RexHandler(standIn("libRexStandInOldDll.so.0.9.0")); }), "Too old REX DLL");
    EXPECT_EQ(failure([] { RexHandler(standIn("libRexStandInOldApi.so.1.5.2")); }), "Too old REX API");
    EXPECT_EQ(failure([] { RexHandler(standIn("libRexStandInNoRender.so.1.6.0")); }),
              "Could not find procedure : REXRenderSlice");
    EXPECT_EQ(failure([] { RexHandler(standIn("libRexStandInOpenFails.so.1.6.0")); }), "REX init error");
    EXPECT_EQ(failure([] { RexHandler(standIn("libRexStandInInitNames.so.1.7.0")); }), "")
        << "the older names of opening and closing";
}

TEST(RexHandler, AStartedHandlerServesTheWaveReadersAndAFailedStartIsNotRepeated) {
    const auto bytes = rexFile(1, 44100, 120000, 15360, 16, {{0, 100}});
    Wave wave;
    EXPECT_EQ(failure([&] { WaveReader::read(ZnLib::ByteReader(bytes.data(), bytes.size()), wave); }),
              "Unsupported format")
        << "without a handler the format is not offered";

    int32_t failed = 0;
    std::string error;
    EXPECT_EQ(RexHandler::start(standIn("libRexStandInOpenFails.so.1.6.0"), failed, &error), nullptr);
    EXPECT_EQ(failed, 1);
    EXPECT_EQ(error, "REX init error");
    EXPECT_EQ(RexHandler::start(kGood, failed), nullptr) << "no second try after a failure";
    EXPECT_EQ(RexHandler::start("", failed = 0), nullptr) << "no library named";

    std::shared_ptr<RexHandler> handler = RexHandler::start(kGood, failed);
    ASSERT_NE(handler, nullptr);
    EXPECT_EQ(RexHandler::start(kGood, failed), handler);
    WaveReader::read(ZnLib::ByteReader(bytes.data(), bytes.size()), wave);
    EXPECT_EQ(wave.format, kFormatRex);
    EXPECT_EQ(wave.loops.size(), 1u);

    handler.reset();
    Wave after;
    EXPECT_EQ(failure([&] { WaveReader::read(ZnLib::ByteReader(bytes.data(), bytes.size()), after); }),
              "Unsupported format")
        << "the format goes with the handler";
}

}  // namespace
}  // namespace ZnPlug::Rex2
