#include "plug/RiffReader.h"

#include <cmath>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "lib/Text.h"
#include "plug/Wave.h"

namespace ZnPlug {

using ZnLib::ByteReader;
using ZnLib::fourcc;

namespace {

// The manufacturer and product tags of this program's own "smpl" chunk, as they stand in the file.
constexpr uint32_t kOurManufacturer = fourcc("Znl ");
constexpr uint32_t kOurProduct = fourcc("Mrvk");
// Loop types of our own "smpl" chunks: mode + 32.
constexpr uint32_t kOurLoopTypeBase = 32;

constexpr uint16_t kTagPcm = 1;
constexpr uint16_t kTagFloat = 3;
constexpr uint16_t kTagAlaw = 6;
constexpr uint16_t kTagMulaw = 7;
constexpr uint16_t kTagExtensible = 0xFFFE;

// 1 / 32768, as the 16-bit and law decoders scale.
constexpr float kScale16 = 3.0517578e-5f;
// 1 / 128 for unsigned 8-bit samples around 128.
constexpr float kScale8 = 0.0078125f;

struct Chunks {
    std::optional<ByteReader> fmt, data, cue, acid, smpl;
    std::optional<uint32_t> factFrames;
    bool smplIsOurs = false;
    bool rootSeen = false;  // an "inst" or "smpl" chunk set the root
    std::map<uint32_t, std::string> labels;
};

bool isOurs(ByteReader smpl) { return smpl.u32be() == kOurManufacturer && smpl.u32be() == kOurProduct; }

void takeSmpl(ByteReader smpl, Wave& wave, Chunks& chunks) {
    chunks.smpl = smpl;
    chunks.smplIsOurs = isOurs(smpl);
    chunks.rootSeen = true;
    ByteReader r = smpl;
    r.seek(12);
    wave.root = uint8_t(r.u32le() & 0xFF);
    // The pitch fraction in units of 1 / (2^32 - 1) of a semitone, read as signed: a fraction of
    // one half or more comes out as a negative fine tune.
    double cents = double(r.i32le()) * 100.0 * (1.0 / 4294967295.0);
    wave.fine = int8_t(int(cents));
}

void readLabels(ByteReader list, Chunks& chunks) {
    list.skip(4);  // "adtl"
    while (list.remaining() >= 8) {
        uint32_t id = list.fourcc();
        uint32_t size = list.u32le();
        ByteReader sub = list.sub(size);
        if ((size & 1) && !list.atEnd()) list.skip(1);
        if (id == fourcc("labl") && size >= 8) {
            uint32_t cueId = sub.u32le();
            chunks.labels[cueId] = sub.text(sub.remaining());
        }
    }
}

Chunks walk(ByteReader r, Wave& wave) {
    Chunks chunks;
    bool smplTaken = false;
    while (r.remaining() >= 8) {
        uint32_t id = r.fourcc();
        uint32_t size = r.u32le();
        ByteReader data = r.sub(size);
        if ((size & 1) && !r.atEnd()) r.skip(1);
        switch (id) {
            case fourcc("fmt "):
                if (size >= 16) chunks.fmt = data;
                break;
            case fourcc("data"):
                chunks.data = data;
                break;
            case fourcc("fact"):
                if (size >= 4) chunks.factFrames = data.u32le();
                break;
            case fourcc("inst"):
                if (size >= 7) {
                    wave.root = data.u8();
                    wave.fine = data.i8();
                    chunks.rootSeen = true;
                }
                break;
            case fourcc("smpl"): {
                if (size < 36) break;
                int32_t loopCount = data.view(28, 4).i32le();
                if (loopCount > 0 && uint64_t(size) < 36 + 24 * uint64_t(loopCount)) break;
                // A later chunk counts only when it is our own: other tools append theirs.
                if (!smplTaken || isOurs(data)) takeSmpl(data, wave, chunks);
                smplTaken = true;
                break;
            }
            case fourcc("cue "):
                if (size >= 4) chunks.cue = data;
                break;
            case fourcc("acid"):
                if (size >= 24) chunks.acid = data;
                break;
            case fourcc("list"):
                if (size > 4 && data.view(0, 4).fourcc() == fourcc("adtl")) readLabels(data, chunks);
                break;
            default:
                break;
        }
    }
    return chunks;
}

[[noreturn]] void invalidFormatChunk() { throw std::runtime_error("Invalid format chunk"); }

// Little-endian signed integer of `width` bytes (3 or 4); other widths give their first byte.
int32_t readInt(const uint8_t* p, unsigned width) {
    switch (width) {
        case 3:
            return int32_t(uint32_t(p[0]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 24) >> 8;
        case 4:
            return int32_t(uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24);
        default:
            return int8_t(p[0]);
    }
}

void decode(const uint8_t* in, uint16_t tag, unsigned bytes, unsigned stride, unsigned validBits, SampleBuffer& buf) {
    const uint32_t frames = buf.frames();
    const unsigned channels = buf.channels();
    const unsigned shift = validBits & 7;
    const double scale = std::ldexp(1.0, -int(validBits - 1));
    for (uint32_t f = 0; f < frames; ++f) {
        for (unsigned c = 0; c < channels; ++c, in += stride) {
            float& out = buf.channel(c)[f];
            switch (tag) {
                case kTagPcm:
                    if (bytes == 1)
                        out = float(int(in[0]) - 128) * kScale8;
                    else if (bytes == 2)
                        out = float(int16_t(uint16_t(in[0] | in[1] << 8))) * kScale16;
                    else
                        out = float(double(readInt(in, bytes) >> shift) * scale);
                    break;
                case kTagFloat:
                    if (bytes == 4) {
                        std::memcpy(&out, in, 4);
                    } else {
                        double d;
                        std::memcpy(&d, in, 8);
                        out = float(d);
                    }
                    break;
                case kTagAlaw:
                    out = float(RiffReader::alawToLinear(in[0])) * kScale16;
                    break;
                default:
                    out = float(RiffReader::ulawToLinear(in[0])) * kScale16;
                    break;
            }
        }
    }
}

void readLoops(Wave& wave, const Chunks& chunks) {
    ByteReader smpl = *chunks.smpl;
    int32_t count = smpl.view(28, 4).i32le();
    for (int32_t i = 0; i < count; ++i) {
        ByteReader rec = smpl.view(36 + 24 * std::size_t(i), 24);
        uint32_t cueId = rec.u32le();
        uint32_t type = rec.u32le();
        Loop loop;
        loop.start = rec.u32le();
        loop.end = rec.u32le() + 1;
        if (type == 0)
            loop.mode = LoopMode::Forward;
        else if (type == 1)
            loop.mode = LoopMode::Bidirectional;
        else if (type == 2)
            loop.mode = LoopMode::Backward;
        else if (chunks.smplIsOurs && type >= kOurLoopTypeBase && type <= kOurLoopTypeBase + 5)
            loop.mode = LoopMode(type - kOurLoopTypeBase);
        else
            loop.mode = LoopMode::None;
        auto label = chunks.labels.find(cueId);
        loop.setName(label != chunks.labels.end() ? label->second : ZnLib::Text::format("%u", unsigned(i + 1)));
        wave.loops.push_back(loop);
    }
}

void readCuePoints(Wave& wave, const Chunks& chunks) {
    ByteReader cue = *chunks.cue;
    uint32_t count = cue.u32le();
    for (uint32_t i = 0; i < count; ++i) {
        ByteReader entry = cue.sub(24);
        uint32_t id = entry.u32le();
        entry.seek(20);
        uint32_t offset = entry.u32le();
        auto label = chunks.labels.find(id);
        if (label == chunks.labels.end()) continue;
        if (label->second == "mv:start")
            wave.start = offset;
        else if (label->second == "mv:end")
            wave.end = offset;
    }
}

void readAcid(Wave& wave, const Chunks& chunks) {
    ByteReader acid = *chunks.acid;
    uint32_t flags = acid.u32le();
    uint16_t rootNote = acid.u16le();
    acid.seek(20);
    wave.tempo = acid.f32le();
    wave.flags |= kWaveTempoKnown;
    constexpr uint32_t kRootNoteValid = 2;
    if ((flags & kRootNoteValid) && !chunks.rootSeen) wave.root = uint8_t(rootNote & 0xFF);
}

}  // namespace

void RiffReader::read(ByteReader file, Wave& wave) {
    const std::size_t chunksAt = 12;
    Chunks chunks = walk(file.view(chunksAt, file.size() - std::min(file.size(), chunksAt)), wave);
    if (!chunks.fmt || !chunks.data) throw std::runtime_error("Invalid wav");

    ByteReader fmt = *chunks.fmt;
    uint16_t tag = fmt.u16le();
    uint16_t channels = fmt.u16le();
    uint32_t rate = fmt.u32le();
    fmt.seek(14);
    uint16_t bitsPerSample = fmt.u16le();
    unsigned bytes = bitsPerSample / 8;  // a 12-bit file counts as one byte
    unsigned validBits = bytes * 8;
    const bool framesFromSize = tag == kTagPcm || !chunks.factFrames;
    if (tag == kTagExtensible) {
        ByteReader ext = chunks.fmt->view(0, 40);
        ext.seek(16);
        if (ext.u16le() == 0) invalidFormatChunk();
        uint16_t valid = ext.u16le();
        ext.seek(24);
        tag = ext.u16le();
        if (valid != 0) validBits = valid;
    }
    // A compressed format of under 8 bits a sample (ADPCM) is unsupported, not a broken chunk:
    // the format decides before the width guard, which only keeps the division below safe.
    if (tag != kTagPcm && tag != kTagFloat && tag != kTagAlaw && tag != kTagMulaw)
        throw std::runtime_error("Unsupported format");
    if (channels == 0 || channels > 255 || bytes == 0) invalidFormatChunk();

    uint64_t dataSize = chunks.data->size();
    uint32_t frames = framesFromSize ? uint32_t(dataSize / (uint64_t(bytes) * channels)) : *chunks.factFrames;
    unsigned stride = bytes;
    if (tag == kTagFloat) stride = bytes == 4 ? 4 : 8;

    // The samples may run on past the "data" chunk (a "fact" count says so), but never past the file.
    std::size_t dataAt = std::size_t(chunks.data->data() - file.data());
    ByteReader samples = file.view(dataAt, std::size_t(uint64_t(frames) * channels * stride));

    SampleBuffer buf(frames, uint8_t(channels));
    decode(samples.data(), tag, bytes, stride, validBits, buf);
    wave.setSamples(std::move(buf));
    wave.sampleRate = rate;

    if (validBits < 9) {
        wave.bits = 8;
        wave.sampleType = 1;
    } else if (validBits < 17) {
        wave.bits = 16;
        wave.sampleType = 2;
    } else if (validBits < 25) {
        wave.bits = 24;
        wave.sampleType = 2;
    } else {
        wave.bits = 32;
        wave.sampleType = 3;
    }
    wave.format = kFormatWave;
    wave.start = 0;
    wave.end = frames;

    if (chunks.smpl) readLoops(wave, chunks);
    if (chunks.cue) readCuePoints(wave, chunks);
    if (chunks.acid) readAcid(wave, chunks);
}

int16_t RiffReader::alawToLinear(uint8_t a) noexcept {
    a ^= 0x55;
    int t = (a & 0x0F) << 4;
    int segment = (a & 0x70) >> 4;
    if (segment == 0)
        t += 8;
    else
        t = (t + 0x108) << (segment - 1);
    return int16_t((a & 0x80) ? t : -t);
}

int16_t RiffReader::ulawToLinear(uint8_t u) noexcept {
    u = uint8_t(~u);
    int t = (((u & 0x0F) << 3) + 0x84) << ((u & 0x70) >> 4);
    return int16_t((u & 0x80) ? (0x84 - t) : (t - 0x84));
}

}  // namespace ZnPlug
