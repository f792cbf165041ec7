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
    constexpr int32_t kAhead = 256;
    float seenLevel[kSeen], seenPos[kSeen];
    alignas(16) float level[kAhead + 8], place[kAhead + 8];
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
        // Predictions for the next samples, four at a time: the level's units from the repeating
        // increments, the position by its last step.
        const int32_t ahead = std::min(kAhead, n - i);
        const int32_t* pattern = steps + (kSeen - 1 - period);
        const int span = period < 4 ? 4 : period;  // samples after which the offsets repeat
        alignas(16) int32_t offsets[8];
        int32_t sum = 0;
        for (int t = 0; t < span; ++t) offsets[t] = sum += pattern[t % period];
        const float posStep = seenPos[kSeen - 1] - seenPos[kSeen - 2];
        level[0] = lv, place[0] = pos;
        const F4 kUnit4 = FastMath::splat4(kUnit), count4{1, 2, 3, 4};
        int32_t base = units[kSeen - 1];
        for (int32_t m = 0, k = 0; m < ahead; m += 4) {
            I4 off;
            std::memcpy(&off, offsets + k, sizeof off);
            FastMath::store4(level + m + 1, __builtin_convertvector(base + off, F4) * kUnit4);
            FastMath::store4(place + m + 1, pos + (float(m) + count4) * posStep);
            k += 4;
            if (k == span) k = 0, base += sum;
        }
        for (int32_t m = ahead + 1; m < ahead + 8; ++m) level[m] = place[m] = -1.0f;

        // The predictions that hold.
        const F4 step4 = FastMath::splat4(d), rate4 = FastMath::splat4(rate);
        int32_t kept = 0;
        while (kept < ahead) {
            const F4 x = FastMath::load4(level + kept), p = FastMath::load4(place + kept);
            const auto good = (FastMath::clamp01(x + step4) == FastMath::load4(level + kept + 1)) &
                              (p + rate4 == FastMath::load4(place + kept + 1));
            __m128 mask;
            std::memcpy(&mask, &good, sizeof mask);
            const int bits = _mm_movemask_ps(mask);
            if (bits != 15) {
                kept += __builtin_ctz(~unsigned(bits));
                break;
            }
            kept += 4;
        }
        kept = std::min(kept, ahead);
        if (kept == 0) continue;
        // The segment ends on the first kept position at or past 1.
        int32_t made = kept;
        const F4 one = FastMath::splat4(1.0f);
        for (int32_t m = 1; m <= kept; m += 4) {
            const auto past = FastMath::load4(place + m) >= one;
            __m128 mask;
            std::memcpy(&mask, &past, sizeof mask);
            if (const int bits = _mm_movemask_ps(mask); bits != 0) {
                made = std::min(kept, m + __builtin_ctz(unsigned(bits)));
                ended = made < kept || place[made] >= 1.0f;
                break;
            }
        }
        before[i] = o;
        const F4 gain4 = FastMath::splat4(gain);
        int32_t m = 1;
        for (; m + 4 <= made; m += 4) {
            const F4 v = FastMath::load4(level + m - 1);
            FastMath::store4(before + i + m, gain4 * v * v * v);
        }
        for (; m < made; ++m) before[i + m] = gain * level[m - 1] * level[m - 1] * level[m - 1];
        o = gain * level[made - 1] * level[made - 1] * level[made - 1];
        lv = level[made], pos = place[made];
        i += made;
    }
    outRef = o, levelRef = lv, posRef = pos, at = i;
    return ended;
}

}  // namespace MV
