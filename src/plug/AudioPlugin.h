#pragma once
#include <bitset>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "lib/RefCounted.h"
#include "plug/BusInfo.h"
#include "plug/HostTime.h"
#include "plug/PluginEditor.h"
#include "plug/ProcessContext.h"

namespace ZnPlug {

// The host-neutral plug-in: everything a host adapter (VST, or the `morvek` command) drives, and
// all that the engine sees of a host. Nothing here knows VST.
//
// Locking: the recursive main lock guards everything structural (pins, buses, rate, block size)
// and is held for the whole audio call; the parameter lock guards only the parameter vector, so
// automation can go on while a structural change holds the main lock.
class AudioPlugin : public ZnLib::_RefCounted<int, int> {
public:
    class Parameter;
    class ParameterGroup;
    class Dispatcher;

    enum class Direction { Input, Output };

    static constexpr int32_t kDefaultInputPins = 2;
    static constexpr int32_t kDefaultOutputPins = 16;
    // Room for the program-changed marks of every MIDI channel record (17 in the engine).
    static constexpr std::size_t kMaxChannelMarks = 32;

    // [ui-thread] Pins start active, each pin vector filled with default buses from pin 0.
    explicit AudioPlugin(int32_t inputPins = kDefaultInputPins, int32_t outputPins = kDefaultOutputPins);
    ~AudioPlugin() override;
    AudioPlugin(const AudioPlugin&) = delete;
    AudioPlugin& operator=(const AudioPlugin&) = delete;

    // ---- virtual operations, in slot order; every default is harmless ----

    // [ui-thread][main-lock] Adjusts a proposed bus; true if accepted as is, false if it adjusted.
    virtual bool checkOutputBus(BusInfo& bus);
    virtual bool checkInputBus(BusInfo& bus);
    // [any-thread][main-lock] After any change of rate, block size or bypass.
    virtual void reconfigure() {}
    // [ui-thread][main-lock]
    virtual void suspend() {}
    virtual void resume() {}
    // [ui-thread][main-lock] Before the first audio call / before the plug-in goes away.
    virtual void open() {}
    virtual void close() {}
    // [ui-thread] From the host's editor idle.
    virtual void idle() {}
    // [ui-thread][main-lock] After a list of input / output buses has been added.
    virtual void inputsChanged() {}
    virtual void outputsChanged() {}
    // [ui-thread] A Parameter was put into slot `index`.
    virtual void parameterAdded(int32_t index) { (void)index; }
    // [any-thread] Host automation of an index; the base stores it nowhere.
    virtual void setParameter(int32_t index, float value);
    virtual float getParameter(int32_t index);
    // [ui-thread] "Param%03d" with the index.
    virtual std::string defaultParameterName(int32_t index);
    virtual std::string parameterName(int32_t index);
    // [audio-thread][main-lock] Accumulates into the outputs; the base does nothing.
    virtual void process(const float* const* inputs, float* const* outputs, int32_t count);
    // [audio-thread][main-lock] Clears every output pin not connected to `discard`, then process().
    virtual void processReplacing(const float* const* inputs, float* const* outputs, int32_t count);
    // [audio-thread][main-lock] Timed events of the coming block.
    virtual void processEvents(const MidiEvent* events, int32_t count);
    // [ui-thread][main-lock] State chunks: write into `out` / read `data`; `context` is the
    // host's project chunk path or empty. False when the plug-in has no such chunk.
    virtual bool getProgramChunk(std::ostream& out, const std::string& context);
    virtual bool setProgramChunk(std::span<const uint8_t> data, const std::string& context);
    virtual bool getBankChunk(std::ostream& out, const std::string& context);
    virtual bool setBankChunk(std::span<const uint8_t> data, const std::string& context);
    // [ui-thread] The name of a key on a channel record; false when it has none.
    virtual bool midiKeyName(int32_t channelIndex, uint8_t key, std::string& name);
    // [ui-thread] Programs as the host's program list sees them.
    virtual int32_t programCount() { return n_programs; }
    virtual void setProgram(int32_t index) { (void)index; }
    virtual int32_t currentProgram() { return 0; }
    virtual void setCurrentProgramName(const std::string& name);
    virtual std::string currentProgramName();
    virtual void setProgramName(int32_t index, const std::string& name);
    virtual std::string programName(int32_t index);
    // [ui-thread] The MIDI program lists: names by program, and per channel record.
    virtual void setMidiProgramName(int32_t index, const std::string& name);
    virtual std::string midiProgramName(int32_t index);
    virtual std::string channelProgramName(int32_t channelIndex);
    // Program number on a channel record, or -1.
    virtual int32_t channelProgram(int32_t channelIndex);
    virtual int32_t midiChannelCount() { return 0; }
    virtual int32_t midiProgramCount() { return 0; }
    // MIDI channel of a channel record; 16 means all channels.
    virtual uint8_t midiChannelOf(int32_t channelIndex);

