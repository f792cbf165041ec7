#pragma once
#include <cstdint>

#include "lib/ModCounted.h"
#include "lib/RefCounted.h"
#include "plug/ProcessContext.h"

// The model's view of the effect units: what a performance's six FX places and a group's insert
// hold. The units themselves, with their parameters and signal processing, derive from these.
namespace MV::FX {

// A send effect on one of the six buses of a performance.
class Effect : public ZnLib::_RefCounted<int, int>, public ZnLib::ModCounted {
public:
    explicit Effect(int32_t type) noexcept : type(type) {}
    Effect(const Effect&) = default;
    Effect& operator=(const Effect&) = default;

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

    int32_t type;  // index into the effect type names
    bool mute = false;
    bool bypass = false;
    uint8_t output = 7;  // routing number: 0 none, 1 to 6 "FX1" to "FX6", 7 to 18 the outputs
};

// An insert effect of a group: run once per voice, inside the voice, by a processor it owns.
class Insert : public ZnLib::_RefCounted<int, int>, public ZnLib::ModCounted {
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
        bool wantsStereo() const noexcept { return stereo; }

        int32_t type;
        bool stereo;
    };

    explicit Insert(int32_t type) noexcept : type(type) {}
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

    int32_t type;  // index into the insert type names
};

}  // namespace MV::FX
