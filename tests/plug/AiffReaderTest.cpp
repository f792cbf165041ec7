#include <gtest/gtest.h>

#include "WaveTestFiles.h"
#include "plug/AiffReader.h"

using namespace ZnPlug;
using namespace WaveTestFiles;

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
class BitWriter {
public:
    void put(uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i) bit((value >> i) & 1);
    }
    void bit(unsigned b) {
        if (n_ % 8 == 0) bytes.u8(0);
        if (b) bytes.v.back() |= uint8_t(0x80 >> (n_ % 8));
        ++n_;
    }
    Bytes bytes;

private:
    std::size_t n_ = 0;
};

// An encoder of delta word variable width, written from the format's description, with the
// extra bit after the largest delta magnitude for either sign.
Bytes dwvwEncode(const std::vector<int>& samples, int w) {
    BitWriter out;
    const int span = 1 << (w - 1);
    int last = 0, lastWidth = 0;
    for (int s : samples) {
        int delta = s - last;
        int extra = -1;
        bool negative = false;
        if (delta < -span) {
            delta += 2 * span;
        } else if (delta == -span) {
            extra = 1;
            negative = true;
            delta = span - 1;
        } else if (delta > span) {
            negative = true;
            delta = 2 * span - delta;
        } else if (delta == span) {
            extra = 1;
            delta = span - 1;
        } else if (delta < 0) {
            negative = true;
            delta = -delta;
        }
        if (delta == span - 1 && extra < 0) extra = 0;
        int width = 0;
        for (int t = delta; t; t >>= 1) ++width;
        int modifier = (width - lastWidth) % w;
        if (modifier > w / 2) modifier -= w;
        if (modifier < -w / 2) modifier += w;
        out.put(0, std::abs(modifier));
        if (std::abs(modifier) != w / 2) out.bit(1);
        if (modifier != 0) out.bit(modifier < 0 ? 1 : 0);
        if (width) {
            out.put(uint32_t(delta), width - 1);
            out.bit(negative ? 1 : 0);
        }
        if (extra >= 0) out.bit(unsigned(extra));
        last = s;
        lastWidth = width;
    }
    if (out.bytes.size() & 1) out.bytes.u8(0);
    return out.bytes;
}
}  // namespace

TEST(AiffReaderTest, PcmDepthsAndTheExtendedRate) {
    Wave w16 = decode(aiffFile("AIFF", {commChunk(2, 2, 16, 44100), ssndChunk(be16Samples({-32768, 32767, 16384, 0}))}));
    EXPECT_EQ(w16.format, kFormatAiff);
    EXPECT_EQ(w16.sampleRate, 44100u);
    EXPECT_EQ(w16.bits, 16);
    EXPECT_EQ(w16.sampleType, 2);
    EXPECT_EQ(w16.end, 2u);
    EXPECT_FLOAT_EQ(w16.channelData(0)[0], -1.0f);
    EXPECT_FLOAT_EQ(w16.channelData(1)[0], 32767.0f / 32768);
    EXPECT_FLOAT_EQ(w16.channelData(0)[1], 0.5f);

    // 12 bits left-justified in two bytes are shifted down by 4.
    Wave w12 = decode(aiffFile("AIFF", {commChunk(1, 1, 12, 8000), ssndChunk(be16Samples({0x7FF0}))}));
    EXPECT_EQ(w12.bits, 16);
    EXPECT_FLOAT_EQ(w12.channelData(0)[0], 2047.0f / 2048);

    Wave w8 = decode(aiffFile("AIFF", {commChunk(1, 2, 8, 8000), ssndChunk(Bytes().u8(0x80).u8(0x40))}));
    EXPECT_EQ(w8.bits, 8);
    EXPECT_EQ(w8.sampleType, 1);
    EXPECT_FLOAT_EQ(w8.channelData(0)[0], -1.0f);
    EXPECT_FLOAT_EQ(w8.channelData(0)[1], 0.5f);

    Wave w24 = decode(aiffFile("AIFF", {commChunk(1, 1, 24, 96000), ssndChunk(Bytes().u8(0x80).u8(0).u8(0))}));
    EXPECT_EQ(w24.bits, 24);
    EXPECT_FLOAT_EQ(w24.channelData(0)[0], -1.0f);
    Wave w32 = decode(aiffFile("AIFF", {commChunk(1, 1, 32, 96000), ssndChunk(Bytes().be32(0xC0000000))}));
    EXPECT_EQ(w32.sampleType, 3);
    EXPECT_FLOAT_EQ(w32.channelData(0)[0], -0.5f);

    // Extended precision rates are truncated to integers.
    for (double rate : {8000.0, 11025.0, 22050.0, 44100.0, 48000.0, 192000.0, 1.0, 12345.75, 4294967295.0})
        EXPECT_EQ(AiffReader::extendedToDouble(extended80(rate).v.data()), rate);
    EXPECT_EQ(decode(aiffFile("AIFF", {commChunk(1, 1, 16, 12345.75), ssndChunk(be16Samples({0}))})).sampleRate, 12345u);
}

