#pragma once
#include <cstdint>

namespace MV {

class Morvek;
class Channel;
class Program;
class Group;
class Voice;

// What a note knows of itself when it starts: enough to read any modulation source as at note
// start, before the voice runs.
struct NoteContext {
    const Channel* channel = nullptr;
    const Program* program = nullptr;
    const Group* group = nullptr;
    uint8_t key = 60;  // with the slot's transpose
    uint8_t velocity = 0;
    float bpmRatio = 0;  // log2(host tempo / wave tempo), 0 without a wave tempo
    uint8_t playedKey = 255;  // the key as played, before the transpose; 255: the same as `key`
    // A voice whose modulators (AEG to SEQ3) have just been started for this note; without one
    // they read 0.
    const Voice* modulators = nullptr;

    // The key under which the channel keeps the note's history, pressure and count.
    uint8_t channelKey() const noexcept { return playedKey < 128 ? playedKey : key; }
};

// The raw value of modulation source `source` at note start, as switcher probes and wave matrix
// axes read it (velocities not squared). `bipolar` says whether the source counts as bipolar
// for them. Modulator outputs (AEG to SEQ3) are read from `note.modulators`. Unknown codes give 0.
// [audio-thread] [main-lock]
float noteSourceValue(Morvek& engine, const NoteContext& note, uint16_t source, bool& bipolar);

// A value of a source scaled onto 0..127 as switchers and matrix axes compare it: bipolar
// ((v + 1) * 127 / 2), else v * 127, rounded half away from zero.
int noteSourceStep(float value, bool bipolar);

}  // namespace MV
