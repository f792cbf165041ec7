#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "WaveTestFiles.h"
#include "plug/RiffReader.h"

using namespace ZnPlug;
using namespace WaveTestFiles;
using testing::FloatEq;
using testing::Pointwise;

namespace {
Bytes pcm16Data(std::initializer_list<int> values) {
    Bytes d;
    for (int v : values) d.le16(unsigned(v));
    return riffChunk("data", d);
}

// A mono 16-bit file of one frame with `chunks` between its format and its data.
Bytes pcm16File(std::vector<Bytes> chunks) {
    chunks.insert(chunks.begin(), fmtChunk(1, 1, 44100, 16));
    chunks.push_back(pcm16Data({0}));
    return riffFile(chunks);
}

Bytes smplChunk(uint32_t manufacturer, uint32_t product, uint32_t unity, uint32_t fraction,
                std::vector<std::array<uint32_t, 4>> loops = {}) {
    Bytes d;
    d.be32(manufacturer).be32(product).le32(22675).le32(unity).le32(fraction).le32(0).le32(0);
    d.le32(uint32_t(loops.size())).le32(0);
    for (auto& l : loops) d.le32(l[0]).le32(l[1]).le32(l[2]).le32(l[3]).le32(0).le32(0);
    return riffChunk("smpl", d);
}

constexpr uint32_t kZnl = ZnLib::fourcc("Znl ");
constexpr uint32_t kMrvk = ZnLib::fourcc("Mrvk");

Bytes instChunk(unsigned root, int fine) { return riffChunk("inst", Bytes().u8(root).u8(unsigned(fine)).zeros(5)); }

Bytes labelList(const std::string& listId, std::vector<std::pair<uint32_t, std::string>> labels) {
    Bytes d;
    d.text("adtl");
    for (auto& [id, text] : labels) d.add(riffChunk("labl", Bytes().le32(id).text(text).u8(0)));
    return riffChunk(listId, d);
}

Bytes cueChunk(std::vector<std::pair<uint32_t, uint32_t>> points) {
    Bytes d;
    d.le32(uint32_t(points.size()));
    for (auto& [id, offset] : points) d.le32(id).le32(0).text("data").le32(0).le32(0).le32(offset);
    return riffChunk("cue ", d);
}
}  // namespace

