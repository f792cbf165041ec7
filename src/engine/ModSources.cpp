#include "engine/ModSources.h"

#include "engine/Morvek.h"
#include "engine/NoteSources.h"
#include "engine/Voice.h"
#include "model/ModulationTables.h"

namespace MV {

namespace {
// The minimal standard generator's multiplier, and its state scaled to -1..1: 1 / (2^31 - 1).
constexpr int64_t kRandomMultiplier = 16807;
constexpr float kRandomScale = 4.656613e-10f;

const float* modulatorOutput(const Voice& v, uint16_t source) noexcept {
    switch (source) {
    case kSourceAeg:
        return &v.aeg.out;
    case kSourceEnv1:
        return &v.env1.out;
    case kSourceEnv2:
        return &v.env2.out;
    case kSourceLfo1:
        return &v.lfo1.out;
    case kSourceLfo2:
        return &v.lfo2.out;
    case kSourceSeq1:
        return &v.seq1.out;
    case kSourceSeq2:
        return &v.seq2.out;
    default:
        return &v.seq3.out;
    }
}
}  // namespace

float ModSources::drawRandom(Morvek& engine) noexcept {
    // The product is taken in 64 bits and cut back, so that the wrap is defined.
    const auto next = int32_t(uint32_t(int64_t(engine.randomState()) * kRandomMultiplier));
    engine.setRandomSeed(next);
    return float(next) * kRandomScale;
}

float ModSources::noteStartValue(Morvek& engine, const NoteContext& note, uint16_t source) {
    bool bipolar = false;
    const float v = noteSourceValue(engine, note, source, bipolar);
    // Velocities act squared, so that soft notes spread wider than loud ones.
    const bool velocity = source >= kSourceVelocity && source <= kSourceVelocityProgram;
    return velocity ? v * v : v;
}

const float* ModSources::pointer(Morvek& engine, Voice& voice, const NoteContext& note, uint16_t source,
                                 float& local) {
    if (source == kSourceNone || source >= kSourceCount) return nullptr;
    if (source <= kSourceLastModulator) return modulatorOutput(voice, source);
    if (source >= kSourceFirstParam) return &engine.automation(source - kSourceFirstParam).delta;
    if (source <= kSourceVelocityProgram) {
        local = noteStartValue(engine, note, source);
        return &local;
    }
    if (source == kSourceRandom) {
        local = drawRandom(engine);
        return &local;
    }
    if (source == kSourceAftertouch) return &voice.aftertouch;
    if (source == kSourceBpmRatio) return &voice.bpm_ratio;
    const Channel* ch = voice.channel;
    if (!ch) return nullptr;
    if (source >= kSourceFirstMidiCC) return &ch->cc_value[std::size_t(source - kSourceFirstMidiCC)];
    if (source >= kSourceFirstExternal) return &ch->external[std::size_t(source - kSourceFirstExternal)];
    switch (source) {
    case kSourcePitchbend:
        return &ch->bend;
    case kSourceModWheel:
        return &ch->wheel;
    default:
        return &ch->pressure_value;
    }
}

}  // namespace MV
