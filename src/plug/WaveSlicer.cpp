#include "plug/WaveSlicer.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "lib/Text.h"
#include "plug/Wave.h"

namespace ZnPlug {

namespace {

// The loops that survive slicing, in order of their start.
std::vector<Loop> keptLoops(const Wave& wave) {
    std::vector<Loop> kept;
    for (const Loop& l : wave.loops)
        if (l.mode != LoopMode::Slice) kept.push_back(l);
    std::stable_sort(kept.begin(), kept.end(), [](const Loop& a, const Loop& b) { return a.start < b.start; });
    return kept;
}

// Where a new slice near p goes, given the pinned slices: at p when none overlaps (lo, hi), at
// the end of one that ends strictly inside, else nowhere (it would fall inside a pinned slice).
std::optional<uint32_t> placeSlice(const std::vector<Loop>& kept, int64_t p, int64_t lo, int64_t hi) {
    for (auto it = kept.rbegin(); it != kept.rend(); ++it) {
        if (it->mode != LoopMode::PinnedSlice || !(int64_t(it->start) < hi && int64_t(it->end) > lo)) continue;
        const int64_t e = it->end;
        if (e > lo && e < hi) return uint32_t(e);
        return std::nullopt;
    }
    return uint32_t(p);
}

bool nameHeld(const std::vector<Loop>& loops, const std::string& name) {
    return std::any_of(loops.begin(), loops.end(), [&](const Loop& l) { return l.nameText() == name; });
}

// Merges, numbers, snaps and closes the slices, and makes the list the wave's loops.
void finishSlices(Wave& wave, std::vector<Loop> kept, const std::vector<uint32_t>& starts, uint32_t snap) {
    for (uint32_t s : starts) kept.emplace_back(s, s + 1, LoopMode::Slice);
    std::stable_sort(kept.begin(), kept.end(), [](const Loop& a, const Loop& b) { return a.start < b.start; });

    unsigned counter = 1;
    for (Loop& l : kept) {
        if (l.mode != LoopMode::Slice) continue;
        std::string name = ZnLib::Text::format("Slc%u", counter);
        while (nameHeld(kept, name)) name = ZnLib::Text::format("Slc%u", ++counter);
        l.setName(name);
        ++counter;
    }

    uint32_t next = wave.end;
    for (auto it = kept.rbegin(); it != kept.rend(); ++it) {
        if (it->mode == LoopMode::Slice) {
            const int64_t s = it->start;
            if (snap != 0) {
                const int64_t forward = std::min(findQuiet(wave, it->start, 1, snap),
                                                 findZeroCrossing(wave, it->start, 1, snap));
                const int64_t back = std::max(findQuiet(wave, it->start, -1, snap),
                                              findZeroCrossing(wave, it->start, -1, snap));
                if (forward - s < s - back && forward - s < int64_t(snap)) it->start = uint32_t(forward);
                else if (s - back < int64_t(snap)) it->start = uint32_t(back);
            }
            it->end = next;
        }
        if (it->isSlice()) next = it->start;
    }
    wave.loops = std::move(kept);
}

}  // namespace

void sliceEvenly(Wave& wave, uint32_t count) {
    std::vector<Loop> kept = keptLoops(wave);
    std::vector<uint32_t> starts;
    if (count > 0) {
        const uint32_t to = std::min(wave.end, wave.frames()), from = std::min(wave.start, to);
        const double step = double(to - from) / count;
        const int64_t w = int64_t(step / 2);
        for (uint32_t k = 0; k < count; ++k) {
            const int64_t p = std::llround(from + k * step);
            if (auto at = placeSlice(kept, p, std::max<int64_t>(0, p - w), p + w)) starts.push_back(*at);
        }
    }
    finishSlices(wave, std::move(kept), starts, 0);
}

void sliceByBeats(Wave& wave, uint32_t cutoffHz, float threshold, const AnalysisProgress& progress) {
    std::vector<Loop> kept = keptLoops(wave);
    const uint32_t minDistance = wave.sampleRate / 10;
    const std::vector<Onset> onsets = detectOnsets(wave, minDistance, cutoffHz, threshold, progress);
    std::vector<uint32_t> starts;
    std::optional<int64_t> previous;
    for (const Onset& onset : onsets) {
        const int64_t p = onset.position;
        const int64_t lo = std::max<int64_t>(0, p - minDistance), hi = p + minDistance;
        if (previous && *previous >= lo) continue;
        if (auto at = placeSlice(kept, p, lo, hi)) starts.push_back(*at);
        previous = p;
    }
    if (!(wave.flags & kWaveTempoKnown)) {
        const std::vector<float> tempos = detectTempos(wave, onsets);
        if (!tempos.empty()) wave.tempo = tempos.front();
    }
    if (kept.empty() && starts.empty()) {
        wave.loops.clear();
        return;
    }
    finishSlices(wave, std::move(kept), starts, std::max<uint32_t>(128, minDistance / 10));
}

}  // namespace ZnPlug
