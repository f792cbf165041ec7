#include "plug/WaveWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "plug/RiffFileSink.h"
#include "plug/Wave.h"

namespace ZnPlug {

using ZnLib::fourcc;

namespace {

constexpr uint16_t kTagPcm = 1;
constexpr uint16_t kTagFloat = 3;
constexpr uint16_t kTagExtensible = 0xFFFE;
// KSDATAFORMAT_SUBTYPE_PCM: 00000001-0000-0010-8000-00aa00389b71, as it stands in the file.
constexpr uint8_t kSubtypePcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                     0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr uint32_t kOurManufacturer = fourcc("Znl ");
constexpr uint32_t kOurProduct = fourcc("Mrvk");
constexpr uint32_t kLoopTypeBase = 32;  // loop types beyond the three standard ones: mode + 32
constexpr uint32_t kFirstLoopCueId = 2;  // 0 and 1 are the play range's cue points
constexpr uint32_t kSmplHeaderBytes = 36;
constexpr uint32_t kSmplLoopBytes = 24;
constexpr uint32_t kCueBytes = 4 + 2 * 24;
constexpr uint32_t kAcidBytes = 24;
constexpr uint32_t kInstBytes = 7;
const char kStartLabel[] = "mv:start";
const char kEndLabel[] = "mv:end";

enum class Coding { None, Unsigned8, Signed16, SignedN, Float };

struct Layout {
    Coding coding;
    unsigned sampleBytes;
};

Layout layoutOf(const Wave& w) {
    if (w.sampleType == 3) return {Coding::Float, 4};
    if (w.sampleType == 1 && w.bits == 8) return {Coding::Unsigned8, 1};
    if (w.sampleType == 2 && w.bits == 16) return {Coding::Signed16, 2};
    if (w.sampleType == 2 && w.bits >= 8) return {Coding::SignedN, w.bits / 8u};
    return {Coding::None, 0};
}

// The integer part of v + 0.5 above zero, of v - 0.5 otherwise. Far beyond full scale only the
// direction matters: the value is held within 2^62 first, and NaN counts as 0.
int64_t roundHalfAway(double v) {
    constexpr double kLimit = 4611686018427387904.0;  // 2^62
    if (!(v == v)) return 0;
    v = std::clamp(v, -kLimit, kLimit);
    return int64_t(v > 0 ? v + 0.5 : v - 0.5);
}

int64_t clampedRound(double v, int64_t lo, int64_t hi) { return std::clamp(roundHalfAway(v), lo, hi); }

// A new file beside `path`, made exclusively with the usual permissions: ".<name>.<pid>.<n>".
int createBeside(const std::string& path, std::string& tempPath) {
    static std::atomic<unsigned> counter{0};
    const std::string stem = ZnLib::FS::directory(path) + "." + ZnLib::FS::fileName(path);
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string candidate = stem + ZnLib::Text::format(".%d.%u", int(::getpid()), counter++);
        int fd = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            tempPath = candidate;
            return fd;
        }
        if (errno != EEXIST) break;
    }
    throw std::runtime_error("Could not write to file");
}

void pad(RiffSink& sink, uint64_t size) {
    if (size & 1) sink.u8(0);
}

uint64_t padded(uint64_t size) { return size + (size & 1); }

