#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

namespace ZnLib {

// Thrown by every read that would pass the end of the data.
class OutOfBounds : public std::out_of_range {
public:
    OutOfBounds() : std::out_of_range("Address out of bounds") {}
};

// A bounds-checked cursor over bytes that someone else owns (a mapped file, a chunk). Every
// reader of file formats goes through it, so a truncated or lying file ends in OutOfBounds and
// never in a read past the buffer.
class ByteReader {
public:
    ByteReader() = default;
    ByteReader(const void* data, std::size_t size) : data_(static_cast<const uint8_t*>(data)), size_(size) {}
    explicit ByteReader(std::span<const uint8_t> bytes) : ByteReader(bytes.data(), bytes.size()) {}

    std::size_t size() const noexcept { return size_; }
    std::size_t position() const noexcept { return pos_; }
    std::size_t remaining() const noexcept { return size_ - pos_; }
    bool atEnd() const noexcept { return pos_ >= size_; }
    const uint8_t* data() const noexcept { return data_; }

    void seek(std::size_t pos) {
        if (pos > size_) throw OutOfBounds();
        pos_ = pos;
    }
    void skip(std::size_t n) {
        require(n);
        pos_ += n;
    }
    // The next n bytes, consumed.
    std::span<const uint8_t> bytes(std::size_t n) {
        require(n);
        std::span<const uint8_t> s(data_ + pos_, n);
        pos_ += n;
        return s;
    }
    // The next n bytes as a reader of their own, consumed from this one.
    ByteReader sub(std::size_t n) {
        auto s = bytes(n);
        return ByteReader(s);
    }
    // A view of [offset, offset + n) of the whole data, position untouched.
    ByteReader view(std::size_t offset, std::size_t n) const {
        if (offset > size_ || n > size_ - offset) throw OutOfBounds();
        return ByteReader(data_ + offset, n);
    }
    void read(void* out, std::size_t n) {
        auto s = bytes(n);
        if (n) std::memcpy(out, s.data(), n);
    }

    uint8_t u8() { return bytes(1)[0]; }
    int8_t i8() { return static_cast<int8_t>(u8()); }
    uint16_t u16le() { return static_cast<uint16_t>(le(2)); }
    uint32_t u32le() { return static_cast<uint32_t>(le(4)); }
    uint64_t u64le() { return le(8); }
    int16_t i16le() { return static_cast<int16_t>(u16le()); }
    int32_t i32le() { return static_cast<int32_t>(u32le()); }
    uint16_t u16be() { return static_cast<uint16_t>(be(2)); }
    uint32_t u32be() { return static_cast<uint32_t>(be(4)); }
    uint64_t u64be() { return be(8); }
    int16_t i16be() { return static_cast<int16_t>(u16be()); }
    int32_t i32be() { return static_cast<int32_t>(u32be()); }
    float f32le() { return bitsTo<float>(u32le()); }
    double f64le() { return bitsTo<double>(u64le()); }
    float f32be() { return bitsTo<float>(u32be()); }
    double f64be() { return bitsTo<double>(u64be()); }
    // A four-character tag as it stands in the file ("RIFF"), read big-endian so that its
    // hexadecimal value spells the letters.
    uint32_t fourcc() { return u32be(); }
    // n bytes as text, cut at the first zero byte.
    std::string text(std::size_t n) {
        auto s = bytes(n);
        std::size_t len = 0;
        while (len < n && s[len] != 0) ++len;
        return std::string(reinterpret_cast<const char*>(s.data()), len);
    }

private:
    void require(std::size_t n) const {
        if (n > size_ - pos_) throw OutOfBounds();
    }
    uint64_t le(std::size_t n) {
        auto s = bytes(n);
        uint64_t v = 0;
        for (std::size_t i = n; i-- > 0;) v = (v << 8) | s[i];
        return v;
    }
    uint64_t be(std::size_t n) {
        auto s = bytes(n);
        uint64_t v = 0;
        for (std::size_t i = 0; i < n; ++i) v = (v << 8) | s[i];
        return v;
    }
    template <typename F, typename B>
    static F bitsTo(B bits) {
        F f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }

    const uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t pos_ = 0;
};

// Four-character code from a literal: fourcc("RIFF") == 0x52494646.
constexpr uint32_t fourcc(const char (&s)[5]) {
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) | (uint32_t(uint8_t(s[2])) << 8) |
           uint32_t(uint8_t(s[3]));
}

}  // namespace ZnLib
