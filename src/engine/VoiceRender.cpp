#include <algorithm>
#include <bit>
#include <cmath>
#include <tuple>

#include "engine/Exp2.h"
#include "engine/FastMath.h"
#include "engine/Morvek.h"
#include "engine/Voice.h"
#include "engine/VoiceLanes.h"
#include "engine/VoiceReader.h"
#include "plug/Wave.h"

// A voice's render call: sub-blocks of up to 256 samples, each filling the control lanes sample
// by sample, reading the wave, and then passing the block through its stages into the buses.
namespace MV {

using FastMath::clamp01;
using FastMath::clampSigned;
using FastMath::F4;
using FastMath::load4;
using FastMath::roundUp4;
using FastMath::store4;

namespace {

// A slot value bound to a host automation cell follows the cell, read once per render call.
float cellOr(const Morvek& engine, int32_t cell, float value) {
    return cell >= 0 && cell < Morvek::kAutomationCells ? engine.automation(cell).value : value;
}

constexpr int32_t kSubBlock = int32_t(VoiceLanes::kLength);
constexpr int32_t kSmoothSamples = 256;

// Adds `signal` into a route by the channel rules: two channels into one are summed at half
// gain, one channel into two goes to both. `lane` (may be null) adds a per-sample gain offset.
void mixInto(const RouteTable::Route& route, float* const* signal, int32_t channels, int32_t offset, int32_t n,
             float gain, const float* lane) {
    if (route.channels <= 0 || n <= 0) return;
    for (int32_t c = 0; c < route.channels; ++c) {
        float* dst = route.channel[c] + offset;
        if (channels == 2 && route.channels == 1) {
            if (lane)
                FastMath::addSumLaneScaled(dst, signal[0], signal[1], lane, gain, n);
            else
                FastMath::addSumScaled(dst, signal[0], signal[1], gain * 0.5f, n);
        } else {
            const float* src = signal[channels == 2 ? c : 0];
            if (lane)
                FastMath::addLaneScaled(dst, src, lane, gain, n);
            else
                FastMath::addScaled(dst, src, gain, n);
        }
    }
}
}  // namespace

// What a render call reads once: the wave's bounds and loop, the bases of level and pan, the
// channel counts and the route of the voice's output.
struct Voice::Call {
    double waveStart = 0;
    double waveEnd = 0;
    double loopStart = 0;
    double loopEnd = 0;
    int32_t loopType = 0;
    float panBase = 0;
    float ampBase = 0;
    float slotAmp = 1;  // the slot's amp, or its automation cell when bound to one
    int32_t outChannels = 2;
    int32_t waveChannels = 1;
    bool audible = true;
    // Slots write the lanes sample by sample; otherwise every lane but level and pitch is constant.
    bool modulated = false;
    double baseStep = 1;
    double rateRatio = 1;
    int32_t interpolation = 1;
    const RouteTable::Route* route = nullptr;
};

void Voice::render(Morvek& engine, int32_t offset, int32_t count) {
    Call call;
    if (!beginRender(engine, offset, count, call)) return;
    while (count > 0) {
        const int32_t n = std::min(kSubBlock, count);
        count -= n;
        offset += renderBlock(engine, call, offset, n, count == 0);
        if (state == kIdle) break;
    }
    endRender();
}

void Voice::renderPair(Morvek& engine, Voice& a, Voice& b, int32_t offset, int32_t count) {
    Call callA, callB;
    int32_t offsetA = offset, countA = count, offsetB = offset, countB = count;
    const bool goA = a.beginRender(engine, offsetA, countA, callA);
    const bool goB = b.beginRender(engine, offsetB, countB, callB);
    // Sub-blocks side by side need the same start and length; else one after the other.
    if (!goA || !goB || offsetA != offsetB || countA != countB) {
        for (auto [v, call, at, left, go] : {std::tuple{&a, &callA, offsetA, countA, goA},
                                             std::tuple{&b, &callB, offsetB, countB, goB}}) {
            if (!go) continue;
            while (left > 0) {
                const int32_t n = std::min(kSubBlock, left);
                left -= n;
                at += v->renderBlock(engine, *call, at, n, left == 0);
                if (v->state == kIdle) break;
            }
            v->endRender();
        }
        return;
    }
    // Each voice's sub-blocks run as they would alone, and a's output of each reaches the routes
    // before b's, as when a renders first: only the filters share a pass.
    VoiceLanes& lanesA = engine.lanes();
    VoiceLanes& lanesB = engine.pairLanes();
    bool onA = true, onB = true;
    while (countA > 0 && (onA || onB)) {
        const int32_t n = std::min(kSubBlock, countA);
        countA -= n;
        const bool last = countA == 0;
        const int32_t madeA = onA ? a.renderFront(callA, lanesA, n, last) : 0;
        const int32_t madeB = onB ? b.renderFront(callB, lanesB, n, last) : 0;
        float* signalA[2] = {lanesA.raw[0].data(), lanesA.raw[1].data()};
        float* signalB[2] = {lanesB.raw[0].data(), lanesB.raw[1].data()};
        int32_t channelsA = callA.waveChannels, channelsB = callB.waveChannels;
        bool shared = false;
        if (madeA > 0 && madeB > 0 && a.filter.type != kFilterOff && b.filter.type != kFilterOff &&
            callA.rateRatio == callB.rateRatio) {
            float* outA[2] = {lanesA.filtered[0].data(), lanesA.filtered[1].data()};
            float* outB[2] = {lanesB.filtered[0].data(), lanesB.filtered[1].data()};
            const VoiceFilter::Side sideA = a.filterSide(callA, lanesA, signalA, outA, channelsA, madeA);
            const VoiceFilter::Side sideB = b.filterSide(callB, lanesB, signalB, outB, channelsB, madeB);
            shared = a.filter.sharesPass(sideA) && b.filter.sharesPass(sideB);
            if (shared) {
                VoiceFilter::processPair(a.filter, sideA, b.filter, sideB, callA.rateRatio);
                signalA[0] = outA[0], signalA[1] = outA[1];
                signalB[0] = outB[0], signalB[1] = outB[1];
            }
        }
        if (!shared) {
            if (madeA > 0) a.filterStage(callA, lanesA, signalA, channelsA, madeA);
            if (madeB > 0) b.filterStage(callB, lanesB, signalB, channelsB, madeB);
        }
        if (madeA > 0) a.renderBack(engine, callA, lanesA, signalA, channelsA, offsetA, madeA);
        if (madeB > 0) b.renderBack(engine, callB, lanesB, signalB, channelsB, offsetB, madeB);
        offsetA += madeA, offsetB += madeB;
        onA = onA && a.state != kIdle;
        onB = onB && b.state != kIdle;
    }
    a.endRender();
    b.endRender();
}

void Voice::endRender() noexcept {
    if (state == kIdle) flags = uint8_t((flags & 0xF8) | kDead);
}

bool Voice::beginRender(Morvek& engine, int32_t& offset, int32_t& count, Call& call) {
    if (state == kIdle) {
        flags = uint8_t((flags & 0xF8) | kDead);
        return false;
    }
    // Only a record set up by hand lacks these; it has nothing to play.
    if (!group || !wave || !slot || !output) return false;
    if (delay_left > 1) {
        if (state == kRelease) {
            kill();
            return false;
        }
        if (double(count) <= delay_left) {
            delay_left -= double(count);
            return false;
        }
        const auto skip = int32_t(delay_left);
        offset += skip;
        count -= skip;
        delay_left = 0;
    }
    if (!(flags & kDead) && group_mod_count != group->modCount()) {
        refreshFromGroup(engine);
        runStaticSlots(engine);
    }
    followTempo(engine);

    const ZnPlug::Wave& w = *wave;
    const ZnPlug::ProcessContext& ctx = engine.context();
    call.waveEnd = double(std::min(w.end, w.frames()));
    call.waveStart = std::min(double(w.start), call.waveEnd);
    call.loopStart = call.waveStart;
    call.loopEnd = call.waveEnd;
    if (group->playmode < kPlayOneshot && loop_index >= 0 && std::size_t(loop_index) < w.loops.size()) {
        const ZnPlug::Loop& loop = w.loops[std::size_t(loop_index)];
        call.loopStart = double(loop.start);
        call.loopEnd = double(loop.end);
        call.loopType = int32_t(loop.mode);
    }
    const bool repeats = call.loopType >= 1 && call.loopType <= 3;
    if (position >= call.waveEnd && !repeats) {
        position = 0;
        kill();
        return false;
    }
    call.panBase = group->pan + static_pan;
    call.ampBase = group->amp + static_volume;
    call.slotAmp = cellOr(engine, slot->ampAutomation, slot->amp);
    call.outChannels = output->channels >= 2 ? 2 : 1;
    call.waveChannels = w.channels() >= 2 ? 2 : 1;
    call.audible = !slot->muted();
    call.modulated = n_control > 0;
    call.rateRatio = ctx.rate_ratio;
    call.baseStep = ctx.rate_ratio * double(wave_rate);
    const uint8_t override = engine.interpolationOverride();
    call.interpolation = override ? override : interpolation;
    call.route = &engine.routes()[RouteTable::kFirstOutput + int(output - engine.outputs.data())];

    if (key != kNoKey && channel) aftertouch = float(channel->keys[key & 127].pressure);
    if (channel && (channel->changes & ~uint32_t(Channel::kChangeController))) smooth_left = kSmoothSamples;
    if (smooth_left == 0) refreshControlSlots(engine);
    bpm_ratio = (w.tempo > 0 && ctx.tempo > 0) ? float(std::log(ctx.tempo / double(w.tempo)) / std::log(2.0)) : 0.0f;
    return true;
}

int32_t Voice::renderBlock(Morvek& engine, const Call& call, int32_t offset, int32_t n, bool last) {
    VoiceLanes& lanes = engine.lanes();
    const int32_t made = renderFront(call, lanes, n, last);
    if (made <= 0) return 0;
    float* signal[2] = {lanes.raw[0].data(), lanes.raw[1].data()};
    int32_t channels = call.waveChannels;
    filterStage(call, lanes, signal, channels, made);
    renderBack(engine, call, lanes, signal, channels, offset, made);
    return made;
}

int32_t Voice::renderFront(const Call& call, VoiceLanes& lanes, int32_t n, bool last) {
    const int32_t lanesMade = fillLanes(lanes, call, n);
    const int32_t made = readSamples(call, lanes, lanesMade);
    if (made <= 0) return 0;
    if (declick_left > 0) declick(call, lanes, made);
    if (last) keepLastOutputs(call, lanes, made);
    return made;
}

void Voice::renderBack(Morvek& engine, const Call& call, VoiceLanes& lanes, float** signal, int32_t channels,
                       int32_t offset, int32_t made) {
    insertStage(call, lanes, signal, channels, made);
    groupSends(engine, call, lanes, signal, channels, offset, made, true);
    volumeAndPan(call, lanes, signal, channels, made);
    groupSends(engine, call, lanes, signal, channels, offset, made, false);
    slotSends(engine, signal, channels, offset, made, true);
    slotPan(signal, channels, made);
    slotSends(engine, signal, channels, offset, made, false);
    mixOutput(call, signal, channels, offset, made);
}

int32_t Voice::fillLanes(VoiceLanes& lanes, const Call& call, int32_t n) {
    float* amp = lanes.lane(VoiceLanes::kAmp);
    float* pitch = lanes.lane(VoiceLanes::kPitchRatio);
    const bool gliding = glide_pitch != glide_target;
    // ENV1 to SEQ3 move sample by sample only where a slot reads or feeds them. An envelope that
    // no slot reads does not run at all; LFOs and sequencers always do, since new voices of the
    // group may take their phase.
    const uint8_t sampled = call.modulated ? sampledModulators() : 0;
    const uint8_t running = uint8_t(sampled | kLfo1Bit | kLfo2Bit | kSeq1Bit | kSeq2Bit | kSeq3Bit);
    // Without an audio run and outside a slew the slots give one value for the whole sub-block.
    const bool slotsHold = call.modulated && smooth_left == 0 && (n_audio == 0 || audioSlotsDormant());
    lanes.moving = 0;
    if ((!call.modulated || slotsHold) && !gliding) {
        // Pitch and the slots hold for the whole sub-block; only the AEG may move.
        if (slotsHold) {
            holdModulatedLanes(lanes);
        } else {
            const float p = glide_pitch + dest.pitch + dest.pitch_raw;
            if (p != last_pitch) {
                pitch_ratio = Exp2::of(p);
                last_pitch = p;
            }
        }
        FastMath::fill(pitch, pitch_ratio, n);
        if (state == kSustain) {
            aeg.step(state);
            advanceModulators(n, running);
            FastMath::fill(amp, static_gain * aeg.out, n);
            return n;
        }
        // Attack and decays: a long piano decay spends seconds here with nothing else moving.
        const int32_t made = aeg.run(state, static_gain, amp, n);
        if (state == kIdle) return made;
        advanceModulators(n, running);
        return n;
    }
    if (call.modulated && blockPlans) {
        if (const int32_t made = fillLanesByBlock(lanes, n, running); made >= 0) return made;
    }
    lanes.moving = lane_mask;
    for (int32_t i = 0; i < n; ++i) {
        if (call.modulated) ModMatrix::accumulate(slots.data(), n_audio, n_control, smooth_left);
        if (glide_pitch != glide_target) {
            glide_pitch += glide_step;
            if (glide_step == 0 || (glide_step > 0 ? glide_pitch > glide_target : glide_pitch < glide_target))
                glide_pitch = glide_target;
        }
        const float p = glide_pitch + dest.pitch + dest.pitch_raw;
        if (p != last_pitch) {
            pitch_ratio = Exp2::of(p);
            last_pitch = p;
        }
        stepModulators(sampled);
        amp[i] = static_gain * aeg.out;
        pitch[i] = pitch_ratio;
        if (call.modulated) writeModulatedLanes(lanes, i);
        if (state == kIdle) return i + 1;
    }
    advanceModulators(n, uint8_t(running & ~sampled));
    return n;
}


void Voice::writeModulatedLanes(VoiceLanes& lanes, int32_t i) {
    // A lane that no slot moves holds one value over the sub-block: written once, not per sample.
    if (i == 0)
        for (unsigned l = VoiceLanes::kFilterFreq; l < VoiceLanes::kLaneCount; ++l)
            if (!(lane_mask & (1u << l))) lanes.lanes[l][0] = laneValue(l);
    for (unsigned m = lane_mask; m != 0; m &= m - 1) {
        const auto l = unsigned(std::countr_zero(m));
        lanes.lanes[l][std::size_t(i)] = laneValue(l);
    }
}

bool Voice::audioSlotsDormant() const noexcept {
    const float* modulatorOutputs[] = {&aeg.out,  &env1.out, &env2.out, &lfo1.out,
                                       &lfo2.out, &seq1.out, &seq2.out, &seq3.out};
    for (int32_t i = 0; i < n_audio; ++i) {
        const ModSlot& s = slots[std::size_t(i)];
        if (s.amount != 0 || *s.via != 0) return false;
        for (const float* out : modulatorOutputs)
            if (s.via == out) return false;
    }
    return true;
}

void Voice::holdModulatedLanes(VoiceLanes& lanes) {
    ModMatrix::accumulate(slots.data(), n_audio, n_control, smooth_left);
    const float p = glide_pitch + dest.pitch + dest.pitch_raw;
    if (p != last_pitch) {
        pitch_ratio = Exp2::of(p);
        last_pitch = p;
    }
    for (unsigned l = VoiceLanes::kFilterFreq; l < VoiceLanes::kLaneCount; ++l) lanes.lanes[l][0] = laneValue(l);
}

int32_t Voice::readSamples(const Call& call, VoiceLanes& lanes, int32_t n) {
    const ZnPlug::Wave& w = *wave;
    WaveRead job;
    job.data[0] = w.channelData(0);
    job.data[1] = call.waveChannels == 2 ? w.channelData(1) : job.data[0];
    job.channels = call.waveChannels;
    job.frames = int64_t(w.frames());
    job.waveStart = call.waveStart;
    job.waveEnd = call.waveEnd;
    job.loopStart = call.loopStart;
    job.loopEnd = call.loopEnd;
    job.loopType = call.loopType;
    job.baseStep = call.baseStep;
    job.interpolation = call.audible ? call.interpolation : WaveRead::kSilent;
    job.sinc = &lanes.sinc;
    job.amp = lanes.lane(VoiceLanes::kAmp);
    job.pitchRatio = lanes.lane(VoiceLanes::kPitchRatio);
    // Loop lanes that hold still, with no direction, fold into the loop: the walk then skips them.
    job.loopMoves = call.modulated;
    constexpr uint32_t kLoopLanes = (1u << VoiceLanes::kLoopStart) | (1u << VoiceLanes::kLoopEnd) |
                                    (1u << VoiceLanes::kLoopDir);
    if (call.modulated && !(lanes.moving & kLoopLanes) && lanes.lanes[VoiceLanes::kLoopDir][0] == 0) {
        job.loopMoves = false;
        job.loopStart += double(lanes.lanes[VoiceLanes::kLoopStart][0]);
        job.loopEnd += double(lanes.lanes[VoiceLanes::kLoopEnd][0]);
    } else if (call.modulated) {
        lanes.spread(VoiceLanes::kLoopStart, n);
        lanes.spread(VoiceLanes::kLoopEnd, n);
        lanes.spread(VoiceLanes::kLoopDir, n);
    }
    job.loopStartOffset = lanes.lane(VoiceLanes::kLoopStart);
    job.loopEndOffset = lanes.lane(VoiceLanes::kLoopEnd);
    job.loopDirection = lanes.lane(VoiceLanes::kLoopDir);
    job.out[0] = lanes.raw[0].data();
    job.out[1] = lanes.raw[1].data();
    job.count = n;
    job.position = position;
    job.direction = direction;
    const int32_t made = readWave(job);
    position = job.position;
    direction = job.direction;
    if (job.ended) {
        state = kIdle;
        aeg.level = 0;
        aeg.out = 0;
        position = 0;
    }
    return made;
}

void Voice::declick(const Call& call, VoiceLanes& lanes, int32_t n) {
    const float scale = float(1.0 / (call.rateRatio * 64.0));
    for (int32_t i = 0; i < n && declick_left > 0; ++i, --declick_left) {
        const float e = float(declick_left) * scale;
        const float keep = (1.0f - e) * (1.0f - e);
        for (int32_t c = 0; c < call.waveChannels; ++c) {
            float& s = lanes.raw[std::size_t(c)][std::size_t(i)];
            s = s * keep + e * declick_value[std::size_t(c)];
            declick_value[std::size_t(c)] += declick_slope[std::size_t(c)] * e;
        }
    }
}

void Voice::keepLastOutputs(const Call& call, const VoiceLanes& lanes, int32_t n) {
    for (int32_t c = 0; c < call.waveChannels; ++c) {
        const auto& raw = lanes.raw[std::size_t(c)];
        last_out[std::size_t(c)] = raw[std::size_t(n - 1)];
        prev_out[std::size_t(c)] = raw[std::size_t(n >= 2 ? n - 2 : n - 1)];
    }
}

VoiceFilter::Side Voice::filterSide(const Call& call, VoiceLanes& lanes, float* const* signal, float* const* out,
                                    int32_t channels, int32_t n) {
    float* freq = lanes.lane(VoiceLanes::kFilterFreq);
    float* res = lanes.lane(VoiceLanes::kFilterRes);
    float* drive = lanes.lane(VoiceLanes::kFilterDrive);
    if (!call.modulated) {
        freq[0] = filter.filter_freq;
        res[0] = filter.filter_res;
        drive[0] = filter.filter_drive;
    }
    constexpr uint32_t kFilterLanes = (1u << VoiceLanes::kFilterFreq) | (1u << VoiceLanes::kFilterRes) |
                                      (1u << VoiceLanes::kFilterDrive);
    const bool constant = !call.modulated || !(lanes.moving & kFilterLanes);
    if (!constant) {
        lanes.spread(VoiceLanes::kFilterFreq, n);
        lanes.spread(VoiceLanes::kFilterRes, n);
        lanes.spread(VoiceLanes::kFilterDrive, n);
    }
    return {signal, out, channels, n, freq, res, drive, constant};
}

void Voice::filterStage(const Call& call, VoiceLanes& lanes, float** signal, int32_t channels, int32_t n) {
    if (filter.type == kFilterOff) return;
    float* out[2] = {lanes.filtered[0].data(), lanes.filtered[1].data()};
    const VoiceFilter::Side side = filterSide(call, lanes, signal, out, channels, n);
    filter.process(side.freq, side.res, side.drive, side.constant, signal, out, channels, n, call.rateRatio);
    signal[0] = out[0];
    if (channels == 2) signal[1] = out[1];
}

void Voice::insertStage(const Call& call, VoiceLanes& lanes, float** signal, int32_t& channels, int32_t n) {
    if (!processor) return;
    if (channels == 1 && processor->wantsStereo()) {
        std::copy_n(signal[0], n, lanes.inserted[1].data());
        signal[1] = lanes.inserted[1].data();
        channels = 2;
    }
    float* par1 = lanes.lane(VoiceLanes::kInsert1);
    float* par2 = lanes.lane(VoiceLanes::kInsert2);
    if (!call.modulated) {
        FastMath::fill(par1, static_insert1, n);
        FastMath::fill(par2, static_insert2, n);
    } else {
        lanes.spread(VoiceLanes::kInsert1, n);
        lanes.spread(VoiceLanes::kInsert2, n);
    }
    processor->process(signal, 0, n, channels, par1, par2);
}

void Voice::groupSends(Morvek& engine, const Call& call, VoiceLanes& lanes, float* const* signal, int32_t channels,
                       int32_t offset, int32_t n, bool preFader) {
    static constexpr VoiceLanes::Lane kSendLanes[3] = {VoiceLanes::kSend1, VoiceLanes::kSend2, VoiceLanes::kSend3};
    for (std::size_t s = 0; s < 3; ++s) {
        const Send& send = group->sends[s];
        if (send.preFader != preFader || send.dest == kRouteNone) continue;
        const float base = send.level + static_send[s];
        mixInto(engine.routes()[send.dest], signal, channels, offset, n, base,
                call.modulated ? lanes.spread(kSendLanes[s], n) : nullptr);
    }
}

void Voice::volumeAndPan(const Call& call, VoiceLanes& lanes, float** signal, int32_t& channels, int32_t n) {
    float* l = signal[0];
    float* r = signal[1];
    if (channels == 1 && r == l) r = signal[1] = lanes.raw[1].data();
    const int32_t out = call.outChannels;
    constexpr uint32_t kLevelLanes = (1u << VoiceLanes::kPan) | (1u << VoiceLanes::kVolume);
    if (!call.modulated || !(lanes.moving & kLevelLanes)) {
        // One pan and level for the sub-block: the lanes' held values, if any, on their bases.
        const float panBase = call.modulated ? lanes.lanes[VoiceLanes::kPan][0] + call.panBase : call.panBase;
        const float ampBase = call.modulated ? lanes.lanes[VoiceLanes::kVolume][0] + call.ampBase : call.ampBase;
        const float p = clampSigned(panBase);
        const float vol = clamp01(ampBase);
        const float lg = clamp01(1.0f - p) * vol, rg = clamp01(1.0f + p) * vol;
        const int32_t nv = roundUp4(n);
        if (channels == 1 && out == 2) {
            for (int32_t i = 0; i < nv; i += 4) {
                const F4 s = load4(l + i);
                store4(r + i, s * rg);
                store4(l + i, s * lg);
            }
        } else if (channels == 2 && out == 1) {
            for (int32_t i = 0; i < nv; i += 4) store4(l + i, (load4(l + i) * lg + load4(r + i) * rg) * 0.5f);
        } else if (channels == 2) {
            FastMath::scale(l, lg, n);
            FastMath::scale(r, rg, n);
        } else {
            FastMath::scale(l, vol, n);
        }
        channels = out;
        return;
    }
    const bool panHolds = !lanes.moves(VoiceLanes::kPan);
    const float* panLane = lanes.spread(VoiceLanes::kPan, n);
    const float* volLane = lanes.spread(VoiceLanes::kVolume, n);
    // A pan that holds gives its two sides once; a moving level alone scales them.
    const F4 heldPan = FastMath::clampSigned(FastMath::splat4(panLane[0] + call.panBase));
    const F4 heldLeft = FastMath::clamp01(1.0f - heldPan), heldRight = FastMath::clamp01(1.0f + heldPan);
    for (int32_t i = 0; i < roundUp4(n); i += 4) {
        const F4 vol = FastMath::clamp01(load4(volLane + i) + call.ampBase);
        F4 lg, rg;
        if (panHolds) {
            lg = heldLeft * vol, rg = heldRight * vol;
        } else {
            const F4 p = FastMath::clampSigned(load4(panLane + i) + call.panBase);
            lg = FastMath::clamp01(1.0f - p) * vol, rg = FastMath::clamp01(1.0f + p) * vol;
        }
        const F4 a = load4(l + i);
        if (channels == 1 && out == 2) {
            store4(r + i, a * rg);
            store4(l + i, a * lg);
        } else if (channels == 2 && out == 1) {
            store4(l + i, (a * lg + load4(r + i) * rg) * 0.5f);
        } else if (channels == 2) {
            store4(l + i, a * lg);
            store4(r + i, load4(r + i) * rg);
        } else {
            store4(l + i, a * vol);
        }
    }
    channels = out;
}

void Voice::slotSends(Morvek& engine, float* const* signal, int32_t channels, int32_t offset, int32_t n,
                      bool preFader) {
    for (const SlotSend& send : slot->sends) {
        if (send.preFader != preFader || send.dest == kRouteNone) continue;
        const float level = cellOr(engine, send.levelAutomation, send.level);
        const float gain = preFader ? level : level * cellOr(engine, slot->ampAutomation, slot->amp);
        mixInto(engine.routes()[send.dest], signal, channels, offset, n, gain, nullptr);
    }
}

void Voice::slotPan(float* const* signal, int32_t channels, int32_t n) {
    if (slot->pan == 0 || channels != 2) return;
    const float p = clampSigned(slot->pan);
    FastMath::scale(signal[0], clamp01(1.0f - p), n);
    FastMath::scale(signal[1], clamp01(1.0f + p), n);
}

void Voice::mixOutput(const Call& call, float* const* signal, int32_t channels, int32_t offset, int32_t n) {
    mixInto(*call.route, signal, channels, offset, n, call.slotAmp, nullptr);
}

}  // namespace MV