TEST(AiffReaderTest, AifcCompressions) {
    auto one = [](const std::string& tag, unsigned bits, const Bytes& data) {
        return decode(aiffFile("AIFC", {fverChunk(), aifcComm(1, 2, bits, 8000, tag, "x"), ssndChunk(data)}));
    };
    Wave f32 = one("fl32", 32, Bytes().f32be(0.75f).f32be(-3.0f));
    EXPECT_FLOAT_EQ(f32.channelData(0)[0], 0.75f);
    EXPECT_FLOAT_EQ(f32.channelData(0)[1], -3.0f);
    Wave f64 = one("FL64", 64, Bytes().f64be(-0.125).f64be(2.0));
    EXPECT_FLOAT_EQ(f64.channelData(0)[0], -0.125f);
    EXPECT_EQ(f64.bits, 32);
    Wave ulaw = one("ulaw", 16, Bytes().u8(0x80).u8(0xFF));
    EXPECT_FLOAT_EQ(ulaw.channelData(0)[0], 32124 / 32768.0f);
    EXPECT_FLOAT_EQ(ulaw.channelData(0)[1], 0.0f);
    Wave alaw = one("ALAW", 16, Bytes().u8(0xAA).u8(0xD5));
    EXPECT_FLOAT_EQ(alaw.channelData(0)[0], 32256 / 32768.0f);
    EXPECT_FLOAT_EQ(alaw.channelData(0)[1], 8 / 32768.0f);
    Wave none = one("NONE", 16, be16Samples({0x4000, 0}));
    EXPECT_FLOAT_EQ(none.channelData(0)[0], 0.5f);

    EXPECT_EQ(decodeError(aiffFile("AIFC", {aifcComm(1, 2, 16, 8000, "sowt", ""), ssndChunk(be16Samples({1, 2}))})),
              "Unsupported compression sowt");
    EXPECT_EQ(decodeError(aiffFile("AIFC", {fverChunk(7), aifcComm(1, 1, 16, 8000, "NONE", ""), ssndChunk(be16Samples({1}))})),
              "Invalid AIFC format version 7");
}

TEST(AiffReaderTest, CompressionNameOutsideTheChunkSize) {
    // The writer counted the name out of the chunk's size: the walk goes on behind the name.
    Bytes comm = aifcComm(1, 1, 16, 8000, "NONE", "not compressed");
    uint32_t declared = 22;
    comm.v[4] = 0;
    comm.v[5] = 0;
    comm.v[6] = 0;
    comm.v[7] = uint8_t(declared);
    Wave w = decode(aiffFile("AIFC", {comm, ssndChunk(be16Samples({0x2000}))}));
    EXPECT_FLOAT_EQ(w.channelData(0)[0], 0.25f);
}

TEST(AiffReaderTest, InstAndMarkersMakeTwoLoops) {
    Bytes markers = markChunk({{1, 100, "beg"}, {2, 199, "end loop"}, {3, 50, ""}});
    Wave w = decode(aiffFile("AIFF", {commChunk(1, 1, 16, 44100), instChunk(48, -20, {1, 1, 2}, {2, 3, 9}), markers,
                                      ssndChunk(be16Samples({0}))}));
    EXPECT_EQ(w.root, 48);
    EXPECT_EQ(w.fine, -20);
    ASSERT_EQ(w.loops.size(), 2u);
    EXPECT_EQ(w.loops[0].mode, LoopMode::Forward);
    EXPECT_EQ(w.loops[0].start, 100u);
    EXPECT_EQ(w.loops[0].end, 200u);
    EXPECT_EQ(w.loops[0].nameText(), "1");
    EXPECT_EQ(w.loops[1].mode, LoopMode::Bidirectional);
    EXPECT_EQ(w.loops[1].start, 50u);
    // No marker 9: the end counts as 1.
    EXPECT_EQ(w.loops[1].end, 1u);
    EXPECT_EQ(w.loops[1].nameText(), "2");

    Wave off = decode(aiffFile("AIFF", {commChunk(1, 1, 16, 44100), instChunk(60, 0, {0, 1, 2}, {0, 1, 2}), markers,
                                        ssndChunk(be16Samples({0}))}));
    ASSERT_EQ(off.loops.size(), 2u);
    EXPECT_EQ(off.loops[0].mode, LoopMode::None);
    EXPECT_EQ(off.loops[1].mode, LoopMode::None);

    Wave noMarks = decode(aiffFile("AIFF", {commChunk(1, 1, 16, 44100), instChunk(60, 0, {1, 1, 2}, {0, 0, 0}),
                                            ssndChunk(be16Samples({0}))}));
    EXPECT_TRUE(noMarks.loops.empty());
}

