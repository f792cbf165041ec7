#include "plug/Peaks.h"

#include <endian.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>

#include "lib/File.h"
#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "plug/Wave.h"

namespace ZnPlug {

namespace {

constexpr uint32_t kMagic = ZnLib::fourcc("RPKN");
constexpr uint32_t kLastTime = 0x7FFFD27F;
constexpr const char* kExtension = ".reapeaks";
constexpr uint32_t kEntriesPerSecond[Peaks::kLevels] = {400, 10, 1};

const PeaksContext* gCurrent = nullptr;

// The sample times 32768, truncated, kept in 16 bits (so full scale wraps, as the files have it).
int16_t peakValue(float sample) noexcept {
    double v = double(sample) * 32768.0;
    if (!(v == v)) return 0;
    v = std::clamp(v, -2147483648.0, 2147483647.0);
    return int16_t(uint16_t(uint32_t(int32_t(v))));
}

std::size_t dataBytes(const Peaks::Identity& id) {
    std::size_t bytes = Peaks::kHeaderBytes;
    for (unsigned l = 0; l < Peaks::kLevels; ++l)
        bytes += std::size_t(Peaks::levelFor(l, id.sampleRate, id.frames).entries) * id.channels * 4;
    return bytes;
}

}  // namespace

std::string PeaksContext::besideWave(const std::string& wavePath) { return wavePath + kExtension; }

std::string PeaksContext::inFolder(const std::string& folder, const std::string& wavePath) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(wavePath.data(), wavePath.size(), digest, &length, EVP_sha1(), nullptr);
    static const char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned i = 0; i < length; ++i) {
        hex += kHex[digest[i] >> 4];
        hex += kHex[digest[i] & 15];
    }
    return ZnLib::FS::join(ZnLib::FS::join(folder, hex.substr(0, 2)), hex.substr(2) + kExtension);
}

const PeaksContext* PeaksContext::current() noexcept { return gCurrent; }

void PeaksContext::setCurrent(const PeaksContext* context) noexcept { gCurrent = context; }

Peaks::Level Peaks::levelFor(unsigned l, uint32_t sampleRate, uint32_t frames) noexcept {
    // A rate below 400 would make the first step 0: one frame per entry is the finest there is.
    const uint32_t step = std::max<uint32_t>(1, sampleRate / kEntriesPerSecond[l]);
    return {step, frames / step + 1};
}

uint32_t Peaks::timeField(uint64_t nanoseconds) noexcept {
    const uint64_t seconds = nanoseconds / 1000000000u;
    return seconds > kLastTime ? 0xFFFFFFFFu : uint32_t(seconds);
}

uint32_t Peaks::field(std::size_t offset) const noexcept {
    uint32_t v;
    std::memcpy(&v, bytes_.data() + offset, 4);
    return le32toh(v);
}

void Peaks::setField(std::size_t offset, uint32_t v) noexcept {
    v = htole32(v);
    std::memcpy(bytes_.data() + offset, &v, 4);
}

std::size_t Peaks::levelOffset(unsigned l) const noexcept {
    std::size_t offset = kHeaderBytes;
    for (unsigned k = 0; k < l; ++k) offset += std::size_t(level(k).entries) * channels() * 4;
    return offset;
}

Peaks::Entry Peaks::entry(unsigned l, uint32_t i, unsigned channel) const noexcept {
    const uint8_t* p = bytes_.data() + levelOffset(l) + (std::size_t(i) * channels() + channel) * 4;
    return {int16_t(uint16_t(p[0] | p[1] << 8)), int16_t(uint16_t(p[2] | p[3] << 8))};
}

ZnLib::SharedRef<Peaks> Peaks::build(const Wave& wave) {
    Identity id;
    id.channels = uint8_t(std::min<unsigned>(wave.channels(), 2));
    id.sampleRate = wave.sampleRate;
    id.frames = wave.frames();
    auto peaks = ZnLib::makeRef<Peaks>();
    std::vector<uint8_t>& b = peaks->bytes_;
    b.assign(dataBytes(id), 0);
    std::memcpy(b.data(), "RPKN", 4);
    b[4] = id.channels;
    b[5] = kLevels;
    peaks->setField(6, id.sampleRate);
    for (unsigned l = 0; l < kLevels; ++l) {
        const Level level = levelFor(l, id.sampleRate, id.frames);
        peaks->setField(18 + 8 * l, level.framesPerEntry);
        peaks->setField(22 + 8 * l, level.entries);
    }
    for (unsigned l = 0; l < kLevels; ++l) {
        const Level level = peaks->level(l);
        uint8_t* data = b.data() + peaks->levelOffset(l);
        for (unsigned c = 0; c < id.channels; ++c) {
            const float* x = wave.channelData(c);
            for (uint32_t i = 0; i < level.entries; ++i) {
                // Both start at 0, so every entry includes the zero line.
                int16_t hi = 0, lo = 0;
                const uint64_t from = uint64_t(i) * level.framesPerEntry;
                const uint64_t to = std::min<uint64_t>(from + level.framesPerEntry, id.frames);
                for (uint64_t f = from; f < to; ++f) {
                    const int16_t v = peakValue(x[f]);
                    hi = std::max(hi, v);
                    lo = std::min(lo, v);
                }
                uint8_t* e = data + (std::size_t(i) * id.channels + c) * 4;
                e[0] = uint8_t(hi);
                e[1] = uint8_t(uint16_t(hi) >> 8);
                e[2] = uint8_t(lo);
                e[3] = uint8_t(uint16_t(lo) >> 8);
            }
        }
    }
    return peaks;
}

