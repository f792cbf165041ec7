#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "engine/Channel.h"
#include "engine/EffectBuses.h"
#include "engine/InsertPool.h"
#include "plug/WaveFormatHandler.h"
#include "engine/EngineSettings.h"
#include "engine/MidiListener.h"
#include "engine/OutputMeter.h"
#include "engine/RouteTable.h"
#include "engine/Voice.h"
#include "engine/VoiceLanes.h"
#include "model/Bank.h"
#include "persist/Settings.h"
#include "plug/AudioPlugin.h"

namespace MV {

// The engine: the one object that is the plug-in. It is the live bank, and owns the channel
// records, the voice pool, the event queue, the FX bus buffers and the meters. One host audio
// call becomes one `process`: events split the block sample-accurately, voices render between
// them, and the FX buses run for each segment.
//
// Threads: the host's audio thread enters through process / processEvents with the main lock
// held by the frame; the UI thread edits the bank under the same lock. Automation cells are
// written without a lock.
class Morvek : public ZnPlug::AudioPlugin, public Bank {
public:
    static constexpr int kVoices = 128;
    static constexpr int kChannels = 17;  // 16 MIDI channels and the record they all fall back to
    static constexpr int kAutomationCells = 128;
    static constexpr std::size_t kEventReserve = 1024;

    // Both bases are reference counted; the plug-in's count is the one that owns the engine.
    using ZnPlug::AudioPlugin::addRef;
    using ZnPlug::AudioPlugin::refCount;
    using ZnPlug::AudioPlugin::dropRef;
    // The progress reports of a load keep their names beside the audio call's process().
    using ProcessCallbacks::process;

    // [ui-thread] Builds the engine: opens the settings store (creating "settings.ini" when it
    // is missing), takes its start values and the defaults of a new bank from it, and makes a
    // default performance "New Performance" with one slot on channel 1 holding a "New Program".
    Morvek();
    // [ui-thread] The same, with start values given by the caller instead of the store's.
    explicit Morvek(const EngineSettings& settings);
    ~Morvek() override;

    // ---- AudioPlugin ----
    // [ui-thread] [main-lock] The first 8 pins are stereo pairs only; the last 8 may be mono.
    bool checkOutputBus(ZnPlug::BusInfo& bus) override;
    // [ui-thread] [main-lock] Inputs are always one stereo pair.
    bool checkInputBus(ZnPlug::BusInfo& bus) override;
    // [any-thread] [main-lock] After a change of rate, block size or bypass.
    void reconfigure() override;
    // [ui-thread] [main-lock] Output buses changed: the named outputs follow.
    void outputsChanged() override;
    // [any-thread] [lock-free] Writes an automation cell (index < 128) and counts the move.
    void setParameter(int32_t index, float value) override;
    float getParameter(int32_t index) override;
    // [audio-thread] [main-lock] One block; see the class comment.
    void process(const float* const* inputs, float* const* outputs, int32_t count) override;
    // [audio-thread] [main-lock] Appends to the queue, re-sorting (stably) when out of order.
    void processEvents(const ZnPlug::MidiEvent* events, int32_t count) override;
    // [ui-thread] The performances as the host's program list.
    int32_t programCount() override;
    // [any-thread] [takes-main-lock] Switches performance: stops the old buses' units, prepares
    // the new ones. Voices already playing go on.
    void setProgram(int32_t index) override;
    int32_t currentProgram() override;
    void setProgramName(int32_t index, const std::string& name) override;
    std::string programName(int32_t index) override;
    // [ui-thread] The program slots of the current performance as channel records.
    int32_t midiChannelCount() override;
    uint8_t midiChannelOf(int32_t channelIndex) override;
    std::string channelProgramName(int32_t channelIndex) override;
    int32_t channelProgram(int32_t channelIndex) override;
    // [ui-thread] The bank's programs as the MIDI program list.
    int32_t midiProgramCount() override;
    std::string midiProgramName(int32_t index) override;
    void setMidiProgramName(int32_t index, const std::string& name) override;
    // [ui-thread] The name of what key `key` plays in program slot `channelIndex`: the wave or
    // matrix of the first group whose range holds it. True without a name below every group.
    bool midiKeyName(int32_t channelIndex, uint8_t key, std::string& name) override;

