#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "lib/RefCounted.h"

namespace CLI {
class App;
}
namespace MV {
class Morvek;
}
namespace ZnPlug {
class Wave;
}

namespace Cli {

struct RenderOptions;
class TakeRecorder;

// What arms the sampler during a render: `--record MODE`.
struct RecordMode {
    enum class Kind { Off, Button, Transport, Threshold, Controller, Key };
    Kind kind = Kind::Off;
    float thresholdDb = 0;  // Threshold: the level in dBFS that starts the take
    uint8_t controller = 0;  // Controller: its number
    uint8_t key = 0;         // Key: the key that records while held
};

// "button", "transport", "threshold=DB", "cc=N" (0 to 127) or "key=NOTE" (a note name such as
// "C3", or a number); anything else throws with the forms it takes.
RecordMode parseRecordMode(const std::string& text);

struct KeyRange {
    uint8_t low = 0;
    uint8_t high = 127;
};
// "LOW:HIGH" of notes or numbers, low not above high; throws otherwise.
KeyRange parseKeyRange(const std::string& text);

// The recording options of `morvek render`: a wave file into the input pins and the sampler
// armed by a mode; every take is written beside the output.
class RecordOptions {
public:
    // Adds --input, --record, --channels, --detect-pitch and --map to the render command.
    void addTo(CLI::App& render);
    // [ui-thread] Reads --input; the render's `rate` becomes the input's when --rate was not
    // given, and a --rate that differs from it is refused.
    void loadInput(double& rate);
    // [ui-thread] Feeds the input into the render and arms a recorder on the engine; null without
    // --record.
    std::unique_ptr<TakeRecorder> arm(MV::Morvek& engine, RenderOptions& options) const;

    std::string input;
    std::string record;
    uint32_t channels = 2;
    bool detectPitch = false;
    std::string map;

private:
    CLI::App* render_ = nullptr;
    ZnLib::SharedRef<ZnPlug::Wave> inputWave_;
};

}  // namespace Cli