    // ---- what host adapters call ----

    // [any-thread][takes-main-lock] Stores rate, 1 / rate and 44100 / rate, then reconfigure().
    void applySampleRate(double rate);
    // [any-thread][takes-main-lock] Nothing when unchanged; else new silence, discard and scratch
    // buffers of the new size, then reconfigure().
    void applyBlockSize(int32_t size);
    // [ui-thread][takes-main-lock] Stores the flag; reconfigure() when it changed.
    void setBypass(bool on);

    // [audio-thread][takes-main-lock] One audio call of the host: reads its time (valid fields
    // only), points the flat channel vector at the host's buffers (silence / discard for
    // inactive pins and null pointers), renders min(count, block_size) frames and, if the
    // plug-in did not move the transport itself, advances it by the host's full count. `time`
    // may be null. `inputs` / `outputs` hold one pointer per pin (either may be null when the
    // plug-in has no such pins).
    void audioCall(const float* const* inputs, float* const* outputs, int32_t count, bool replacing,
                   const HostTime* time, bool offline);

    // [ui-thread][takes-main-lock] Adds buses one after the other (see addBus), then tells the
    // plug-in and the host: resume() and outputsChanged() for outputs, suspend() and
    // inputsChanged() for inputs.
    void addBuses(Direction direction, std::span<const BusInfo> buses);
    // [ui-thread][takes-main-lock] One bus: bounds checked ("Invalid bus" for a negative start,
    // "start" / "pins" out of range), adjusted by checkOutputBus / checkInputBus and checked again,
    // default buses re-created for the pins that overlapped buses lose, the new bus given its pins.
    void addBus(Direction direction, BusInfo bus);
    // [ui-thread][takes-main-lock] Turns the pins [first, first + count) into default buses:
    // pairs "S %d+%d", a last single pin "M %d" (1-based pin numbers).
    void makeDefaultBuses(Direction direction, int32_t first, int32_t count);
    // [ui-thread][takes-main-lock] Marks pins active or inactive (an inactive pin is silence /
    // discard in the audio call).
    void setPinActive(Direction direction, int32_t index, bool active);
    void setPinName(Direction direction, int32_t index, const std::string& name);

    // [any-thread][main-lock] Pins; "index" for a pin out of range.
    const std::vector<PinInfo>& pins(Direction direction) const noexcept;
    const PinInfo& pin(Direction direction, int32_t index) const;
    int32_t inputCount() const noexcept { return int32_t(inputs_.size()); }
    int32_t outputCount() const noexcept { return int32_t(outputs_.size()); }

    // ---- parameters ----

    // [ui-thread][param-lock] Appends a Parameter (tells it its index, then parameterAdded);
    // "null parameter" for a null one. Returns the index.
    int32_t addParameter(ZnLib::SharedRef<Parameter> parameter);
    // [ui-thread][param-lock] Fills slot `index` (growing the vector with empty slots).
    void setParameterAt(int32_t index, ZnLib::SharedRef<Parameter> parameter);
    // [ui-thread][param-lock] Grows or shrinks the vector; new slots are empty.
    void setParameterCount(int32_t count);
    // [any-thread][param-lock] Length of the vector: the host's parameter count.
    int32_t parameterCount();
    // [any-thread][param-lock] The Parameter of a slot, or empty.
    ZnLib::SharedRef<Parameter> parameterAt(int32_t index);