    // ---- host state (EngineState.cpp) ----
    // [ui-thread] [main-lock] The whole bank, or the current performance with all it uses, as a
    // state block written to `out`; `context` is the host's project chunk path (its folder is the
    // project folder) or empty. The program form is false, writing nothing, when there is no
    // current performance. Throws the writer's texts.
    bool getBankChunk(std::ostream& out, const std::string& context) override;
    bool getProgramChunk(std::ostream& out, const std::string& context) override;
    // [ui-thread] [takes-main-lock] Reads a state block into a bank of its own and only then hands
    // it over under the main lock: a bank state replaces the bank, a program state adds its items
    // and makes its performance current. Throws the reader's texts ("Bad RIFF chunk", "Address out
    // of bounds", ...) and leaves the engine as it was.
    bool setBankChunk(std::span<const uint8_t> data, const std::string& context) override;
    bool setProgramChunk(std::span<const uint8_t> data, const std::string& context) override;
    // [ui-thread] The same as bytes, for callers without a stream; empty when there is nothing.
    std::vector<uint8_t> getChunk(bool isProgram, const std::string& context = {});
    // [ui-thread] [takes-main-lock] False with the reason in lastChunkError() when the state is
    // refused; the engine keeps what it had.
    bool setChunk(const void* data, std::size_t size, bool isProgram, const std::string& context = {});
    const std::string& lastChunkError() const noexcept { return chunkError_; }
    // The instance's identifier: names its folder inside a host's project folder. A new one for
    // every engine; a bank state brings back the one it was saved with.
    const std::string& instanceId() const noexcept { return instanceId_; }
    void setInstanceId(std::string id) { instanceId_ = std::move(id); }

    // ---- what the interface calls ----
    // [ui-thread] [takes-main-lock] A note at offset 0 of the next block (keys and velocities
    // below 128 only), queued before the first event with a larger offset.
    void noteOn(uint8_t channel, uint8_t key, uint8_t velocity);
    void noteOff(uint8_t channel, uint8_t key);
    // [ui-thread] [takes-main-lock] All sound off / all notes off on a channel (16 all).
    void soundOff(uint8_t channel);
    void notesOff(uint8_t channel);
    // [ui-thread] [main-lock] Silences every voice that reads the item, before it may be freed.
    void killVoices(const Program* program);
    void killVoices(const Group* group);
    void killVoices(const ZnPlug::Wave* wave);
    void killVoices(const WaveMatrix* matrix);
    void killVoices(const ProgramSlot* slot);
    void killVoices(const Performance* performance);
    void killAllVoices();

    // [ui-thread] [takes-main-lock] Takes over a loaded bank: its four lists, its current
    // performance and its bank-wide values. The voices of the old content are silenced first, the
    // old buses' units released and the new ones prepared.
    void adoptBank(const Bank& loaded);
    // [ui-thread] [takes-main-lock] Puts `unit` (or nothing) on bus 0 to 5 of the performance:
    // the old unit is released and, on the playing performance, the new one prepared.
    void setSendEffect(Performance& performance, int bus, ZnLib::SharedRef<FX::Effect> unit);
    // [ui-thread] [takes-main-lock] Gives the group its insert; playing voices of the group take
    // the new values, or play on without an insert when its type changed.
    void setInsert(Group& group, ZnLib::SharedRef<FX::Insert> unit);

    // [ui-thread] [main-lock] Listeners and taps are called in registration order.
    void addMidiListener(MidiListener* listener);
    void removeMidiListener(MidiListener* listener);
    void addAudioTap(AudioTap* tap);
    void removeAudioTap(AudioTap* tap);

    // [audio-thread] The engine whose block is running on this thread, or null.
    static Morvek* current() noexcept;

    // ---- state for the voices, the interface and tests ----
    struct AutomationCell {
        float value = 0;
        float delta = 0;
    };
    // [ui-thread] Every bus and insert bypassed, for comparisons; set before rendering.
    bool effectsOff = false;

    const EngineSettings& settings() const noexcept { return settings_; }
    // The user's preferences: places, bank defaults, save options.
    Settings& store() noexcept { return store_; }
    Performance& performance() noexcept { return *currentPerformance; }
    Channel& channel(int index) noexcept { return channels_[std::size_t(index)]; }
    Voice& voice(int index) noexcept { return voices_[std::size_t(index)]; }
    Voice& probeVoice() noexcept { return probe_; }
    int poolEnd() const noexcept { return pool_end_; }
    uint32_t noteCounter() const noexcept { return note_counter_; }
    const std::vector<ZnPlug::MidiEvent>& eventQueue() const noexcept { return queue_; }
    const AutomationCell& automation(int index) const noexcept { return automation_[std::size_t(index)]; }
    // Defaults against which an automation move is measured.
    void setAutomationDefault(int index, float value) noexcept { automationDefaults_[std::size_t(index)] = value; }
    int32_t automationMoved() const noexcept { return automation_moved_; }
    const OutputMeter& meter(int pin) const noexcept { return meters_[std::size_t(pin)]; }
    const RouteTable& routes() const noexcept { return routes_; }
    EffectBuses& effectBuses() noexcept { return buses_; }
    uint8_t interpolationOverride() const noexcept { return interpolation_override_; }
    float lastRandom() const noexcept { return last_random_; }
    // [audio-thread] [main-lock] Draws the next random number into lastRandom().
    float drawRandom() noexcept;
    void setRandomSeed(int32_t seed) noexcept { rng_state_ = seed; }
    int32_t randomState() const noexcept { return rng_state_; }
    float automationDefault(int index) const noexcept { return automationDefaults_[std::size_t(index)]; }