TEST(AiffReaderTest, DwvwIncludingTheExtraBitOfEitherSign) {
    for (int w : {8, 12, 16, 24}) {
        const int span = 1 << (w - 1);
        // Deltas of +-span and +-(span - 1) need the extra bit; the steps in between vary the width.
        std::vector<int> samples = {0,    1,         -1,       span - 1, -span, span - 1, 0, -(span - 1), 0, span - 1,
                                    -1,   span / 2,  -span / 3, 3,       -span, 0,        -span, span - 1, 100 % span};
        Bytes stream = dwvwEncode(samples, w);
        Bytes file = aiffFile("AIFC", {fverChunk(), aifcComm(1, uint32_t(samples.size()), unsigned(w), 22050, "DWVW", "DWVW"),
                                       ssndChunk(stream)});
        Wave wave = decode(file);
        ASSERT_EQ(wave.frames(), samples.size());
        for (std::size_t i = 0; i < samples.size(); ++i)
            EXPECT_FLOAT_EQ(wave.channelData(0)[i], float(samples[i]) / float(span)) << "w " << w << " at " << i;
    }

    // Channels follow each other, each starting on an even byte.
    std::vector<int> left = {5, -7, 100}, right = {-32768, 32767, 1};
    Bytes both = dwvwEncode(left, 16).add(dwvwEncode(right, 16));
    Wave stereo = decode(aiffFile("AIFC", {aifcComm(2, 3, 16, 8000, "DWVW", ""), ssndChunk(both)}));
    EXPECT_FLOAT_EQ(stereo.channelData(0)[2], 100.0f / 32768);
    EXPECT_FLOAT_EQ(stereo.channelData(1)[0], -1.0f);
    EXPECT_FLOAT_EQ(stereo.channelData(1)[1], 32767.0f / 32768);

    // A stream that ends too early.
    EXPECT_EQ(decodeError(aiffFile("AIFC", {aifcComm(1, 40, 16, 8000, "DWVW", ""), ssndChunk(dwvwEncode({1, 2000, -3}, 16))})),
              "Address out of bounds");
}

TEST(AiffReaderTest, BrokenFilesGiveTheirTexts) {
    EXPECT_EQ(decodeError(aiffFile("AIFF", {commChunk(1, 1, 16, 8000)})), "No sound data");
    EXPECT_EQ(decodeError(aiffFile("AIFF", {ssndChunk(be16Samples({1}))})), "No sound data");
    // "SSND" claims more bytes than the file holds.
    Bytes ssnd = ssndChunk(be16Samples({1}));
    ssnd.v[5] = 0x10;
    EXPECT_EQ(decodeError(aiffFile("AIFF", {commChunk(1, 1, 16, 8000), ssnd})), "Malformed chunk");
    EXPECT_EQ(decodeError(aiffFile("AIFF", {commChunk(1, 1000, 16, 8000), ssndChunk(be16Samples({1}))})),
              "Address out of bounds");
    EXPECT_EQ(decodeError(aiffFile("AIFF", {commChunk(0, 1, 16, 8000), ssndChunk(be16Samples({1}))})), "Malformed chunk");
    // A marker's name runs past its chunk.
    Bytes badMarker = markChunk({{1, 100, "a"}});
    badMarker.v[8 + 8] = 200;
    EXPECT_EQ(decodeError(aiffFile("AIFF", {commChunk(1, 1, 16, 8000), instChunk(60, 0, {1, 1, 1}, {0, 0, 0}), badMarker,
                                            ssndChunk(be16Samples({1}))})),
              "Address out of bounds");
}
