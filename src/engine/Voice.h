#pragma once
#include <array>
#include <cstdint>

#include "engine/Aeg.h"
#include "engine/Envelope.h"
#include "engine/FastMath.h"
#include "engine/Lfo.h"
#include "engine/ModMatrix.h"
#include "engine/Sequencer.h"
#include "engine/VoiceFilter.h"
#include "engine/VoiceLanes.h"
#include "lib/RefCounted.h"
#include "model/Effect.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Morvek;
class Channel;
class Program;
class ProgramSlot;
class Group;
class Split;
class WaveMatrix;
struct Output;
struct VoiceLanes;

// One voice of the pool: a started note that reads a wave and mixes into the buses. A plain
// record, built once with the engine and reused; it holds plain pointers into the model, which
// stay valid because whatever frees an item first silences the voices that read it. Its state is
// the amplitude envelope's: 0 idle, 1 attack, 2 decay 1, 3 decay 2, 4 sustain, 5 release.
//
// Threads: everything here runs on the audio thread under the main lock, except kill(), which the
// UI thread also calls under that lock before it frees what the voice reads.
class Voice {
public:
    enum State : uint8_t { kIdle = 0, kAttack = 1, kDecay1 = 2, kDecay2 = 3, kSustain = 4, kRelease = 5 };
    enum Flags : uint8_t { kHeldBySustain = 1, kHeldBySostenuto = 2, kKeyReleased = 4, kDead = 8 };
    static constexpr uint8_t kNoKey = 255;
    static constexpr int32_t kNoLoop = -1;
    static constexpr std::size_t kModSlots = 16;

    // The modulation destinations that the voice itself reads, cleared at note start and, for
    // those with per-sample sources, at every sample.
    struct Destinations {
        float pitch = 0;
        float pitch_raw = 0;
        float pan = 0;
        float volume = 0;
        float glide = 0;
        float wave_start = 0;
        float delay = 0;
        float loop_start = 0;
        float loop_end = 0;
        float loop_dir = 0;
        float insert1 = 0;
        float insert2 = 0;
        float send1 = 0;
        float send2 = 0;
        float send3 = 0;
    };

    // The voice filter with its accumulators filter_freq, filter_res and filter_drive.
    using FilterState = VoiceFilter;

    // [audio-thread] [main-lock] Starts (or, in mono and legato, retargets) this voice for a
    // note of `key` as played (the sounding key adds the slot's transpose). False when the note
    // is refused by note priority or the sound cannot play; the voice is then idle, unless it
    // was refused and plays on. `probe` prepares only what reading a source at note start needs,
    // never touching the pool: the switcher test on the engine's probe voice.
    bool start(Morvek& engine, Channel& channel, const ProgramSlot& slot, const Group& group, const Program& program,
               uint8_t key, uint8_t velocity, int8_t detune, uint32_t noteNumber, bool probe);
    // [audio-thread] [main-lock] Adds `count` samples into the engine's routes from `offset`.
    void render(Morvek& engine, int32_t offset, int32_t count);
    // [audio-thread] [main-lock] render() of `a` and then of `b`, with the same samples in the
    // routes, but sub-block by sub-block side by side so that their filters can share a pass.
    static void renderPair(Morvek& engine, Voice& a, Voice& b, int32_t offset, int32_t count);
    // [audio-thread] [main-lock] The key went up and no pedal holds the voice: the envelope
    // releases (unless the group plays "Oneshot" or "Release"), and the wave takes its release
    // loop.
    void enterRelease(Morvek& engine);
    // [audio-thread or ui-thread] [main-lock] Stops at once, without fade.
    void kill() noexcept;
    // [audio-thread] [main-lock] Fades out within 5 ms and no longer follows edits of its group.
    void fastRelease(Morvek& engine) noexcept;
    bool idle() const noexcept { return state == kIdle; }
    // True when one of the voice's modulation slots reads an automation cell.
    bool readsAutomation() const noexcept { return auto_sources != 0; }

    Destinations dest;
    FilterState filter;
    Aeg aeg;
    Envelope env1;
    Envelope env2;
    Lfo lfo1;
    Lfo lfo2;
    Sequencer seq1;
    Sequencer seq2;
    Sequencer seq3;

