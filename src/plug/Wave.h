#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/ByteReader.h"
#include "lib/RefCounted.h"
#include "plug/Peaks.h"
#include "plug/SoundItem.h"

namespace ZnPlug {

class RiffSink;

// Planar 32-bit float samples with 64 zero guard frames around every channel, so that the
// interpolators may read up to 64 frames past either end without a test. One allocation of
// ((frames + 64) * channels + 64) floats: 64 zeros, then per channel its frames and 64 zeros.
class SampleBuffer {
public:
    static constexpr uint32_t kGuard = 64;

    // The shared empty buffer: 0 frames, 1 channel, guards only.
    SampleBuffer() noexcept;
    // Zeroed buffer. Throws std::bad_alloc when the byte count does not fit in 32 bits.
    SampleBuffer(uint32_t frames, uint8_t channels);
    SampleBuffer(const SampleBuffer& o);
    SampleBuffer& operator=(const SampleBuffer& o);
    SampleBuffer(SampleBuffer&& o) noexcept;
    SampleBuffer& operator=(SampleBuffer&& o) noexcept;
    ~SampleBuffer();

    uint32_t frames() const noexcept { return frames_; }
    uint8_t channels() const noexcept { return channels_; }
    // First frame of channel c; [-64, frames + 64) are readable.
    float* channel(unsigned c) noexcept { return data_ + kGuard + std::size_t(c) * (frames_ + kGuard); }
    const float* channel(unsigned c) const noexcept {
        return data_ + kGuard + std::size_t(c) * (frames_ + kGuard);
    }
    // Float count of the allocation.
    std::size_t allocatedFloats() const noexcept { return (std::size_t(frames_) + kGuard) * channels_ + kGuard; }
    bool operator==(const SampleBuffer& o) const noexcept;

private:
    float* data_;
    uint32_t frames_ = 0;
    uint8_t channels_ = 1;
};

enum class LoopMode : int32_t { None = 0, Forward = 1, Backward = 2, Bidirectional = 3, Slice = 4, PinnedSlice = 5 };

// File forms of LoopMode, by value.
inline constexpr std::array<const char*, 6> kLoopModeNames = {"None",          "Forward", "Backward",
                                                              "Bidirectional", "Slice",   "PinnedSlice"};

struct Loop {
    uint32_t start = 0;
    uint32_t end = 0;  // one past the last frame
    LoopMode mode = LoopMode::None;
    std::array<char, 10> name{};  // at most nine bytes of UTF-8 and a terminating zero

    Loop() = default;
    Loop(uint32_t s, uint32_t e, LoopMode m, const std::string& n = "") : start(s), end(e), mode(m) { setName(n); }
    // Longer text is cut at nine bytes, before a character that would not fit whole.
    void setName(const std::string& n);
    std::string nameText() const { return std::string(name.data()); }
    bool isSlice() const noexcept { return mode == LoopMode::Slice || mode == LoopMode::PinnedSlice; }
    bool operator==(const Loop&) const = default;

    // The shared "no loop": start 0, end 0, mode None, name "<no>".
    static const Loop& none();
};

struct RootInfo {
    uint8_t root = 255;  // MIDI key; 255 means no root known
    int8_t fine = 0;     // cents, within -99..99 after normalizeRoot
    bool operator==(const RootInfo&) const = default;
};

enum WaveFlags : uint8_t {
    kWaveCropped = 1,     // data equals the file's, less headTrim and tailTrim
    kWaveNormalized = 2,  // the whole wave was scaled by Normalize
    kWaveChanged = 4,     // sample data otherwise changed: the file no longer describes it
    kWaveTempoKnown = 8,  // tempo came from the file; detection must not replace it
};

struct WaveInfoBase : RootInfo {
    uint32_t sampleRate = 44100;
    uint32_t start = 0;  // first frame of the play range
    uint32_t end = 0;    // one past the last frame of the play range
    uint32_t headTrim = 0;
    uint32_t tailTrim = 0;
    float tempo = 0;  // beats per minute, 0 = none
    uint8_t flags = 0;
    bool operator==(const WaveInfoBase&) const = default;
};

struct WaveInfo : WaveInfoBase {
    std::vector<Loop> loops;
    bool operator==(const WaveInfo&) const = default;
};

// Four-character tags of where the data came from (hex value reads as the letters).
enum WaveFormat : uint32_t {
    kFormatWave = 0x57415645,     // "WAVE"
    kFormatAiff = 0x41494646,     // "AIFF"
    kFormatYamaha = 0x59414D41,   // "YAMA"
    kFormatRex = 0x52455832,      // "REX2"
    kFormatOgg = 0x4F474756,      // "OGGV"
    kFormatFlac = 0x464C4143,     // "FLAC"
    kFormatUnknown = 0x554E4B4E,  // "UNKN": not loaded, or no backing file
};

// One sample held fully in memory, with what the sampler needs to play it.
class Wave : public SoundItem, public WaveInfo {
public:
    // The static default: no samples, root 255, rate 44100, 32-bit float; less the name.
    Wave();
    // Takes the buffer: start 0, end frames, no loops, no flags, then normalizeRoot. The
    // container's count is raised.
    Wave(SampleBuffer&& samples, uint32_t sampleRate, uint8_t bits, uint8_t sampleType, uint32_t format,
         uint8_t root = 255, int8_t fine = 0, float tempo = 0,
         ZnLib::SharedRef<ZnLib::RefCounted> container = {}, uint32_t containerIndex = 0xFFFFFFFFu);
    // A whole RIFF WAVE image, as a bank or state chunk embeds it: read, normalizeRoot, and the
    // info taken as the file's. Throws what the WAV reader throws, unwrapped.
    Wave(const std::string& name, ZnLib::ByteReader riff);
    // Deep copy of the samples; container and peaks shared.
    Wave(const Wave& o);
    // Takes samples and peaks; the source keeps the shared empty buffer.
    Wave(Wave&& o) noexcept;
    Wave& operator=(const Wave&) = delete;

