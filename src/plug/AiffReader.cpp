#include "plug/AiffReader.h"

#include <cmath>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "lib/Text.h"
#include "plug/RiffReader.h"
#include "plug/Wave.h"

namespace ZnPlug {

using ZnLib::ByteReader;
using ZnLib::fourcc;

namespace {

constexpr uint32_t kAifcVersion1 = 0xA2805140;
constexpr std::size_t kHeader = 8;
// 1 / 32768, as the law decoders scale.
constexpr float kScale16 = 3.0517578e-5f;

// Chunks are kept with their headers: offsets below count from the chunk's id, as the format's
// tables do.
struct Chunks {
    std::optional<ByteReader> comm, ssnd, inst, mark, fver;
    std::size_t ssndAt = 0;  // file offset of the "SSND" chunk's id
};

[[noreturn]] void malformed() { throw std::runtime_error("Malformed chunk"); }

Chunks walk(ByteReader file, bool aifc) {
    Chunks chunks;
    std::size_t pos = 12;
    const std::size_t end = file.size();
    while (pos <= end && end - pos >= kHeader) {
        ByteReader head = file.view(pos, kHeader);
        uint32_t id = head.fourcc();
        uint32_t size = head.u32be();
        if (uint64_t(size) > end - pos - kHeader) malformed();
        ByteReader chunk = file.view(pos, kHeader + size);
        std::size_t next = pos + kHeader + size + (size & 1);
        switch (id) {
            case fourcc("COMM"):
                if (!aifc) {
                    if (size + kHeader >= 26) chunks.comm = chunk;
                } else if (end - pos >= 32 && size + kHeader >= 26) {
                    // Some writers leave the compression name out of the chunk's size: it is read
                    // from the file all the same, and the walk goes on behind it.
                    chunks.comm = file.view(pos, std::max<std::size_t>(kHeader + size, 32));
                    std::size_t nameEnd = pos + 31 + file.view(pos + 30, 1).u8();
                    if (nameEnd > pos + kHeader + size) next = nameEnd + (nameEnd & 1);
                }
                break;
            case fourcc("SSND"):
                if (size + kHeader >= 16) {
                    chunks.ssnd = chunk;
                    chunks.ssndAt = pos;
                }
                break;
            case fourcc("INST"):
                if (size + kHeader >= 28) chunks.inst = chunk;
                break;
            case fourcc("MARK"):
                if (size + kHeader >= 10 && size >= 2 + 8 * uint64_t(chunk.view(kHeader, 2).u16be()))
                    chunks.mark = chunk;
                break;
            case fourcc("FVER"):
                if (size + kHeader >= 12) chunks.fver = chunk;
                break;
            default:
                break;
        }
        pos = next;
    }
    return chunks;
}

// Marker id to position.
std::map<uint16_t, uint32_t> readMarkers(ByteReader mark) {
    std::map<uint16_t, uint32_t> markers;
    mark.seek(kHeader);
    uint16_t count = mark.u16be();
    for (uint16_t i = 0; i < count; ++i) {
        uint16_t id = mark.u16be();
        uint32_t position = mark.u32be();
        uint8_t length = mark.u8();
        // The text and its length byte are padded to an even count.
        mark.skip(length + ((length & 1) ? 0u : 1u));
        markers[id] = position;
    }
    return markers;
}

void readLoops(ByteReader inst, ByteReader mark, Wave& wave) {
    auto markers = readMarkers(mark);
    for (std::size_t at : {std::size_t(16), std::size_t(22)}) {
        ByteReader rec = inst.view(at, 6);
        uint16_t playMode = rec.u16be();
        uint16_t begin = rec.u16be();
        uint16_t end = rec.u16be();
        Loop loop;
        loop.mode = playMode == 1 ? LoopMode::Forward : playMode == 2 ? LoopMode::Bidirectional : LoopMode::None;
        auto b = markers.find(begin);
        loop.start = b != markers.end() ? b->second : 0;
        auto e = markers.find(end);
        loop.end = e != markers.end() ? e->second + 1 : 1;
        wave.loops.push_back(loop);
        wave.loops.back().setName(ZnLib::Text::format("%u", unsigned(wave.loops.size())));
    }
}

// Delta word variable width: each channel is one bit stream of deltas whose widths change by
// small steps, most significant bit first.
class DwvwDecoder {
public:
    DwvwDecoder(const uint8_t* data, std::size_t size, unsigned wordBits) : data_(data), size_(size), w_(int(wordBits)) {}