    const Program* program = nullptr;
    const Group* group = nullptr;
    Channel* channel = nullptr;
    const ZnPlug::Wave* wave = nullptr;
    const Output* output = nullptr;
    const WaveMatrix* matrix = nullptr;  // null unless the split holds a matrix
    const ProgramSlot* slot = nullptr;

    double position = 0;    // frames of the wave; the fraction is the interpolation phase
    double delay_left = 0;  // samples before the voice sounds

    // Results of the static modulation, folded in at note start.
    float static_volume = 0;
    float static_gain = 1;
    float static_pan = 0;
    float static_insert1 = 0;
    float static_insert2 = 0;
    std::array<float, 3> static_send{};
    float static_pitch = 0;  // octaves, part of glide_target

    float wave_rate = 1;     // the wave's rate / 44100
    float pitch_ratio = 1;
    float glide_target = 0;  // octaves
    float glide_pitch = 0;   // octaves
    float glide_step = 0;    // octaves per sample
    float last_pitch = 0;    // the pitch from which pitch_ratio was computed
    float bpm_ratio = 0;     // log2(host tempo / wave tempo), 0 when the wave has no tempo
    float aftertouch = 0;    // the key's pressure, 0 to 127

    std::array<float, 2> declick_value{};
    std::array<float, 2> declick_slope{};
    std::array<float, 2> last_out{};
    std::array<float, 2> prev_out{};

    uint8_t key = kNoKey;  // as played, without the slot's transpose
    uint8_t velocity = 0;
    uint8_t state = kIdle;
    // Cumulative ends of the audio, control and static runs in `slots`.
    int8_t n_audio = 0;
    int8_t n_control = 0;
    int8_t n_static = 0;
    // The control lanes that the audio and control runs write sample by sample, a bit for each
    // VoiceLanes index; the others hold one value per sub-block.
    uint16_t lane_mask = 0;

    uint32_t group_mod_count = 0;  // the group's modification count when last read
    int32_t loop_index = kNoLoop;
    int32_t release_loop_index = kNoLoop;
    uint32_t note_number = 0;  // the engine's note counter at start: the voice's age
    int32_t smooth_left = 0;   // samples of control smoothing still to run
    uint32_t auto_sources = 0;
    uint32_t declick_left = 0;
    uint8_t matrix_x = 0;
    uint8_t matrix_y = 0;
    uint8_t interpolation = 1;   // the effective code from group to engine default
    uint8_t velocity_curve = 1;  // the effective code
    uint8_t flags = 0;
    float direction = 0;  // 0 forward, -1 backward: the running loop direction

    std::array<ModSlot, kModSlots> slots{};
    ZnLib::SharedRef<FX::Insert::Processor> processor;

    // What the block pass needs to know of the slots, made at its first use after they were
    // built (VoiceBlockPlan.cpp). Whatever rebuilds or moves the slots clears `ready`.
    struct BlockPlan {
        static constexpr std::size_t kLaneFields = VoiceLanes::kLaneCount - VoiceLanes::kFilterFreq;
        bool ready = false;
        bool usable = false;      // the audio slots move only lanes and pitch
        bool pitchMoves = false;  // an audio slot moves the pitch
        uint8_t read = 0;         // modulators whose outputs audio slots read, AEG as bit 0
        uint8_t fieldCount = 0;
        std::array<float*, kModSlots> fields{};  // the destinations of the audio and control runs
        std::array<bool, kModSlots> moves{};     // by field: an audio slot moves it
        std::array<int8_t, kModSlots> accOf{};   // by slot: its field
        std::array<int8_t, kModSlots> sourceOf{};  // by audio slot: the modulator it reads, or -1
        std::array<int8_t, kModSlots> viaOf{};
        std::array<int8_t, kLaneFields> laneField{};  // by lane from kFilterFreq: its moving field, or -1
        int8_t pitchField = -1;
        int8_t rawField = -1;
    };
    BlockPlan block_plan;

private:
    struct Call;

