// The modulated lanes of a sub-block in two passes instead of one per sample: the modulators
// step first, keeping the outputs that slots read, then the slots add into their destinations
// lane by lane. Each sample gets the same values, added in the same order, as the sample-by-sample
// walk gives; the walk remains for what this cannot take (a slot that feeds a modulator, a slew,
// a glide).
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "engine/Exp2.h"
#include "engine/FastMath.h"
#include "engine/ModMatrix.h"
#include "engine/Voice.h"
#include "engine/VoiceLanes.h"

namespace MV {

namespace {
using FastMath::F4;
using FastMath::load4;
using FastMath::store4;
constexpr int32_t kLength = int32_t(VoiceLanes::kLength);
constexpr std::size_t kModulators = 8;  // AEG, ENV1, ENV2, LFO1, LFO2, SEQ1, SEQ2, SEQ3
constexpr std::size_t kLaneFields = Voice::BlockPlan::kLaneFields;
}  // namespace

void Voice::makeBlockPlan() noexcept {
    BlockPlan& plan = block_plan;
    plan = {};
    plan.ready = true;
    float* const laneFields[kLaneFields] = {&filter.filter_freq, &filter.filter_res, &filter.filter_drive,
                                           &dest.loop_start,    &dest.loop_end,      &dest.loop_dir,
                                           &dest.pan,           &dest.volume,        &dest.insert1,
                                           &dest.insert2,       &dest.send1,         &dest.send2,
                                           &dest.send3};
    const float* const outputs[kModulators] = {&aeg.out,  &env1.out, &env2.out, &lfo1.out,
                                               &lfo2.out, &seq1.out, &seq2.out, &seq3.out};
    auto modulatorOf = [&](const float* p) -> int8_t {
        for (std::size_t k = 0; k < kModulators; ++k)
            if (p == outputs[k]) return int8_t(k);
        return -1;
    };
    auto isLaneOrPitch = [&](const float* p) {
        if (p == &dest.pitch || p == &dest.pitch_raw) return true;
        for (float* f : laneFields)
            if (p == f) return true;
        return false;
    };

    // Audio slots must move only lanes and pitch, so that the modulators never wait for them.
    for (int32_t s = 0; s < n_audio; ++s) {
        const ModSlot& slot = slots[std::size_t(s)];
        if (!isLaneOrPitch(slot.dest)) return;
        plan.pitchMoves = plan.pitchMoves || slot.dest == &dest.pitch || slot.dest == &dest.pitch_raw;
        plan.sourceOf[std::size_t(s)] = modulatorOf(slot.source);
        plan.viaOf[std::size_t(s)] = modulatorOf(slot.via);
        for (const int8_t k : {plan.sourceOf[std::size_t(s)], plan.viaOf[std::size_t(s)]})
            if (k >= 0) plan.read = uint8_t(plan.read | (1u << k));
    }
    // The destinations of the audio and control runs. Those that an audio slot moves get their
    // values over the sub-block; the others hold one value, the control run's sum.
    for (int32_t s = 0; s < n_control; ++s) {
        float* d = slots[std::size_t(s)].dest;
        std::size_t f = 0;
        while (f < plan.fieldCount && plan.fields[f] != d) ++f;
        if (f == plan.fieldCount) plan.fields[plan.fieldCount++] = d;
        plan.accOf[std::size_t(s)] = int8_t(f);
        if (s < n_audio) plan.moves[f] = true;
    }
    auto movingField = [&](const float* field) -> int8_t {
        for (std::size_t f = 0; f < plan.fieldCount; ++f)
            if (plan.fields[f] == field) return plan.moves[f] ? int8_t(f) : int8_t(-1);
        return -1;
    };
    for (std::size_t x = 0; x < kLaneFields; ++x) plan.laneField[x] = movingField(laneFields[x]);
    plan.pitchField = movingField(&dest.pitch);
    plan.rawField = movingField(&dest.pitch_raw);
    plan.usable = true;
}

int32_t Voice::fillLanesByBlock(VoiceLanes& lanes, int32_t n, uint8_t running) {
    if (smooth_left != 0 || glide_pitch != glide_target || n_audio == 0 || n > kLength) return -1;
    if (!block_plan.ready) makeBlockPlan();
    const BlockPlan& plan = block_plan;
    if (!plan.usable) return -1;
    const unsigned read = plan.read;
    const std::size_t fieldCount = plan.fieldCount;
    const auto& moves = plan.moves;

    // First pass: once as the walk's first sample does, which sets the modulators' inputs that
    // control slots move (they hold over the sub-block). Then each modulator that audio slots
    // read runs through the sub-block on its own, since here none feeds another; the others
    // move on in bulk.
    ModMatrix::accumulate(slots.data(), n_audio, n_control, smooth_left);
    alignas(16) std::array<std::array<float, kLength>, kModulators> before;
    float* amp = lanes.lane(VoiceLanes::kAmp);
    const int32_t made = aeg.run(state, static_gain, amp, n, (read & 1u) ? before[0].data() : nullptr);
    for (unsigned m = read & ~1u; m != 0; m &= m - 1) {
        const auto k = std::size_t(std::countr_zero(m));
        float* b = before[k].data();
        switch (k) {
        case 1: env1.tickBlock(b, made); break;
        case 2: env2.tickBlock(b, made); break;
        case 3: lfo1.tickBlock(b, made); break;
        case 4: lfo2.tickBlock(b, made); break;
        case 5: seq1.tickBlock(b, made); break;
        case 6: seq2.tickBlock(b, made); break;
        default: seq3.tickBlock(b, made); break;
        }
    }
    // Bit k of `read` is modulator k; the bulk advance numbers them from ENV1.
    if (state != kIdle) advanceModulators(made, uint8_t(running & ~(read >> 1)));

    // Second pass: the destinations, slot by slot in the walk's order: cleared, the audio run
    // added, then the control run.
    alignas(16) std::array<std::array<float, kLength>, kModSlots> acc;
    std::array<float, kModSlots> held{};
    for (std::size_t f = 0; f < fieldCount; ++f)
        if (moves[f]) FastMath::fill(acc[f].data(), 0.0f, made);
    // A source that holds still reads from a lane of its one value, so that every loop below
    // runs without a branch.
    alignas(16) std::array<std::array<float, kLength>, 2> still;
    for (int32_t s = 0; s < n_audio; ++s) {
        const ModSlot& slot = slots[std::size_t(s)];
        float* __restrict out = acc[std::size_t(plan.accOf[std::size_t(s)])].data();
        const int ks = plan.sourceOf[std::size_t(s)], kv = plan.viaOf[std::size_t(s)];
        const float* __restrict src = ks >= 0 ? before[std::size_t(ks)].data() : still[0].data();
        const float* __restrict via = kv >= 0 ? before[std::size_t(kv)].data() : still[1].data();
        if (ks < 0) FastMath::fill(still[0].data(), *slot.source, made);
        if (kv < 0) FastMath::fill(still[1].data(), *slot.via, made);
        const F4 a = FastMath::splat4(slot.amount), b = FastMath::splat4(slot.amount_via - slot.amount);
        for (int32_t i = 0; i < FastMath::roundUp4(made); i += 4) {
            const F4 x = load4(src + i);
            store4(out + i, load4(out + i) + (x * a + x * load4(via + i) * b));
        }
    }
    for (int32_t s = n_audio; s < n_control; ++s) {
        const auto f = std::size_t(plan.accOf[std::size_t(s)]);
        const float value = slots[std::size_t(s)].value;
        if (moves[f])
            FastMath::addTo(acc[f].data(), value, made);
        else
            held[f] += value;
    }

    // The fields end as the walk leaves them, with the last sample's values; a lane that no audio
    // slot moves takes its one value from them.
    for (std::size_t f = 0; f < fieldCount; ++f) *plan.fields[f] = moves[f] ? acc[f][std::size_t(made - 1)] : held[f];
    lanes.moving = 0;
    for (std::size_t x = 0; x < kLaneFields; ++x) {
        const unsigned l = unsigned(VoiceLanes::kFilterFreq + x);
        float* lane = lanes.lanes[l].data();
        if (plan.laneField[x] < 0) {
            lane[0] = laneValue(l);
            continue;
        }
        const float* values = acc[std::size_t(plan.laneField[x])].data();
        // A source may hold still for a while, a held envelope for one: the stages then take
        // the lane as one value.
        if (!FastMath::holdsStill(values, made)) lanes.moving |= 1u << l;
        // The unit each stage reads: loop offsets in the wave's frames, inserts on their bases.
        const bool frames = l == VoiceLanes::kLoopStart || l == VoiceLanes::kLoopEnd;
        const F4 times = FastMath::splat4(frames ? wave_rate : 1.0f);
        const F4 plus = FastMath::splat4(l == VoiceLanes::kInsert1 ? static_insert1
                                         : l == VoiceLanes::kInsert2 ? static_insert2
                                                                     : 0.0f);
        if (frames)
            for (int32_t i = 0; i < FastMath::roundUp4(made); i += 4) store4(lane + i, load4(values + i) * times);
        else if (l == VoiceLanes::kInsert1 || l == VoiceLanes::kInsert2)
            for (int32_t i = 0; i < FastMath::roundUp4(made); i += 4) store4(lane + i, load4(values + i) + plus);
        else
            std::copy_n(values, made, lane);
    }

    // Pitch, with the power only where it moves; without an audio slot on it, it holds.
    float* pitch = lanes.lane(VoiceLanes::kPitchRatio);
    if (!plan.pitchMoves) {
        const float p = glide_pitch + dest.pitch + dest.pitch_raw;
        if (p != last_pitch) {
            pitch_ratio = Exp2::of(p);
            last_pitch = p;
        }
        FastMath::fill(pitch, pitch_ratio, made);
        return made;
    }
    const float* pitchValues = plan.pitchField >= 0 ? acc[std::size_t(plan.pitchField)].data() : nullptr;
    const float* rawValues = plan.rawField >= 0 ? acc[std::size_t(plan.rawField)].data() : nullptr;
    if (!pitchValues) FastMath::fill(still[0].data(), dest.pitch, made), pitchValues = still[0].data();
    if (!rawValues) FastMath::fill(still[1].data(), dest.pitch_raw, made), rawValues = still[1].data();
    const F4 glide = FastMath::splat4(glide_pitch);
    for (int32_t i = 0; i < FastMath::roundUp4(made); i += 4)
        store4(pitch + i, glide + load4(pitchValues + i) + load4(rawValues + i));
    last_pitch = pitch[made - 1];
    // The power is a pure function: every sample gets it, as the walk's cache would give.
    Exp2::ofLane(pitch, made);
    pitch_ratio = pitch[made - 1];
    return made;
}

}  // namespace MV
