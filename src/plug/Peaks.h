#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lib/ByteReader.h"
#include "lib/RefCounted.h"

namespace ZnPlug {

class Wave;

// Decides where the ".reapeaks" cache of a wave lies. Without a context it lies beside the wave.
class PeaksContext {
public:
    virtual ~PeaksContext() = default;
    // [ui-thread] The cache's file name; `forWriting` when it is about to be written.
    virtual std::string peakFile(const std::string& wavePath, bool forWriting) const = 0;

    // The wave's path with ".reapeaks" appended.
    static std::string besideWave(const std::string& wavePath);
    // folder/xx/rest.reapeaks, where xx and rest are the SHA-1 of the path in hexadecimal.
    static std::string inFolder(const std::string& folder, const std::string& wavePath);
    // The context that the peaks of every wave use; null: beside the wave. Not owned.
    // [ui-thread]
    static const PeaksContext* current() noexcept;
    static void setCurrent(const PeaksContext* context) noexcept;
};

// The overview that long waves are drawn from: three levels of maximum and minimum values, held
// as the very bytes of its ".reapeaks" file. A view may hold it while an edit drops the wave's,
// so its count is atomic.
class Peaks : public ZnLib::_RefCounted<std::atomic<int>, int> {
public:
    static constexpr uint32_t kMinFrames = 5121;  // shorter waves are drawn from their samples
    static constexpr unsigned kLevels = 3;
    static constexpr std::size_t kHeaderBytes = 42;

    struct Level {
        uint32_t framesPerEntry = 0;
        uint32_t entries = 0;
        bool operator==(const Level&) const = default;
    };
    struct Entry {
        int16_t max = 0;
        int16_t min = 0;
    };
    // What a cache file must say of its wave to be taken.
    struct Identity {
        uint8_t channels = 0;
        uint32_t sampleRate = 0;
        uint32_t frames = 0;
        uint32_t fileTime = 0;  // seconds since 1970, 0xFFFFFFFF beyond 0x7FFFD27F
        uint64_t fileSize = 0;
    };

    // [ui-thread] From the samples; the time and size fields are 0 until stored.
    static ZnLib::SharedRef<Peaks> build(const Wave& wave);
    // [ui-thread] The cache of a wave that has a path and is neither cropped nor normalized,
    // when the file describes the wave file as it is on disk; empty otherwise.
    static ZnLib::SharedRef<Peaks> load(const Wave& wave, const PeaksContext* context = PeaksContext::current());
    // [ui-thread] The wave's own peaks, made once it has kMinFrames: loaded from the cache, else
    // built and stored (a cache that can't be written costs only the next build).
    static ZnLib::SharedRef<Peaks> of(Wave& wave, const PeaksContext* context = PeaksContext::current());
    // A whole cache file, taken only when every field and the length agree with `expect`; the
    // data is never trusted otherwise. Empty when it doesn't.
    static ZnLib::SharedRef<Peaks> parse(ZnLib::ByteReader file, const Identity& expect);
    // The identity of `wave` and its file on disk.
    static Identity identityOf(const Wave& wave);

    // [ui-thread] For a wave with a path that is not modified: fills in the file's time and
    // size, creates the folder and writes the bytes. The name written, or "" when the wave may
    // have no cache. Throws "Could not save <name>" with the cause nested.
    std::string store(const Wave& wave, const PeaksContext* context = PeaksContext::current());

    uint8_t channels() const noexcept { return bytes_[4]; }
    uint32_t sampleRate() const noexcept { return field(6); }
    Level level(unsigned l) const noexcept { return {field(18 + 8 * l), field(22 + 8 * l)}; }
    // Entry i of a level, for one channel.
    Entry entry(unsigned level, uint32_t i, unsigned channel) const noexcept;
    std::span<const uint8_t> bytes() const noexcept { return bytes_; }
    std::size_t size() const noexcept { return bytes_.size(); }

    // The steps of a wave's levels: rate / 400, rate / 10 and rate, at least 1.
    static Level levelFor(unsigned l, uint32_t sampleRate, uint32_t frames) noexcept;
    // seconds since 1970, as the file's time field holds them.
    static uint32_t timeField(uint64_t nanoseconds) noexcept;

private:
    uint32_t field(std::size_t offset) const noexcept;
    void setField(std::size_t offset, uint32_t v) noexcept;
    std::size_t levelOffset(unsigned l) const noexcept;

    std::vector<uint8_t> bytes_;
};

}  // namespace ZnPlug