    // ---- start (Voice.cpp) ----
    // The whole running sound moves to a free voice that fades it out, so the new note starts
    // without a click; with no free voice it just stops.
    void handOver(Morvek& engine);
    void startProbe(Morvek& engine, Channel& channel, const ProgramSlot& slot, const Group& group,
                    const Program& program, uint8_t key, uint8_t velocity);
    void pickOutput(Morvek& engine, const ProgramSlot& slot, const Group& group);
    void prepareInsert(Morvek& engine, const Group& group, bool fresh);
    // Reads the wave matrix's cell for this note: the wave, its loop and its release loop.
    void resolveMatrix(Morvek& engine, WaveMatrix& m, uint8_t playedKey, uint8_t soundingKey);
    void keepLoopsOfWave();
    void placePosition(bool fresh, const ZnPlug::Wave* oldWave, int32_t oldLoop, double oldPosition,
                       double rateRatio);
    // Pitch at note start in octaves, and the glide from the previous key.
    void tune(Morvek& engine, const Split& split, uint8_t soundingKey, int8_t detune, uint8_t previousKey,
              uint8_t playedKey);
    // False when the start offset leaves nothing to play.
    bool applyStartAndDelay(Morvek& engine);
    void applyFades(uint8_t soundingKey);

    // ---- modulation steps ----
    // Re-reads the group: the envelopes', LFOs', sequencers' and filter's setups.
    void refreshFromGroup(Morvek& engine);
    // Turns the group's modulation table into slots, sorted into audio, control and static runs.
    void buildModulationSlots(Morvek& engine, uint8_t playedKey, uint8_t soundingKey);
    // Fresh modulators: the envelopes' attacks, the LFOs' and sequencers' phases by their sync
    // mode (VoiceModulators.cpp, like the three below).
    void startModulators(Morvek& engine);
    // The setups of ENV1 to SEQ3 and of the filter from the group, part of refreshFromGroup.
    void setupModulators(Morvek& engine);
    // ENV1 to SEQ3 by bit, in their stepping order.
    enum ModulatorBits : uint8_t {
        kEnv1Bit = 1,
        kEnv2Bit = 2,
        kLfo1Bit = 4,
        kLfo2Bit = 8,
        kSeq1Bit = 16,
        kSeq2Bit = 32,
        kSeq3Bit = 64,
        kAllModulators = 127
    };
    // The modulators that a slot of the audio or control run reads or feeds: they must move
    // sample by sample. The others may move a block at a time.
    uint8_t sampledModulators() const noexcept;
    // True while every slot of the audio run adds exactly 0: no amount, a via at 0 that is not a
    // modulator (so it stays 0 for the render call). Such a voice needs no per-sample slots.
    bool audioSlotsDormant() const noexcept;
    // The modulators of `which` move `n` samples on at once, ending where stepping would.
    void advanceModulators(int32_t n, uint8_t which) noexcept;
    // The playing voice whose LFO phase a "Group" or "Voice" synced one takes, or null.
    const Voice* syncPeer(Morvek& engine, uint8_t sync) const noexcept;
    // Evaluates the static run and folds it into the voice's static state.
    void runStaticSlots(Morvek& engine);
    // Recomputes the control run's values, once per render call unless they are slewing.
    void refreshControlSlots(Morvek& engine);
    // Tempo-synced LFOs and sequencers take the host's tempo into their phase step.
    void followTempo(Morvek& engine);
    // Slot pointers that pointed into `from` point into this voice after a copy.
    void rebaseModulation(const Voice& from) noexcept;