    // The lanes of the voice that is rendering, and of the second of a pair.
    VoiceLanes& lanes() noexcept { return lanes_; }
    VoiceLanes& pairLanes() noexcept { return pair_lanes_; }
    InsertPool& insertPool() noexcept { return inserts_; }
    // [ui-thread] [main-lock] Ready processors for the inserts the bank's groups use; after a
    // change of inserts, rate or block size.
    void prepareInserts();

    // ---- note handling (MorvekNotes.cpp) ----
    // [audio-thread] [main-lock] Note on through every slot listening on the event's channel;
    // true when a voice started. A release trigger fires the groups in "Release" mode.
    bool noteOn(const ZnPlug::MidiEvent& event, bool isRelease);
    // [audio-thread] [main-lock] Releases the voices of the key, then fires the release groups.
    void noteOff(const ZnPlug::MidiEvent& event);
    // [audio-thread] [main-lock] Controller change: stores it, then what the fixed controllers do.
    void controller(const ZnPlug::MidiEvent& event);
    // [audio-thread] [main-lock] Key released: returns a mono voice to a held key, or lets the
    // voice enter its release (unless a pedal holds it).
    void releaseVoice(Voice& voice);
    // [audio-thread] [main-lock] The voice a new note of this slot and group takes.
    Voice* pickVoice(const Program& program, const Group& group, const ProgramSlot& slot);
    // [audio-thread] [main-lock] The first idle voice below pool_end, else the one at pool_end
    // (which grows); null when the pool is full. The takeover of a playing voice copies it here.
    Voice* findFreeVoice() noexcept;

protected:
    // [any-thread] [main-lock] The editor's shell is told that the current performance changed.
    virtual void performanceChanged();
    // [audio-thread] [main-lock] The voice at pool_end, which grows by one; null when the pool
    // is full.
    Voice* claimVoice() noexcept { return pool_end_ < kVoices ? &voices_[std::size_t(pool_end_++)] : nullptr; }
    // [audio-thread] [main-lock] The age number of a newly started note.
    uint32_t nextNoteNumber() noexcept { return ++note_counter_; }

private:
    struct FromStore {};
    Morvek(FromStore, const EngineSettings* given);

    // Renders every playing voice for n samples from `offset`, then moves the transport on.
    void renderVoices(int32_t offset, int32_t n);
    // Dispatches one event; sets `end` and `pendingProgram` for a program change that must wait.
    bool dispatch(const ZnPlug::MidiEvent& event, int32_t& end, int32_t& pendingProgram);
    void programChange(const ZnPlug::MidiEvent& event, int32_t& end, int32_t& pendingProgram);
    void refreshRoutes();
    void queueEvent(const ZnPlug::MidiEvent& event);
    // One slot's part of a note on: the groups of its program that take the note start voices.
    bool slotNoteOn(ProgramSlot& slot, const ZnPlug::MidiEvent& event, bool isRelease);
    // A mono or legato voice whose key went up moves to a held key, when one fits the group.
    bool returnToHeldKey(Voice& voice);
    template <typename Pred>
    void killVoicesIf(Pred pred) {
        for (Voice& v : voices_)
            if (!v.idle() && pred(v)) v.kill();
    }
    int32_t performanceIndex(const Performance* performance) const;

    Settings store_;
    EngineSettings settings_;
    VoiceLanes lanes_;
    VoiceLanes pair_lanes_;
    InsertPool inserts_;
    // REX loops are offered while the handler lives: as long as the plug-in.
    std::shared_ptr<ZnPlug::WaveFormatHandler> rex_;
    double insertsRate_ = 0;
    int32_t insertsBlock_ = 0;
    std::array<float, kAutomationCells> automationDefaults_{};
    std::array<Channel, kChannels> channels_;
    std::array<Voice, kVoices> voices_{};
    Voice probe_;
    int pool_end_ = 0;
    uint32_t note_counter_ = 0;
    std::array<OutputMeter, 16> meters_{};
    std::vector<ZnPlug::MidiEvent> queue_;
    std::array<AutomationCell, kAutomationCells> automation_{};
    // The cells as effect parameters bound to them read them.
    class AutomationView final : public ZnPlug::AssignableAutomation {
    public:
        explicit AutomationView(const Morvek& engine) : engine_(engine) {}
        float automationValue(int32_t index) const override { return engine_.automation(index).value; }
        float automationDelta(int32_t index) const override { return engine_.automation(index).delta; }

    private:
        const Morvek& engine_;
    };
    AutomationView automationView_{*this};
    int32_t automation_moved_ = 0;
    std::array<float*, 16> outputBuffers_{};
    EffectBuses buses_;
    RouteTable routes_;
    int32_t rng_state_ = 1;
    float last_random_ = 0;
    std::vector<MidiListener*> listeners_;
    std::vector<AudioTap*> taps_;
    uint8_t interpolation_override_ = 0;
    std::string instanceId_ = newInstanceId();
    std::string chunkError_;

    static std::string newInstanceId();
    // [ui-thread] [takes-main-lock] The hand-over of a state that read without fault.
    void takeState(const Bank& loaded, bool programOnly);
};

}  // namespace MV
