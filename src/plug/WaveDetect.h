#pragma once
#include <cstdint>
#include <functional>
#include <vector>

namespace ZnPlug {

class Wave;

// The signal analysis of a wave: transients, tempo and pitch, and the searches that the slicers
// snap with. All run on the interface thread over the float samples. [ui-thread]

struct Onset {
    uint32_t position = 0;  // frame
    float strength = 0;
    bool operator==(const Onset&) const = default;
};

struct IntervalCluster {
    double interval = 0;  // seconds
    uint32_t count = 0;
    uint32_t score = 0;
};

struct DetectedPitch {
    uint8_t key = 255;  // 255: nothing found
    int8_t fine = 0;    // cents
};

// Told the share done, from 0 to 1, now and then during a long pass.
using AnalysisProgress = std::function<void(double)>;

// Spectral flux over the play range, hop 64, window 512; onsets sorted by position. A threshold
// not above 0 counts as 3; a cutoff of 0 uses every bin.
std::vector<Onset> detectOnsets(const Wave& wave, uint32_t minDistance, uint32_t cutoffHz, float threshold,
                                const AnalysisProgress& progress = {});
// Tempos in beats per minute, 60 to 240, best first, from the intervals between onsets.
std::vector<float> detectTempos(const Wave& wave, const std::vector<Onset>& onsets);
// Onsets a tenth of a second apart at least, then tempos; the first becomes the wave's `tempo`.
std::vector<float> detectTempo(Wave& wave, uint32_t cutoffHz, float threshold,
                               const AnalysisProgress& progress = {});
// The key and fine tune of the play range (a form of the YIN estimator).
DetectedPitch detectPitch(const Wave& wave);
// The first frame from `position` in `direction` (1 or -1) whose mean level across channels is
// below 0.005; the wave's end in that direction when none is found within `range` / 2 steps.
uint32_t findQuiet(const Wave& wave, uint32_t position, int direction, uint32_t range);
// The first frame from `position` in `direction` where the first two channels change sign
// together, or nearly so; the wave's end in that direction when none is found within `range`.
uint32_t findZeroCrossing(const Wave& wave, uint32_t position, int direction, uint32_t range);

}  // namespace ZnPlug
