#include "WavStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "lib/Error.h"

namespace Cli {

namespace {

// Round half away from zero, then clamp: the wave writer's conversion.
int32_t toInt(float x, double scale, int32_t lo, int32_t hi) {
    const double v = double(x) * scale;
    const double r = v < 0 ? -std::floor(-v + 0.5) : std::floor(v + 0.5);
    return int32_t(std::clamp(r, double(lo), double(hi)));
}

void le16(std::vector<uint8_t>& b, uint32_t v) {
    b.push_back(uint8_t(v));
    b.push_back(uint8_t(v >> 8));
}

void le32(std::vector<uint8_t>& b, uint32_t v) {
    le16(b, v & 0xFFFF);
    le16(b, v >> 16);
}

void tag(std::vector<uint8_t>& b, const char* t) { b.insert(b.end(), t, t + 4); }

// The 16-byte sub-format of integer samples in an extensible format chunk.
constexpr uint8_t kSubtypePcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                     0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

std::vector<uint8_t> header(uint32_t rate, WavStream::Format format, uint16_t channels, uint64_t dataBytes) {
    const uint16_t bytesPerSample = format == WavStream::Format::Pcm16 ? 2 : format == WavStream::Format::Pcm24 ? 3 : 4;
    const uint16_t tagValue = format == WavStream::Format::Pcm16 ? 1 : format == WavStream::Format::Float ? 3 : 0xFFFE;
    const uint32_t fmtBytes = tagValue == 1 ? 16 : tagValue == 3 ? 18 : 40;
    const auto data = uint32_t(std::min<uint64_t>(dataBytes, 0xFFFFFFFFu - 64));
    std::vector<uint8_t> b;
    tag(b, "RIFF");
    le32(b, 4 + 8 + fmtBytes + 8 + data + (data & 1));
    tag(b, "WAVE");
    tag(b, "fmt ");
    le32(b, fmtBytes);
    le16(b, tagValue);
    le16(b, channels);
    le32(b, rate);
    le32(b, rate * channels * bytesPerSample);
    le16(b, uint16_t(channels * bytesPerSample));
    le16(b, uint16_t(8 * bytesPerSample));
    if (tagValue == 3) le16(b, 0);
    if (tagValue == 0xFFFE) {
        le16(b, 22);
        le16(b, uint16_t(8 * bytesPerSample));
        le32(b, channels == 1 ? 0x4 : 0x3);  // front centre, or front left and right
        b.insert(b.end(), std::begin(kSubtypePcm), std::end(kSubtypePcm));
    }
    tag(b, "data");
    le32(b, data);
    return b;
}

}  // namespace

WavStream::WavStream(const std::string& path, uint32_t sampleRate, Format format, float gain, int channels,
                     int firstPin)
    : path_(path),
      temp_(path + ".XXXXXX"),
      sampleRate_(sampleRate),
      format_(format),
      gain_(gain),
      channels_(channels == 1 ? 1 : 2),
      firstPin_(firstPin) {
    fd_ = ::mkstemp(temp_.data());
    if (fd_ < 0) {
        temp_.clear();
        try {
            throw std::system_error(errno, std::generic_category());
        } catch (...) {
            ZnLib::throwWrapped("Could not save " + path_);
        }
    }
    const std::vector<uint8_t> head = header(sampleRate, format, uint16_t(channels_), 0);
    put(head.data(), head.size());
    dataBytes_ = 0;
}

WavStream::~WavStream() {
    if (fd_ >= 0) ::close(fd_);
    if (!temp_.empty()) ::unlink(temp_.c_str());
}

void WavStream::write(const float* const* pins, std::size_t frames) {
    uint8_t block[4096];
    std::size_t used = 0;
    const std::size_t frameBytes =
        std::size_t(channels_) * (format_ == Format::Pcm16 ? 2 : format_ == Format::Pcm24 ? 3 : 4);
    const float* source[2] = {pins[firstPin_], pins[firstPin_ + channels_ - 1]};
    for (std::size_t i = 0; i < frames; ++i) {
        for (int c = 0; c < channels_; ++c) {
            const float x = source[c][i] * gain_;
            if (format_ == Format::Pcm16) {
                const int32_t v = toInt(x, 32767.0, -32768, 32767);
                block[used++] = uint8_t(v);
                block[used++] = uint8_t(v >> 8);
            } else if (format_ == Format::Pcm24) {
                const int32_t v = toInt(x, 8388607.0, -8388608, 8388607);
                block[used++] = uint8_t(v);
                block[used++] = uint8_t(v >> 8);
                block[used++] = uint8_t(v >> 16);
            } else {
                std::memcpy(block + used, &x, 4);
                used += 4;
            }
        }
        if (used + frameBytes > sizeof block) {
            put(block, used);
            used = 0;
        }
    }
    put(block, used);
}

void WavStream::finish() {
    // Chunks are of even length; mono 24-bit data may need a pad byte, which its size leaves out.
    if (dataBytes_ & 1) {
        const uint8_t pad = 0;
        if (::write(fd_, &pad, 1) != 1) fail();
    }
    const std::vector<uint8_t> head = header(sampleRate_, format_, uint16_t(channels_), dataBytes_);
    if (::pwrite(fd_, head.data(), head.size(), 0) != ssize_t(head.size())) fail();
    ::fchmod(fd_, 0644);
    if (::close(fd_) != 0) {
        fd_ = -1;
        fail();
    }
    fd_ = -1;
    if (::rename(temp_.c_str(), path_.c_str()) != 0) fail();
    temp_.clear();
}

void WavStream::discard() noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    if (!temp_.empty()) ::unlink(temp_.c_str());
    temp_.clear();
}

void WavStream::put(const void* data, std::size_t bytes) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (bytes > 0) {
        const ssize_t n = ::write(fd_, p, bytes);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) fail();
        p += n;
        bytes -= std::size_t(n);
        dataBytes_ += uint64_t(n);
    }
}

void WavStream::fail() {
    const int cause = errno;
    try {
        throw std::system_error(cause, std::generic_category());
    } catch (...) {
        ZnLib::throwWrapped("Could not save " + path_);
    }
}

}  // namespace Cli