    // The shared "<none>" wave that splits without a sample point at. Never modified.
    static Wave* none();
    bool isNone() const noexcept { return this == none(); }

    const SampleBuffer& samples() const noexcept { return samples_; }
    SampleBuffer& samples() noexcept { return samples_; }
    void setSamples(SampleBuffer&& b) noexcept { samples_ = std::move(b); }
    uint32_t frames() const noexcept { return samples_.frames(); }
    uint8_t channels() const noexcept { return samples_.channels(); }
    const float* channelData(unsigned c) const noexcept { return samples_.channel(c); }

    uint8_t bits = 32;
    uint8_t sampleType = 3;  // 1 unsigned 8-bit, 2 signed integer, 3 float; 0 invalid
    uint32_t format = kFormatUnknown;
    WaveInfo fileInfo;
    ZnLib::SharedRef<ZnLib::RefCounted> container;
    uint32_t containerIndex = 0xFFFFFFFFu;
    ZnLib::SharedRef<Peaks> peaks;  // the overview; empty until a view asks for it

    const WaveInfo& info() const noexcept { return *this; }
    WaveInfo& info() noexcept { return *this; }
    // Takes the current info as what the file holds.
    void takeFileInfo() { fileInfo = info(); }

    // q = fine / 100 truncated; fine loses q * 100; a known root moves by q, clamped to 0..127.
    void normalizeRoot();
    // The name, and the path's file name behind the last separator; the identity is recomputed.
    void rename(const std::string& text);
    bool hasSlices() const noexcept;
    // start = min(start, frames); end = frames if at or past frames, else max(start, end).
    Loop clampLoop(const Loop& loop) const noexcept;
    void dropPeaks() { peaks.reset(); }

    // Differs from what is on disk.
    bool isModified() const;
    bool modified() const override { return isModified(); }
    std::size_t memUsage() const override;
    std::size_t memoryUsage() const { return memUsage(); }

    bool operator==(const Wave& o) const;

    // Editing. The range of an operation is `start`..`end`; each sets a flag bit and drops the
    // peaks. Callers hold the engine lock. [ui-thread] [main-lock]
    // Scales the range so that its peak (first two channels) is full scale; a silent range stays.
    void normalize();
    // A first-order DC blocker over the range, written back.
    void removeDc();
    // Frames a..b inclusive change places; b is held to the last frame of the play range, so
    // that neither the frame behind the range nor the guard is drawn in.
    void reverse(uint32_t a, uint32_t b);
    void boost(float gain);
    // Removes the range; loops behind it move down.
    void cut();
    // Keeps only the range ("Trim"); with dropEmpty the loops from the first empty or whole one on
    // go.
    void crop(bool dropEmpty);
    void toStereo();
    void toMono();
    void swapChannels();
    // Throws std::out_of_range "Bad loop bounds or crossfade size" and changes nothing when the
    // bounds are wrong.
    void crossfadeLoop(uint32_t loopStart, uint32_t loopEnd, uint32_t n);
    // A cropped copy of the play range, or of `region`'s bounds with its name behind the wave's.
    ZnLib::SharedRef<Wave> duplicateRange(const Loop* region = nullptr) const;
    // A cropped copy per slice, named "<wave>_<slice>", without the plain slices.
    std::vector<ZnLib::SharedRef<Wave>> slicesToWaves() const;
    // Drops the loops of mode Slice; pinned slices stay.
    void removeSlices();

    // [ui-thread] Reads the file named by the item's path, whatever its format; on failure
    // "Could not load " + path with the cause nested, and format stays "UNKN".
    void load();
    // [ui-thread] Writes a RIFF WAVE file through a temporary name beside the target, then
    // replaces it; the wave now belongs to that file. "Could not save <name> as <path>" on failure.
    void saveAs(const std::string& path);
    void save() { saveAs(file().path()); }
    // [ui-thread] The whole RIFF WAVE image, for embedding in a state chunk. Throws "Bad format"
    // for an invalid sampleType, before anything is written.
    void writeRiff(RiffSink& sink) const;

private:
    SampleBuffer samples_;
};

// "%s%d" of the sharp name of key % 12 and key / 12 + (octaveBase - 1).
std::string noteName(int key, int octaveBase);
// Note and octave ("c#4", "Db4"), else a plain number, clamped to 0..127; 255 when neither.
uint8_t parseNote(const std::string& text, int octaveBase);

}  // namespace ZnPlug
