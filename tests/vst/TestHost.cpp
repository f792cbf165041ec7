#include "vst/TestHost.h"

#include <dlfcn.h>

#include <cstring>
#include <stdexcept>

namespace MorvekTest {

using namespace ZnPlug::Vst;

namespace {
// The host being constructed: the plug-in may call back before its AEffect exists.
thread_local TestHost* g_opening = nullptr;
}  // namespace

void* TestHost::moduleSymbol(const char* name) {
    static void* module = [] {
        void* m = dlopen(MORVEK_VST_PATH, RTLD_NOW | RTLD_LOCAL);
        if (!m) throw std::runtime_error(std::string("dlopen: ") + dlerror());
        return m;
    }();
    return dlsym(module, name);
}

EntryProc TestHost::moduleEntry() { return reinterpret_cast<EntryProc>(moduleSymbol("VSTPluginMain")); }

TestHost::TestHost(EntryProc entry, double rate, int32_t blockSize) : rate(rate), blockSize(blockSize) {
    time.sampleRate = rate;
    time.tempo = 120;
    time.timeSigNumerator = time.timeSigDenominator = 4;
    g_opening = this;
    effect_ = entry(&TestHost::callback);
    g_opening = nullptr;
    // resvd1 is the host's: it leads callbacks back to their host.
    if (effect_) effect_->resvd1 = reinterpret_cast<intptr_t>(this);
}

TestHost::~TestHost() {
    if (effect_) close();
}

intptr_t TestHost::callback(AEffect* effect, int32_t opcode, int32_t, intptr_t value, void* ptr, float) {
    TestHost* host = effect && effect->resvd1 ? reinterpret_cast<TestHost*>(effect->resvd1) : g_opening;
    return host ? host->answer(opcode, value, ptr) : 0;
}

intptr_t TestHost::answer(int32_t opcode, intptr_t value, void* ptr) {
    asked.push_back(opcode);
    switch (opcode) {
    case audioMasterVersion: return kVstVersion;
    case audioMasterGetSampleRate: return intptr_t(rate);
    case audioMasterGetBlockSize: return blockSize;
    case audioMasterGetCurrentProcessLevel: return processLevel;
    case audioMasterGetTime:
        // Like real hosts, fill only what was asked for (plus the transport bits).
        time.flags = (time.flags & (kVstTransportPlaying | kVstTransportCycleActive)) |
                     (int32_t(value) & (kVstTempoValid | kVstTimeSigValid | kVstPpqPosValid));
        time.ppqPos = time.samplePos / rate * time.tempo / 60.0;
        return reinterpret_cast<intptr_t>(&time);
    case audioMasterGetChunkFile:
        if (chunkFile.empty()) return 0;
        std::strncpy(static_cast<char*>(ptr), chunkFile.c_str(), kChunkFilePathLen - 1);
        return 1;
    default: return 0;
    }
}

intptr_t TestHost::call(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt) {
    return effect_->dispatcher(effect_, opcode, index, value, ptr, opt);
}

std::string TestHost::text(int32_t opcode, int32_t index) {
    char buf[256] = {};
    call(opcode, index, 0, buf);
    return buf;
}

void TestHost::open() {
    call(effOpen);
    call(effSetSampleRate, 0, 0, nullptr, float(rate));
    call(effSetBlockSize, 0, blockSize);
    call(effMainsChanged, 0, 1);
    call(effStartProcess);
}

void TestHost::close() {
    call(effStopProcess);
    call(effMainsChanged, 0, 0);
    call(effClose);
    effect_ = nullptr;
}

void TestHost::send(const std::vector<Note>& notes) {
    std::vector<VstMidiEvent> events(notes.size());
    // A header and as many pointers as there are events, as hosts build it.
    std::vector<intptr_t> block(2 + notes.size());
    auto* list = reinterpret_cast<VstEvents*>(block.data());
    list->numEvents = int32_t(notes.size());
    for (std::size_t i = 0; i < notes.size(); ++i) {
        VstMidiEvent& e = events[i];
        e = VstMidiEvent{};
        e.type = kVstMidiType;
        e.byteSize = sizeof e;
        e.deltaFrames = notes[i].offset;
        e.midiData[0] = char(notes[i].status);
        e.midiData[1] = char(notes[i].data1);
        e.midiData[2] = char(notes[i].data2);
        block[2 + i] = reinterpret_cast<intptr_t>(&e);
    }
    call(effProcessEvents, 0, 0, list);
}

void TestHost::process(int32_t count, float fill) {
    inputs_.assign(std::size_t(effect_->numInputs), std::vector<float>(std::size_t(count), 0.0f));
    outputs_.assign(std::size_t(effect_->numOutputs), std::vector<float>(std::size_t(count), fill));
    std::vector<float*> in, out;
    for (auto& b : inputs_) in.push_back(b.data());
    for (auto& b : outputs_) out.push_back(b.data());
    effect_->processReplacing(effect_, in.data(), out.data(), count);
    time.samplePos += count;
}

}  // namespace MorvekTest
