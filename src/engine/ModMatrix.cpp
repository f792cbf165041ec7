#include "engine/ModMatrix.h"

#include <array>
#include <cmath>

#include "engine/Lfo.h"
#include "engine/ModSources.h"
#include "engine/Morvek.h"
#include "engine/NoteSources.h"
#include "engine/Voice.h"
#include "engine/VoiceLanes.h"
#include "model/Group.h"
#include "model/ModulationTables.h"
#include "plug/ValueLaws.h"

namespace MV {

namespace {
// What the via of an entry without one reads.
constexpr float kNoVia = 1.0f;
// Keyboard tracking in cents per key, by tuning code.
constexpr std::array<float, 11> kCentsPerKey = {-400, -200, -100, -50, -25, 0, 25, 50, 100, 200, 400};
// A frequency amount as a fraction of 22050 Hz: sign(a) * a^2 * 20000 Hz * (1 / 22050).
constexpr float kMaxFilterHz = 20000.0f;
constexpr float kPerHalf44k = 4.5351473e-05f;
// A pitch amount in cents per key of "Normal" tracking to octaves: 1 / 120000, so that the
// keyboard scale (100 for "Normal") brings it to cents / 1200.
constexpr float kPitchPerCentKey = 8.333333e-06f;
// Cents to octaves: 1 / 1200.
constexpr float kOctavesPerCent = 0.00083333335f;
constexpr double kRate44k = 44100.0;

bool isModulator(uint16_t source) noexcept { return source >= kSourceAeg && source <= kSourceLastModulator; }

// The entry can act: enabled, with a source and a destination, and an amount that is not zero.
bool usable(const ModulationEntry& e) noexcept {
    if (!e.enabled || e.source == kSourceNone || e.destination == kDestNone) return false;
    return e.amount != 0 || (e.via != kSourceNone && e.amountVia != 0);
}

float signedSquare(float a) noexcept { return a < 0 ? -a * a : a * a; }

// A signed time of the time law in samples at 44100 Hz; 0 stays 0.
float samplesOfTime(float a) {
    if (a == 0) return 0.0f;
    const double seconds = ZnPlug::TimeLaw::seconds(std::fmin(std::fabs(double(a)), 1.0));
    const auto samples = float(seconds * kRate44k);
    return a < 0 ? -samples : samples;
}

// The control lane that carries a destination to the render stages, or -1.
int laneOf(uint8_t destination) noexcept {
    switch (destination) {
    case kDestFilterFreq:
        return VoiceLanes::kFilterFreq;
    case kDestFilterRes:
        return VoiceLanes::kFilterRes;
    case kDestFilterDrive:
        return VoiceLanes::kFilterDrive;
    case kDestVolume:
        return VoiceLanes::kVolume;
    case kDestPan:
        return VoiceLanes::kPan;
    case kDestLoopStart:
        return VoiceLanes::kLoopStart;
    case kDestLoopEnd:
        return VoiceLanes::kLoopEnd;
    case kDestLoopDirection:
        return VoiceLanes::kLoopDir;
    case kDestInsertPar1:
        return VoiceLanes::kInsert1;
    case kDestInsertPar2:
        return VoiceLanes::kInsert2;
    case kDestSendLevel1:
    case kDestSendLevel2:
    case kDestSendLevel3:
        return VoiceLanes::kSend1 + (destination - kDestSendLevel1);
    default:
        return -1;
    }
}

// A slot's source or via reads its value at the moment, then holds it: the static run.
void hold(const float*& pointer, float& local) noexcept {
    if (pointer == &local || pointer == &kNoVia) return;
    local = *pointer;
    pointer = &local;
}
}  // namespace

float ModMatrix::centsPerKey(int32_t tuning) noexcept {
    return (tuning >= 0 && tuning < int32_t(kCentsPerKey.size())) ? kCentsPerKey[std::size_t(tuning)] : 100.0f;
}

ModMatrix::Run ModMatrix::runOf(const ModulationEntry& e) noexcept {
    if (e.frozen || e.destination >= kDestWaveStart) return Run::Static;
    if (isModulator(e.source) || isModulator(e.via)) return Run::Audio;
    if (e.source >= kSourcePitchbend || e.via >= kSourcePitchbend) return Run::Control;
    return Run::Static;
}

bool ModMatrix::convert(uint8_t destination, float a, float centsPerKey, double invSampleRate, const Voice& voice,
                        float& out) {
    switch (destination) {
    case kDestLfo1Rate:
    case kDestLfo2Rate:
    case kDestSeq1Rate:
    case kDestSeq2Rate:
    case kDestSeq3Rate:
        // A phase step, so that rate modulation adds in hertz.
        out = float(LfoCore::phaseStep(ZnPlug::RateLaw::hz(double(a)), invSampleRate));
        return true;
    case kDestFilterFreq:
        out = signedSquare(a) * kMaxFilterHz * kPerHalf44k;
        return true;
    case kDestPitch:
        out = a * centsPerKey * kPitchPerCentKey;
        return true;
    case kDestPitchRaw:
        out = a * kOctavesPerCent;
        return true;
    case kDestLoopStart:
    case kDestLoopEnd:
    case kDestWaveStart:
    case kDestDelay:
    case kDestGlide:
        out = samplesOfTime(a);
        return true;
    case kDestInsertPar1:
    case kDestInsertPar2:
        // The insert maps its parameters; without one there is nothing to move.
        if (!voice.group || !voice.group->insert) return false;
        out = voice.group->insert->modulationBase(destination - kDestInsertPar1, a);
        return true;
    default:
        out = a;
        return true;
    }
}

float* ModMatrix::destination(Voice& v, uint8_t code) noexcept {
    switch (code) {
    case kDestAegAttack:
        return &v.aeg.attack_mod;
    case kDestAegTime:
        return &v.aeg.time_mod;
    case kDestAegAmp:
        return &v.aeg.amp_mod;
    case kDestEnv1Amp:
        return &v.env1.amp_mod;
    case kDestEnv2Amp:
        return &v.env2.amp_mod;
    case kDestLfo1Rate:
        return &v.lfo1.rate_mod;
    case kDestLfo1Amp:
        return &v.lfo1.amp_mod;
    case kDestLfo2Rate:
        return &v.lfo2.rate_mod;
    case kDestLfo2Amp:
        return &v.lfo2.amp_mod;
    case kDestSeq1Rate:
        return &v.seq1.rate_mod;
    case kDestSeq1Amp:
        return &v.seq1.amp_mod;
    case kDestSeq2Rate:
        return &v.seq2.rate_mod;
    case kDestSeq2Amp:
        return &v.seq2.amp_mod;
    case kDestSeq3Rate:
        return &v.seq3.rate_mod;
    case kDestSeq3Amp:
        return &v.seq3.amp_mod;
    case kDestFilterFreq:
        return &v.filter.filter_freq;
    case kDestFilterRes:
        return &v.filter.filter_res;
    case kDestFilterDrive:
        return &v.filter.filter_drive;
    case kDestPitch:
        return &v.dest.pitch;
    case kDestPitchRaw:
        return &v.dest.pitch_raw;
    case kDestVolume:
        return &v.dest.volume;
    case kDestPan:
        return &v.dest.pan;
    case kDestLoopStart:
        return &v.dest.loop_start;
    case kDestLoopEnd:
        return &v.dest.loop_end;
    case kDestLoopDirection:
        return &v.dest.loop_dir;
    case kDestInsertPar1:
        return &v.dest.insert1;
    case kDestInsertPar2:
        return &v.dest.insert2;
    case kDestSendLevel1:
        return &v.dest.send1;
    case kDestSendLevel2:
        return &v.dest.send2;
    case kDestSendLevel3:
        return &v.dest.send3;
    case kDestWaveStart:
        return &v.dest.wave_start;
    case kDestDelay:
        return &v.dest.delay;
    case kDestGlide:
        return &v.dest.glide;
    default:
        return nullptr;
    }
}

void ModMatrix::build(Morvek& engine, Voice& v, uint8_t playedKey, uint8_t soundingKey) {
    v.n_audio = v.n_control = v.n_static = 0;
    v.block_plan.ready = false;
    v.auto_sources = 0;
    v.lane_mask = 0;
    const Group& group = *v.group;
    if (v.channel) v.aftertouch = float(v.channel->keys[playedKey & 127].pressure);

    NoteContext note;
    note.channel = v.channel;
    note.program = v.program;
    note.group = v.group;
    note.key = soundingKey;
    note.velocity = v.velocity;
    note.bpmRatio = v.bpm_ratio;
    note.playedKey = playedKey;
    const float scale = centsPerKey(group.tuning);
    const double invRate = engine.context().inv_sample_rate;

    // Three passes fill the runs in order; an entry that cannot be had is left out.
    int32_t used = 0;
    for (const Run run : {Run::Audio, Run::Control, Run::Static}) {
        for (const ModulationEntry& e : group.modulation) {
            if (!usable(e) || runOf(e) != run) continue;
            ModSlot& s = v.slots[std::size_t(used)];
            s = {};
            s.dest = destination(v, e.destination);
            // Without a via the entry acts with its amount alone.
            const float amountVia = e.via != kSourceNone ? e.amountVia : e.amount;
            if (!s.dest || !convert(e.destination, e.amount, scale, invRate, v, s.amount) ||
                !convert(e.destination, amountVia, scale, invRate, v, s.amount_via))
                continue;
            if (s.amount == 0 && s.amount_via == 0) continue;
            s.source = ModSources::pointer(engine, v, note, e.source, s.source_local);
            s.via = e.via != kSourceNone ? ModSources::pointer(engine, v, note, e.via, s.via_local) : &kNoVia;
            if (!s.source || !s.via) continue;
            if (e.source >= kSourceFirstParam || e.via >= kSourceFirstParam) ++v.auto_sources;
            if (const int lane = laneOf(e.destination); lane >= 0 && run != Run::Static)
                v.lane_mask = uint16_t(v.lane_mask | (1u << lane));
            ++used;
        }
        (run == Run::Audio ? v.n_audio : run == Run::Control ? v.n_control : v.n_static) = int8_t(used);
    }
    for (int32_t i = v.n_audio; i < v.n_control; ++i) v.slots[std::size_t(i)].value = v.slots[std::size_t(i)].compute();
}

void ModMatrix::runStatic(Voice& v) {
    if (v.n_static <= v.n_control) return;
    ModSlot* const first = v.slots.data() + v.n_control;
    ModSlot* const end = v.slots.data() + v.n_static;
    for (ModSlot* s = first; s != end; ++s) {
        hold(s->source, s->source_local);
        hold(s->via, s->via_local);
        *s->dest = 0;
    }
    for (ModSlot* s = first; s != end; ++s) {
        s->value = s->compute();
        *s->dest += s->value;
    }

    v.aeg.foldStatic();
    v.env1.foldStatic();
    v.env2.foldStatic();
    v.lfo1.foldStatic();
    v.lfo2.foldStatic();
    v.seq1.foldStatic();
    v.seq2.foldStatic();
    v.seq3.foldStatic();
    v.filter.foldStatic();
    // Taken, not added: a refresh of the group folds the same values again.
    Voice::Destinations& d = v.dest;
    v.static_pitch = d.pitch + d.pitch_raw;
    v.static_volume = d.volume;
    v.static_pan = d.pan;
    v.static_insert1 = d.insert1;
    v.static_insert2 = d.insert2;
    v.static_send = {d.send1, d.send2, d.send3};
    d.pitch = d.pitch_raw = d.volume = d.pan = 0;
    d.insert1 = d.insert2 = 0;
    d.send1 = d.send2 = d.send3 = 0;
}

void ModMatrix::refreshControl(Voice& v) noexcept {
    for (int32_t i = v.n_audio; i < v.n_control; ++i) v.slots[std::size_t(i)].value = v.slots[std::size_t(i)].compute();
}

}  // namespace MV
