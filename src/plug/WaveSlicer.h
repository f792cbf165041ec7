#pragma once
#include <cstdint>

#include "plug/WaveDetect.h"

namespace ZnPlug {

class Wave;

// The slicers: they replace a wave's plain slices (mode Slice) by new ones, leave pinned slices
// and other loops as they are, number the slices "Slc1", "Slc2"... and end each where the next
// begins. [ui-thread] [main-lock]

// `count` slices evenly over the play range; 0 only strips the plain slices.
void sliceEvenly(Wave& wave, uint32_t count);
// A slice at each onset; the tempo too unless the file gave it.
void sliceByBeats(Wave& wave, uint32_t cutoffHz, float threshold, const AnalysisProgress& progress = {});

}  // namespace ZnPlug
