#pragma once
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/MidiListener.h"
#include "lib/RefCounted.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Channel;
class Morvek;

// Receives every audio block with the plug-in's inputs. It joins the engine as an audio tap, so it
// sees the block after the events of the block took effect on the channel records.
class SampleListener : public AudioTap {
public:
    // [audio-thread] [main-lock] `channelStates` are the engine's 17 channel records; `inputs` holds
    // a pointer per input channel, or is null when the plug-in has no input pair; `sidechain` may
    // be null.
    virtual void sample(const Channel* channelStates, const float* const* inputs, const float* const* sidechain,
                        int32_t frames) = 0;

    void onAudio(Morvek& engine, const float* const* inputs, float* const* outputs, int32_t count) final;
};

// A label and the name of the control that shows it.
struct SamplerControl {
    const char* label;
    const char* name;
};

// What happens to a finished take besides going into the bank.
struct TakeOptions {
    static constexpr SamplerControl kDetectPitch{"Detect pitch of new samples", "sampler-detect-pitch"};
    static constexpr SamplerControl kAutoMap{"Auto map new samples into new/selected group", "sampler-automap"};
    static constexpr SamplerControl kLowKey{"Auto mapping low key", "sampler-low-key"};
    static constexpr SamplerControl kHighKey{"Auto mapping high key", "sampler-high-key"};

    bool detectPitch = false;
    bool autoMap = false;
    uint8_t lowKey = 36;
    uint8_t highKey = 127;
};

// Where auto mapping puts a take. The editor maps it into the selected group, or a new group (and
// a new program when none is selected), and makes the whole of it one undoable action; the command
// gathers its takes into a program of their own.
class TakeMapper {
public:
    virtual ~TakeMapper() = default;
    // [ui-thread] Runs the mapping and the naming of one take as one undoable action.
    virtual void undoable(const std::function<void()>& steps) { steps(); }
    // [ui-thread] Maps `wave` (not yet in the bank) onto lowKey..highKey; returns the name of the
    // group or program it went into, which the wave is named after.
    virtual std::string map(const ZnLib::SharedRef<ZnPlug::Wave>& wave, uint8_t lowKey, uint8_t highKey) = 0;
    // [ui-thread] Adds the named take to the engine's bank; the base does it under the engine lock,
    // the editor as an action of the step.
    virtual void add(Morvek& engine, const ZnLib::SharedRef<ZnPlug::Wave>& wave);
    // [ui-thread] The take is named and in the bank.
    virtual void taken(const ZnLib::SharedRef<ZnPlug::Wave>& wave) { (void)wave; }
};

// Records the plug-in's two inputs into new waves. The audio thread only copies samples into
// blocks of 524288 frames per channel (one allocation per block, so no buffer ever moves while a
// take grows); the interface thread collects the blocks into a Wave once recording stops.
//
// Recording runs while the record button is on, or while an armed trigger holds: the host's
// transport, the input level (which latches the record button), a controller above 63 or a held
// key (the settings `samplerMidiCC`, `samplerMidiKey` and `samplerMidiChannel` name them). The
// sampler is one of the engine's listeners only while one of its six options is on.
class Sampler final : public SampleListener {
public:
    static constexpr uint32_t kBlockFrames = 0x80000;
    // Block pointers reserved whenever the sampler joins the engine, so that the audio thread
    // allocates nothing but blocks for the first 512 of them (more than an hour at 96 kHz).
    static constexpr std::size_t kReservedBlocks = 512;

    enum Option { kListen, kThresholdArmed, kTransportArmed, kRecord, kMidiCCArmed, kMidiKeyArmed, kOptionCount };
    static constexpr std::array<SamplerControl, kOptionCount> kOptionControls = {{
        {"Input listen", "sampler-listen"},
        {"Trigger sampling when input volume exceeds threshold", "sampler-trigg-threshold"},
        {"Trigger sampling on transport play", "sampler-trigg-transport"},
        {"Begin/end recording", "sampler-record"},
        {"Sample when Midi CC goes above 63", "sampler-use-midicc"},
        {"Sample when Midi note is held", "sampler-use-midikey"},
    }};
    static constexpr SamplerControl kChannelsControl{"Mono/Stereo", "sampler-mono"};
    static constexpr SamplerControl kThresholdControl{"Input volume threshold", "sampler-threshold-level"};

    // [ui-thread] Stereo, threshold 0, every option off: not yet listening.
    explicit Sampler(Morvek& engine);
    // [ui-thread] [takes-main-lock] Leaves the engine's listeners; a take not collected is lost.
    ~Sampler() override;
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    // [ui-thread] [takes-main-lock] The setters. Each joins or leaves the engine's listeners as
    // the options turn on or all off; leaving stops recording and clears the meters. Each throws
    // "Invalid host sample rate: " with the rate when the host has not given one.
    void setOption(Option option, bool on);
    void setListen(bool on) { setOption(kListen, on); }
    void setThresholdArmed(bool on) { setOption(kThresholdArmed, on); }
    void setTransportArmed(bool on) { setOption(kTransportArmed, on); }
    void setRecord(bool on) { setOption(kRecord, on); }
    void setMidiCCArmed(bool on) { setOption(kMidiCCArmed, on); }
    void setMidiKeyArmed(bool on) { setOption(kMidiKeyArmed, on); }
    // 1 (mono: only the first input) or 2; other counts are held to that range.
    void setChannels(uint32_t channels);
    // Linear level, compared with the RMS of a block.
    void setThreshold(float threshold);

    // [any-thread] Plain reads of what the setters and the audio thread left.
    bool option(Option option) const noexcept { return options_[option]; }
    uint32_t channels() const noexcept { return channels_; }
    float threshold() const noexcept { return threshold_; }
    // The state of the last block.
    bool recording() const noexcept { return recording_; }
    // [ui-thread] [takes-main-lock] RMS of the last block of input channel 0 or 1; 0 when the
    // meters do not run.
    float level(int channel) const;

    void sample(const Channel* channelStates, const float* const* inputs, const float* const* sidechain,
                int32_t frames) override;

    // [ui-thread] [takes-main-lock] The finished take as a new wave ("WAVE", no root, the host's
    // rate, the settings' `sampleFormat` for saving), or nothing while recording or without a
    // take. Throws "Invalid host sample rate: " with the rate truncated when it is 0.
    ZnLib::SharedRef<ZnPlug::Wave> takeWave();
    // [ui-thread] What the panel does when recording has stopped: takes the wave, detects its
    // pitch, maps it through `mapper` (when auto mapping), names it ("New Wave", or the group's
    // or program's name, and the root's note name) uniquely in the bank and adds it there. Nothing
    // without a take. Without a mapper nothing is mapped and there is no undo.
    ZnLib::SharedRef<ZnPlug::Wave> collectTake(const TakeOptions& options, TakeMapper* mapper = nullptr);

private:
    class StateGuard;
    struct Meter {
        double sum = 0;  // of squares
        uint32_t count = 0;
    };

    bool anyOption() const noexcept;
    void resetMeters() noexcept { meters_ = {}; }
    float* newBlock();

    uint32_t channels_ = 2;
    Morvek& engine_;
    std::vector<std::unique_ptr<float[]>> blocks_;
    uint32_t fill_ = 0;
    uint32_t blockChannels_ = 0;
    float threshold_ = 0;
    bool recording_ = false;
    std::array<Meter, 2> meters_{};
    std::array<bool, kOptionCount> options_{};
    bool joined_ = false;
};

}  // namespace MV
