#include "engine/Voice.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "engine/Exp2.h"
#include "engine/Morvek.h"
#include "engine/NoteSources.h"
#include "engine/VelocityCurve.h"
#include "plug/ValueLaws.h"
#include "plug/Wave.h"

namespace MV {

using ZnPlug::Wave;

namespace {

// Keyboard tracking in cents per key, by tuning code: "Inv * 4" to "* 4".
constexpr std::array<float, 11> kCentsPerKey = {-400, -200, -100, -50, -25, 0, 25, 50, 100, 200, 400};
// A wave without a root plays as if its root were middle C.
constexpr int kNoRoot = 255;
constexpr int kDefaultRoot = 60;
// The step of wave_rate per hertz of the wave: 1 / 44100.
constexpr float kPerHz = 2.2675737e-05f;
constexpr double kRate44k = 44100.0;

float centsPerKey(int32_t tuning) noexcept {
    return (tuning >= 0 && tuning < int32_t(kCentsPerKey.size())) ? kCentsPerKey[std::size_t(tuning)] : 100.0f;
}

bool isLoopOf(const Wave& wave, int32_t index) noexcept {
    return index >= 0 && std::size_t(index) < wave.loops.size();
}

// A wave that has something to play.
bool playable(const Wave* wave) noexcept {
    return wave && !wave->isNone() && wave->frames() > 0 && wave->start < wave->end;
}

// The index of the last threshold not above `value`, or 0.
unsigned thresholdIndex(const uint8_t* thresholds, unsigned n, int value) noexcept {
    for (unsigned i = n; i-- > 0;)
        if (int(thresholds[i]) <= value) return i;
    return 0;
}

// Times of the start offset, delay and glide: seconds of the time law.
double secondsOf(float time) { return ZnPlug::TimeLaw::seconds(double(time)); }

}  // namespace

// ---- start ----

bool Voice::start(Morvek& engine, Channel& ch, const ProgramSlot& sl, const Group& gr, const Program& prog,
                  uint8_t playedKey, uint8_t vel, int8_t detune, uint32_t noteNumber, bool probe) {
    if (probe) {
        startProbe(engine, ch, sl, gr, prog, playedKey, vel);
        return true;
    }
    const bool fresh = state == kIdle || state == kRelease || gr.polymode == kPolyPoly || gr.chokeGroup != 0;
    if (!fresh) {
        // A held key of higher priority keeps the voice.
        const bool held = !(flags & kKeyReleased);
        if (held && ((gr.noteprio == kNotePrioLowest && key <= playedKey) ||
                     (gr.noteprio == kNotePrioHighest && playedKey <= key)))
            return false;
    } else if (state != kIdle) {
        handOver(engine);
    }
    const uint8_t previousKey = key;
    const Wave* oldWave = wave;
    const int32_t oldLoop = loop_index;
    const double oldPosition = position;
    const uint8_t sounding = uint8_t(playedKey + sl.transpose);

    dest = {};
    if (fresh) filter = {};
    aeg.amp_mod = 0;
    static_volume = static_pan = static_insert1 = static_insert2 = static_pitch = 0;
    static_send = {};
    program = &prog;
    slot = &sl;
    group = &gr;
    channel = &ch;
    delay_left = 0;
    smooth_left = 0;
    declick_left = 0;
    auto_sources = 0;
    velocity = vel;
    pickOutput(engine, sl, gr);
    velocity_curve =
        VelocityCurve::effective(gr.velocityCurve, sl.velocityCurve, engine.settings().defaultVelocityCurve);
    static_gain = VelocityCurve::staticGain(VelocityCurve::gain(velocity_curve, vel), gr.velocity);
    const Split& split = gr.splitFor(sounding);
    prepareInsert(engine, gr, fresh);
    refreshFromGroup(engine);
    note_number = noteNumber;
    matrix = split.isMatrix() ? split.matrix() : nullptr;
    wave = split.wave();
    loop_index = split.loop;
    release_loop_index = split.release;
    const double tempo = engine.context().tempo;
    bpm_ratio = (wave->tempo > 0 && tempo > 0) ? float(std::log2(tempo / double(wave->tempo))) : 0.0f;
    buildModulationSlots(engine, playedKey, sounding);
    if (fresh) startModulators(engine);
    runStaticSlots(engine);
    if (split.isMatrix()) resolveMatrix(engine, *split.matrix(), playedKey, sounding);
    wave_rate = float(wave->sampleRate) * kPerHz;
    keepLoopsOfWave();
    if (!playable(wave)) {
        kill();
        return false;
    }
    const int8_t interp = gr.interpolation > 0 ? gr.interpolation : 0;
    interpolation = uint8_t(interp ? interp
                            : prog.interpolation ? prog.interpolation
                            : sl.interpolation ? sl.interpolation
                            : engine.interpolation ? engine.interpolation
                            : engine.settings().defaultInterpolation ? engine.settings().defaultInterpolation
                                                                    : 1);
    placePosition(fresh, oldWave, oldLoop, oldPosition, engine.context().rate_ratio);
    tune(engine, split, sounding, detune, previousKey, playedKey);
    if (fresh && !applyStartAndDelay(engine)) {
        kill();
        return false;
    }
    applyFades(sounding);
    key = playedKey;
    flags = 0;
    return true;
}

void Voice::startProbe(Morvek& engine, Channel& ch, const ProgramSlot& sl, const Group& gr, const Program& prog,
                       uint8_t playedKey, uint8_t vel) {
    dest = {};
    program = &prog;
    slot = &sl;
    group = &gr;
    channel = &ch;
    key = playedKey;
    velocity = vel;
    const Split& split = gr.splitFor(uint8_t(playedKey + sl.transpose));
    wave = split.wave();
    matrix = split.isMatrix() ? split.matrix() : nullptr;
    const double tempo = engine.context().tempo;
    bpm_ratio = (wave->tempo > 0 && tempo > 0) ? float(std::log2(tempo / double(wave->tempo))) : 0.0f;
    refreshFromGroup(engine);
    buildModulationSlots(engine, playedKey, uint8_t(playedKey + sl.transpose));
    startModulators(engine);
}

void Voice::handOver(Morvek& engine) {
    Voice* spare = engine.findFreeVoice();
    if (!spare || spare == this) return;
    *spare = *this;
    spare->rebaseModulation(*this);
    spare->fastRelease(engine);
    // The insert's running state goes with the fading sound; the new note gets its own.
    processor.reset();
}

void Voice::pickOutput(Morvek& engine, const ProgramSlot& sl, const Group& gr) {
    uint8_t index = gr.output;
    if (index >= kOutputCount) index = sl.output;
    if (index >= kOutputCount) index = 0;
    output = &engine.outputs[index];
}

void Voice::prepareInsert(Morvek& engine, const Group& gr, bool fresh) {
    if (!gr.insert || engine.effectsOff) {
        engine.insertPool().give(std::move(processor));
        return;
    }
    if (processor && processor->type == gr.insert->type) {
        processor->update(*gr.insert);
        if (fresh) processor->reset();
        return;
    }
    engine.insertPool().give(std::move(processor));
    processor = engine.insertPool().take(*gr.insert, engine.context());
    if (processor) processor->reset();
}

void Voice::resolveMatrix(Morvek& engine, WaveMatrix& m, uint8_t playedKey, uint8_t soundingKey) {
    ++m.rr_count;
    NoteContext note;
    note.channel = channel;
    note.program = program;
    note.group = group;
    note.key = soundingKey;
    note.velocity = velocity;
    note.bpmRatio = bpm_ratio;
    note.playedKey = playedKey;
    auto axisIndex = [&](const WaveMatrix::Axis& axis, const uint8_t* thresholds, unsigned n) -> unsigned {
        if (n == 0) return 0;
        unsigned index;
        // "BPM/R" counts as a round robin choice here.
        if (axis.source != 0 && axis.source != 20) {
            bool bipolar = false;
            const float v = noteSourceValue(engine, note, axis.source, bipolar);
            index = thresholdIndex(thresholds, n, noteSourceStep(v, bipolar));
        } else {
            uint8_t count;
            switch (axis.roundRobinSource) {
            case kRoundRobinGroup:
                count = group->rr_count;
                break;
            case kRoundRobinProgram:
                count = program->rr_count;
                break;
            case kRoundRobinMidi:
                count = channel->key_count[playedKey & 127];
                break;
            default:
                count = m.rr_count;
                break;
            }
            index = unsigned(uint8_t(count - 1)) % n;
        }
        return axis.invert ? n - index - 1 : index;
    };
    const unsigned columns = m.columns(), rows = m.rows();
    if (columns == 0 || rows == 0 || m.thresholds.size() < std::size_t(columns) + rows) {
        wave = Wave::none();
        return;
    }
    const unsigned x = axisIndex(m.xAxis, m.thresholds.data(), columns);
    const unsigned y = axisIndex(m.yAxis, m.thresholds.data() + columns, rows);
    matrix_x = uint8_t(x);
    matrix_y = uint8_t(y);
    const WaveMatrix::Cell& cell = m.cell(x, y);
    wave = cell.wave ? cell.wave.get() : Wave::none();
    loop_index = cell.loop;
    release_loop_index = cell.release;
}

void Voice::keepLoopsOfWave() {
    // Loops apply only below "Oneshot"; a loop the wave lacks is none.
    const bool loops = group->playmode < kPlayOneshot;
    if (!loops || !isLoopOf(*wave, loop_index)) loop_index = kNoLoop;
    if (!loops || !isLoopOf(*wave, release_loop_index)) release_loop_index = kNoLoop;
}

void Voice::placePosition(bool fresh, const Wave* oldWave, int32_t oldLoop, double oldPosition, double rateRatio) {
    const Wave& nw = *wave;
    if (fresh || !oldWave) {
        position = double(nw.start);
        direction = 0;
    } else {
        const Wave& ow = *oldWave;
        if (isLoopOf(ow, oldLoop) && isLoopOf(nw, loop_index)) {
            const ZnPlug::Loop& old = ow.loops[std::size_t(oldLoop)];
            if (position >= double(old.start) && position < double(old.end))
                position = double(nw.loops[std::size_t(loop_index)].start);
        }
        if (position >= double(nw.end)) {
            // Keeps the proportion in the inverted way the product always has.
            if (loop_index == kNoLoop)
                position = (double(ow.frames()) / position) * double(nw.frames()) + double(nw.start);
            else
                position = double(nw.loops[std::size_t(loop_index)].start);
        }
        if (oldPosition < double(ow.frames())) {
            declick_left = uint32_t(std::floor(rateRatio * 64.0));
            for (std::size_t c = 0; c < 2; ++c) {
                declick_value[c] = last_out[c];
                declick_slope[c] = last_out[c] - prev_out[c];
            }
        }
    }
    if (loop_index != kNoLoop) {
        const ZnPlug::Loop& loop = nw.loops[std::size_t(loop_index)];
        if (loop.isSlice()) position = double(loop.start);
    }
}

void Voice::tune(Morvek& engine, const Split& split, uint8_t soundingKey, int8_t detune, uint8_t previousKey,
                 uint8_t playedKey) {
    const float s = centsPerKey(group->tuning);
    // A matrix plays at the root of the cell that the lowest source values select, whatever cell
    // sounds: that is the root its split shows.
    int root = split.root();
    if (root == kNoRoot) root = kDefaultRoot;
    const float fineOfWave = float(split.fine());
    const float groupTune = float(group->fine) / 1200.0f + float(group->coarse) / 12.0f -
                            (float(root) * s - fineOfWave) / 1200.0f;
    const float slotDetune = float(slot->detune) / 1200.0f;
    glide_target = float(soundingKey) * s / 1200.0f + groupTune + slotDetune + float(detune) / 1200.0f + static_pitch;
    const float globalCents = engine.settings().globalTuneCents;
    if (globalCents != 0) glide_target += globalCents / 1200.0f;
    glide_pitch = glide_target;
    glide_step = 0;

    if (group->glide != 0 || dest.glide != 0) {
        int previous = previousKey != kNoKey ? int(previousKey) : -1;
        if (previous < 0 && group->polymode == kPolyPoly) {
            // The held key pressed before this one; the walk is bounded on a damaged list.
            uint8_t k = channel->keys[playedKey & 127].next;
            for (int steps = 0; k != Channel::kNoKey && steps < 128; ++steps, k = channel->keys[k].next)
                if (channel->keys[k].velocity != 0) {
                    previous = k;
                    break;
                }
        }
        if (previous >= 0) {
            const double seconds = secondsOf(group->glide) + double(dest.glide) / kRate44k;
            const double g = seconds > 0 ? 1.0 / (seconds * kRate44k) : 1.0;
            glide_step = float(double(int(playedKey) - previous) * g * engine.context().rate_ratio / 12.0);
            const int previousSounding = previous + slot->transpose;
            glide_pitch = float(previousSounding) * s / 1200.0f + groupTune + slotDetune;
        }
    }
    pitch_ratio = Exp2::of(glide_pitch);
    last_pitch = glide_pitch;
}

bool Voice::applyStartAndDelay(Morvek& engine) {
    const Wave& w = *wave;
    const float startOffset = float(secondsOf(group->start) * kRate44k) + dest.wave_start;
    if (startOffset != 0) {
        position += double(startOffset) * double(wave_rate);
        if (position < double(w.start)) position = double(w.start);
        if (position >= double(w.end)) {
            // Only a repeating loop that ends inside the wave can take the voice back.
            const bool rescued = loop_index != kNoLoop && [&] {
                const ZnPlug::Loop& loop = w.loops[std::size_t(loop_index)];
                const int mode = int(loop.mode);
                return mode >= 1 && mode <= 3 && loop.end < w.end;
            }();
            if (!rescued) return false;
        }
    }
    const float delaySamples = float(secondsOf(group->delay) * kRate44k) + dest.delay;
    // Scaled by 44100 / rate, the other way round than a time would be: kept so that delays
    // sound as they always have.
    if (delaySamples != 0) delay_left = double(delaySamples) * engine.context().rate_ratio;
    return true;
}

void Voice::applyFades(uint8_t soundingKey) {
    const KeyRange& r = group->range;
    const KeyRange& f = group->fade;
    auto fade = [&](int v, int low, int fadeLow, int fadeHigh, int high) {
        if (v < fadeLow && fadeLow > low) static_gain *= float(v - low) / float(fadeLow - low);
        if (v > fadeHigh && high > fadeHigh) static_gain *= float(high - v) / float(high - fadeHigh);
    };
    fade(soundingKey, r.lowKey, f.lowKey, f.highKey, r.highKey);
    fade(velocity, r.lowVel, f.lowVel, f.highVel, r.highVel);
}

// ---- modulation steps ----

void Voice::refreshFromGroup(Morvek& engine) {
    aeg.setup(group->aeg, engine.context().rate_ratio, group->playmode);
    setupModulators(engine);
    group_mod_count = group->modCount();
}

void Voice::buildModulationSlots(Morvek& engine, uint8_t playedKey, uint8_t soundingKey) {
    ModMatrix::build(engine, *this, playedKey, soundingKey);
}

void Voice::runStaticSlots(Morvek& engine) {
    (void)engine;
    ModMatrix::runStatic(*this);
}

void Voice::refreshControlSlots(Morvek& engine) {
    (void)engine;
    ModMatrix::refreshControl(*this);
}

void Voice::rebaseModulation(const Voice& from) noexcept {
    const auto begin = reinterpret_cast<std::uintptr_t>(&from);
    const auto self = reinterpret_cast<std::uintptr_t>(this);
    auto rebase = [&](auto*& p) {
        const auto at = reinterpret_cast<std::uintptr_t>(p);
        if (at >= begin && at < begin + sizeof(Voice))
            p = reinterpret_cast<std::remove_reference_t<decltype(p)>>(self + (at - begin));
    };
    for (ModSlot& s : slots) {
        rebase(s.source);
        rebase(s.via);
        rebase(s.dest);
    }
    block_plan.ready = false;
}

// ---- key release and ends ----

void Voice::enterRelease(Morvek& engine) {
    (void)engine;
    if (!group) return;
    if (group->playmode != kPlayOneshot && group->playmode != kPlayRelease && state != kIdle) state = kRelease;
    // Envelopes of those play modes do not wait for the key, and ignore it.
    env1.release(group->env1.level3);
    env2.release(group->env2.level3);
    loop_index = release_loop_index;
}

void Voice::kill() noexcept {
    state = kIdle;
    aeg.level = 0;
    aeg.out = 0;
    flags &= 0xF0;
    group = nullptr;
    channel = nullptr;
    key = kNoKey;
    loop_index = kNoLoop;
    release_loop_index = kNoLoop;
    n_audio = n_control = n_static = 0;
    block_plan.ready = false;
    smooth_left = 0;
    auto_sources = 0;
    declick_left = 0;
    delay_left = 0;
    // On the audio thread the processor goes back to the pool; elsewhere it may simply go.
    if (Morvek* engine = Morvek::current()) engine->insertPool().give(std::move(processor));
    processor.reset();
}

void Voice::fastRelease(Morvek& engine) noexcept {
    flags = uint8_t((flags & 0xF8) | kDead);
    aeg.fastRelease(state, engine.context().rate_ratio);
}

}  // namespace MV
