#pragma once
#include <array>
#include <vector>

#include "engine/Morvek.h"

namespace MV::Test {

// A send effect that adds a constant to its input, and counts what the engine asked of it.
struct ConstEffect : FX::Effect {
    explicit ConstEffect(float level, uint8_t dest = 7) : Effect(1), level(level) { output = dest; }
    ZnLib::SharedRef<Effect> clone() const override { return ZnLib::makeRef<ConstEffect>(*this); }
    void prepare(const ZnPlug::ProcessContext&) override { ++prepared; }
    void release() override { ++released; }
    void process(const float* const* in, float* const* out, int32_t start, int32_t frames, int32_t) override {
        ++processed;
        lastFrames = frames;
        for (int32_t k = start; k < start + frames; ++k) {
            out[0][k] = in[0][k] + level;
            out[1][k] = in[1][k] + level;
        }
    }
    float parameter(int index) const override { return index == 1 ? dry : index == 2 ? gain : 1.0f; }

    float level;
    float dry = 0.5f;
    float gain = 1.0f;
    int prepared = 0, released = 0, processed = 0, lastFrames = 0;
};

// The engine with the voice hooks the triggering code will use, opened for tests.
struct TestEngine : Morvek {
    using Morvek::claimVoice;
    using Morvek::nextNoteNumber;
};

// Sixteen output buffers and a helper that runs one host audio call.
struct Host {
    explicit Host(Morvek& engine, int32_t blockSize = 256) : engine(engine) {
        engine.applyBlockSize(blockSize);
        for (auto& b : buffers) b.assign(std::size_t(blockSize), 9.0f);
        for (std::size_t i = 0; i < 16; ++i) pointers[i] = buffers[i].data();
    }
    void run(int32_t count) {
        ZnPlug::HostTime time;
        time.flags = ZnPlug::HostTime::kTempoValid;
        time.tempo = 120;
        engine.audioCall(nullptr, pointers.data(), count, true, &time, false);
    }
    float at(int pin, int frame) const { return buffers[std::size_t(pin)][std::size_t(frame)]; }

    Morvek& engine;
    std::array<std::vector<float>, 16> buffers;
    std::array<float*, 16> pointers{};
};

inline ZnPlug::MidiEvent event(uint8_t status, uint8_t d1, uint8_t d2, int32_t offset) {
    ZnPlug::MidiEvent e;
    e.status = status;
    e.data1 = d1;
    e.data2 = d2;
    e.offset = offset;
    return e;
}

}  // namespace MV::Test
