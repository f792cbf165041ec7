#pragma once
#include <cstdint>

namespace ZnPlug {
class Wave;
}

namespace MV {

class Morvek;
class Channel;
class Program;
class ProgramSlot;
class Group;
class WaveMatrix;

// One voice of the pool: a started note that reads a wave and mixes into the buses. A plain
// record, built once with the engine and reused; it holds plain pointers into the model, which
// stay valid because whatever frees an item first silences the voices that read it.
class Voice {
public:
    enum State : uint8_t { kIdle = 0, kAttack = 1, kDecay1 = 2, kDecay2 = 3, kSustain = 4, kRelease = 5 };
    enum Flags : uint8_t { kHeldBySustain = 1, kHeldBySostenuto = 2, kKeyReleased = 4, kDead = 8 };
    static constexpr uint8_t kNoKey = 255;

    bool idle() const noexcept { return state == kIdle; }

    // [audio-thread] [main-lock] Adds `count` samples into the engine's buses from `offset`.
    void render(Morvek& engine, int32_t offset, int32_t count);
    // [audio-thread or ui-thread] [main-lock] Stops at once, without fade.
    void kill() noexcept;
    // True when one of the voice's modulation slots reads an automation cell.
    bool readsAutomation() const noexcept { return auto_sources != 0; }

    uint8_t state = kIdle;
    uint8_t flags = 0;
    uint8_t key = kNoKey;
    int8_t velocity = 0;
    uint32_t note_number = 0;  // the engine's note counter at start: the voice's age
    int32_t smooth_left = 0;   // samples of control smoothing still to run
    uint32_t auto_sources = 0;
    Channel* channel = nullptr;
    const Program* program = nullptr;
    const ProgramSlot* slot = nullptr;
    const Group* group = nullptr;
    const ZnPlug::Wave* wave = nullptr;
    const WaveMatrix* matrix = nullptr;
};

}  // namespace MV
