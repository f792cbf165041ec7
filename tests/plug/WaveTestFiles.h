#pragma once
// Builders of small wave files in memory, and a scratch folder, for the reader and writer tests.
#include <stdlib.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lib/ByteReader.h"
#include "lib/Error.h"
#include "lib/TempFile.h"
#include "plug/Wave.h"
#include "plug/WaveReader.h"

namespace WaveTestFiles {

struct Bytes {
    std::vector<uint8_t> v;

    Bytes& u8(unsigned x) {
        v.push_back(uint8_t(x));
        return *this;
    }
    Bytes& le16(unsigned x) { return u8(x).u8(x >> 8); }
    Bytes& le24(uint32_t x) { return u8(x).u8(x >> 8).u8(x >> 16); }
    Bytes& le32(uint32_t x) { return le16(x & 0xFFFF).le16(x >> 16); }
    Bytes& be16(unsigned x) { return u8(x >> 8).u8(x); }
    Bytes& be32(uint32_t x) { return be16(x >> 16).be16(x & 0xFFFF); }
    Bytes& f32le(float f) { return le32(std::bit_cast<uint32_t>(f)); }
    Bytes& f64le(double d) { return le32(uint32_t(std::bit_cast<uint64_t>(d))).le32(std::bit_cast<uint64_t>(d) >> 32); }
    Bytes& f32be(float f) { return be32(std::bit_cast<uint32_t>(f)); }
    Bytes& f64be(double d) { return be32(std::bit_cast<uint64_t>(d) >> 32).be32(uint32_t(std::bit_cast<uint64_t>(d))); }
    Bytes& text(const std::string& s) {
        v.insert(v.end(), s.begin(), s.end());
        return *this;
    }
    Bytes& zeros(std::size_t n) {
        v.insert(v.end(), n, 0);
        return *this;
    }
    Bytes& add(const Bytes& b) {
        v.insert(v.end(), b.v.begin(), b.v.end());
        return *this;
    }
    std::size_t size() const { return v.size(); }
    ZnLib::ByteReader reader() const { return ZnLib::ByteReader(v.data(), v.size()); }
};

// A chunk: id, size (big-endian in AIFF files), data, pad byte when odd.
inline Bytes chunk(const std::string& id, const Bytes& data, bool bigEndian) {
    Bytes b;
    b.text(id);
    bigEndian ? b.be32(uint32_t(data.size())) : b.le32(uint32_t(data.size()));
    b.add(data);
    if (data.size() & 1) b.u8(0);
    return b;
}
inline Bytes riffChunk(const std::string& id, const Bytes& data) { return chunk(id, data, false); }
inline Bytes aiffChunk(const std::string& id, const Bytes& data) { return chunk(id, data, true); }

// A whole file: the outer chunk holding the form type and `chunks`.
inline Bytes form(const std::string& outer, const std::string& type, const std::vector<Bytes>& chunks) {
    Bytes body;
    body.text(type);
    for (const Bytes& c : chunks) body.add(c);
    return chunk(outer, body, outer == "FORM");
}
inline Bytes riffFile(const std::vector<Bytes>& chunks) { return form("RIFF", "WAVE", chunks); }
inline Bytes aiffFile(const std::string& type, const std::vector<Bytes>& chunks) { return form("FORM", type, chunks); }

inline Bytes fmtChunk(unsigned tag, unsigned channels, uint32_t rate, unsigned bits, const Bytes& extension = {}) {
    Bytes d;
    d.le16(tag).le16(channels).le32(rate).le32(rate * channels * bits / 8).le16(channels * bits / 8).le16(bits);
    return riffChunk("fmt ", d.add(extension));
}

// WAVE_FORMAT_EXTENSIBLE with the sub-format's tag in the GUID's first two bytes.
inline Bytes extensibleFmt(unsigned channels, uint32_t rate, unsigned bits, unsigned validBits, unsigned subTag,
                           unsigned cbSize = 22) {
    return fmtChunk(0xFFFE, channels, rate, bits, Bytes().le16(cbSize).le16(validBits).le32(0).le16(subTag).zeros(14));
}

// 80-bit IEEE extended, big-endian, of a non-negative value.
inline Bytes extended80(double value) {
    Bytes b;
    if (value == 0) return b.zeros(10);
    int exp = 0;
    double m = std::frexp(value, &exp);  // value = m * 2^exp, 0.5 <= m < 1
    uint64_t mantissa = uint64_t(std::ldexp(m, 64));
    b.be16(unsigned(exp - 1 + 16383));
    b.be32(uint32_t(mantissa >> 32)).be32(uint32_t(mantissa));
    return b;
}

inline Bytes commChunk(unsigned channels, uint32_t frames, unsigned bits, double rate, const Bytes& aifc = {}) {
    return aiffChunk("COMM", Bytes().be16(channels).be32(frames).be16(bits).add(extended80(rate)).add(aifc));
}

inline Bytes aifcComm(unsigned channels, uint32_t frames, unsigned bits, double rate, const std::string& compression,
                      const std::string& name) {
    Bytes d;
    d.text(compression).u8(unsigned(name.size())).text(name);
    if ((name.size() + 1) & 1) d.u8(0);
    return commChunk(channels, frames, bits, rate, d);
}

inline Bytes ssndChunk(const Bytes& samples) { return aiffChunk("SSND", Bytes().be32(0).be32(0).add(samples)); }

inline Bytes fverChunk(uint32_t version = 0xA2805140) { return aiffChunk("FVER", Bytes().be32(version)); }

// A folder of its own under the temporary folder, removed with everything in it.
class ScratchDir {
public:
    ScratchDir() {
        std::string pattern = ZnLib::TempFile::folder() + "/wavetest-XXXXXX";
        path_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~ScratchDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

inline void writeFile(const std::string& path, const Bytes& b) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(b.v.data()), std::streamsize(b.size()));
}

// Reads bytes as a file's content would be, with the root normalised as after a load.
inline ZnPlug::Wave decode(const Bytes& b) {
    ZnPlug::Wave w;
    ZnPlug::WaveReader::read(b.reader(), w);
    w.normalizeRoot();
    return w;
}

// The text of the failure of decoding `b`, or "" when it succeeds.
inline std::string decodeError(const Bytes& b) {
    try {
        decode(b);
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "";
}

// What a reader made of a file besides samples and loops: "rate Hz channels x frames end N bits/type".
inline std::string shape(const ZnPlug::Wave& w) {
    return std::to_string(w.sampleRate) + " Hz " + std::to_string(w.channels()) + " x " + std::to_string(w.frames()) +
           " end " + std::to_string(w.end) + " " + std::to_string(w.bits) + "/" + std::to_string(w.sampleType);
}

// Every sample of `w`, frame after frame.
inline std::vector<float> allSamples(const ZnPlug::Wave& w) {
    std::vector<float> out;
    for (uint32_t f = 0; f < w.frames(); ++f)
        for (unsigned c = 0; c < w.channels(); ++c) out.push_back(w.channelData(c)[f]);
    return out;
}

// The data of the first chunk with `id` in a RIFF image, or nothing.
inline std::optional<Bytes> findRiffChunk(const Bytes& file, const std::string& id) {
    std::size_t pos = 12;
    while (pos + 8 <= file.size()) {
        std::string cid(file.v.begin() + long(pos), file.v.begin() + long(pos) + 4);
        uint32_t size = uint32_t(file.v[pos + 4]) | uint32_t(file.v[pos + 5]) << 8 | uint32_t(file.v[pos + 6]) << 16 |
                        uint32_t(file.v[pos + 7]) << 24;
        if (cid == id) {
            Bytes d;
            d.v.assign(file.v.begin() + long(pos) + 8, file.v.begin() + long(pos + 8 + size));
            return d;
        }
        pos += 8 + size + (size & 1);
    }
    return std::nullopt;
}

// The text of what `f` throws.
inline std::string thrownText(const std::function<void()>& f) {
    try {
        f();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "<nothing thrown>";
}

inline bool haveTool(const char* name) {
    std::string cmd = std::string("command -v ") + name + " >/dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

}  // namespace WaveTestFiles
