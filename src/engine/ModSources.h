#pragma once
#include <cstdint>

namespace MV {

class Morvek;
class Voice;
struct NoteContext;

// Where a voice's modulation slot reads its source. Modulators, channel values and automation
// cells are read live through a pointer; what is fixed at note start (key, velocity, random) is
// computed once into the slot's own storage, and the pointer goes there.
class ModSources {
public:
    // [audio-thread] [main-lock] The value of `source` for `voice`: a live pointer, or `local`
    // after the note-start value is stored in it. Null when the voice cannot have the source.
    // "Random" draws a new value from the engine's generator at every call.
    static const float* pointer(Morvek& engine, Voice& voice, const NoteContext& note, uint16_t source, float& local);

    // [audio-thread] [main-lock] The value of source 9 to 14 as a modulation: keys from -1 to 1,
    // velocities squared.
    static float noteStartValue(Morvek& engine, const NoteContext& note, uint16_t source);
    // [audio-thread] [main-lock] The next value of the engine's generator as "Random" reads it:
    // signed, -1 to 1.
    static float drawRandom(Morvek& engine) noexcept;
};

}  // namespace MV
