#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "lib/RefCounted.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace ZnPlug {
class Wave;
}

namespace Cli {

// `morvek wave`: the sample toolbox on the command line. Each subcommand reads a wave file and
// writes its result with the product's own WAV writer (loops, root and slices in its chunks):
//   edit IN -o OUT OP...   the editing operations, in the order given
//   detect IN              onsets, tempos (best first) and pitch
//   slice IN ...           even or beat slices, as loops of mode Slice, waves or a MIDI file
//   peaks IN               writes or refreshes the peak cache
class WaveCommand {
public:
    // Adds "wave" and its subcommands to `app`.
    explicit WaveCommand(CLI::App& app);
    bool parsed() const;
    // [ui-thread] Runs what was parsed; failures are thrown with the product's texts.
    int run();

private:
    int runEdit();
    int runDetect();
    int runSlice();
    int runPeaks();

    CLI::App* wave_ = nullptr;
    CLI::App* edit_ = nullptr;
    CLI::App* detect_ = nullptr;
    CLI::App* slice_ = nullptr;
    CLI::App* peaks_ = nullptr;

    std::string in_;
    std::string out_;
    std::string png_;
    // edit
    std::vector<std::string> ranges_, boosts_, crossfades_, addLoops_;
    uint32_t crossfadeSize_ = 0;
    CLI::Option* sizeOption_ = nullptr;
    // detect and slice
    uint32_t cutoffHz_ = 0;
    float threshold_ = 0;
    uint32_t evenCount_ = 0;
    bool beats_ = false;
    std::string toWaves_;
    std::string midi_;
};

// What `detect` prints: the onsets, the tempos best first, the pitch.
std::string detectionReport(const ZnPlug::Wave& wave, uint32_t cutoffHz, float threshold);

}  // namespace Cli
