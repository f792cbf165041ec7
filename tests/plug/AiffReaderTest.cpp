#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "WaveTestFiles.h"
#include "plug/AiffReader.h"

using namespace ZnPlug;
using namespace WaveTestFiles;
using testing::FloatEq;
using testing::Pointwise;

namespace {
Bytes be16Samples(std::initializer_list<int> values) {
    Bytes b;
    for (int v : values) b.be16(unsigned(v));
    return b;
}

Bytes markChunk(std::vector<std::tuple<unsigned, uint32_t, std::string>> markers) {
    Bytes d;
    d.be16(unsigned(markers.size()));
    for (auto& [id, position, name] : markers) {
        d.be16(id).be32(position).u8(unsigned(name.size())).text(name);
        if ((name.size() + 1) & 1) d.u8(0);
    }
    return aiffChunk("MARK", d);
}

Bytes instChunk(unsigned root, int fine, std::array<unsigned, 3> sustain, std::array<unsigned, 3> release) {
    Bytes d;
    d.u8(root).u8(unsigned(fine)).u8(0).u8(127).u8(1).u8(127).be16(0);
    for (unsigned v : sustain) d.be16(v);
    for (unsigned v : release) d.be16(v);
    return aiffChunk("INST", d);
}

// Bits written most significant first, as DWVW streams are.
struct BitWriter {
    void put(uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i) {
            if (n % 8 == 0) bytes.u8(0);
            if ((value >> i) & 1) bytes.v.back() |= uint8_t(0x80 >> (n % 8));
            ++n;
        }
    }
    Bytes bytes;
    std::size_t n = 0;
};

// An encoder of delta word variable width, written from the format's description, with the
// extra bit after the largest delta magnitude for either sign.
Bytes dwvwEncode(const std::vector<int>& samples, int w) {
    BitWriter out;
    const int span = 1 << (w - 1);
    int last = 0, lastWidth = 0;
    for (int s : samples) {
        int delta = s - last;
        if (delta < -span) delta += 2 * span;
        if (delta > span) delta -= 2 * span;
        int magnitude = std::abs(delta), extra = -1;
        if (magnitude >= span - 1) {
            extra = magnitude == span;
            magnitude = span - 1;
        }
        const int width = std::bit_width(unsigned(magnitude));
        int modifier = (width - lastWidth) % w;
        if (modifier > w / 2) modifier -= w;
        if (modifier < -w / 2) modifier += w;
        out.put(0, std::abs(modifier));
        if (std::abs(modifier) != w / 2) out.put(1, 1);
        if (modifier != 0) out.put(modifier < 0, 1);
        if (width) out.put(uint32_t(magnitude) << 1 | (delta < 0), width);
        if (extra >= 0) out.put(uint32_t(extra), 1);
        last = s;
        lastWidth = width;
    }
    if (out.bytes.size() & 1) out.bytes.u8(0);
    return out.bytes;
}
}  // namespace

