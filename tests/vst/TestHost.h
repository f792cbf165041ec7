#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "plug/vst/VstAbi.h"

namespace MorvekTest {

// A small VST 2.4 host: loads a plug-in through an entry point, answers its callbacks the way
// Linux hosts do (version 2400, a running transport, rate, block size, process level, chunk
// file) and drives it block by block.
class TestHost {
public:
    struct Note {
        uint8_t status, data1, data2;
        int32_t offset;
    };

    // The entry point of the built Morvek.so (dlopen'd once per process).
    static ZnPlug::Vst::EntryProc moduleEntry();
    static void* moduleSymbol(const char* name);

    // Calls `entry`; effect() is null when the plug-in refused.
    explicit TestHost(ZnPlug::Vst::EntryProc entry, double rate = 48000, int32_t blockSize = 256);
    ~TestHost();
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    ZnPlug::Vst::AEffect* effect() const noexcept { return effect_; }
    intptr_t call(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr, float opt = 0.0f);
    std::string text(int32_t opcode, int32_t index = 0);

    // effOpen, rate, block size, resume, start: what hosts do before the first block.
    void open();
    // effStopProcess, suspend, effClose.
    void close();
    // effProcessEvents with these MIDI events.
    void send(const std::vector<Note>& notes);
    // One processReplacing of `count` frames into outputs pre-filled with `fill`; the transport
    // then moves on by `count`.
    void process(int32_t count, float fill = 0.0f);
    float out(int pin, int frame) const { return outputs_[std::size_t(pin)][std::size_t(frame)]; }

    // What the host answers.
    double rate;
    int32_t blockSize;
    int32_t processLevel = ZnPlug::Vst::kVstProcessLevelRealtime;
    std::string chunkFile;
    ZnPlug::Vst::VstTimeInfo time{};
    // Every opcode the plug-in sent to this host, in order.
    std::vector<int32_t> asked;

private:
    static intptr_t callback(ZnPlug::Vst::AEffect* effect, int32_t opcode, int32_t index, intptr_t value, void* ptr,
                             float opt);
    intptr_t answer(int32_t opcode, intptr_t value, void* ptr);

    ZnPlug::Vst::AEffect* effect_ = nullptr;
    std::vector<std::vector<float>> inputs_, outputs_;
};

}  // namespace MorvekTest
