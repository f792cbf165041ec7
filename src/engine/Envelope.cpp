#include "engine/Envelope.h"

#include <algorithm>
#include <cstring>
#include <xmmintrin.h>

#include "engine/Aeg.h"
#include "model/GroupSoundParams.h"

namespace MV {

void Envelope::setup(const Env& params, double rateRatio, int32_t playmode) {
    const std::array<float, 4> levels = {params.level0, params.level1, params.level2, params.level3};
    const std::array<float, 3> times = {params.time1, params.time2, params.time3};
    for (std::size_t i = 0; i < 3; ++i) {
        seg_delta[i] = levels[i + 1] - levels[i];
        seg_rate[i] = float(Aeg::rate(times[i], rateRatio));
    }
    level0 = params.level0;
    amp = params.amp;
    amp_mod = 0;
    no_release = playmode >= 2;
}

void Envelope::foldStatic() noexcept {
    amp += amp_mod;
    amp_mod = 0;
}

void Envelope::start() noexcept {
    level = level0;
    seg_slope = seg_delta[0];
    seg_rate_now = seg_rate[0];
    seg_pos = 0;
    segment = 1;
    out = FastMath::clamp01(amp + amp_mod) * level * level * level;
}

void Envelope::release(float level3) noexcept {
    if (no_release) return;
    seg_slope = level3 - level;
    seg_pos = 0;
    segment = 3;
    seg_rate_now = seg_rate[2];
}

void Envelope::advance(int32_t n) noexcept {
    // Outputs nobody reads; the segments run as in tickBlock(), and the last sample's output is
    // the one kept.
    constexpr int32_t kScratch = 256;
    float scratch[kScratch];
    const float gain = FastMath::clamp01(amp + amp_mod);
    while (n > 0) {
        if (seg_rate_now == 0 && holding()) {
            // Held: the next sample settles the level into 0..1 and every one after it puts out
            // the same.
            tick();
            if (n > 1) tick();
            return;
        }
        int32_t made = 0;
        float o = out, lv = level, pos = seg_pos;
        const bool ended = runSegment(scratch, made, std::min(n, kScratch), gain, o, lv, pos);
        out = o, level = lv, seg_pos = pos;
        n -= made;
        if (ended) endSegment(seg_slope, seg_rate_now, seg_pos);
    }
}

void Envelope::tickBlock(float* before, int32_t n) noexcept {
    // The running values in locals: in the fields, every step would wait for the last one's store.
    const float gain = FastMath::clamp01(amp + amp_mod);
    float o = out, lv = level, pos = seg_pos;
    int32_t i = 0;
    while (i < n) {
        if (seg_rate_now == 0 && holding()) {
            // Held: once a step leaves the level where it is, every later tick gives the same.
            bool settled = false;
            while (i < n && !settled) {
                before[i++] = o;
                o = gain * lv * lv * lv;
                const float next = FastMath::clamp01(lv + seg_slope * seg_rate_now);
                settled = next == lv;
                lv = next;
            }
            const FastMath::F4 held = FastMath::splat4(o);
            for (; i + 4 <= n; i += 4) FastMath::store4(before + i, held);
            for (; i < n; ++i) before[i] = o;
            break;
        }
        if (!runSegment(before, i, n, gain, o, lv, pos)) break;
        seg_pos = pos;
        endSegment(seg_slope, seg_rate_now, seg_pos);
        pos = seg_pos;
    }
    out = o, level = lv, seg_pos = pos;
}

namespace {
// The level's grid below 1: every clamped level is a multiple of 2^-25.
constexpr float kUnits = 33554432.0f;
constexpr float kUnit = 2.9802322e-08f;
}  // namespace

bool Envelope::runSegment(float* before, int32_t& at, int32_t n, float gain, float& outRef, float& levelRef,
                          float& posRef) const noexcept {
    // Each level waits on the one before through an addition and the clamp's three roundings, so
    // a sample at a time the segment runs at the speed of that chain. Instead, after a few steps
    // the level's increments on its grid are seen to repeat and the position's to hold; the
    // levels and positions they predict are then checked side by side, each against one step
    // from the one before it, and kept up to the first that fails. What is kept is what the steps
    // give; a wrong prediction only costs time.
    using FastMath::F4;
    using I4 = int32_t __attribute__((vector_size(16)));
    const float rate = seg_rate_now, d = seg_slope * seg_rate_now;
    constexpr int kSeen = 9;
    float seenLevel[kSeen], seenPos[kSeen];
    // In locals, which the stores to `before` cannot alias.
    float o = outRef, lv = levelRef, pos = posRef;
    int32_t i = at;
    bool ended = false;
    while (i < n && !ended) {
        int h = 0;
        while (i < n && h < kSeen && !ended) {
            before[i++] = o;
            o = gain * lv * lv * lv;
            pos += rate;
            lv = FastMath::clamp01(lv + d);
            ended = pos >= 1.0f;
            seenLevel[h] = lv, seenPos[h] = pos;
            ++h;
        }
        if (i >= n || ended) break;
        bool onGrid = true;
        for (const float v : seenLevel) onGrid = onGrid && v >= 0.0f && v <= 1.0f;
        if (!onGrid) continue;

        // The smallest period of the level's increments among 1, 2 and 4 (else 8).
        int32_t units[kSeen], steps[kSeen - 1];
        for (int t = 0; t < kSeen; ++t) units[t] = int32_t(seenLevel[t] * kUnits);
        // Increments of more than 2^16 units reach 0 or 1 within a block anyway.
        bool small = true;
        for (int t = 0; t + 1 < kSeen; ++t) {
            steps[t] = units[t + 1] - units[t];
            small = small && steps[t] >= -65536 && steps[t] <= 65536;
        }
        if (!small) continue;
        int period = 8;
        for (const int p : {1, 2, 4}) {
            bool repeats = true;
            for (int t = 0; t + p < kSeen - 1 && repeats; ++t) repeats = steps[t] == steps[t + p];
            if (repeats) {
                period = p;
                break;
            }
        }
        // Four samples at a time: the levels from the repeating increments of their units, the
        // positions by the last step, each checked against one step from the one before it; the
        // outputs of the ones that hold straight away.
        const int32_t* pattern = steps + (kSeen - 1 - period);
        const int span = period < 4 ? 4 : period;  // samples after which the offsets repeat
        alignas(16) int32_t offsets[8];
        int32_t sum = 0;
        for (int t = 0; t < span; ++t) offsets[t] = sum += pattern[t % period];
        const float posStep = seenPos[kSeen - 1] - seenPos[kSeen - 2];
        const F4 kUnit4 = FastMath::splat4(kUnit), count4{1, 2, 3, 4}, step4 = FastMath::splat4(d);
        const F4 rate4 = FastMath::splat4(rate), gain4 = FastMath::splat4(gain), one = FastMath::splat4(1.0f);
        const float start = pos;
        int32_t base = units[kSeen - 1];
        int32_t made = 0;
        for (int k = 0; i + made + 4 <= n;) {
            I4 off;
            std::memcpy(&off, offsets + k, sizeof off);
            const F4 next = __builtin_convertvector(base + off, F4) * kUnit4;
            const F4 place = start + (float(made) + count4) * posStep;
            const F4 from{lv, next[0], next[1], next[2]};
            const F4 fromPos{pos, place[0], place[1], place[2]};
            const auto good = (FastMath::clamp01(from + step4) == next) & (fromPos + rate4 == place);
            const auto past = place >= one;
            __m128 goodMask, pastMask;
            std::memcpy(&goodMask, &good, sizeof goodMask);
            std::memcpy(&pastMask, &past, sizeof pastMask);
            const int goodBits = _mm_movemask_ps(goodMask), pastBits = _mm_movemask_ps(pastMask);
            // Lanes up to the first that fails, and up to the one where the segment ends.
            int take = goodBits == 15 ? 4 : __builtin_ctz(~unsigned(goodBits));
            if (pastBits != 0 && __builtin_ctz(unsigned(pastBits)) < take) {
                take = __builtin_ctz(unsigned(pastBits)) + 1;
                ended = true;
            }
            if (take == 0) break;
            // Each sample's output is the cube of the level it starts from; the one before it
            // goes out first.
            const F4 outs = gain4 * from * from * from;
            if (take == 4) {
                FastMath::store4(before + i + made, F4{o, outs[0], outs[1], outs[2]});
            } else {
                before[i + made] = o;
                for (int l = 1; l < take; ++l) before[i + made + l] = outs[l - 1];
            }
            o = outs[take - 1];
            made += take;
            lv = next[take - 1], pos = place[take - 1];
            if (take < 4 || ended) break;
            k += 4;
            if (k == span) k = 0, base += sum;
        }
        i += made;
    }
    outRef = o, levelRef = lv, posRef = pos, at = i;
    return ended;
}

}  // namespace MV