TEST(AiffReaderTest, SampleFormatsScaleToFullRange) {
    auto aifc = [](const std::string& tag, unsigned bits, const Bytes& data) {
        return aiffFile("AIFC", {fverChunk(), aifcComm(1, 2, bits, 8000, tag, "x"), ssndChunk(data)});
    };
    // The writer counted the compression name out of the chunk's size: the walk goes on behind it.
    Bytes shortComm = aifcComm(1, 1, 16, 8000, "NONE", "not compressed");
    shortComm.v[4] = shortComm.v[5] = shortComm.v[6] = 0;
    shortComm.v[7] = 22;
    struct Case {
        const char* name;
        Bytes file;
        std::string shape;
        std::vector<float> want;
    } cases[] = {
        {"16-bit stereo",
         aiffFile("AIFF", {commChunk(2, 2, 16, 44100), ssndChunk(be16Samples({-32768, 32767, 16384, 0}))}),
         "44100 Hz 2 x 2 end 2 16/2", {-1, 32767.0f / 32768, 0.5f, 0}},
        // 12 bits left-justified in two bytes are shifted down by 4.
        {"12-bit", aiffFile("AIFF", {commChunk(1, 1, 12, 8000), ssndChunk(be16Samples({0x7FF0}))}),
         "8000 Hz 1 x 1 end 1 16/2", {2047.0f / 2048}},
        {"8-bit", aiffFile("AIFF", {commChunk(1, 2, 8, 8000), ssndChunk(Bytes().u8(0x80).u8(0x40))}),
         "8000 Hz 1 x 2 end 2 8/1", {-1, 0.5f}},
        {"24-bit", aiffFile("AIFF", {commChunk(1, 1, 24, 96000), ssndChunk(Bytes().u8(0x80).u8(0).u8(0))}),
         "96000 Hz 1 x 1 end 1 24/2", {-1}},
        {"32-bit", aiffFile("AIFF", {commChunk(1, 1, 32, 96000), ssndChunk(Bytes().be32(0xC0000000))}),
         "96000 Hz 1 x 1 end 1 32/3", {-0.5f}},
        // Extended precision rates are truncated to integers.
        {"fractional rate", aiffFile("AIFF", {commChunk(1, 1, 16, 12345.75), ssndChunk(be16Samples({0}))}),
         "12345 Hz 1 x 1 end 1 16/2", {0}},
        {"fl32", aifc("fl32", 32, Bytes().f32be(0.75f).f32be(-3.0f)), "8000 Hz 1 x 2 end 2 32/3", {0.75f, -3}},
        {"FL64", aifc("FL64", 64, Bytes().f64be(-0.125).f64be(2.0)), "8000 Hz 1 x 2 end 2 32/3", {-0.125f, 2}},
        {"ulaw", aifc("ulaw", 16, Bytes().u8(0x80).u8(0xFF)), "8000 Hz 1 x 2 end 2 16/2", {32124 / 32768.0f, 0}},
        {"ALAW", aifc("ALAW", 16, Bytes().u8(0xAA).u8(0xD5)), "8000 Hz 1 x 2 end 2 16/2",
         {32256 / 32768.0f, 8 / 32768.0f}},
        {"NONE", aifc("NONE", 16, be16Samples({0x4000, 0})), "8000 Hz 1 x 2 end 2 16/2", {0.5f, 0}},
        {"name outside the size", aiffFile("AIFC", {shortComm, ssndChunk(be16Samples({0x2000}))}),
         "8000 Hz 1 x 1 end 1 16/2", {0.25f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Wave w = decode(c.file);
        EXPECT_EQ(w.format, kFormatAiff);
        EXPECT_EQ(shape(w), c.shape);
        EXPECT_THAT(allSamples(w), Pointwise(FloatEq(), c.want));
    }
    for (double rate : {8000.0, 11025.0, 22050.0, 44100.0, 48000.0, 192000.0, 1.0, 12345.75, 4294967295.0})
        EXPECT_EQ(AiffReader::extendedToDouble(extended80(rate).v.data()), rate);
}

TEST(AiffReaderTest, InstAndMarkersMakeTwoLoops) {
    Bytes markers = markChunk({{1, 100, "beg"}, {2, 199, "end loop"}, {3, 50, ""}});
    auto loopsOf = [&](unsigned root, int fine, std::array<unsigned, 3> sustain, std::array<unsigned, 3> release,
                       bool withMarkers = true) {
        std::vector<Bytes> chunks = {commChunk(1, 1, 16, 44100), instChunk(root, fine, sustain, release)};
        if (withMarkers) chunks.push_back(markers);
        chunks.push_back(ssndChunk(be16Samples({0})));
        return decode(aiffFile("AIFF", chunks));
    };
    Wave w = loopsOf(48, -20, {1, 1, 2}, {2, 3, 9});
    EXPECT_EQ(w.root, 48);
    EXPECT_EQ(w.fine, -20);
    // No marker 9: the end counts as 1.
    EXPECT_EQ(w.loops,
              (std::vector<Loop>{Loop(100, 200, LoopMode::Forward, "1"), Loop(50, 1, LoopMode::Bidirectional, "2")}));
    Wave off = loopsOf(60, 0, {0, 1, 2}, {0, 1, 2});
    ASSERT_EQ(off.loops.size(), 2u);
    EXPECT_EQ(off.loops[0].mode, LoopMode::None);
    EXPECT_EQ(off.loops[1].mode, LoopMode::None);
    EXPECT_TRUE(loopsOf(60, 0, {1, 1, 2}, {0, 0, 0}, false).loops.empty());
}

TEST(AiffReaderTest, DwvwIncludingTheExtraBitOfEitherSign) {
    auto dwvw = [](unsigned channels, int w, const std::vector<int>& samples, const Bytes& stream) {
        uint32_t frames = uint32_t(samples.size() / channels);
        return aiffFile("AIFC", {fverChunk(), aifcComm(channels, frames, unsigned(w), 22050, "DWVW", "DWVW"),
                                 ssndChunk(stream)});
    };
    for (int w : {8, 12, 16, 24}) {
        SCOPED_TRACE(w);
        const int span = 1 << (w - 1);
        // Deltas of +-span and +-(span - 1) need the extra bit; the steps in between vary the width.
        const std::vector<int> samples = {0,        1,  -1,       span - 1,  -span, span - 1, 0,     -(span - 1), 0,
                                          span - 1, -1, span / 2, -span / 3, 3,     -span,    0,     -span,
                                          span - 1, 100 % span};
        std::vector<float> want;
        for (int s : samples) want.push_back(float(s) / float(span));
        EXPECT_THAT(allSamples(decode(dwvw(1, w, samples, dwvwEncode(samples, w)))), Pointwise(FloatEq(), want));
    }

    // Channels follow each other, each starting on an even byte.
    Bytes both = dwvwEncode({5, -7, 100}, 16).add(dwvwEncode({-32768, 32767, 1}, 16));
    EXPECT_THAT(allSamples(decode(dwvw(2, 16, {5, -32768, -7, 32767, 100, 1}, both))),
                Pointwise(FloatEq(), {5 / 32768.0f, -1.0f, -7 / 32768.0f, 32767 / 32768.0f, 100 / 32768.0f,
                                      1 / 32768.0f}));
    // A stream that ends too early.
    EXPECT_EQ(decodeError(dwvw(1, 16, std::vector<int>(40), dwvwEncode({1, 2000, -3}, 16))), "Address out of bounds");
}

TEST(AiffReaderTest, BrokenFilesGiveTheirTexts) {
    // "SSND" claims more bytes than the file holds.
    Bytes ssnd = ssndChunk(be16Samples({1}));
    ssnd.v[5] = 0x10;
    // A marker's name runs past its chunk.
    Bytes badMarker = markChunk({{1, 100, "a"}});
    badMarker.v[8 + 8] = 200;
    struct Case {
        const char* name;
        Bytes file;
        std::string error;
    } cases[] = {
        {"no SSND", aiffFile("AIFF", {commChunk(1, 1, 16, 8000)}), "No sound data"},
        {"no COMM", aiffFile("AIFF", {ssndChunk(be16Samples({1}))}), "No sound data"},
        {"long SSND", aiffFile("AIFF", {commChunk(1, 1, 16, 8000), ssnd}), "Malformed chunk"},
        {"frames past the data", aiffFile("AIFF", {commChunk(1, 1000, 16, 8000), ssndChunk(be16Samples({1}))}),
         "Address out of bounds"},
        {"no channels", aiffFile("AIFF", {commChunk(0, 1, 16, 8000), ssndChunk(be16Samples({1}))}), "Malformed chunk"},
        {"long marker name",
         aiffFile("AIFF", {commChunk(1, 1, 16, 8000), instChunk(60, 0, {1, 1, 1}, {0, 0, 0}), badMarker,
                           ssndChunk(be16Samples({1}))}),
         "Address out of bounds"},
        {"sowt", aiffFile("AIFC", {aifcComm(1, 2, 16, 8000, "sowt", ""), ssndChunk(be16Samples({1, 2}))}),
         "Unsupported compression sowt"},
        {"version", aiffFile("AIFC", {fverChunk(7), aifcComm(1, 1, 16, 8000, "NONE", ""), ssndChunk(be16Samples({1}))}),
         "Invalid AIFC format version 7"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(decodeError(c.file), c.error);
    }
}
