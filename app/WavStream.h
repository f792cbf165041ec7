#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "SongRenderer.h"

namespace Cli {

// A WAV file of one output written as the render goes: one or two channels from the host pins
// at `firstPin`, 16-bit, 24-bit or 32-bit float, with the same sample conversion as the
// product's wave writer. The file is built beside its target and renamed over it by finish(),
// so a render that fails leaves an existing file as it was.
class WavStream : public RenderSink {
public:
    enum class Format { Pcm16, Pcm24, Float };

    // Throws "Could not save " + path with the cause.
    WavStream(const std::string& path, uint32_t sampleRate, Format format, float gain = 1.0f, int channels = 2,
              int firstPin = 0);
    ~WavStream() override;
    WavStream(const WavStream&) = delete;
    WavStream& operator=(const WavStream&) = delete;

    void write(const float* const* pins, std::size_t frames) override;
    // Completes the header and puts the file in place.
    void finish();
    // Gives the file up: nothing is written, an existing file stays.
    void discard() noexcept;

    const std::string& path() const noexcept { return path_; }
    int firstPin() const noexcept { return firstPin_; }
    int channels() const noexcept { return channels_; }

private:
    void put(const void* data, std::size_t bytes);
    void fail();

    std::string path_;
    std::string temp_;
    int fd_ = -1;
    uint32_t sampleRate_;
    Format format_;
    float gain_;
    int channels_;
    int firstPin_;
    uint64_t dataBytes_ = 0;
};

}  // namespace Cli