void writeSamples(const Wave& w, const Layout& layout, RiffSink& sink) {
    const uint32_t frames = w.frames();
    const unsigned channels = w.channels();
    // Depths past 62 bits only widen the bytes written: the value saturates at 2^61.
    const int valueBits = std::clamp<int>(w.bits, 1, 62);
    const int64_t maxN = (int64_t(1) << (valueBits - 1)) - 1;
    std::vector<uint8_t> block;
    block.reserve(2048);
    for (uint32_t f = 0; f < frames; ++f) {
        for (unsigned c = 0; c < channels; ++c) {
            const float x = w.channelData(c)[f];
            switch (layout.coding) {
                case Coding::Unsigned8:
                    // Not clamped: values beyond full scale wrap around.
                    block.push_back(uint8_t(roundHalfAway(double(x) * 127.0) + 128));
                    break;
                case Coding::Signed16: {
                    int64_t v = clampedRound(double(x) * 32767.0, -32768, 32767);
                    block.push_back(uint8_t(v));
                    block.push_back(uint8_t(v >> 8));
                    break;
                }
                case Coding::SignedN: {
                    int64_t v = clampedRound(double(x) * double(maxN), -maxN - 1, maxN);
                    for (unsigned i = 0; i < layout.sampleBytes; ++i) block.push_back(uint8_t(v >> std::min(8u * i, 63u)));
                    break;
                }
                case Coding::Float: {
                    uint8_t b[4];
                    std::memcpy(b, &x, 4);
                    block.insert(block.end(), b, b + 4);
                    break;
                }
                case Coding::None:
                    return;
            }
            if (block.size() >= 2048) {
                sink.write(block.data(), block.size());
                block.clear();
            }
        }
    }
    if (!block.empty()) sink.write(block.data(), block.size());
}

bool writesRange(const Wave& w) { return w.start != 0 || w.end != w.frames() || !w.loops.empty(); }

uint32_t labelBytes(std::size_t textBytes) { return uint32_t(padded(8 + 4 + textBytes)); }

void writeLabel(RiffSink& sink, uint32_t id, const char* text, std::size_t textBytes) {
    sink.fourcc(fourcc("labl"));
    sink.u32le(uint32_t(4 + textBytes));
    sink.u32le(id);
    sink.write(text, textBytes);
    pad(sink, 4 + textBytes);
}

uint32_t smplLoopType(LoopMode mode) {
    switch (mode) {
        case LoopMode::Forward:
            return 0;
        case LoopMode::Backward:
            return 2;
        case LoopMode::Bidirectional:
            return 1;
        default:
            return uint32_t(mode) + kLoopTypeBase;
    }
}

// Whole seconds of the play range, times 60 / tempo: a wave shorter than a second gets 0.
uint32_t acidBeats(const Wave& w) {
    uint32_t seconds = w.sampleRate ? (w.end - w.start) / w.sampleRate : 0;
    double beats = double(seconds) * 60.0 / double(w.tempo);
    if (!(beats > 0)) return 0;
    return beats >= 4294967295.0 ? 0xFFFFFFFFu : uint32_t(beats);
}

}  // namespace