Peaks::Identity Peaks::identityOf(const Wave& wave) {
    Identity id;
    id.channels = wave.channels();
    id.sampleRate = wave.sampleRate;
    id.frames = wave.frames();
    uint64_t time = 0, size = 0;
    if (ZnLib::FS::File::stat(wave.file().path(), time, size)) {
        id.fileTime = timeField(time);
        id.fileSize = size;
    }
    return id;
}

ZnLib::SharedRef<Peaks> Peaks::parse(ZnLib::ByteReader file, const Identity& expect) {
    try {
        if (file.fourcc() != kMagic) return {};
        const uint8_t channels = file.u8();
        const uint8_t levels = file.u8();
        // The fields that tell whether the cache still describes the wave file.
        if (levels == 0 || file.u32le() != expect.sampleRate || file.u32le() != expect.fileTime ||
            (expect.fileSize >> 32) != 0 || file.u32le() != uint32_t(expect.fileSize) || channels != expect.channels)
            return {};
        // And those that make its data safe to read: exactly the shape the wave's overview has.
        if (levels != kLevels) return {};
        for (unsigned l = 0; l < kLevels; ++l) {
            const Level want = levelFor(l, expect.sampleRate, expect.frames);
            if (file.u32le() != want.framesPerEntry || file.u32le() != want.entries) return {};
        }
        if (file.size() != dataBytes(expect)) return {};
        auto peaks = ZnLib::makeRef<Peaks>();
        auto all = file.view(0, file.size()).bytes(file.size());
        peaks->bytes_.assign(all.begin(), all.end());
        return peaks;
    } catch (const ZnLib::OutOfBounds&) {
        return {};
    }
}

ZnLib::SharedRef<Peaks> Peaks::load(const Wave& wave, const PeaksContext* context) {
    const std::string& path = wave.file().path();
    if (path.empty() || (wave.flags & (kWaveCropped | kWaveNormalized))) return {};
    const std::string name = context ? context->peakFile(path, false) : PeaksContext::besideWave(path);
    const Identity expect = identityOf(wave);
    uint64_t time = 0, size = 0;
    // Only a file of the right length is mapped: a stranger under the name is never read whole.
    if (!ZnLib::FS::File::stat(name, time, size) || size != dataBytes(expect)) return {};
    try {
        ZnLib::MappedFile mapped(name);
        return parse(mapped.reader(), expect);
    } catch (const std::exception&) {
        return {};
    }
}

std::string Peaks::store(const Wave& wave, const PeaksContext* context) {
    const std::string& path = wave.file().path();
    if (path.empty() || wave.isModified()) return {};
    const Identity id = identityOf(wave);
    setField(10, id.fileTime);
    setField(14, uint32_t(id.fileSize));
    const std::string name = context ? context->peakFile(path, true) : PeaksContext::besideWave(path);
    std::error_code ec;
    const std::string folder = ZnLib::FS::directory(name);
    if (!folder.empty()) std::filesystem::create_directories(folder, ec);
    ZnLib::FS::replaceFile(name, bytes_);
    return name;
}

ZnLib::SharedRef<Peaks> Peaks::of(Wave& wave, const PeaksContext* context) {
    if (wave.peaks || wave.frames() < kMinFrames) return wave.peaks;
    ZnLib::SharedRef<Peaks> peaks = load(wave, context);
    if (!peaks) {
        peaks = build(wave);
        // Cropped or normalized samples are not the file's: they get no cache.
        if (!(wave.flags & (kWaveCropped | kWaveNormalized))) {
            try {
                peaks->store(wave, context);
            } catch (const std::exception&) {
                // A cache that can't be written is only built again next time.
            }
        }
    }
    wave.peaks = peaks;
    return peaks;
}

}  // namespace ZnPlug
