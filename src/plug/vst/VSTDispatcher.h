#pragma once
#include <cstdint>
#include <string>

#include "lib/RefCounted.h"
#include "plug/AudioPlugin.h"
#include "plug/vst/ChunkBuffer.h"
#include "plug/vst/VSTSpeakers.h"
#include "plug/vst/VstAbi.h"

namespace ZnPlug {

// The VST 2.4 face of one plug-in instance: owns the AEffect record the host holds, turns the
// host's opcodes and audio calls into AudioPlugin operations, and the plug-in's requests into
// host callbacks. Holds one count on the plug-in; effClose deletes the dispatcher.
//
// Every entry from the host runs guarded: an exception is logged and the call answers 0.
class VSTDispatcher final : public AudioPlugin::Dispatcher {
public:
    // [ui-thread] Fills the AEffect from the plug-in (pins, parameters, programs, flags) and the
    // version header (unique id, version); all pins start active.
    VSTDispatcher(Vst::HostCallback host, ZnLib::SharedRef<AudioPlugin> plugin);
    ~VSTDispatcher() override;
    VSTDispatcher(const VSTDispatcher&) = delete;
    VSTDispatcher& operator=(const VSTDispatcher&) = delete;

    Vst::AEffect* effect() noexcept { return &effect_; }
    AudioPlugin& plugin() noexcept { return *plugin_; }
    // The dispatcher behind an AEffect this class made.
    static VSTDispatcher* of(Vst::AEffect* effect) noexcept;

    // [any-thread] One opcode; see the opcode table in the .cpp. Throws what the plug-in throws;
    // the AEffect entry guards it.
    intptr_t dispatch(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
    // [audio-thread][takes-main-lock] process / processReplacing: host level and time, then the
    // plug-in's audio call.
    void audio(float** inputs, float** outputs, int32_t count, bool replacing);

    // ---- AudioPlugin::Dispatcher: requests to the host ----
    void beginEdit(int32_t index) override;
    void endEdit(int32_t index) override;
    void automate(int32_t index, float value) override;
    void parameterChanged(int32_t index) override;
    void inputsChanged() override;
    void outputsChanged() override;
    bool resizeEditor(int32_t width, int32_t height) override;
    void updateDisplay() override;
    void programChanged(int32_t index) override;
    void bankChanged(int32_t index) override;

private:
    intptr_t callHost(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr, float opt = 0.0f);
    // The path of the project's chunk file from the host (opcode 48), or empty.
    std::string chunkFile();

    void open();
    intptr_t getChunk(bool bank, void* ptr);
    intptr_t setChunk(bool bank, intptr_t size, const void* ptr);
    intptr_t processEvents(const Vst::VstEvents* events);
    intptr_t pinProperties(AudioPlugin::Direction direction, int32_t index, Vst::VstPinProperties* props);
    intptr_t parameterProperties(int32_t index, Vst::VstParameterProperties* props);
    intptr_t editGetRect(Vst::ERect** rect);
    intptr_t editOpen(void* parent);
    intptr_t editKey(bool down, int32_t character, intptr_t virtualKey, float modifiers);
    intptr_t midiProgramName(Vst::MidiProgramName* name);
    intptr_t currentMidiProgram(int32_t midiChannel, Vst::MidiProgramName* name);
    intptr_t midiKeyName(int32_t midiChannel, Vst::MidiKeyName* key);
    // The first channel record that listens on a MIDI channel, or -1.
    int32_t channelIndexOf(int32_t midiChannel);

    Vst::AEffect effect_{};
    Vst::HostCallback host_;
    ZnLib::SharedRef<AudioPlugin> plugin_;
    Vst::ChunkBuffer chunk_;
    VSTSpeakers speakers_;
    Vst::ERect rect_{};
    int32_t knobMode_ = 0;
};

}  // namespace ZnPlug
