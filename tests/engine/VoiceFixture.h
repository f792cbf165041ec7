#pragma once
#include <cmath>
#include <cstdint>
#include <utility>

#include "EngineFixture.h"
#include "plug/Wave.h"

namespace MV::Test {

// A wave of `frames` frames whose channel c holds gen(c, i), root key 60 unless told.
template <class Gen>
ZnLib::SharedRef<ZnPlug::Wave> makeWave(uint32_t frames, uint8_t channels, Gen gen, uint32_t rate = 44100,
                                        uint8_t root = 60) {
    ZnPlug::SampleBuffer buffer(frames, channels);
    for (unsigned c = 0; c < channels; ++c)
        for (uint32_t i = 0; i < frames; ++i) buffer.channel(c)[i] = gen(c, i);
    return ZnLib::makeRef<ZnPlug::Wave>(std::move(buffer), rate, 32, 3, ZnPlug::kFormatWave, root, 0);
}

// Frame i of a ramp that no two frames share: what a read of the wrong frame shows at once.
inline float rampValue(uint32_t i) { return float(i) * 0.001f; }

// An engine whose default slot plays one group of one wave over all keys, at unity level with
// "Draft" reading, and a host that runs its audio calls.
struct VoiceRig {
    explicit VoiceRig(ZnLib::SharedRef<ZnPlug::Wave> w, int32_t blockSize = 256) : host(engine, blockSize) {
        wave = std::move(w);
        slot = engine.performance().slots[0].get();
        program = slot->program.get();
        group = ZnLib::makeRef<Group>();
        group->amp = 1.0f;
        group->interpolation = kInterpolationDraft;
        group->splits[0].setWave(wave);
        program->addGroup(group);
    }

    // Starts a pool voice for `key` on channel 1; null when the start failed.
    Voice* start(uint8_t key, uint8_t velocity = 127, const ProgramSlot* onSlot = nullptr) {
        Voice* v = engine.findFreeVoice();
        const ProgramSlot& s = onSlot ? *onSlot : *slot;
        if (!v || !v->start(engine, engine.channel(0), s, *group, *program, key, velocity, 0, engine.nextNoteNumber(),
                            false))
            return nullptr;
        return v;
    }
    // Sets loop 0 of the wave and lets the group's split play it.
    void setLoop(uint32_t start, uint32_t end, ZnPlug::LoopMode mode) {
        wave->loops = {ZnPlug::Loop(start, end, mode)};
        group->splits[0].loop = 0;
        group->splits[0].release = 0;
    }

    TestEngine engine;
    Host host;
    ZnLib::SharedRef<ZnPlug::Wave> wave;
    ZnLib::SharedRef<Group> group;
    ProgramSlot* slot = nullptr;
    Program* program = nullptr;
};

}  // namespace MV::Test
