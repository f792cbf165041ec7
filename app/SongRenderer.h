#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace MV {
class Morvek;
}
namespace ZnPlug {
class Wave;
}

namespace Cli {

class MidiFile;

// A host's automation move: parameter `param` (0 to 127) takes `value` (0 to 1) at `frame`.
struct AutomationPoint {
    int64_t frame = 0;
    int32_t param = 0;
    float value = 0;
};

struct RenderOptions {
    double sampleRate = 44100;
    int32_t blockSize = 512;
    double maxTailSeconds = 10;
    // The tail ends after this long below the silence level.
    double silentSeconds = 0.2;
    // -96 dB: below the last bit of a 16-bit file.
    float silenceLevel = 1.6e-5f;
    // The host pins (bit i for pin i) that the sink takes; their sound decides the peak and
    // where the tail ends.
    uint16_t pins = 0x3;
    // In the order of their frames; each lands on its frame exactly, splitting the audio call.
    std::vector<AutomationPoint> automation;
    // Fed into the two input pins from the first frame, a mono wave into both; silence after its
    // end. The render lasts at least as long as it.
    const ZnPlug::Wave* input = nullptr;
    // Told after every audio call, on the rendering thread: a recorder collects its takes here.
    std::function<void()> afterBlock;
};

struct RenderResult {
    std::vector<float> left;
    std::vector<float> right;
    double songSeconds = 0;
    float peak = 0;
};

// Where a streamed render goes, block by block, in order: the 16 host pins, of which only those
// of RenderOptions::pins are given (the others are null).
class RenderSink {
public:
    virtual ~RenderSink() = default;
    virtual void write(const float* const* pins, std::size_t frames) = 0;
};

struct RenderSummary {
    std::size_t frames = 0;
    double songSeconds = 0;
    float peak = 0;
};

// Plays a song through the engine the way a host would: per block, the song's events that fall
// into it go in with their sample offsets, the transport record moves on (tempo from the song,
// playing, ppq), and the audio call runs in offline mode. Output "S 1+2" is collected. After
// the song, rendering goes on until the output stays silent or the tail reaches its maximum;
// the silence at the end is cut. `progress` is told the fraction done now and then.
// [ui-thread] [takes-main-lock]
RenderResult renderSong(MV::Morvek& engine, const MidiFile& song, const RenderOptions& options,
                        const std::function<void(double)>& progress = {});
// The same, streamed: only the silence that may yet be cut is held back, so memory stays small
// whatever the song's length.
RenderSummary renderSong(MV::Morvek& engine, const MidiFile& song, const RenderOptions& options, RenderSink& sink,
                         const std::function<void(double)>& progress = {});

}  // namespace Cli
