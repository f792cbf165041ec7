#pragma once
#include <algorithm>
#include <vector>

#include "EngineFixture.h"
#include "plug/Wave.h"

namespace MV::Test {

// Two seconds of a constant mono signal at 44100 Hz, root C4: long enough that no voice of a
// test ends by itself.
inline ZnLib::SharedRef<ZnPlug::Wave> steadyWave(float level = 0.5f, uint32_t frames = 88200) {
    ZnPlug::SampleBuffer samples(frames, 1);
    std::fill(samples.channel(0), samples.channel(0) + frames, level);
    return ZnLib::makeRef<ZnPlug::Wave>(std::move(samples), 44100u, uint8_t(32), uint8_t(3),
                                        uint32_t(ZnPlug::kFormatWave), uint8_t(60), int8_t(0));
}

// An engine whose first slot (channel 1) plays a program of our own, and a host that feeds it
// events one block at a time.
struct TriggerRig {
    TriggerRig() : host(engine, 64) {
        program = ZnLib::makeRef<Program>("Test");
        engine.addProgram(program);
        slot().program = program;
    }

    ProgramSlot& slot(std::size_t i = 0) { return *engine.performance().slots[i]; }

    // A group over keys low..high holding the steady wave, with a release long enough to be seen.
    Group& addGroup(int low = 0, int high = 127, Program* into = nullptr) {
        auto group = ZnLib::makeRef<Group>();
        group->placeWave(wave, low, high);
        group->aeg.release = 0.5f;  // about 0.45 s
        Group& g = *group;
        (into ? *into : *program).addGroup(std::move(group));
        return g;
    }

    // A second slot on `channel` playing `p`.
    ProgramSlot& addSlot(uint8_t channel, ZnLib::SharedRef<Program> p) {
        auto s = ZnLib::makeRef<ProgramSlot>(channel, std::move(p));
        ProgramSlot& ref = *s;
        engine.performance().addSlot(std::move(s));
        return ref;
    }

    // Sends one event at offset 0 and renders one block.
    void send(uint8_t status, uint8_t d1, uint8_t d2) {
        auto e = event(status, d1, d2, 0);
        engine.processEvents(&e, 1);
        host.run(64);
    }
    void press(uint8_t key, uint8_t velocity = 100, uint8_t channel = 0) {
        send(uint8_t(0x90 | channel), key, velocity);
    }
    void release(uint8_t key, uint8_t channel = 0, uint8_t velocity = 64) {
        send(uint8_t(0x80 | channel), key, velocity);
    }
    void cc(uint8_t n, uint8_t value, uint8_t channel = 0) { send(uint8_t(0xB0 | channel), n, value); }
    void run(int blocks) {
        for (int i = 0; i < blocks; ++i) host.run(64);
    }

    // Voices that sound and have not entered their release.
    std::vector<Voice*> held() {
        std::vector<Voice*> out;
        for (int i = 0; i < engine.poolEnd(); ++i) {
            Voice& v = engine.voice(i);
            if (!v.idle() && v.state != Voice::kRelease) out.push_back(&v);
        }
        return out;
    }
    std::vector<Voice*> active() {
        std::vector<Voice*> out;
        for (int i = 0; i < engine.poolEnd(); ++i)
            if (!engine.voice(i).idle()) out.push_back(&engine.voice(i));
        return out;
    }
    // The one active voice of `key`, or null (also when there are several).
    Voice* voiceOf(uint8_t key, const Group* group = nullptr) {
        Voice* found = nullptr;
        for (Voice* v : active())
            if (v->key == key && (!group || v->group == group)) {
                if (found) return nullptr;
                found = v;
            }
        return found;
    }

    TestEngine engine;
    Host host;
    ZnLib::SharedRef<ZnPlug::Wave> wave = steadyWave();
    ZnLib::SharedRef<Program> program;
};

}  // namespace MV::Test