    // [any-thread][param-lock] The host's set: the slot's Parameter first (its group told), then
    // always setParameter().
    void hostSetParameter(int32_t index, float value);
    // [any-thread][param-lock] The slot's Parameter value, else getParameter().
    float hostGetParameter(int32_t index);
    // [ui-thread][param-lock] The slot's Parameter text, else getParameter() as "%.02f".
    std::string parameterDisplay(int32_t index);
    // [ui-thread][param-lock] The slot's Parameter name, else parameterName().
    std::string parameterNameAt(int32_t index);
    // [ui-thread][param-lock] Parses text into the slot's Parameter; false without one or when
    // the text does not parse.
    bool parameterFromText(int32_t index, const std::string& text);

    // [ui-thread] The group of this name (its full name), made (numbered from 1) if missing.
    ZnLib::SharedRef<ParameterGroup> parameterGroup(const std::string& name, ParameterGroup* parent = nullptr);
    // [ui-thread] The group whose full name is `fullName`, or empty.
    ZnLib::SharedRef<ParameterGroup> findParameterGroup(const std::string& fullName) const;
    const std::vector<ZnLib::SharedRef<ParameterGroup>>& parameterGroups() const noexcept { return groups_; }

    // ---- program-changed marks of the MIDI program lists ----

    // [any-thread][main-lock] Marks one channel record's lists, or all programs.
    void markProgramChanged(int32_t channelIndex);
    void markAllProgramsChanged() noexcept { all_programs_changed_ = true; }
    // [ui-thread][main-lock] Clears the all-programs flag and both marks of the channel; true if
    // any of the three was set.
    bool takeProgramsChanged(int32_t channelIndex);

    // ---- plain state ----

    std::recursive_mutex& mainLock() noexcept { return main_lock_; }
    std::mutex& parameterLock() noexcept { return param_lock_; }
    ProcessContext& context() noexcept { return context_; }
    const ProcessContext& context() const noexcept { return context_; }
    Dispatcher* dispatcher() const noexcept { return dispatcher_; }
    // [ui-thread] The adapter that holds this plug-in sets itself here (not counted).
    void setDispatcher(Dispatcher* d) noexcept { dispatcher_ = d; }
    const ZnLib::SharedRef<PluginEditor>& editor() const noexcept { return editor_; }
    bool bypass() const noexcept { return bypass_; }
    bool isOffline() const noexcept { return is_offline_; }
    // Block-sized buffers: read by unconnected inputs, written by unconnected outputs.
    const float* silence() const noexcept { return silence_.data(); }
    float* discard() noexcept { return discard_.data(); }
    // The flat channel vector of the last audio call: all inputs, then all outputs.
    const std::vector<float*>& channels() const noexcept { return channels_; }
    // Block-sized scratch buffers, kept at the block size.
    float* scratch(std::size_t i) noexcept { return scratch_[i].data(); }
    std::size_t scratchCount() const noexcept { return scratch_.size(); }

    // What the host is told at creation.
    int32_t kind = 1;  // 1 instrument
    int32_t initial_delay = 0;
    bool midi_events = true;
    bool has_chunks = true;
    bool midi_programs = true;
    int32_t n_programs = 64;

protected:
    // [ui-thread][takes-main-lock] How many block-sized scratch buffers the plug-in wants.
    void setScratchCount(std::size_t count);
    // [ui-thread] The editor, made by the derived plug-in.
    void setEditor(ZnLib::SharedRef<PluginEditor> e) { editor_ = std::move(e); }

private:
    std::vector<PinInfo>& pinsOf(Direction direction) noexcept;
    void checkBusBounds(Direction direction, const BusInfo& bus) const;
    void assignBus(std::vector<PinInfo>& pins, const std::shared_ptr<const BusInfo>& bus);
    ZnLib::SharedRef<Parameter> slot(int32_t index);

