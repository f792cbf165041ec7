#include <gtest/gtest.h>

#include "WaveTestFiles.h"
#include "plug/RiffReader.h"

using namespace ZnPlug;
using namespace WaveTestFiles;

namespace {
Bytes pcm16Data(std::initializer_list<int> values) {
    Bytes d;
    for (int v : values) d.le16(unsigned(v));
    return riffChunk("data", d);
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

TEST(RiffReaderTest, IntegerDepthsScaleToFullRange) {
    Wave w8 = decode(riffFile({fmtChunk(1, 1, 8000, 8), riffChunk("data", Bytes().u8(0).u8(128).u8(255))}));
    EXPECT_EQ(w8.bits, 8);
    EXPECT_EQ(w8.sampleType, 1);
    EXPECT_FLOAT_EQ(w8.channelData(0)[0], -1.0f);
    EXPECT_FLOAT_EQ(w8.channelData(0)[1], 0.0f);
    EXPECT_FLOAT_EQ(w8.channelData(0)[2], 127.0f / 128);

    Wave w16 = decode(riffFile({fmtChunk(1, 2, 44100, 16), pcm16Data({-32768, 32767, 16384, -1})}));
    EXPECT_EQ(w16.bits, 16);
    EXPECT_EQ(w16.sampleType, 2);
    EXPECT_EQ(w16.channels(), 2);
    EXPECT_EQ(w16.frames(), 2u);
    EXPECT_EQ(w16.end, 2u);
    EXPECT_EQ(w16.sampleRate, 44100u);
    EXPECT_FLOAT_EQ(w16.channelData(0)[0], -1.0f);
    EXPECT_FLOAT_EQ(w16.channelData(1)[0], 32767.0f / 32768);
    EXPECT_FLOAT_EQ(w16.channelData(0)[1], 0.5f);
    EXPECT_FLOAT_EQ(w16.channelData(1)[1], -1.0f / 32768);

    Wave w24 = decode(riffFile({fmtChunk(1, 1, 48000, 24),
                                riffChunk("data", Bytes().le24(0x800000).le24(0x7FFFFF).le24(0x000001))}));
    EXPECT_EQ(w24.bits, 24);
    EXPECT_EQ(w24.sampleType, 2);
    EXPECT_FLOAT_EQ(w24.channelData(0)[0], -1.0f);
    EXPECT_FLOAT_EQ(w24.channelData(0)[1], float(8388607.0 / 8388608));
    EXPECT_FLOAT_EQ(w24.channelData(0)[2], float(1.0 / 8388608));

    // 32-bit integers come in as "32-bit float" waves, with the right values.
    Wave w32 = decode(riffFile({fmtChunk(1, 1, 48000, 32), riffChunk("data", Bytes().le32(0x80000000).le32(0x40000000))}));
    EXPECT_EQ(w32.bits, 32);
    EXPECT_EQ(w32.sampleType, 3);
    EXPECT_FLOAT_EQ(w32.channelData(0)[0], -1.0f);
    EXPECT_FLOAT_EQ(w32.channelData(0)[1], 0.5f);
}

TEST(RiffReaderTest, ExtensibleValidBitsAndTheLeftJustifiedQuirk) {
    // 20 valid bits left-justified in 3 bytes: shifted down by 4, scaled by 2^-19.
    Wave w20 = decode(riffFile({extensibleFmt(1, 44100, 24, 20, 1), riffChunk("data", Bytes().le24(0x7FFFF0))}));
    EXPECT_EQ(w20.bits, 24);
    EXPECT_FLOAT_EQ(w20.channelData(0)[0], float(0x7FFFF / 524288.0));

    // 24 valid bits left-justified in a 4-byte word are not shifted: 256 times too large.
    Wave w24in32 = decode(riffFile({extensibleFmt(1, 44100, 32, 24, 1), riffChunk("data", Bytes().le32(0x40000000))}));
    EXPECT_EQ(w24in32.bits, 24);
    EXPECT_EQ(w24in32.sampleType, 2);
    EXPECT_FLOAT_EQ(w24in32.channelData(0)[0], 128.0f);

    Wave f = decode(riffFile({extensibleFmt(1, 44100, 32, 32, 3), riffChunk("data", Bytes().f32le(-0.25f))}));
    EXPECT_FLOAT_EQ(f.channelData(0)[0], -0.25f);

    EXPECT_NE(decodeError(riffFile({extensibleFmt(1, 44100, 16, 16, 1, 0), pcm16Data({1})})).find("Invalid format chunk"),
              std::string::npos);
}

TEST(RiffReaderTest, FloatsAndCompandedSamples) {
    Wave f32 = decode(riffFile({fmtChunk(3, 1, 44100, 32), riffChunk("data", Bytes().f32le(1.5f).f32le(-2.0f))}));
    EXPECT_FLOAT_EQ(f32.channelData(0)[0], 1.5f);
    EXPECT_FLOAT_EQ(f32.channelData(0)[1], -2.0f);
    EXPECT_EQ(f32.sampleType, 3);

    Wave f64 = decode(riffFile({fmtChunk(3, 1, 44100, 64), riffChunk("data", Bytes().f64le(0.125).f64le(-1e40))}));
    EXPECT_FLOAT_EQ(f64.channelData(0)[0], 0.125f);
    EXPECT_TRUE(std::isinf(f64.channelData(0)[1]));

    // G.711 extremes: 0x55 / 0xD5 are A-law's smallest magnitudes, 0x2A / 0xAA its largest.
    Wave a = decode(riffFile({fmtChunk(6, 1, 8000, 8), riffChunk("data", Bytes().u8(0xD5).u8(0x55).u8(0xAA).u8(0x2A))}));
    EXPECT_EQ(a.bits, 8);
    EXPECT_EQ(a.sampleType, 1);
    EXPECT_FLOAT_EQ(a.channelData(0)[0], 8 / 32768.0f);
    EXPECT_FLOAT_EQ(a.channelData(0)[1], -8 / 32768.0f);
    EXPECT_FLOAT_EQ(a.channelData(0)[2], 32256 / 32768.0f);
    EXPECT_FLOAT_EQ(a.channelData(0)[3], -32256 / 32768.0f);

    Wave u = decode(riffFile({fmtChunk(7, 1, 8000, 8), riffChunk("data", Bytes().u8(0xFF).u8(0x7F).u8(0x80).u8(0x00))}));
    EXPECT_FLOAT_EQ(u.channelData(0)[0], 0.0f);
    EXPECT_FLOAT_EQ(u.channelData(0)[1], 0.0f);
    EXPECT_FLOAT_EQ(u.channelData(0)[2], 32124 / 32768.0f);
    EXPECT_FLOAT_EQ(u.channelData(0)[3], -32124 / 32768.0f);
}

TEST(RiffReaderTest, BrokenFilesGiveTheirTexts) {
    // Exactly 12 bytes is not a wave for the dispatcher.
    EXPECT_EQ(decodeError(Bytes().text("RIFF").le32(4).text("WAVE")), "Unsupported format");
    EXPECT_EQ(decodeError(riffFile({fmtChunk(1, 1, 44100, 16)})), "Invalid wav");
    EXPECT_EQ(decodeError(riffFile({pcm16Data({1, 2})})), "Invalid wav");
    EXPECT_EQ(decodeError(riffFile({fmtChunk(2, 1, 44100, 4), pcm16Data({1, 2})})), "Invalid format chunk");
    EXPECT_EQ(decodeError(riffFile({fmtChunk(2, 1, 44100, 16), pcm16Data({1, 2})})), "Unsupported format");
    EXPECT_EQ(decodeError(riffFile({fmtChunk(1, 0, 44100, 16), pcm16Data({1, 2})})), "Invalid format chunk");

    // A chunk whose size runs past the end.
    Bytes lying = riffFile({fmtChunk(1, 1, 44100, 16), pcm16Data({1, 2, 3})});
    lying.v[lying.size() - 10] = 0x40;
    EXPECT_EQ(decodeError(lying), "Address out of bounds");
    // A "fact" count beyond the data, for a tag that honours it.
    EXPECT_EQ(decodeError(riffFile({fmtChunk(3, 1, 44100, 32), riffChunk("fact", Bytes().le32(1000)),
                                    riffChunk("data", Bytes().f32le(0.5f))})),
              "Address out of bounds");
    // A "fact" count below the data cuts the frames; tag 1 ignores it.
    Wave shortened = decode(riffFile({fmtChunk(3, 1, 44100, 32), riffChunk("fact", Bytes().le32(1)),
                                      riffChunk("data", Bytes().f32le(0.5f).f32le(0.25f))}));
    EXPECT_EQ(shortened.frames(), 1u);
    Wave ignored = decode(riffFile({fmtChunk(1, 1, 44100, 16), riffChunk("fact", Bytes().le32(1)), pcm16Data({1, 2})}));
    EXPECT_EQ(ignored.frames(), 2u);
    // Extensible needs 40 bytes of "fmt ".
    Bytes shortExt = riffFile({riffChunk("fmt ", Bytes().le16(0xFFFE).le16(1).le32(44100).le32(0).le16(2).le16(16)),
                               pcm16Data({1})});
    EXPECT_EQ(decodeError(shortExt), "Address out of bounds");
    // Fewer than eight left-over bytes are ignored, and so is a truncated pad byte.
    Bytes tail = riffFile({fmtChunk(1, 1, 44100, 8), riffChunk("data", Bytes().u8(200))});
    tail.v.pop_back();
    tail.text("junk");
    EXPECT_EQ(decode(tail).frames(), 1u);
}

TEST(RiffReaderTest, RootFromInstSmplAndAcidInFileOrder) {
    auto inst = [](unsigned root, int fine) { return riffChunk("inst", Bytes().u8(root).u8(unsigned(fine)).zeros(5)); };
    Wave instLast = decode(riffFile({fmtChunk(1, 1, 44100, 16), smplChunk(0, 0, 40, 0), inst(62, -30), pcm16Data({0})}));
    EXPECT_EQ(instLast.root, 62);
    EXPECT_EQ(instLast.fine, -30);

    // The fraction is read as signed: one half of a semitone or more comes out negative.
    Wave smplLast = decode(riffFile({fmtChunk(1, 1, 44100, 16), inst(62, 10), smplChunk(0, 0, 0x145, 0x80000000u),
                                     pcm16Data({0})}));
    EXPECT_EQ(smplLast.root, 0x45);
    EXPECT_EQ(smplLast.fine, -50);
    Wave quarter = decode(riffFile({fmtChunk(1, 1, 44100, 16), smplChunk(0, 0, 60, 0x40000000u), pcm16Data({0})}));
    EXPECT_EQ(quarter.fine, 25);

    // A later foreign "smpl" is ignored; a later one of ours replaces the first.
    Wave foreignLater = decode(riffFile({fmtChunk(1, 1, 44100, 16), smplChunk(0, 0, 50, 0), smplChunk(1, 2, 70, 0),
                                         pcm16Data({0})}));
    EXPECT_EQ(foreignLater.root, 50);
    Wave oursLater = decode(riffFile({fmtChunk(1, 1, 44100, 16), smplChunk(1, 2, 50, 0), smplChunk(kZnl, kMrvk, 70, 0),
                                      pcm16Data({0})}));
    EXPECT_EQ(oursLater.root, 70);

    Bytes acid = riffChunk("acid", Bytes().le32(2).le16(57).le16(0x8000).le32(0).le32(8).le16(4).le16(4).f32le(96.5f));
    Wave acidRoot = decode(riffFile({fmtChunk(1, 1, 44100, 16), acid, pcm16Data({0})}));
    EXPECT_EQ(acidRoot.root, 57);
    EXPECT_FLOAT_EQ(acidRoot.tempo, 96.5f);
    EXPECT_TRUE(acidRoot.flags & kWaveTempoKnown);
    Wave instWins = decode(riffFile({fmtChunk(1, 1, 44100, 16), acid, inst(40, 0), pcm16Data({0})}));
    EXPECT_EQ(instWins.root, 40);
}

TEST(RiffReaderTest, LoopsTakeModesAndLabels) {
    std::vector<std::array<uint32_t, 4>> loops = {{5, 0, 10, 19}, {6, 1, 1, 2}, {7, 2, 3, 4}, {8, 33, 0, 0}, {9, 36, 2, 5}};
    Bytes labels = labelList("list", {{5, "first loop name"}, {9, "cut"}});
    Wave foreign = decode(riffFile({fmtChunk(1, 1, 44100, 16), smplChunk(1, 2, 60, 0, loops), labels, pcm16Data({0})}));
    ASSERT_EQ(foreign.loops.size(), 5u);
    EXPECT_EQ(foreign.loops[0].mode, LoopMode::Forward);
    EXPECT_EQ(foreign.loops[0].start, 10u);
    EXPECT_EQ(foreign.loops[0].end, 20u);
    EXPECT_EQ(foreign.loops[0].nameText(), "first loo");
    EXPECT_EQ(foreign.loops[1].mode, LoopMode::Bidirectional);
    EXPECT_EQ(foreign.loops[1].nameText(), "2");
    EXPECT_EQ(foreign.loops[2].mode, LoopMode::Backward);
    // Types past the standard three mean something only in our own chunks.
    EXPECT_EQ(foreign.loops[3].mode, LoopMode::None);
    EXPECT_EQ(foreign.loops[4].mode, LoopMode::None);
    EXPECT_EQ(foreign.loops[4].nameText(), "cut");

    Wave ours = decode(riffFile({fmtChunk(1, 1, 44100, 16), smplChunk(kZnl, kMrvk, 60, 0, loops), pcm16Data({0})}));
    EXPECT_EQ(ours.loops[3].mode, LoopMode::Forward);
    EXPECT_EQ(ours.loops[4].mode, LoopMode::Slice);
    EXPECT_EQ(ours.loops[4].nameText(), "5");

    // A loop count that the chunk does not hold makes the chunk not count.
    Bytes tooShort = smplChunk(1, 2, 60, 0);
    tooShort.v[8 + 28] = 3;
    EXPECT_EQ(decode(riffFile({fmtChunk(1, 1, 44100, 16), tooShort, pcm16Data({0})})).loops.size(), 0u);
}

TEST(RiffReaderTest, PlayRangeFromLabelledCuePointsOnly) {
    Bytes cues = cueChunk({{0, 3}, {1, 7}, {4, 1}});
    Bytes range = riffFile({fmtChunk(1, 1, 44100, 8), riffChunk("data", Bytes().zeros(10)), cues,
                            labelList("list", {{0, "mv:start"}, {1, "mv:end"}})});
    Wave w = decode(range);
    EXPECT_EQ(w.start, 3u);
    EXPECT_EQ(w.end, 7u);

    // "LIST" in upper case is not looked at: default loop names, no play range.
    Bytes upper = riffFile({fmtChunk(1, 1, 44100, 8), riffChunk("data", Bytes().zeros(10)), cues,
                            smplChunk(1, 2, 60, 0, {{0, 0, 1, 2}}),
                            labelList("LIST", {{0, "mv:start"}, {1, "mv:end"}, {0, "named"}})});
    Wave u = decode(upper);
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
    Bytes image = riffFile({fmtChunk(1, 1, 22050, 16), riffChunk("inst", Bytes().u8(60).u8(20).zeros(5)), pcm16Data({100})});
    Wave w("embedded", image.reader());
    EXPECT_EQ(w.name(), "embedded");
    EXPECT_EQ(w.format, kFormatWave);
    EXPECT_EQ(w.sampleRate, 22050u);
    EXPECT_EQ(w.root, 60);
    EXPECT_EQ(w.fine, 20);
    EXPECT_EQ(static_cast<const WaveInfo&>(w.fileInfo), w.info());
    EXPECT_THROW(Wave("bad", Bytes().text("RIFF").reader()), ZnLib::OutOfBounds);
}
