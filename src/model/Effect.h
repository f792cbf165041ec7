#pragma once
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "lib/ModCounted.h"
#include "lib/RefCounted.h"
#include "plug/AssignableAutomation.h"
#include "plug/ProcessContext.h"
#include "plug/VParam.h"

// The model's view of the effect units: what a performance's six FX places and a group's insert
// hold. The units themselves, with their parameters and signal processing, derive from these.
namespace MV::FX {

// The `type` texts of `fx` and `insert` elements; the index is the unit's type.
inline constexpr std::array<const char*, 9> EffectTypeNames = {
    "None", "Reverb", "Delay", "Phaser", "Chorus", "Flanger", "Distortion", "AlienWah", "Equalizer"};
inline constexpr std::array<const char*, 11> InsertTypeNames = {"None",       "Bassline", "Bitcrusher", "Compressor",
                                                                "Phaser",     "Chorus",   "Flanger",    "Distortion",
                                                                "Saturation", "Gloubi",   "AlienWah"};

// What every unit has: its type and a numbered list of parameters for documents and the editor.
template <typename Type, const auto& Names>
class Unit : public ZnLib::_RefCounted<int, int>, public ZnLib::ModCounted {
public:
    Unit(int32_t type, int32_t paramCount) noexcept : type(type), paramCount(paramCount) {}
    Unit(const Unit&) = default;
    Unit& operator=(const Unit&) = default;

    // [ui-thread] Parameter `index`; "Invalid param N" at or past paramCount.
    const ZnPlug::VParamBase& param(int index) const { return const_cast<Unit*>(this)->param(index); }
    virtual ZnPlug::VParamBase& param(int index) { throw invalidParam(index); }

    const char* typeName() const noexcept {
        return type >= 0 && std::size_t(type) < Names.size() ? Names[std::size_t(type)] : "";
    }

    int32_t type;  // index into the names
    int32_t paramCount;

protected:
    static std::invalid_argument invalidParam(int index) {
        return std::invalid_argument("Invalid param " + std::to_string(index));
    }
};

enum class EffectType : int32_t { None, Reverb, Delay, Phaser, Chorus, Flanger, Distortion, AlienWah, Equalizer };
enum class InsertType : int32_t {
    None, Bassline, Bitcrusher, Compressor, Phaser, Chorus, Flanger, Distortion, Saturation, Gloubi, AlienWah
};

// A send effect on one of the six buses of a performance.
class Effect : public Unit<EffectType, EffectTypeNames> {
public:
    explicit Effect(int32_t type, int32_t paramCount = 0) noexcept : Unit(type, paramCount) {}
    Effect(const Effect&) = default;
    Effect& operator=(const Effect&) = default;

    // The units, defined with the engine.
    class Reverb;
    class Delay;
    class Phaser;
    class Chorus;
    class Flanger;
    class Distortion;
    class AlienWah;
    class Equalizer;

    // A new unit of the same type with the same parameters, mute, bypass and output.
    virtual ZnLib::SharedRef<Effect> clone() const = 0;
    // On a change of sample rate or block size; allocates the delay lines.
    // [audio-thread or ui-thread] [main-lock]
    virtual void prepare(const ZnPlug::ProcessContext& context) = 0;
    // Frees what prepare allocated. [main-lock]
    virtual void release() = 0;
    // Processes `frames` frames from `start` of the inputs into the outputs.
    // [audio-thread] [main-lock]; allocates nothing.
    virtual void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                         int32_t channels) = 0;
    // Value of parameter `index`: 0 wet, 1 dry gain, 2 output level, then the unit's own.
    virtual float parameter(int index) const = 0;
    // [audio-thread] [main-lock] Parameters bound to an automation cell take the cell's value.
    virtual void follow(const ZnPlug::AssignableAutomation& cells) { (void)cells; }

    bool mute = false;
    bool bypass = false;
    uint8_t output = 7;  // routing number: 0 none, 1 to 6 "FX1" to "FX6", 7 to 18 the outputs
};

// An insert effect of a group: run once per voice, inside the voice, by a processor it owns.
class Insert : public Unit<InsertType, InsertTypeNames> {
public:
    // The voice's own running state of an insert.
    class Processor : public ZnLib::_RefCounted<int, int> {
    public:
        Processor(int32_t type, bool stereo) noexcept : type(type), stereo(stereo) {}
        // In place over `buffers`; par1 and par2 hold one modulation value per frame.
        // [audio-thread] [main-lock]; allocates nothing.
        virtual void process(float* const* buffers, int32_t start, int32_t frames, int32_t channels,
                             const float* par1, const float* par2) = 0;
        // Takes the changeable parameters of `insert`, which must be of the same type.
        virtual void update(const Insert& insert) = 0;
        virtual void reset() {}
        // Zeroes the running state (delay lines, filter memories) of a processor that a new note
        // reuses, without allocating. [audio-thread] [main-lock]
        virtual void clear() {}
        bool wantsStereo() const noexcept { return stereo; }

        int32_t type;
        bool stereo;
    };

    explicit Insert(int32_t type, int32_t paramCount = 0) noexcept : Unit(type, paramCount) {}

    // The units, defined with the engine.
    class Bassline;
    class Bitcrusher;
    class Compressor;
    class Phaser;
    class Chorus;
    class Flanger;
    class Distortion;
    class Saturation;
    class Gloubi;
    class AlienWah;
    Insert(const Insert&) = default;
    Insert& operator=(const Insert&) = default;

    // True when a one-channel voice must be widened to two channels before processing.
    virtual bool wantsStereo() const = 0;
    // A new unit of the same type with the same parameters.
    virtual ZnLib::SharedRef<Insert> clone() const = 0;
    // A voice's processor for this insert; empty when the unit processes nothing.
    virtual ZnLib::SharedRef<Processor> createProcessor(const ZnPlug::ProcessContext& context) const {
        (void)context;
        return {};
    }
    // The base value of a modulation destination "Insert Par 1" (index 0) or "Insert Par 2".
    virtual float modulationBase(int index, float value) const {
        (void)index;
        return value;
    }
};

}  // namespace MV::FX