    void decodeChannel(float* out, uint32_t frames) {
        const int64_t span = int64_t(1) << (w_ - 1);
        const int64_t full = int64_t(1) << w_;
        int previousWidth = 0;
        int64_t value = 0;
        for (uint32_t i = 0; i < frames; ++i) {
            int zeros = 0;
            while (zeros < w_ / 2 && bit() == 0) ++zeros;
            if (zeros != 0) previousWidth += bit() ? -zeros : zeros;
            previousWidth = (previousWidth + w_) % w_;
            if (previousWidth != 0) {
                int64_t delta = int64_t(bits(previousWidth - 1)) | (int64_t(1) << (previousWidth - 1));
                bool negative = bit() != 0;
                // Encoders write the extra bit after a delta of the largest magnitude, of either sign.
                if (delta == span - 1) delta += bit();
                value += negative ? -delta : delta;
            }
            if (value >= span)
                value -= full;
            else if (value < -span)
                value += full;
            out[i] = float(double(value) / double(span));
        }
        // The next channel starts on an even byte.
        std::size_t byte = (bitPos_ + 7) / 8;
        bitPos_ = (byte + (byte & 1)) * 8;
    }

private:
    unsigned bit() {
        std::size_t byte = bitPos_ / 8;
        if (byte >= size_) throw ZnLib::OutOfBounds();
        unsigned b = (data_[byte] >> (7 - bitPos_ % 8)) & 1u;
        ++bitPos_;
        return b;
    }
    uint64_t bits(int n) {
        uint64_t v = 0;
        for (int i = 0; i < n; ++i) v = (v << 1) | bit();
        return v;
    }
    const uint8_t* data_;
    std::size_t size_;
    int w_;
    std::size_t bitPos_ = 0;
};

}  // namespace

double AiffReader::extendedToDouble(const uint8_t* p) noexcept {
    int exponent = ((p[0] & 0x7F) << 8) | p[1];
    uint64_t mantissa = 0;
    for (int i = 2; i < 10; ++i) mantissa = (mantissa << 8) | p[i];
    if (exponent == 0 && mantissa == 0) return 0;
    if (exponent == 0x7FFF) return HUGE_VAL;
    double v = std::ldexp(double(mantissa), exponent - 16383 - 63);
    return (p[0] & 0x80) ? -v : v;
}

void AiffReader::read(ByteReader file, Wave& wave) {
    const bool aifc = file.view(8, 4).fourcc() == fourcc("AIFC");
    Chunks chunks = walk(file, aifc);
    if (aifc && chunks.fver) {
        uint32_t version = chunks.fver->view(kHeader, 4).u32be();
        if (version != kAifcVersion1)
            throw std::runtime_error(ZnLib::Text::format("Invalid AIFC format version %u", unsigned(version)));
    }
    if (!chunks.comm || !chunks.ssnd) throw std::runtime_error("No sound data");

    ByteReader comm = *chunks.comm;
    comm.seek(kHeader);
    uint16_t channels = comm.u16be();
    uint32_t frames = comm.u32be();
    uint16_t sampleSize = comm.u16be();
    double rate = extendedToDouble(comm.bytes(10).data());
    uint32_t compression = aifc ? comm.u32be() : fourcc("NONE");

    enum class Coding { Pcm, Ulaw, Alaw, Float32, Float64, Dwvw } coding;
    switch (compression) {
        case fourcc("NONE"):
            coding = Coding::Pcm;
            break;
        case fourcc("ULAW"):
        case fourcc("ulaw"):
            coding = Coding::Ulaw;
            break;
        case fourcc("ALAW"):
        case fourcc("alaw"):
            coding = Coding::Alaw;
            break;
        case fourcc("FL32"):
        case fourcc("fl32"):
            coding = Coding::Float32;
            break;
        case fourcc("FL64"):
        case fourcc("fl64"):
            coding = Coding::Float64;
            break;
        case fourcc("DWVW"):
            coding = Coding::Dwvw;
            break;
        default: {
            char tag[5] = {char(compression >> 24), char(compression >> 16), char(compression >> 8), char(compression), 0};
            throw std::runtime_error(std::string("Unsupported compression ") + std::string(tag, 4));
        }
    }
    if (channels == 0 || channels > 255) malformed();

    if (chunks.inst) {
        ByteReader inst = chunks.inst->view(kHeader, 2);
        wave.root = inst.u8();
        wave.fine = inst.i8();
        if (chunks.mark) readLoops(*chunks.inst, *chunks.mark, wave);
    }

    ByteReader ssnd = *chunks.ssnd;
    const std::size_t ssndSize = ssnd.size() - kHeader;
    const uint64_t dataAt = uint64_t(chunks.ssndAt) + 16 + ssnd.view(kHeader, 4).u32be();
    const unsigned bytes = (sampleSize + 7u) / 8u;
    const unsigned shift = sampleSize & 7u;
    const double scale = std::ldexp(1.0, -(int(sampleSize) - 1));

    if (coding == Coding::Dwvw) {
        if (sampleSize < 2 || sampleSize > 32) malformed();
        // The stream runs to the end of "SSND", behind its offset and block size fields.
        std::size_t start = std::size_t(std::min<uint64_t>(dataAt, file.size()));
        std::size_t streamEnd = std::size_t(std::min<uint64_t>(dataAt + (ssndSize - 8), file.size()));
        // Every sample takes at least one bit: a count beyond that is a lie, found before allocating.
        if (uint64_t(frames) * channels > uint64_t(streamEnd - start) * 8) throw ZnLib::OutOfBounds();
        SampleBuffer buf(frames, uint8_t(channels));
        DwvwDecoder dwvw(file.data() + start, streamEnd - start, sampleSize);
        for (unsigned c = 0; c < channels; ++c) dwvw.decodeChannel(buf.channel(c), frames);
        wave.setSamples(std::move(buf));
    } else {
        unsigned stride = coding == Coding::Pcm       ? std::max(bytes, 1u)
                          : coding == Coding::Float32 ? 4
                          : coding == Coding::Float64 ? 8
                                                      : 1;
        if (dataAt > file.size()) throw ZnLib::OutOfBounds();
        const uint8_t* in = file.view(std::size_t(dataAt), std::size_t(uint64_t(frames) * channels * stride)).data();
        SampleBuffer buf(frames, uint8_t(channels));
        for (uint32_t f = 0; f < frames; ++f) {
            for (unsigned c = 0; c < channels; ++c, in += stride) {
                float& out = buf.channel(c)[f];
                switch (coding) {
                    case Coding::Pcm: {
                        int32_t v;
                        if (bytes == 2)
                            v = int16_t(uint16_t(in[0] << 8 | in[1]));
                        else if (bytes == 3)
                            v = int32_t(uint32_t(in[0]) << 24 | uint32_t(in[1]) << 16 | uint32_t(in[2]) << 8) >> 8;
                        else if (bytes == 4)
                            v = int32_t(uint32_t(in[0]) << 24 | uint32_t(in[1]) << 16 | uint32_t(in[2]) << 8 | in[3]);
                        else
                            v = int8_t(in[0]);
                        out = float(double(v >> shift) * scale);
                        break;
                    }
                    case Coding::Ulaw:
                        out = float(RiffReader::ulawToLinear(in[0])) * kScale16;
                        break;
                    case Coding::Alaw:
                        out = float(RiffReader::alawToLinear(in[0])) * kScale16;
                        break;
                    case Coding::Float32: {
                        uint32_t u = uint32_t(in[0]) << 24 | uint32_t(in[1]) << 16 | uint32_t(in[2]) << 8 | in[3];
                        std::memcpy(&out, &u, 4);
                        break;
                    }
                    default: {
                        uint64_t u = 0;
                        for (int i = 0; i < 8; ++i) u = (u << 8) | in[i];
                        double d;
                        std::memcpy(&d, &u, 8);
                        out = float(d);
                        break;
                    }
                }
            }
        }
        wave.setSamples(std::move(buf));
    }

    // Truncated to an integer; out-of-range rates become the nearest representable one.
    wave.sampleRate = !(rate > 0) ? 0u : rate >= 4294967295.0 ? 0xFFFFFFFFu : uint32_t(rate);
    if (sampleSize < 9) {
        wave.bits = 8;
        wave.sampleType = 1;
    } else if (sampleSize < 17) {
        wave.bits = 16;
        wave.sampleType = 2;
    } else if (sampleSize < 25) {
        wave.bits = 24;
        wave.sampleType = 2;
    } else {
        wave.bits = 32;
        wave.sampleType = 3;
    }
    wave.format = kFormatAiff;
    wave.start = 0;
    wave.end = frames;
}

}  // namespace ZnPlug
