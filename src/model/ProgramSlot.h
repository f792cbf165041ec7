#pragma once
#include <array>
#include <cstdint>
#include <string>

#include "lib/ModCounted.h"
#include "lib/RefCounted.h"
#include "model/Names.h"
#include "model/Program.h"
#include "plug/SoundItem.h"

namespace MV {

// A send of a program slot into an effect bus or an output.
struct SlotSend {
    uint8_t dest = kRouteNone;  // index into kSendDestinationNames
    float level = 0;
    int32_t levelAutomation = -1;  // assignable parameter number, -1 none
    bool preFader = false;
    bool operator==(const SlotSend&) const = default;
};

// Binds a program to a MIDI channel inside a performance, with level, pan, tuning and sends.
// Belongs to exactly one performance.
class ProgramSlot : public ZnLib::_RefCounted<int, int>, public ZnLib::ModCounted, public ZnPlug::Soloable {
public:
    static constexpr uint8_t kAllChannels = 16;

    // Channel 0, "Ch01", the none program.
    ProgramSlot();
    // Named "Ch%02d" after channel + 1.
    explicit ProgramSlot(uint8_t channel, ZnLib::SharedRef<Program> program = {});
    ProgramSlot(const ProgramSlot&) = default;
    ProgramSlot& operator=(const ProgramSlot&) = default;

    // The shared default-built slot; never modified.
    static ProgramSlot* defaultSlot();

    // The slot's count, or its program's modification.
    bool modified() const override;

    // Mute, solo, channel, output, amp, pan, program, transpose, detune, interpolation,
    // velocity curve, sends and name; not the automation numbers nor the voice limit.
    bool operator==(const ProgramSlot& o) const;

    uint8_t channel = 0;  // 0 to 15, 16 all channels
    uint8_t output = 0;   // index into kOutputNames, 0 to 11
    float amp = 1;
    int32_t ampAutomation = -1;
    float pan = 0;
    int32_t panAutomation = -1;
    int8_t transpose = 0;  // semitones
    int32_t transposeAutomation = -1;
    int8_t detune = 0;  // cents, -50 to 50
    int32_t detuneAutomation = -1;
    uint8_t interpolation = kInterpolationDefault;
    uint8_t velocityCurve = 0;
    std::string name;
    int32_t poly = 0;  // voice limit, 0 unlimited
    std::array<SlotSend, 3> sends{};
    ZnLib::SharedRef<Program> program;
};

}  // namespace MV
