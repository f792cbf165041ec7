#include "engine/VoiceFilter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <immintrin.h>
#include <tuple>

#include "engine/FastMath.h"
#include "engine/FilterCoefficients.h"
#include "model/GroupSoundParams.h"
#include "model/Names.h"

namespace MV {

namespace {
using Lane = FilterDesign::Coefficients<FilterDesign::OneLane>;
using Lanes4 = FilterDesign::Coefficients<FilterDesign::FourLanes>;
// A stored frequency of 1 is 20 kHz; inside, frequencies are fractions of 22050 Hz (1 / 22050).
constexpr float kMaxHz = 20000.0f;
constexpr float kPerHalfRate = 4.5351473e-05f;
// 20 Hz and 20 kHz as fractions of 22050 Hz.
constexpr float kLowestFreq = 0.0009070295f;
constexpr float kHighestFreq = 0.90702945f;
constexpr uint8_t kSlopes = 3;
// Memories below this are -300 dB: nothing to hear, and soon denormal.
constexpr float kSilentMemory = 1e-15f;

// The low and high passes of 12 dB over eight samples, with FourLanes' operations lane by lane:
// AVX2 without FMA, which would round differently. Coefficients into b0 to a2.
using V8 = float __attribute__((vector_size(32)));
[[gnu::target("avx2")]] void designEight(bool low, uint8_t slope, const float* freq, const float* res,
                                         double rateRatio, float* const* set) noexcept {
    using namespace FilterDesign;
    V8 F, R;
    std::memcpy(&F, freq, sizeof F);
    std::memcpy(&R, res, sizeof R);
    const V8 w = float(rateRatio) * F * kTwentyTwoSevenths;
    V8 s, c;
    polySinInto(w, s);
    polyCosInto(w, c);
    const float q = kSlopeQ[slope < kSlopeQ.size() ? slope : 0];
    V8 qR = q * R;
    __m256 root;
    std::memcpy(&root, &qR, sizeof root);
    root = _mm256_sqrt_ps(root);
    std::memcpy(&qR, &root, sizeof qR);
    const V8 t = s * (kSqrt2 - qR * (kSqrt2 - kLeastDamping)) * 0.5f;
    const V8 B = ((1.0f - t) * 0.5f) / (1.0f + t);
    const V8 g = c * (B + 0.5f);
    const V8 k = low ? ((B + 0.5f) - g) * 0.25f : (B + 0.5f + g) * 0.25f;
    const V8 out[5] = {2.0f * k, low ? 4.0f * k : -4.0f * k, 2.0f * k, -2.0f * g, 2.0f * B};
    for (int i = 0; i < 5; ++i) std::memcpy(set[i], &out[i], sizeof out[i]);
}

bool processorDesignsEight() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

// One step of a one-pole smoothing towards `target`, in double precision.
MV_HOT_INLINE double onePole(double smooth, float target, double take, double keep) noexcept {
    return double(target) * take + keep * smooth;
}
}  // namespace

float VoiceFilter::polySin(float w) noexcept { return FilterDesign::polySin(w); }

float VoiceFilter::polyCos(float w) noexcept { return FilterDesign::polyCos(w); }

void VoiceFilter::setup(const Filter& params) noexcept {
    const float f = params.freq;
    base_freq = (f < 0 ? -f * f : f * f) * kMaxHz * kPerHalfRate;
    base_res = params.res;
    base_drive = params.drive;
    type = params.type;
    slope = params.slope < kSlopes ? params.slope : uint8_t(kSlope24dB);
    filter_freq = 0;
    filter_res = 0;
    filter_drive = 0;
    freq_smooth = double(base_freq);
    res_smooth = double(base_res);
    cached_freq = 0;
    cached_res = 0;
    cached_drive = 0;
}

void VoiceFilter::foldStatic() noexcept {
    base_freq += filter_freq;
    base_res += filter_res;
    base_drive += filter_drive;
    // The note starts at its modulated base rather than gliding there from the group's value.
    freq_smooth = double(base_freq);
    res_smooth = double(base_res);
    filter_freq = 0;
    filter_res = 0;
    filter_drive = 0;
}

void VoiceFilter::smooth(float freq, float res, float drive) noexcept {
    freq_smooth = onePole(freq_smooth, freq, freq_take, freq_keep);
    res_smooth = onePole(res_smooth, res, res_take, res_keep);
    cached_freq = float(freq_smooth);
    cached_res = float(res_smooth);
    cached_drive = drive;
}

void VoiceFilter::update(float freq, float res, float drive, double rateRatio) noexcept {
    smooth(freq, res, drive);
    const Lane k = Lane::design(type, slope, cached_freq, cached_res, drive, rateRatio);
    b0 = k.b0;
    b1 = k.b1;
    b2 = k.b2;
    a1 = k.a1;
    a2 = k.a2;
}

// The coefficients of a stretch of samples whose lanes move, with the drive of each sample.
struct VoiceFilter::Stretch {
    static constexpr int32_t kLength = 256;
    // b0, b1, b2, a1, a2 and the drive, by sample.
    alignas(16) std::array<std::array<float, kLength>, 6> set;
};

MV_HOT_INLINE void VoiceFilter::target(const float* freqLane, const float* resLane, const float* driveLane, int32_t i,
                                       float& F, float& R, float& D) const noexcept {
    F = std::clamp(base_freq + freqLane[i], kLowestFreq, kHighestFreq);
    R = FastMath::clamp01(base_res + resLane[i]);
    D = base_drive + driveLane[i];
}

template <bool Shapes>
void VoiceFilter::designStretch(const float* freqLane, const float* resLane, const float* driveLane, int32_t m,
                                double rateRatio, Stretch& stretch) noexcept {
    // First the targets, then the smoothing and the coefficients of the samples that moved it,
    // four side by side, while the others keep those before them. The smoothing runs on copies:
    // in the fields, every step would wait for the last one's store to memory.
    alignas(16) std::array<std::array<float, Stretch::kLength + 4>, 3> smoothed;  // F, R, D
    alignas(16) std::array<std::array<float, Stretch::kLength>, 2> targets;      // F, R
    std::array<bool, Stretch::kLength + 4> moved;
    std::array<bool, Stretch::kLength / 4 + 1> designed{};
    float* drive = stretch.set[5].data();
    {
        // target() four at a time: the lanes and the stretch hold whole vectors.
        using FastMath::F4;
        const F4 baseF = FastMath::splat4(base_freq), baseR = FastMath::splat4(base_res);
        const F4 baseD = FastMath::splat4(base_drive);
        const F4 lowest = FastMath::splat4(kLowestFreq), highest = FastMath::splat4(kHighestFreq);
        for (int32_t j = 0; j < m; j += 4) {
            const F4 f = baseF + FastMath::load4(freqLane + j);
            // As std::clamp: the low bound below it, the high one above, else the value (a NaN too).
            FastMath::store4(&targets[0][std::size_t(j)], f < lowest ? lowest : (highest < f ? highest : f));
            FastMath::store4(&targets[1][std::size_t(j)], FastMath::clamp01(baseR + FastMath::load4(resLane + j)));
            FastMath::store4(drive + j, baseD + FastMath::load4(driveLane + j));
        }
    }
    const float* tF = targets[0].data();
    const float* tR = targets[1].data();
    // Types 1 to 4 take the drive as shaping, the others as gain in their coefficients.
    auto moves = [&](int32_t j, float f, float r, float d) { return tF[j] != f || tR[j] != r || (!Shapes && drive[j] != d); };
    double freqSmooth = freq_smooth, resSmooth = res_smooth;
    float lastFreq = cached_freq, lastRes = cached_res, lastDrive = cached_drive;
    auto keep = [&](int32_t j) {
        const auto x = std::size_t(j);
        smoothed[0][x] = lastFreq, smoothed[1][x] = lastRes, smoothed[2][x] = lastDrive;
    };
    auto step = [&](int32_t j) {
        moved[std::size_t(j)] = moves(j, lastFreq, lastRes, lastDrive);
        if (moved[std::size_t(j)]) {
            freqSmooth = onePole(freqSmooth, tF[j], freq_take, freq_keep);
            resSmooth = onePole(resSmooth, tR[j], res_take, res_keep);
            lastFreq = float(freqSmooth), lastRes = float(resSmooth), lastDrive = drive[j];
        }
        keep(j);
    };
    // Four samples that all move take their four steps as sums from the group's start, so that
    // one group waits on the last only for a multiply and an add. The sums round apart from the
    // single steps by parts in 1e16 of the double, below what the float coefficients can show.
    const double fk = freq_keep, fk2 = fk * fk, fk3 = fk2 * fk, fk4 = fk3 * fk;
    const double rk = res_keep, rk2 = rk * rk, rk3 = rk2 * rk, rk4 = rk3 * rk;
    int32_t j = 0;
    for (; j + 4 <= m; j += 4) {
        const double f0 = double(tF[j]) * freq_take, f1 = double(tF[j + 1]) * freq_take + fk * f0;
        const double f2 = double(tF[j + 2]) * freq_take + fk * f1, f3 = double(tF[j + 3]) * freq_take + fk * f2;
        const double r0 = double(tR[j]) * res_take, r1 = double(tR[j + 1]) * res_take + rk * r0;
        const double r2 = double(tR[j + 2]) * res_take + rk * r1, r3 = double(tR[j + 3]) * res_take + rk * r2;
        const double s0 = f0 + fk * freqSmooth, s1 = f1 + fk2 * freqSmooth, s2 = f2 + fk3 * freqSmooth,
                     s3 = f3 + fk4 * freqSmooth;
        const double q0 = r0 + rk * resSmooth, q1 = r1 + rk2 * resSmooth, q2 = r2 + rk3 * resSmooth,
                     q3 = r3 + rk4 * resSmooth;
        const FastMath::F4 F{float(s0), float(s1), float(s2), float(s3)};
        const FastMath::F4 R{float(q0), float(q1), float(q2), float(q3)};
        if (!(moves(j, lastFreq, lastRes, lastDrive) && moves(j + 1, F[0], R[0], drive[j]) &&
              moves(j + 2, F[1], R[1], drive[j + 1]) && moves(j + 3, F[2], R[2], drive[j + 2]))) {
            for (int32_t q = 0; q < 4; ++q) step(j + q);
            continue;
        }
        const auto x = std::size_t(j);
        designed[x / 4] = true;
        FastMath::store4(&smoothed[0][x], F);
        FastMath::store4(&smoothed[1][x], R);
        FastMath::store4(&smoothed[2][x], FastMath::load4(drive + j));
        lastFreq = F[3], lastRes = R[3], lastDrive = drive[j + 3];
        freqSmooth = s3, resSmooth = q3;
    }
    for (; j < m; ++j) step(j);
    freq_smooth = freqSmooth, res_smooth = resSmooth;
    cached_freq = lastFreq, cached_res = lastRes, cached_drive = lastDrive;
    for (auto x = std::size_t(m); x < std::size_t(FastMath::roundUp4(m)); ++x) {
        smoothed[0][x] = smoothed[1][x] = smoothed[2][x] = 0;
        moved[x] = false;
    }
    // The groups that all moved take their coefficients as they are, eight samples at a time
    // where the processor and the type allow.
    static const bool kEight = processorDesignsEight();
    const bool eight = kEight && (type == kFilterLowPass || type == kFilterHighPass) && slope != kSlope6dB;
    for (std::size_t g = 0; g * 4 < std::size_t(m); ++g) {
        if (!designed[g]) continue;
        const std::size_t x = g * 4;
        if (eight && designed[g + 1]) {
            float* const set[5] = {&stretch.set[0][x], &stretch.set[1][x], &stretch.set[2][x], &stretch.set[3][x],
                                   &stretch.set[4][x]};
            designEight(type == kFilterLowPass, slope, &smoothed[0][x], &smoothed[1][x], rateRatio, set);
            ++g;
            continue;
        }
        const Lanes4 four = Lanes4::design(type, slope, FastMath::load4(&smoothed[0][x]),
                                           FastMath::load4(&smoothed[1][x]), FastMath::load4(&smoothed[2][x]),
                                           rateRatio);
        FastMath::store4(&stretch.set[0][x], four.b0), FastMath::store4(&stretch.set[1][x], four.b1);
        FastMath::store4(&stretch.set[2][x], four.b2), FastMath::store4(&stretch.set[3][x], four.a1);
        FastMath::store4(&stretch.set[4][x], four.a2);
    }
    // The other groups: the samples that moved take their own coefficients, the others keep
    // those before them.
    Lane last{b0, b1, b2, a1, a2};
    for (std::size_t x = 0; x < std::size_t(m); x += 4) {
        if (designed[x / 4]) continue;
        if (x > 0)
            last = {stretch.set[0][x - 1], stretch.set[1][x - 1], stretch.set[2][x - 1], stretch.set[3][x - 1],
                    stretch.set[4][x - 1]};
        Lanes4 four{};
        if (moved[x] || moved[x + 1] || moved[x + 2] || moved[x + 3])
            four = Lanes4::design(type, slope, FastMath::load4(&smoothed[0][x]), FastMath::load4(&smoothed[1][x]),
                                  FastMath::load4(&smoothed[2][x]), rateRatio);
        for (std::size_t l = 0; l < 4 && x + l < std::size_t(m); ++l) {
            if (moved[x + l]) last = {four.b0[l], four.b1[l], four.b2[l], four.a1[l], four.a2[l]};
            stretch.set[0][x + l] = last.b0, stretch.set[1][x + l] = last.b1, stretch.set[2][x + l] = last.b2;
            stretch.set[3][x + l] = last.a1, stretch.set[4][x + l] = last.a2;
        }
    }
    const auto end = std::size_t(m - 1);
    b0 = stretch.set[0][end], b1 = stretch.set[1][end], b2 = stretch.set[2][end];
    a1 = stretch.set[3][end], a2 = stretch.set[4][end];
}

template <int Stages, bool Shapes>
void VoiceFilter::run(const float* freqLane, const float* resLane, const float* driveLane, bool constant,
                      const float* const* in, float* const* out, int32_t channels, int32_t n,
                      double rateRatio) noexcept {
    using FastMath::F4;
    using FastMath::splat4;
    // Both channels share the coefficients, so they run side by side in the lanes of one vector.
    // The loop works on copies, which the compiler keeps in registers: stores to the output could
    // otherwise alias the filter's own fields and send them through memory every sample.
    const float* src0 = in[0];
    const float* src1 = in[channels - 1];
    float* dst0 = out[0];
    float* dst1 = out[channels - 1];
    const bool stereo = channels == 2;
    F4 x1[Stages], x2[Stages], y1[Stages], y2[Stages];
    for (int st = 0; st < Stages; ++st) {
        const Memory& l = memory[0][std::size_t(st)];
        const Memory& r = memory[1][std::size_t(st)];
        x1[st] = F4{l.x1, r.x1, 0, 0};
        x2[st] = F4{l.x2, r.x2, 0, 0};
        y1[st] = F4{l.y1, r.y1, 0, 0};
        y2[st] = F4{l.y2, r.y2, 0, 0};
    }
    F4 c0 = splat4(b0), c1 = splat4(b1), c2 = splat4(b2), d1 = splat4(a1), d2 = splat4(a2);
    auto sample = [&](int32_t i, float D) {
        F4 x = F4{src0[i], src1[i], 0, 0};
        if (Shapes && D != 0) {
            // A soft boost of up to 4 times for small signals at drive 1; 0 leaves x alone.
            const F4 g = (2.0f - FastMath::abs4(x)) * D + (1.0f - D);
            x = g * x * g;
        }
        for (int st = 0; st < Stages; ++st) {
            // The last output enters last, which keeps the loop-carried chain to a multiply and
            // a subtraction.
            const F4 y = c0 * x + c1 * x1[st] + c2 * x2[st] - d2 * y2[st] - d1 * y1[st];
            x2[st] = x1[st];
            x1[st] = x;
            y2[st] = y1[st];
            y1[st] = y;
            x = y;
        }
        dst0[i] = x[0];
        if (stereo) dst1[i] = x[1];
    };
    if (constant) {
        // One value in every lane: once the smoothing has arrived the coefficients hold.
        float F, R, D;
        target(freqLane, resLane, driveLane, 0, F, R, D);
        int32_t i = 0;
        for (; i < n && (F != cached_freq || R != cached_res || (!Shapes && D != cached_drive)); ++i) {
            update(F, R, D, rateRatio);
            c0 = splat4(b0), c1 = splat4(b1), c2 = splat4(b2), d1 = splat4(a1), d2 = splat4(a2);
            sample(i, D);
        }
        for (; i < n; ++i) sample(i, D);
    } else {
        Stretch stretch;
        for (int32_t from = 0; from < n; from += Stretch::kLength) {
            const int32_t m = std::min(Stretch::kLength, n - from);
            designStretch<Shapes>(freqLane + from, resLane + from, driveLane + from, m, rateRatio, stretch);
            const auto& set = stretch.set;
            for (int32_t j = 0; j < m; ++j) {
                const auto x = std::size_t(j);
                c0 = splat4(set[0][x]), c1 = splat4(set[1][x]), c2 = splat4(set[2][x]);
                d1 = splat4(set[3][x]), d2 = splat4(set[4][x]);
                sample(from + j, set[5][x]);
            }
        }
    }
    for (int st = 0; st < Stages; ++st) {
        for (std::size_t ch = 0; ch < 2; ++ch)
            memory[ch][std::size_t(st)] = {x1[st][ch], x2[st][ch], y1[st][ch], y2[st][ch]};
    }
}

void VoiceFilter::process(const float* freqLane, const float* resLane, const float* driveLane, bool constant,
                          const float* const* in, float* const* out, int32_t channels, int32_t n,
                          double rateRatio) noexcept {
    if (n <= 0) return;
    // Slots that leave the filter alone give lanes of one value too: no need to design stretches.
    if (!constant)
        constant = FastMath::holdsStill(freqLane, n) && FastMath::holdsStill(resLane, n) &&
                   FastMath::holdsStill(driveLane, n);
    const bool twoStages = slope == kSlope24dB;
    const bool shapes = type <= kFilterNotch;
    if (twoStages)
        shapes ? run<2, true>(freqLane, resLane, driveLane, constant, in, out, channels, n, rateRatio)
               : run<2, false>(freqLane, resLane, driveLane, constant, in, out, channels, n, rateRatio);
    else
        shapes ? run<1, true>(freqLane, resLane, driveLane, constant, in, out, channels, n, rateRatio)
               : run<1, false>(freqLane, resLane, driveLane, constant, in, out, channels, n, rateRatio);
    flushMemories();
}

bool VoiceFilter::sharesPass(const Side& side) const noexcept {
    if (type == kFilterOff || slope == kSlope24dB || side.n <= 0 || side.n > Stretch::kLength) return false;
    const int32_t n = side.n;
    const bool constant = side.constant || (FastMath::holdsStill(side.freq, n) && FastMath::holdsStill(side.res, n) &&
                                            FastMath::holdsStill(side.drive, n));
    const bool shapes = type <= kFilterNotch;
    float F, R, D;
    target(side.freq, side.res, side.drive, 0, F, R, D);
    if (constant) return F == cached_freq && R == cached_res && (shapes ? D == 0 : D == cached_drive);
    return !shapes || (D == 0 && FastMath::holdsStill(side.drive, n));
}

bool VoiceFilter::prepareSide(const Side& side, double rateRatio, Stretch& stretch) noexcept {
    const int32_t n = side.n;
    if (side.constant || (FastMath::holdsStill(side.freq, n) && FastMath::holdsStill(side.res, n) &&
                          FastMath::holdsStill(side.drive, n)))
        return false;
    if (type <= kFilterNotch)
        designStretch<true>(side.freq, side.res, side.drive, n, rateRatio, stretch);
    else
        designStretch<false>(side.freq, side.res, side.drive, n, rateRatio, stretch);
    return true;
}

template <bool MovesA, bool MovesB, bool Two>
void VoiceFilter::runSides(VoiceFilter& a, const Side& sideA, const Stretch* stretchA, VoiceFilter* b,
                           const Side* sideB, const Stretch* stretchB, int32_t from, int32_t to) noexcept {
    using FastMath::F4;
    // Lanes 0 and 1 are a's channels, 2 and 3 b's; each lane runs run()'s operations on its own.
    const VoiceFilter& k = Two ? *b : a;
    const float held[2][5] = {{a.b0, a.b1, a.b2, a.a1, a.a2}, {k.b0, k.b1, k.b2, k.a1, k.a2}};
    auto memoryOf = [&](float Memory::*field) {
        const float other0 = Two ? b->memory[0][0].*field : 0.0f, other1 = Two ? b->memory[1][0].*field : 0.0f;
        return F4{a.memory[0][0].*field, a.memory[1][0].*field, other0, other1};
    };
    F4 x1 = memoryOf(&Memory::x1), x2 = memoryOf(&Memory::x2), y1 = memoryOf(&Memory::y1), y2 = memoryOf(&Memory::y2);
    const float* a0 = sideA.in[0];
    const float* a1 = sideA.in[sideA.channels - 1];
    float* dstA0 = sideA.out[0];
    float* dstA1 = sideA.out[sideA.channels - 1];
    const bool stereoA = sideA.channels == 2;
    const float* b0 = Two ? sideB->in[0] : nullptr;
    const float* b1 = Two ? sideB->in[sideB->channels - 1] : nullptr;
    float* dstB0 = Two ? sideB->out[0] : nullptr;
    float* dstB1 = Two ? sideB->out[sideB->channels - 1] : nullptr;
    const bool stereoB = Two && sideB->channels == 2;
    for (int32_t i = from; i < to; ++i) {
        const auto x = std::size_t(i);
        auto coefficient = [&](std::size_t c) {
            const float p = MovesA ? stretchA->set[c][x] : held[0][c];
            const float q = MovesB ? stretchB->set[c][x] : held[1][c];
            return F4{p, p, q, q};
        };
        const F4 c0 = coefficient(0), c1 = coefficient(1), c2 = coefficient(2), d1 = coefficient(3),
                 d2 = coefficient(4);
        const F4 in = Two ? F4{a0[i], a1[i], b0[i], b1[i]} : F4{a0[i], a1[i], 0, 0};
        const F4 y = c0 * in + c1 * x1 + c2 * x2 - d2 * y2 - d1 * y1;
        x2 = x1, x1 = in, y2 = y1, y1 = y;
        dstA0[i] = y[0];
        if (stereoA) dstA1[i] = y[1];
        if constexpr (Two) {
            dstB0[i] = y[2];
            if (stereoB) dstB1[i] = y[3];
        }
    }
    for (std::size_t ch = 0; ch < 2; ++ch) a.memory[ch][0] = {x1[ch], x2[ch], y1[ch], y2[ch]};
    if constexpr (Two)
        for (std::size_t ch = 0; ch < 2; ++ch) b->memory[ch][0] = {x1[ch + 2], x2[ch + 2], y1[ch + 2], y2[ch + 2]};
}

void VoiceFilter::processPair(VoiceFilter& a, const Side& sideA, VoiceFilter& b, const Side& sideB,
                              double rateRatio) noexcept {
    Stretch stretchA, stretchB;
    const bool movesA = a.prepareSide(sideA, rateRatio, stretchA);
    const bool movesB = b.prepareSide(sideB, rateRatio, stretchB);
    const int32_t both = std::min(sideA.n, sideB.n);
    const Stretch* sa = &stretchA;
    const Stretch* sb = &stretchB;
    if (movesA && movesB)
        runSides<true, true, true>(a, sideA, sa, &b, &sideB, sb, 0, both);
    else if (movesA)
        runSides<true, false, true>(a, sideA, sa, &b, &sideB, sb, 0, both);
    else if (movesB)
        runSides<false, true, true>(a, sideA, sa, &b, &sideB, sb, 0, both);
    else
        runSides<false, false, true>(a, sideA, sa, &b, &sideB, sb, 0, both);
    // The longer one goes on alone.
    for (auto [f, side, stretch, moves] : {std::tuple{&a, &sideA, sa, movesA}, std::tuple{&b, &sideB, sb, movesB}}) {
        if (side->n <= both) continue;
        if (moves)
            runSides<true, false, false>(*f, *side, stretch, nullptr, nullptr, nullptr, both, side->n);
        else
            runSides<false, false, false>(*f, *side, stretch, nullptr, nullptr, nullptr, both, side->n);
    }
    a.flushMemories();
    b.flushMemories();
}

void VoiceFilter::flushMemories() noexcept {
    for (auto& channel : memory)
        for (Memory& m : channel)
            for (float* v : {&m.x1, &m.x2, &m.y1, &m.y2})
                if (std::fabs(*v) < kSilentMemory) *v = 0;
}

}  // namespace MV
