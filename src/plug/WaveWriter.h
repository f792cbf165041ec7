#pragma once
#include <string>

namespace ZnPlug {

class RiffSink;
class Wave;

// Writes waves as RIFF WAVE, whatever format they came from, with chunks that the reader finds
// again: root ("inst", "smpl"), loops with modes and names ("smpl", labels in "list"), the play
// range (cue points "mv:start" and "mv:end") and tempo ("acid").
class WaveWriter {
public:
    // The whole image from "RIFF" on. "Bad format" for a sampleType other than 1 to 3, before
    // anything is written. [ui-thread]
    static void writeRiff(const Wave& wave, RiffSink& sink);

    // Writes beside `path` under a temporary name, then renames over the target. On success the
    // wave belongs to `path`: format "WAVE", no container, trims and flags cleared, file info
    // taken. On failure "Could not save <name> as <path>" with the cause nested; the wave and the
    // target file stay as they were. [ui-thread]
    static void saveAs(Wave& wave, const std::string& path);
};

}  // namespace ZnPlug
