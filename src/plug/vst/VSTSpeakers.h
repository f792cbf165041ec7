#pragma once
#include <cstdint>
#include <vector>

#include "plug/AudioPlugin.h"
#include "plug/vst/VstAbi.h"

namespace ZnPlug {

// The plug-in's pins as speaker arrangements: the host's layout turned into buses, and the
// buses described back to the host in two records kept for it.
class VSTSpeakers {
public:
    // [ui-thread] Records with room for every pin of the plug-in.
    explicit VSTSpeakers(AudioPlugin& plugin);

    // [ui-thread][takes-main-lock] Applies the host's output arrangement: pins beyond its channel
    // count go inactive, pins take the speakers' names and buses are made from the layout.
    // False (nothing changed) when the record cannot be read or has more channels than pins.
    bool apply(const void* hostRecord);
    // [ui-thread][takes-main-lock] Describes both pin vectors; the records stay valid until the
    // next call.
    void describe(Vst::VstSpeakerArrangement*& inputs, Vst::VstSpeakerArrangement*& outputs);

    // The speaker type of position `position` of a bus shape (kSpeakerUndefined beyond it).
    static int32_t speakerType(int32_t shape, int32_t position) noexcept;

private:
    struct Record {
        explicit Record(int32_t pins);
        Vst::VstSpeakerArrangement* get() noexcept { return reinterpret_cast<Vst::VstSpeakerArrangement*>(words.data()); }
        std::vector<uint64_t> words;
    };
    void fill(Record& record, AudioPlugin::Direction direction);

    AudioPlugin& plugin_;
    Record inputs_;
    Record outputs_;
};

}  // namespace ZnPlug
