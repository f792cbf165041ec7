#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "WaveTestFiles.h"
#include "plug/RiffSink.h"
#include "plug/WaveWriter.h"

using namespace ZnPlug;
using namespace WaveTestFiles;

namespace {
Wave makeWave(uint32_t frames, uint8_t channels, uint8_t bits, uint8_t sampleType, std::vector<float> values = {}) {
    SampleBuffer b(frames, channels);
    for (std::size_t i = 0; i < values.size() && i < std::size_t(frames) * channels; ++i)
        b.channel(unsigned(i % channels))[i / channels] = values[i];
    return Wave(std::move(b), 44100, bits, sampleType, kFormatWave);
}

Bytes image(const Wave& w) {
    RiffMemorySink sink;
    w.writeRiff(sink);
    Bytes b;
    b.v = std::move(sink.bytes);
    return b;
}

uint32_t le32At(const Bytes& b, std::size_t at) {
    return uint32_t(b.v[at]) | uint32_t(b.v[at + 1]) << 8 | uint32_t(b.v[at + 2]) << 16 | uint32_t(b.v[at + 3]) << 24;
}
unsigned le16At(const Bytes& b, std::size_t at) { return unsigned(b.v[at]) | unsigned(b.v[at + 1]) << 8; }

std::string saveError(Wave& w, const std::string& path) {
    try {
        w.saveAs(path);
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "";
}
}  // namespace

TEST(WaveWriterTest, FormatChunkByDepth) {
    struct Case {
        uint8_t bits, type;
        std::size_t fmtBytes;
        unsigned tag;
    } cases[] = {{8, 1, 16, 1}, {16, 2, 16, 1}, {24, 2, 40, 0xFFFE}, {32, 2, 40, 0xFFFE}, {32, 3, 18, 3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(int(c.bits) * 10 + c.type);
        Bytes file = image(makeWave(3, 2, c.bits, c.type));
        auto fmt = findRiffChunk(file, "fmt ");
        ASSERT_TRUE(fmt);
        EXPECT_EQ(fmt->size(), c.fmtBytes);
        EXPECT_EQ(le16At(*fmt, 0), c.tag);
        EXPECT_EQ(le16At(*fmt, 2), 2u);
        EXPECT_EQ(le32At(*fmt, 8), c.bits * 2u * 44100u / 8u);
        EXPECT_EQ(le16At(*fmt, 12), c.bits * 2u / 8u);
        if (c.tag == 0xFFFE) {
            EXPECT_EQ(le16At(*fmt, 16), 22u);
            EXPECT_EQ(le16At(*fmt, 18), c.bits);
            EXPECT_EQ(le16At(*fmt, 24), 1u);
        }
        EXPECT_EQ(le32At(file, 4), file.size() - 8);
    }
}

TEST(WaveWriterTest, SampleConversionsAtTheExtremes) {
    std::vector<float> values = {1.5f, -1.5f, 1.0f, -1.0f, 0.5f, -0.5f, 0.0f, 0.004f, -0.004f};
    const uint32_t n = uint32_t(values.size());
    auto data = [&](uint8_t bits, uint8_t type) {
        return *findRiffChunk(image(makeWave(n, 1, bits, type, values)), "data");
    };
    // round(1.5 * 127) + 128 = 319 wraps to 63; round(-190.5) + 128 = -63 wraps to 193.
    EXPECT_EQ(data(8, 1).v, (std::vector<uint8_t>{63, 193, 255, 1, 192, 64, 128, 129, 127}));

    const Bytes d16 = data(16, 2), d24 = data(24, 2);
    const int want16[] = {32767, -32768, 32767, -32767, 16384, -16384, 0, 131, -131};
    const int want24[] = {8388607, -8388608, 8388607, -8388607, 4194304, -4194304, 0, 33554, -33554};
    for (uint32_t i = 0; i < n; ++i) {
        SCOPED_TRACE(values[i]);
        EXPECT_EQ(int16_t(le16At(d16, 2 * i)), want16[i]);
        const uint8_t* p = &d24.v[3 * i];
        EXPECT_EQ(int(uint32_t(p[0]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 24) >> 8, want24[i]);
    }

    const Bytes d32 = data(32, 2);
    EXPECT_EQ(int32_t(le32At(d32, 0)), INT32_MAX);
    EXPECT_EQ(int32_t(le32At(d32, 4)), INT32_MIN);
    EXPECT_EQ(int32_t(le32At(d32, 12)), -INT32_MAX);
    EXPECT_EQ(std::bit_cast<float>(le32At(data(32, 3), 0)), 1.5f);

    // A mono 8-bit wave of odd length is padded; a 16-bit unsigned wave writes no samples.
    Bytes odd = image(makeWave(3, 1, 8, 1));
    EXPECT_EQ(findRiffChunk(odd, "data")->size(), 3u);
    EXPECT_EQ(findRiffChunk(odd, "inst")->size(), 7u);
    EXPECT_EQ(findRiffChunk(image(makeWave(3, 1, 16, 1)), "data")->size(), 0u);
}

TEST(WaveWriterTest, RangeChunksOnlyWhenNeeded) {
    Wave plain = makeWave(10, 1, 16, 2);
    Bytes file = image(plain);
    for (const char* id : {"cue ", "list", "acid"}) EXPECT_FALSE(findRiffChunk(file, id)) << id;

    plain.end = 9;
    EXPECT_TRUE(findRiffChunk(image(plain), "cue "));
    plain.end = 10;
    plain.loops.push_back(Loop(0, 5, LoopMode::Forward, "nine_char"));
    plain.loops[0].name[9] = 'X';  // what follows the zero is written as it stands
    auto list = findRiffChunk(image(plain), "list");
    ASSERT_TRUE(list);
    std::string text(list->v.begin(), list->v.end());
    EXPECT_NE(text.find(std::string("mv:start\0", 9)), std::string::npos);
    EXPECT_NE(text.find(std::string("nine_charX", 10)), std::string::npos);
}

TEST(WaveWriterTest, RootAndLoopsInInstAndSmpl) {
    Wave w = makeWave(100, 1, 16, 2);
    w.root = 255;
    w.fine = -7;
    w.loops = {Loop(10, 20, LoopMode::None, "n"), Loop(5, 0, LoopMode::PinnedSlice, "p")};
    Bytes file = image(w);
    auto inst = *findRiffChunk(file, "inst");
    EXPECT_EQ(inst.v[0], 255);
    EXPECT_EQ(int8_t(inst.v[1]), -7);
    auto smpl = *findRiffChunk(file, "smpl");
    EXPECT_EQ(std::string(smpl.v.begin(), smpl.v.begin() + 8), "Znl Mrvk");
    // Period, unity key -1, plain cents, loop count, then per loop cue id, type + 32, and the
    // end - 1 (for the second loop the larger of start and end - 1, unsigned).
    const std::pair<std::size_t, uint32_t> fields[] = {{8, 1000000000u / 44100u}, {12, 0xFFFFFFFFu}, {16, uint32_t(-7)},
                                                       {28, 2},  {36, 2},  {40, 32},  {48, 19},
                                                       {60, 3},  {64, 37}, {72, 0xFFFFFFFFu}};
    for (auto [at, value] : fields) EXPECT_EQ(le32At(smpl, at), value) << "at " << at;

    Wave back = decode(file);
    EXPECT_EQ(back.root, 255);
    EXPECT_EQ(back.fine, 0);  // "smpl" holds plain cents, and comes last: the fine tune is lost
    EXPECT_EQ(back.loops, w.loops);
}

TEST(WaveWriterTest, RoundTripThroughTheReader) {
    const std::vector<float> values = {0.0f, 0.25f, -0.5f, 0.75f, -1.0f, 0.999f, 0.125f, -0.125f};
    struct Case {
        uint8_t bits, type;
        float tolerance;
        int typeBack;  // 32-bit integers come back as floats
    };
    // The writer scales by 2^(bits-1) - 1 and the reader by 2^(bits-1): two steps cover both.
    Case cases[] = {
        {8, 1, 2.0f / 127, 1}, {16, 2, 2.0f / 32767, 2}, {24, 2, 2.0f / 8388607, 2}, {32, 2, 1e-7f, 3}, {32, 3, 0, 3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(int(c.bits) * 10 + c.type);
        Wave w = makeWave(4, 2, c.bits, c.type, values);
        w.sampleRate = 32000;
        w.root = 61;
        w.tempo = 128.5f;
        w.start = 1;
        w.end = 3;
        w.loops = {Loop(0, 2, LoopMode::Forward, "a"), Loop(1, 4, LoopMode::Backward, "b"),
                   Loop(1, 2, LoopMode::Bidirectional), Loop(2, 3, LoopMode::Slice, "slice")};
        Wave back = decode(image(w));
        EXPECT_EQ(shape(back), "32000 Hz 2 x 4 end 3 " + std::to_string(c.bits) + "/" + std::to_string(c.typeBack));
        EXPECT_EQ(back.root, 61);
        EXPECT_EQ(back.tempo, 128.5f);
        EXPECT_TRUE(back.flags & kWaveTempoKnown);
        EXPECT_EQ(back.start, 1u);
        EXPECT_EQ(back.loops, w.loops);
        EXPECT_THAT(allSamples(back), testing::Pointwise(testing::FloatNear(c.tolerance), values));
    }
}

TEST(WaveWriterTest, AcidBeatsCountWholeSeconds) {
    Wave w = makeWave(100000, 1, 16, 2);
    w.tempo = 120;
    auto acid = *findRiffChunk(image(w), "acid");
    EXPECT_EQ(le32At(acid, 0), 6u);
    EXPECT_EQ(le16At(acid, 6), 0x8000u);
    EXPECT_EQ(le32At(acid, 12), 1u);  // 2 whole seconds * 60 / 120
    EXPECT_EQ(le16At(acid, 16), 4u);
    w.end = 44099;
    EXPECT_EQ(le32At(*findRiffChunk(image(w), "acid"), 12), 0u);
}

TEST(WaveWriterTest, SaveAsReplacesTheTargetOrLeavesWaveAndTargetAlone) {
    ScratchDir dir;
    const std::string path = dir.file("out.wav");
    writeFile(path, Bytes().text("old content"));
    Wave w = makeWave(4, 1, 16, 2, {0.5f, -0.5f, 0.25f, 0});
    w.SoundItem::setName("out.wav");
    w.headTrim = 3;
    w.flags = kWaveCropped | kWaveTempoKnown;
    w.container = ZnLib::makeRef<ZnLib::RefCounted>();
    w.containerIndex = 4;
    w.saveAs(path);
    EXPECT_EQ(w.file().path(), path);
    EXPECT_EQ(w.format, kFormatWave);
    EXPECT_FALSE(w.container);
    EXPECT_EQ(w.containerIndex, 4u);
    EXPECT_EQ(w.headTrim, 0u);
    EXPECT_EQ(w.flags, 0);
    EXPECT_FALSE(w.isModified());
    struct stat st;
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0600, 0600u);

    Wave back;
    back.setFile(ZnLib::FS::File(path));
    back.load();
    EXPECT_TRUE(back.samples() == w.samples());
    EXPECT_FALSE(back.isModified());

    // A wave of no known sample type: nothing written, the target and the wave as they were.
    Wave bad = makeWave(4, 1, 16, 0);
    bad.SoundItem::setName("bad");
    const auto size = std::filesystem::file_size(path);
    EXPECT_EQ(saveError(bad, path), "Could not save bad as " + path + "\n - Bad format");
    EXPECT_EQ(std::filesystem::file_size(path), size);
    EXPECT_TRUE(bad.file().path().empty());
    RiffMemorySink sink;
    EXPECT_THROW(bad.writeRiff(sink), std::runtime_error);
    EXPECT_TRUE(sink.bytes.empty());

    Wave good = makeWave(4, 1, 16, 2);
    good.SoundItem::setName("good");
    good.flags = kWaveChanged;
    const std::string missing = dir.file("no/such/folder/x.wav");
    EXPECT_EQ(saveError(good, missing), "Could not save good as " + missing + "\n - Could not write to file");
    EXPECT_EQ(good.flags, kWaveChanged);
    EXPECT_EQ(good.format, kFormatWave);
    // Nothing but the target is left in the folder.
    int entries = 0;
    for (auto& e : std::filesystem::directory_iterator(dir.path())) entries += e.is_regular_file();
    EXPECT_EQ(entries, 1);
}