TEST(RiffReaderTest, SampleFormatsScaleToFullRange) {
    const float step24 = 1.0f / 8388608;
    struct Case {
        const char* name;
        Bytes fmt, data;
        std::string shape;
        std::vector<float> want;
    } cases[] = {
        {"8-bit", fmtChunk(1, 1, 8000, 8), Bytes().u8(0).u8(128).u8(255), "8000 Hz 1 x 3 end 3 8/1",
         {-1, 0, 127.0f / 128}},
        {"16-bit stereo", fmtChunk(1, 2, 44100, 16), Bytes().le16(0x8000).le16(32767).le16(16384).le16(0xFFFF),
         "44100 Hz 2 x 2 end 2 16/2", {-1, 32767.0f / 32768, 0.5f, -1.0f / 32768}},
        {"24-bit", fmtChunk(1, 1, 48000, 24), Bytes().le24(0x800000).le24(0x7FFFFF).le24(1),
         "48000 Hz 1 x 3 end 3 24/2", {-1, 8388607 * step24, step24}},
        // 32-bit integers come in as "32-bit float" waves, with the right values.
        {"32-bit", fmtChunk(1, 1, 48000, 32), Bytes().le32(0x80000000).le32(0x40000000), "48000 Hz 1 x 2 end 2 32/3",
         {-1, 0.5f}},
        // 20 valid bits left-justified in 3 bytes: shifted down by 4, scaled by 2^-19.
        {"20 in 24", extensibleFmt(1, 44100, 24, 20, 1), Bytes().le24(0x7FFFF0), "44100 Hz 1 x 1 end 1 24/2",
         {float(0x7FFFF / 524288.0)}},
        // 24 valid bits left-justified in a 4-byte word are not shifted: 256 times too large.
        {"24 in 32", extensibleFmt(1, 44100, 32, 24, 1), Bytes().le32(0x40000000), "44100 Hz 1 x 1 end 1 24/2", {128}},
        {"extensible float", extensibleFmt(1, 44100, 32, 32, 3), Bytes().f32le(-0.25f), "44100 Hz 1 x 1 end 1 32/3",
         {-0.25f}},
        {"float", fmtChunk(3, 1, 44100, 32), Bytes().f32le(1.5f).f32le(-2.0f), "44100 Hz 1 x 2 end 2 32/3", {1.5f, -2}},
        {"double", fmtChunk(3, 1, 44100, 64), Bytes().f64le(0.125).f64le(-1e40), "44100 Hz 1 x 2 end 2 32/3",
         {0.125f, -INFINITY}},
        // G.711 extremes: 0x55 / 0xD5 are A-law's smallest magnitudes, 0x2A / 0xAA its largest.
        {"A-law", fmtChunk(6, 1, 8000, 8), Bytes().u8(0xD5).u8(0x55).u8(0xAA).u8(0x2A), "8000 Hz 1 x 4 end 4 8/1",
         {8 / 32768.0f, -8 / 32768.0f, 32256 / 32768.0f, -32256 / 32768.0f}},
        {"mu-law", fmtChunk(7, 1, 8000, 8), Bytes().u8(0xFF).u8(0x7F).u8(0x80).u8(0x00), "8000 Hz 1 x 4 end 4 8/1",
         {0, 0, 32124 / 32768.0f, -32124 / 32768.0f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Wave w = decode(riffFile({c.fmt, riffChunk("data", c.data)}));
        EXPECT_EQ(w.format, kFormatWave);
        EXPECT_EQ(shape(w), c.shape);
        EXPECT_THAT(allSamples(w), Pointwise(FloatEq(), c.want));
    }
}

TEST(RiffReaderTest, BrokenFilesGiveTheirTexts) {
    // A chunk whose size runs past the end.
    Bytes lying = riffFile({fmtChunk(1, 1, 44100, 16), pcm16Data({1, 2, 3})});
    lying.v[lying.size() - 10] = 0x40;
    struct Case {
        const char* name;
        Bytes file;
        std::string error;
    } cases[] = {
        // Exactly 12 bytes is not a wave for the dispatcher.
        {"header only", Bytes().text("RIFF").le32(4).text("WAVE"), "Unsupported format"},
        {"no data", riffFile({fmtChunk(1, 1, 44100, 16)}), "Invalid wav"},
        {"no format", riffFile({pcm16Data({1, 2})}), "Invalid wav"},
        // MS ADPCM: four bits a sample; the format, not the width, decides the text.
        {"4 bits", riffFile({fmtChunk(2, 1, 44100, 4), pcm16Data({1, 2})}), "Unsupported format"},
        {"4-bit PCM", riffFile({fmtChunk(1, 1, 44100, 4), pcm16Data({1, 2})}), "Invalid format chunk"},
        {"tag 2", riffFile({fmtChunk(2, 1, 44100, 16), pcm16Data({1, 2})}), "Unsupported format"},
        {"no channels", riffFile({fmtChunk(1, 0, 44100, 16), pcm16Data({1, 2})}), "Invalid format chunk"},
        {"extensible without extension", riffFile({extensibleFmt(1, 44100, 16, 16, 1, 0), pcm16Data({1})}),
         "Invalid format chunk"},
        {"lying size", lying, "Address out of bounds"},
        // A "fact" count beyond the data, for a tag that honours it.
        {"fact too large",
         riffFile({fmtChunk(3, 1, 44100, 32), riffChunk("fact", Bytes().le32(1000)),
                   riffChunk("data", Bytes().f32le(0.5f))}),
         "Address out of bounds"},
        // Extensible needs 40 bytes of "fmt ".
        {"short extensible", riffFile({fmtChunk(0xFFFE, 1, 44100, 16), pcm16Data({1})}), "Address out of bounds"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(decodeError(c.file), c.error);
    }

    // A "fact" count below the data cuts the frames; tag 1 ignores it.
    Wave shortened = decode(riffFile({fmtChunk(3, 1, 44100, 32), riffChunk("fact", Bytes().le32(1)),
                                      riffChunk("data", Bytes().f32le(0.5f).f32le(0.25f))}));
    EXPECT_EQ(shortened.frames(), 1u);
    Wave ignored = decode(riffFile({fmtChunk(1, 1, 44100, 16), riffChunk("fact", Bytes().le32(1)), pcm16Data({1, 2})}));
    EXPECT_EQ(ignored.frames(), 2u);
    // Fewer than eight left-over bytes are ignored, and so is a truncated pad byte.
    Bytes tail = riffFile({fmtChunk(1, 1, 44100, 8), riffChunk("data", Bytes().u8(200))});
    tail.v.pop_back();
    tail.text("junk");
    EXPECT_EQ(decode(tail).frames(), 1u);
}

TEST(RiffReaderTest, RootFromInstSmplAndAcidInFileOrder) {
    Bytes acid = riffChunk("acid", Bytes().le32(2).le16(57).le16(0x8000).le32(0).le32(8).le16(4).le16(4).f32le(96.5f));
    struct Case {
        const char* name;
        std::vector<Bytes> chunks;
        int root, fine;
    } cases[] = {
        {"inst last", {smplChunk(0, 0, 40, 0), instChunk(62, -30)}, 62, -30},
        // The fraction is read as signed: one half of a semitone or more comes out negative.
        {"smpl last, half", {instChunk(62, 10), smplChunk(0, 0, 0x145, 0x80000000u)}, 0x45, -50},
        {"smpl quarter", {smplChunk(0, 0, 60, 0x40000000u)}, 60, 25},
        // A later foreign "smpl" is ignored; a later one of ours replaces the first.
        {"foreign later", {smplChunk(0, 0, 50, 0), smplChunk(1, 2, 70, 0)}, 50, 0},
        {"ours later", {smplChunk(1, 2, 50, 0), smplChunk(kZnl, kMrvk, 70, 0)}, 70, 0},
        {"acid", {acid}, 57, 0},
        {"inst after acid", {acid, instChunk(40, 0)}, 40, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Wave w = decode(pcm16File(c.chunks));
        EXPECT_EQ(w.root, c.root);
        EXPECT_EQ(w.fine, c.fine);
    }
    Wave withAcid = decode(pcm16File({acid}));
    EXPECT_FLOAT_EQ(withAcid.tempo, 96.5f);
    EXPECT_TRUE(withAcid.flags & kWaveTempoKnown);
}

TEST(RiffReaderTest, LoopsTakeModesAndLabels) {
    const std::vector<std::array<uint32_t, 4>> loops = {
        {5, 0, 10, 19}, {6, 1, 1, 2}, {7, 2, 3, 4}, {8, 33, 0, 0}, {9, 36, 2, 5}};
    Bytes labels = labelList("list", {{5, "first loop name"}, {9, "cut"}});
    // Types past the standard three mean something only in our own chunks.
    EXPECT_EQ(decode(pcm16File({smplChunk(1, 2, 60, 0, loops), labels})).loops,
              (std::vector<Loop>{Loop(10, 20, LoopMode::Forward, "first loo"), Loop(1, 3, LoopMode::Bidirectional, "2"),
                                 Loop(3, 5, LoopMode::Backward, "3"), Loop(0, 1, LoopMode::None, "4"),
                                 Loop(2, 6, LoopMode::None, "cut")}));
    Wave ours = decode(pcm16File({smplChunk(kZnl, kMrvk, 60, 0, loops)}));
    ASSERT_EQ(ours.loops.size(), 5u);
    EXPECT_EQ(ours.loops[3].mode, LoopMode::Forward);
    EXPECT_EQ(ours.loops[4], Loop(2, 6, LoopMode::Slice, "5"));

    // A loop count that the chunk does not hold makes the chunk not count.
    Bytes tooShort = smplChunk(1, 2, 60, 0);
    tooShort.v[8 + 28] = 3;
    EXPECT_TRUE(decode(pcm16File({tooShort})).loops.empty());
}

TEST(RiffReaderTest, PlayRangeFromLabelledCuePointsOnly) {
    Bytes cues = cueChunk({{0, 3}, {1, 7}, {4, 1}});
    Bytes data = riffChunk("data", Bytes().zeros(10));
    Wave w =
        decode(riffFile({fmtChunk(1, 1, 44100, 8), data, cues, labelList("list", {{0, "mv:start"}, {1, "mv:end"}})}));
    EXPECT_EQ(w.start, 3u);
    EXPECT_EQ(w.end, 7u);

    // "LIST" in upper case is not looked at: default loop names, no play range.
    Wave u = decode(riffFile({fmtChunk(1, 1, 44100, 8), data, cues, smplChunk(1, 2, 60, 0, {{0, 0, 1, 2}}),
                              labelList("LIST", {{0, "mv:start"}, {1, "mv:end"}, {0, "named"}})}));
    EXPECT_EQ(u.start, 0u);
    EXPECT_EQ(u.end, 10u);
    EXPECT_EQ(u.loops.at(0).nameText(), "1");

    // A cue count beyond the chunk.
    Bytes lyingCues = cueChunk({{0, 3}});
    lyingCues.v[8] = 5;
    EXPECT_EQ(decodeError(riffFile({fmtChunk(1, 1, 44100, 8), riffChunk("data", Bytes().zeros(4)), lyingCues})),
              "Address out of bounds");
}

TEST(RiffReaderTest, WaveFromAnEmbeddedImage) {
    Wave w("embedded", riffFile({fmtChunk(1, 1, 22050, 16), instChunk(60, 20), pcm16Data({100})}).reader());
    EXPECT_EQ(w.name(), "embedded");
    EXPECT_EQ(w.format, kFormatWave);
    EXPECT_EQ(shape(w), "22050 Hz 1 x 1 end 1 16/2");
    EXPECT_EQ(w.root, 60);
    EXPECT_EQ(w.fine, 20);
    EXPECT_EQ(static_cast<const WaveInfo&>(w.fileInfo), w.info());
    EXPECT_THROW(Wave("bad", Bytes().text("RIFF").reader()), ZnLib::OutOfBounds);
}
