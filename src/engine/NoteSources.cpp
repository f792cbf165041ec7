#include "engine/NoteSources.h"

#include <algorithm>
#include <cmath>

#include "engine/Channel.h"
#include "engine/Morvek.h"
#include "engine/Voice.h"
#include "model/Group.h"
#include "model/ModulationTables.h"
#include "model/Program.h"

namespace MV {

namespace {
// Scale of the minimal standard generator's state to -1..1: 1 / (2^31 - 1).
constexpr float kRandomScale = 4.656613e-10f;

float clamp01(float x) noexcept { return std::clamp(x, 0.0f, 1.0f); }

// Where `value` lies between low and high, 0 to 1; a range of one value puts everything at 0.
float position(int value, int low, int high) noexcept {
    if (high <= low) return 0.0f;
    return clamp01(float(value - low) / float(high - low));
}

float bipolarPosition(float p) noexcept { return 2.0f * p - 1.0f; }

// The output of modulator 1 (AEG) to 8 (SEQ3) of a voice that has just started them.
float modulatorOutput(const Voice* v, uint16_t source) noexcept {
    if (!v) return 0.0f;
    switch (source) {
    case 1:
        return v->aeg.out;
    case 2:
        return v->env1.out;
    case 3:
        return v->env2.out;
    case 4:
        return v->lfo1.out;
    case 5:
        return v->lfo2.out;
    case 6:
        return v->seq1.out;
    case 7:
        return v->seq2.out;
    default:
        return v->seq3.out;
    }
}
}  // namespace

float noteSourceValue(Morvek& engine, const NoteContext& note, uint16_t source, bool& bipolar) {
    using Polarity = ModulationTables::Polarity;
    bipolar = ModulationTables::switcherPolarity(source) == Polarity::Bipolar;
    if (source == kSourceNone || source >= kSourceCount) return 0.0f;
    if (source <= kSourceLastModulator) return modulatorOutput(note.modulators, source);

    const Channel* ch = note.channel;
    if (source >= kSourceFirstParam) {
        const int cell = source - kSourceFirstParam;
        bipolar = engine.automationDefault(cell) != 0.0f;
        return engine.automation(cell).delta;
    }
    if (source >= kSourceFirstMidiCC) return ch ? ch->cc_value[std::size_t(source - kSourceFirstMidiCC)] : 0.0f;
    if (source >= kSourceFirstExternal) {
        const std::size_t index = std::size_t(source - kSourceFirstExternal);
        bipolar = engine.externalController[index].offset != 0;
        return ch ? ch->external[index] : 0.0f;
    }

    switch (source) {
    case kSourceKey:
        return bipolarPosition(clamp01(float(note.key) / 127.0f));
    case kSourceKeyGroup:
        return note.group ? bipolarPosition(position(note.key, note.group->range.lowKey, note.group->range.highKey))
                          : 0.0f;
    case kSourceKeyProgram:
        return note.program
                   ? bipolarPosition(position(note.key, note.program->range.lowKey, note.program->range.highKey))
                   : 0.0f;
    case kSourceVelocity:
        return clamp01(float(note.velocity) / 127.0f);
    case kSourceVelocityGroup:
        return note.group ? position(note.velocity, note.group->range.lowVel, note.group->range.highVel) : 0.0f;
    case kSourceVelocityProgram:
        return note.program ? position(note.velocity, note.program->range.lowVel, note.program->range.highVel)
                            : 0.0f;
    case kSourcePitchbend:
        return ch ? ch->bend : 0.0f;
    case kSourceModWheel:
        return ch ? ch->wheel : 0.0f;
    case kSourceChannelPressure:
        return ch ? ch->pressure_value : 0.0f;
    case kSourceAftertouch:
        // Not normalised: the raw pressure byte of the note's key.
        return ch ? float(ch->keys[note.channelKey() & 0x7F].pressure) : 0.0f;
    case kSourceRandom: {
        // The generator's next step, signed, without moving it: every source of one note reads
        // the same value, and the next note's draw gives another.
        const int32_t next = int32_t(uint32_t(int64_t(engine.randomState()) * 16807));
        return float(next) * kRandomScale;
    }
    case kSourceBpmRatio:
        return note.bpmRatio;
    default:
        return 0.0f;
    }
}

int noteSourceStep(float value, bool bipolar) {
    const float x = bipolar ? (value + 1.0f) * 127.0f * 0.5f : value * 127.0f;
    // Far outside 0..127 the exact step no longer matters; the bound keeps the conversion defined.
    constexpr float kBound = 1.0e6f;
    if (!(x > -kBound)) return -int(kBound);
    if (!(x < kBound)) return int(kBound);
    return int(std::round(x));
}

}  // namespace MV