    std::recursive_mutex main_lock_;
    std::mutex param_lock_;
    bool bypass_ = false;
    bool is_offline_ = false;
    ProcessContext context_;
    std::vector<std::vector<float>> scratch_;
    std::vector<ZnLib::SharedRef<Parameter>> parameters_;
    std::vector<ZnLib::SharedRef<ParameterGroup>> groups_;
    Dispatcher* dispatcher_ = nullptr;
    std::vector<PinInfo> inputs_;
    std::vector<PinInfo> outputs_;
    std::vector<float*> channels_;
    bool all_programs_changed_ = false;
    std::bitset<kMaxChannelMarks> program_name_marks_;
    std::bitset<kMaxChannelMarks> current_program_marks_;
    std::vector<float> silence_;
    std::vector<float> discard_;
    ZnLib::SharedRef<PluginEditor> editor_;
};

// A host-visible, automatable value in a slot of the parameter vector. Values are normalised.
class AudioPlugin::Parameter : public ZnLib::_RefCounted<int, int> {
public:
    ~Parameter() override;
    // [any-thread][param-lock]
    virtual void set(float value) = 0;
    virtual float get() const = 0;
    virtual float defaultValue() const { return 0.0f; }
    virtual float minValue() const { return 0.0f; }
    virtual float maxValue() const { return 1.0f; }
    virtual int32_t steps() const { return 100; }
    // The group this parameter is listed under by the host, or null.
    virtual ParameterGroup* group() const { return group_.get(); }
    // Moves the parameter into a group (or none), keeping both member counts.
    virtual void setGroup(ZnLib::SharedRef<ParameterGroup> group);
    virtual std::string name() const = 0;
    // The host's two text slots beside the value.
    virtual std::string label() const { return {}; }
    virtual std::string shortLabel() const { return label(); }
    // The value as "%.02f".
    virtual std::string displayText() const;
    // Scans one float from the text and sets it; false if nothing was scanned.
    virtual bool setFromText(const std::string& text);
    // Called with the slot index when the parameter enters the vector.
    virtual void setIndex(int32_t index) { index_ = index; }

    int32_t index() const noexcept { return index_; }

private:
    ZnLib::SharedRef<ParameterGroup> group_;
    int32_t index_ = -1;
};

// A category of parameters as the host lists them.
class AudioPlugin::ParameterGroup : public ZnLib::_RefCounted<int, int> {
public:
    // The full name is the parent's full name, a blank, and `ownName`.
    ParameterGroup(const std::string& ownName, ParameterGroup* parent, int32_t number);
    ~ParameterGroup() override;

    const std::string& name() const noexcept { return name_; }
    ParameterGroup* parent() const noexcept { return parent_.get(); }
    // 1-based position in the plug-in's list.
    int32_t number() const noexcept { return number_; }
    int32_t memberCount() const noexcept { return members_; }
    // [any-thread][param-lock] A member was set by the host; the base does nothing.
    virtual void memberSet(Parameter& member, float value);

private:
    friend class AudioPlugin::Parameter;
    std::string name_;
    ZnLib::SharedRef<ParameterGroup> parent_;
    int32_t number_;
    int32_t members_ = 0;
};

// What the plug-in may ask of its host. The VST adapter turns each call into a host callback;
// every call is [ui-thread] unless the plug-in says otherwise.
class AudioPlugin::Dispatcher {
public:
    virtual ~Dispatcher() = default;
    virtual void beginEdit(int32_t index) = 0;
    virtual void endEdit(int32_t index) = 0;
    virtual void automate(int32_t index, float value) = 0;
    virtual void parameterChanged(int32_t index) = 0;
    virtual void inputsChanged() = 0;
    virtual void outputsChanged() = 0;
    // True only if the host resized its window.
    virtual bool resizeEditor(int32_t width, int32_t height) = 0;
    virtual void updateDisplay() = 0;
    virtual void programChanged(int32_t index) = 0;
    virtual void bankChanged(int32_t index) = 0;
};

}  // namespace ZnPlug
