#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace ZnPlug {

// Where the wave writer puts its bytes: a file, or memory that a state chunk takes over.
// Numbers are written little-endian, tags as they read.
class RiffSink {
public:
    virtual ~RiffSink() = default;
    virtual void write(const void* data, std::size_t n) = 0;

    void u8(uint8_t v) { write(&v, 1); }
    void u16le(uint16_t v) {
        uint8_t b[2] = {uint8_t(v), uint8_t(v >> 8)};
        write(b, 2);
    }
    void u32le(uint32_t v) {
        uint8_t b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
        write(b, 4);
    }
    void f32le(float f) {
        uint32_t v;
        std::memcpy(&v, &f, 4);
        u32le(v);
    }
    // A four-character tag as it reads: fourcc(ZnLib::fourcc("RIFF")) writes "RIFF".
    void fourcc(uint32_t tag) {
        uint8_t b[4] = {uint8_t(tag >> 24), uint8_t(tag >> 16), uint8_t(tag >> 8), uint8_t(tag)};
        write(b, 4);
    }
};

// Collects the bytes in memory.
class RiffMemorySink : public RiffSink {
public:
    void write(const void* data, std::size_t n) override {
        const auto* p = static_cast<const uint8_t*>(data);
        bytes.insert(bytes.end(), p, p + n);
    }
    std::vector<uint8_t> bytes;
};

}  // namespace ZnPlug
