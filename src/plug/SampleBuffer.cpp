#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "plug/Wave.h"

namespace ZnPlug {

namespace {
// Guards of the shared empty buffer: 64 in front, then the one channel's 64 behind.
alignas(16) float gEmptyGuards[2 * SampleBuffer::kGuard] = {};

float* emptyData() noexcept { return gEmptyGuards; }

float* allocateZeroed(uint32_t frames, uint8_t channels) {
    // The byte count is computed in 64 bits; more than 32 bits of it is out of memory.
    uint64_t floats = (uint64_t(frames) + SampleBuffer::kGuard) * channels + SampleBuffer::kGuard;
    uint64_t bytes = floats * sizeof(float);
    if (bytes > 0xFFFFFFFFull) throw std::bad_alloc();
    void* p = std::calloc(std::size_t(floats), sizeof(float));
    if (!p) throw std::bad_alloc();
    return static_cast<float*>(p);
}
}  // namespace

SampleBuffer::SampleBuffer() noexcept : data_(emptyData()) {}

SampleBuffer::SampleBuffer(uint32_t frames, uint8_t channels)
    : data_(allocateZeroed(frames, channels)), frames_(frames), channels_(channels) {}

SampleBuffer::SampleBuffer(const SampleBuffer& o) : SampleBuffer() {
    if (o.data_ == emptyData()) return;
    data_ = allocateZeroed(o.frames_, o.channels_);
    frames_ = o.frames_;
    channels_ = o.channels_;
    std::memcpy(data_, o.data_, allocatedFloats() * sizeof(float));
}

SampleBuffer& SampleBuffer::operator=(const SampleBuffer& o) {
    if (this != &o) {
        SampleBuffer copy(o);
        *this = std::move(copy);
    }
    return *this;
}

SampleBuffer::SampleBuffer(SampleBuffer&& o) noexcept
    : data_(std::exchange(o.data_, emptyData())),
      frames_(std::exchange(o.frames_, 0)),
      channels_(std::exchange(o.channels_, uint8_t(1))) {}

SampleBuffer& SampleBuffer::operator=(SampleBuffer&& o) noexcept {
    if (this != &o) {
        if (data_ != emptyData()) std::free(data_);
        data_ = std::exchange(o.data_, emptyData());
        frames_ = std::exchange(o.frames_, 0);
        channels_ = std::exchange(o.channels_, uint8_t(1));
    }
    return *this;
}

SampleBuffer::~SampleBuffer() {
    if (data_ != emptyData()) std::free(data_);
}

bool SampleBuffer::operator==(const SampleBuffer& o) const noexcept {
    if (frames_ != o.frames_ || channels_ != o.channels_) return false;
    for (unsigned c = 0; c < channels_; ++c) {
        const float* a = channel(c);
        const float* b = o.channel(c);
        for (uint32_t i = 0; i < frames_; ++i)
            if (a[i] != b[i]) return false;
    }
    return true;
}

}  // namespace ZnPlug
