#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "model/Names.h"

// What shapes a group's voices. Levels are plain 0 to 1 (or -1 to 1); times, rates and
// frequencies are normalised values of their value laws.
namespace MV {

// Normalised time of the envelopes' default segment, 1000 ms.
float defaultEnvelopeTime();
// Normalised LFO rate of the default 0.5 Hz.
float defaultLfoRate();

// One row of a group's modulation table.
struct ModulationEntry {
    uint16_t source = 0;      // modulation source index, 0 none
    uint16_t via = 0;         // second source scaling the amount, 0 none
    uint8_t destination = 0;  // modulation destination index, 0 none
    float amount = 0;
    float amountVia = 0;
    bool frozen = false;
    bool enabled = true;

    // May be taken by addModulation: it cannot act as it stands.
    bool isFree() const noexcept;
    // All defaults, whatever `enabled` says.
    bool isUnused() const noexcept;
    bool operator==(const ModulationEntry&) const = default;
};

struct AEG {
    float attack = 0;  // time
    float decay1 = 0;  // time
    float level1 = 1;
    float decay2 = 0;  // time
    float sustain = 1;
    float release = 0;  // time
    bool operator==(const AEG&) const = default;
};

struct Env {
    float amp = 1;
    float level0 = 0;  // levels -1 to 1
    float level1 = 0;
    float level2 = 0;
    float level3 = 0;
    float time1 = defaultEnvelopeTime();
    float time2 = defaultEnvelopeTime();
    float time3 = defaultEnvelopeTime();
    bool operator==(const Env&) const = default;
};

struct LFO {
    float rate = defaultLfoRate();  // rate law in mode "Normal"; note value index / 23 in "Tempo"
    float reserved = 0;             // kept at 0: no file holds it, nothing sets it
    float fadein = 0;               // time
    float pos = 0;                  // start phase 0 to 1
    uint8_t mode = kLfoModeNormal;
    float amp = 1;
    uint8_t type = kLfoSinus;
    uint8_t sync = kSyncKey;
    bool operator==(const LFO&) const = default;
};

struct Seq {
    float rate = defaultLfoRate();
    float reserved = 0;
    float fadein = 0;
    float pos = 0;
    uint8_t mode = kLfoModeNormal;
    std::vector<int8_t> values;  // steps, -100 to 100
    bool smooth = false;
    bool stepsync = false;
    float amp = 1;
    uint8_t sync = kSyncKey;
    bool operator==(const Seq&) const = default;
};

struct Filter {
    float freq = 1;  // frequency law: 1 is 20000 Hz
    float res = 0;
    float drive = 0;  // -1 to 1
    uint8_t type = kFilterOff;
    uint8_t slope = kSlope24dB;
    bool operator==(const Filter&) const = default;
};

struct Send {
    uint8_t dest = kRouteNone;  // index into kSendDestinationNames
    float level = 0;
    bool preFader = false;
    bool operator==(const Send&) const = default;
};

inline constexpr std::size_t kModulationSlots = 16;

struct GroupSoundParams {
    float amp = 0.5f;
    float pan = 0;
    float glide = 0;  // time
    float velocity = 1;  // velocity sensitivity, -1 to 1
    uint8_t velocityOffset = 0;
    uint8_t velocityCurve = 0;  // index into kVelocityCurveNames
    float start = 0;            // time: wave start offset
    float delay = 0;            // time
    std::array<ModulationEntry, kModulationSlots> modulation{};
    AEG aeg;
    Env env1;
    Env env2;
    LFO lfo1;
    LFO lfo2;
    Seq seq1;
    Seq seq2;
    Seq seq3;
    Filter filter;
    std::array<Send, 3> sends{};

    // Takes the first free entry for `source`, enabled. Throws "All modulation slots used".
    ModulationEntry& addModulation(uint16_t source);

    bool operator==(const GroupSoundParams&) const = default;
};

}  // namespace MV