    // ---- render stages (VoiceRender.cpp) ----
    // One sub-block: lanes, wave, declick, filter, insert, sends, volume and pan, slot sends and
    // pan, output. Returns the samples made (fewer when the voice ended).
    int32_t renderBlock(Morvek& engine, const Call& call, int32_t offset, int32_t n, bool last);
    // What a render call reads once; false when nothing renders (offset and count may move on
    // past a start delay). endRender() marks a voice that went idle.
    bool beginRender(Morvek& engine, int32_t& offset, int32_t& count, Call& call);
    void endRender() noexcept;
    // A sub-block's stages before the filter (the samples made) and after it.
    int32_t renderFront(const Call& call, VoiceLanes& lanes, int32_t n, bool last);
    void renderBack(Morvek& engine, const Call& call, VoiceLanes& lanes, float** signal, int32_t channels,
                    int32_t offset, int32_t made);
    // The filter's part of a sub-block, its lanes made ready as process() reads them.
    VoiceFilter::Side filterSide(const Call& call, VoiceLanes& lanes, float* const* signal, float* const* out,
                                 int32_t channels, int32_t n);
    // The per-sample control part: glide, pitch ratio, modulators, lanes. Stops after the sample
    // at which the envelope went idle.
    int32_t fillLanes(VoiceLanes& lanes, const Call& call, int32_t n);
    // The lanes that the slots move, at sample i; at sample 0 also the ones they leave alone.
    void writeModulatedLanes(VoiceLanes& lanes, int32_t i);
    // The same lanes, amp and pitch for a whole sub-block in two passes (VoiceBlockPlan.cpp), with
    // the per-sample walk's values, and the `running` modulators moved on; -1 when the slots need
    // the walk (one feeds a modulator, a slew or a glide runs).
    int32_t fillLanesByBlock(VoiceLanes& lanes, int32_t n, uint8_t running);
    void makeBlockPlan() noexcept;

public:
    // Off, every voice takes the per-sample walk: the reference the block passes are tested
    // against. [ui-thread], while no audio runs.
    static inline bool blockPlans = true;
    // Off, voices render one by one: the reference pairs are tested against. [ui-thread], while
    // no audio runs.
    static inline bool pairs = true;

private:
    // One sample of the AEG and of the `sampled` modulators, in the order AEG, ENV1, ENV2, LFO1,
    // LFO2, SEQ1, SEQ2, SEQ3.
    void stepModulators(uint8_t sampled) noexcept;
    // What control lane `lane` carries: its destination in the unit the render stages read.
    float laneValue(unsigned lane) const noexcept;
    // When the slots hold one value over the sub-block (no audio run, no slew): one
    // accumulation, the pitch it gives, and every lane given its one value.
    void holdModulatedLanes(VoiceLanes& lanes);
    int32_t readSamples(const Call& call, VoiceLanes& lanes, int32_t n);
    // Blends from where the previous sound left off into a new wave or loop position.
    void declick(const Call& call, VoiceLanes& lanes, int32_t n);
    void keepLastOutputs(const Call& call, const VoiceLanes& lanes, int32_t n);
    void filterStage(const Call& call, VoiceLanes& lanes, float** signal, int32_t channels, int32_t n);
    void insertStage(const Call& call, VoiceLanes& lanes, float** signal, int32_t& channels, int32_t n);
    void groupSends(Morvek& engine, const Call& call, VoiceLanes& lanes, float* const* signal, int32_t channels,
                    int32_t offset, int32_t n, bool preFader);
    // Pan law and level; the signal takes the output's channel count.
    void volumeAndPan(const Call& call, VoiceLanes& lanes, float** signal, int32_t& channels, int32_t n);
    void slotSends(Morvek& engine, float* const* signal, int32_t channels, int32_t offset, int32_t n, bool preFader);
    void slotPan(float* const* signal, int32_t channels, int32_t n);
    void mixOutput(const Call& call, float* const* signal, int32_t channels, int32_t offset, int32_t n);
};

MV_HOT_INLINE float Voice::laneValue(unsigned lane) const noexcept {
    const Voice& v = *this;
    switch (lane) {
    case VoiceLanes::kFilterFreq:
        return v.filter.filter_freq;
    case VoiceLanes::kFilterRes:
        return v.filter.filter_res;
    case VoiceLanes::kFilterDrive:
        return v.filter.filter_drive;
    case VoiceLanes::kLoopStart:
        return v.dest.loop_start * v.wave_rate;
    case VoiceLanes::kLoopEnd:
        return v.dest.loop_end * v.wave_rate;
    case VoiceLanes::kLoopDir:
        return v.dest.loop_dir;
    case VoiceLanes::kPan:
        return v.dest.pan;
    case VoiceLanes::kVolume:
        return v.dest.volume;
    case VoiceLanes::kInsert1:
        return v.dest.insert1 + v.static_insert1;
    case VoiceLanes::kInsert2:
        return v.dest.insert2 + v.static_insert2;
    case VoiceLanes::kSend1:
        return v.dest.send1;
    case VoiceLanes::kSend2:
        return v.dest.send2;
    default:
        return v.dest.send3;
    }
}

MV_HOT_INLINE void Voice::stepModulators(uint8_t sampled) noexcept {
    aeg.step(state);
    if (!sampled) return;
    if (sampled & kEnv1Bit) env1.tick();
    if (sampled & kEnv2Bit) env2.tick();
    if (sampled & kLfo1Bit) lfo1.tick();
    if (sampled & kLfo2Bit) lfo2.tick();
    if (sampled & kSeq1Bit) seq1.tick();
    if (sampled & kSeq2Bit) seq2.tick();
    if (sampled & kSeq3Bit) seq3.tick();
}

}  // namespace MV
