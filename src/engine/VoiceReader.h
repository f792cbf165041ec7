#pragma once
#include <cstdint>

namespace MV {

struct SincCache;

// One sub-block of wave reading: the loop walk and an interpolator over a wave's channels, with
// the per-sample control lanes. The voice fills it, readWave runs it, and the walk's state
// (position, direction) comes back in it.
struct WaveRead {
    // Interpolation codes: 1 "Draft", 2 "Hermite", 3 "Sinc32", 4 "Sinc64", 5 "Sinc128"; kSilent
    // walks like the others and makes zeros (a muted slot).
    static constexpr int32_t kSilent = 0;

    // The wave: first frame of each channel in the guarded layout (64 readable frames on either
    // side), channels 1 or 2, and its frame count.
    const float* data[2] = {nullptr, nullptr};
    int32_t channels = 1;
    int64_t frames = 0;
    // Play range of the wave and the loop before modulation, in frames; loop type 0 to 5 (none,
    // forward, backward, bidirectional, slice, pinned slice).
    double waveStart = 0;
    double waveEnd = 0;
    double loopStart = 0;
    double loopEnd = 0;
    int32_t loopType = 0;
    // Frames per output sample at pitch ratio 1.
    double baseStep = 1;
    int32_t interpolation = 1;
    SincCache* sinc = nullptr;

    // Per-sample lanes: amplitude, pitch ratio, loop start and end offsets (frames), direction.
    // Without `loopMoves` the loop lanes are taken as 0 and not read.
    bool loopMoves = false;
    const float* amp = nullptr;
    const float* pitchRatio = nullptr;
    const float* loopStartOffset = nullptr;
    const float* loopEndOffset = nullptr;
    const float* loopDirection = nullptr;
    float* out[2] = {nullptr, nullptr};
    int32_t count = 0;

    // The walk: position in frames (the fraction is the interpolation phase) and the running
    // direction (0 forward, -1 backward). `ended` when the wave or slice ran out.
    double position = 0;
    float direction = 0;
    bool ended = false;
};

// Reads up to `count` samples of min(2, channels) channels into `out`; fewer when the wave or the
// slice ends, which sets `ended` and leaves the position at 0. Returns the number made. `wide`
// lets the kernels use AVX2 and FMA where the processor has them; tests compare both paths.
// [audio-thread] [main-lock] Allocates nothing.
int32_t readWave(WaveRead& job, bool wide = true) noexcept;

}  // namespace MV
