#pragma once
#include "plug/ProcessContext.h"

namespace MV {

class Morvek;

// Told of every MIDI event after it took effect; `played` is true when a note started a voice.
// [audio-thread] [main-lock]: must not allocate or block.
class MidiListener {
public:
    virtual ~MidiListener() = default;
    virtual void onMidi(Morvek& engine, const ZnPlug::MidiEvent& event, bool played) = 0;
};

// Sees the finished audio of every block, in registration order (the live sampler records here).
// [audio-thread] [main-lock]: must not allocate or block.
class AudioTap {
public:
    virtual ~AudioTap() = default;
    virtual void onAudio(Morvek& engine, const float* const* inputs, float* const* outputs, int32_t count) = 0;
};

}  // namespace MV