void WaveWriter::writeRiff(const Wave& w, RiffSink& sink) {
    if (w.sampleType == 0 || w.sampleType > 3) throw std::runtime_error("Bad format");
    const Layout layout = layoutOf(w);
    const uint16_t tag = w.sampleType == 3 ? kTagFloat : (w.bits == 8 || w.bits == 16) ? kTagPcm : kTagExtensible;
    const uint32_t fmtBytes = tag == kTagPcm ? 16 : tag == kTagFloat ? 18 : 40;
    const uint64_t dataBytes = uint64_t(w.frames()) * w.channels() * layout.sampleBytes;
    const uint32_t loopCount = uint32_t(w.loops.size());
    const uint32_t smplBytes = kSmplHeaderBytes + kSmplLoopBytes * loopCount;
    const bool range = writesRange(w);
    const uint32_t listBytes =
        4 + labelBytes(sizeof kStartLabel) + labelBytes(sizeof kEndLabel) + loopCount * labelBytes(10);

    uint64_t riffBytes = 4 + 8 + fmtBytes + 8 + padded(dataBytes) + 8 + padded(kInstBytes) + 8 + smplBytes;
    if (range) riffBytes += 8 + kCueBytes + 8 + listBytes;
    if (w.tempo != 0) riffBytes += 8 + kAcidBytes;

    sink.fourcc(fourcc("RIFF"));
    sink.u32le(uint32_t(riffBytes));
    sink.fourcc(fourcc("WAVE"));

    const uint32_t bits = w.bits, channels = w.channels();
    sink.fourcc(fourcc("fmt "));
    sink.u32le(fmtBytes);
    sink.u16le(tag);
    sink.u16le(uint16_t(channels));
    sink.u32le(w.sampleRate);
    sink.u32le((bits * channels * w.sampleRate) >> 3);
    sink.u16le(uint16_t((bits * channels) >> 3));
    sink.u16le(uint16_t(bits));
    if (tag == kTagFloat) sink.u16le(0);
    if (tag == kTagExtensible) {
        sink.u16le(22);
        sink.u16le(uint16_t(bits));
        sink.u32le(0);
        sink.write(kSubtypePcm, sizeof kSubtypePcm);
    }

    sink.fourcc(fourcc("data"));
    sink.u32le(uint32_t(dataBytes));
    writeSamples(w, layout, sink);
    pad(sink, dataBytes);

    sink.fourcc(fourcc("inst"));
    sink.u32le(kInstBytes);
    const uint8_t inst[kInstBytes] = {w.root, uint8_t(w.fine), 0, 0, 0, 0, 0};
    sink.write(inst, sizeof inst);
    pad(sink, kInstBytes);

    sink.fourcc(fourcc("smpl"));
    sink.u32le(smplBytes);
    sink.fourcc(kOurManufacturer);
    sink.fourcc(kOurProduct);
    sink.u32le(w.sampleRate ? 1000000000u / w.sampleRate : 0);
    sink.u32le(uint32_t(int32_t(int8_t(w.root))));
    // Plain cents, not the fraction of a semitone that readers expect: a reader finds 0 here.
    sink.u32le(uint32_t(int32_t(w.fine)));
    sink.u32le(0);
    sink.u32le(0);
    sink.u32le(loopCount);
    sink.u32le(0);
    for (uint32_t i = 0; i < loopCount; ++i) {
        const Loop& l = w.loops[i];
        sink.u32le(i + kFirstLoopCueId);
        sink.u32le(smplLoopType(l.mode));
        sink.u32le(l.start);
        sink.u32le(std::max(l.start, l.end - 1));
        sink.u32le(0);
        sink.u32le(0);
    }

    if (range) {
        sink.fourcc(fourcc("cue "));
        sink.u32le(kCueBytes);
        sink.u32le(2);
        const uint32_t points[2] = {w.start, w.end};
        for (uint32_t id = 0; id < 2; ++id) {
            sink.u32le(id);
            for (int i = 0; i < 4; ++i) sink.u32le(0);
            sink.u32le(points[id]);
        }
        sink.fourcc(fourcc("list"));
        sink.u32le(listBytes);
        sink.fourcc(fourcc("adtl"));
        writeLabel(sink, 0, kStartLabel, sizeof kStartLabel);
        writeLabel(sink, 1, kEndLabel, sizeof kEndLabel);
        // All ten bytes of the name, whatever follows its zero.
        for (uint32_t i = 0; i < loopCount; ++i) writeLabel(sink, i + kFirstLoopCueId, w.loops[i].name.data(), 10);
    }

    if (w.tempo != 0) {
        sink.fourcc(fourcc("acid"));
        sink.u32le(kAcidBytes);
        sink.u32le(6);
        sink.u16le(uint16_t(int16_t(int8_t(w.root))));
        sink.u16le(0x8000);
        sink.u32le(0);
        sink.u32le(acidBeats(w));
        sink.u16le(4);
        sink.u16le(4);
        sink.f32le(w.tempo);
    }
}

void WaveWriter::saveAs(Wave& w, const std::string& path) {
    std::string tempPath;
    try {
        if (w.sampleType == 0 || w.sampleType > 3) throw std::runtime_error("Bad format");
        int fd = createBeside(path, tempPath);
        RiffFileSink sink(fd);
        writeRiff(w, sink);
        sink.close();
        if (::rename(tempPath.c_str(), path.c_str()) != 0) throw std::runtime_error("Could not write to file");
        tempPath.clear();
    } catch (...) {
        if (!tempPath.empty()) ::unlink(tempPath.c_str());
        ZnLib::throwWrapped("Could not save " + w.name() + " as " + path);
    }
    w.setFile(ZnLib::FS::File(path));
    w.format = kFormatWave;
    w.container.reset();
    w.headTrim = 0;
    w.tailTrim = 0;
    // What a reader of the new file finds: a tempo in the file is a known one.
    w.flags = w.tempo != 0 ? kWaveTempoKnown : 0;
    w.takeFileInfo();
}

}  // namespace ZnPlug
