#pragma once
#include <string>

namespace ZnPlug {
class Peaks;
class Wave;
}  // namespace ZnPlug

namespace Cli {

// Draws a wave as a PNG picture: one lane per channel from the overview (or, for short waves
// and close views, the samples), the play range, loops shaded, slices as marked lines with
// their names, and a time axis. Replaces `path` only when the whole picture is written; throws
// "Could not save <path>" otherwise.
void drawWavePng(const ZnPlug::Wave& wave, const ZnPlug::Peaks* peaks, const std::string& path, int width = 1600);

}  // namespace Cli
