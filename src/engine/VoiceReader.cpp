#include "engine/VoiceReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>
#include <xmmintrin.h>

#include "engine/FastMath.h"
#include "engine/SincKernel.h"

// The walk and the interpolators are template parameters, so that each combination of loop type,
// channel count and kernel is one loop with no per-sample switch; readWave picks it once per
// sub-block from a table.
namespace MV {

namespace {

enum LoopType : int { kNone = 0, kForward = 1, kBackward = 2, kBidirectional = 3, kSlice = 4, kPinnedSlice = 5 };

struct SilentKernel {
    template <int C>
    MV_HOT_INLINE void read(int64_t, double, double, float* out) const noexcept {
        out[0] = 0.0f;
        out[1] = 0.0f;
    }
};

using FastMath::F4;

// The frames i - 1 to i + 2 of four reads side by side: frame i - 1 of each in `before`, i in
// `at`, and so on.
struct Taps {
    F4 before, at, after, next;
};
MV_HOT_INLINE Taps tapsOf(const float* s, const int32_t* i) noexcept {
    __m128 r0 = _mm_loadu_ps(s + i[0] - 1), r1 = _mm_loadu_ps(s + i[1] - 1);
    __m128 r2 = _mm_loadu_ps(s + i[2] - 1), r3 = _mm_loadu_ps(s + i[3] - 1);
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
    Taps t;
    std::memcpy(&t.before, &r0, sizeof r0);
    std::memcpy(&t.at, &r1, sizeof r1);
    std::memcpy(&t.after, &r2, sizeof r2);
    std::memcpy(&t.next, &r3, sizeof r3);
    return t;
}

// Linear, in the order that gives s[i] exactly at f = 0.
struct DraftKernel {
    const float* s0;
    const float* s1;
    template <class V>
    MV_HOT_INLINE static V line(V a, V b, V g) noexcept {
        return b * g + (1.0f - g) * a;
    }
    template <int C>
    MV_HOT_INLINE void read(int64_t i, double f, double, float* out) const noexcept {
        const float g = float(f);
        out[0] = line(s0[i], s0[i + 1], g);
        if constexpr (C == 2) out[1] = line(s1[i], s1[i + 1], g);
    }
    MV_HOT_INLINE static F4 four(const float* s, const int32_t* i, F4 g) noexcept {
        const Taps t = tapsOf(s, i);
        return line(t.at, t.after, g);
    }
};

// Four-point cubic Hermite.
struct HermiteKernel {
    const float* s0;
    const float* s1;
    template <class V>
    MV_HOT_INLINE static V curve(V a, V b, V c, V d, V f) noexcept {
        const V m = (b - c) * 0.5f;
        const V q = a - b;
        const V r = q + m;
        const V u = (d - a) * 0.5f + r + q;
        return ((f * u - (u + r)) * f + m) * f + a;
    }
    template <int C>
    MV_HOT_INLINE void read(int64_t i, double f, double, float* out) const noexcept {
        out[0] = curve(s0[i], s0[i + 1], s0[i - 1], s0[i + 2], float(f));
        if constexpr (C == 2) out[1] = curve(s1[i], s1[i + 1], s1[i - 1], s1[i + 2], float(f));
    }
    MV_HOT_INLINE static F4 four(const float* s, const int32_t* i, F4 f) noexcept {
        const Taps t = tapsOf(s, i);
        return curve(t.at, t.after, t.before, t.next, f);
    }
};

// The loop moved by its offsets, kept inside the wave and at least one frame long.
MV_HOT_INLINE void loopBounds(const WaveRead& job, double startOffset, double endOffset, double& ls,
                              double& le) noexcept {
    const double ws = job.waveStart, we = job.waveEnd;
    ls = job.loopStart + startOffset;
    if (ls >= we - 2) ls = we - 2;
    if (ls <= ws) ls = ws;
    le = job.loopEnd + endOffset;
    if (le >= we - 1) le = we - 1;
    if (le <= ls + 1) le = ls + 1;
}

// M: the loop lanes move, so the bounds and the direction are read at every sample.
template <int T, int C, bool M, class Kernel>
MV_HOT_INLINE int32_t walk(WaveRead& job, const Kernel& kernel) noexcept {
    double pos = job.position;
    float direction = job.direction;
    const double ws = job.waveStart, we = job.waveEnd, base = job.baseStep;
    float* out0 = job.out[0];
    float* out1 = job.out[1];
    const int32_t n = job.count;
    double ls = 0, le = 0;
    if constexpr (T != kNone && !M) loopBounds(job, 0.0, 0.0, ls, le);
    for (int32_t i = 0; i < n; ++i) {
        if constexpr (T != kNone && M)
            loopBounds(job, double(job.loopStartOffset[i]), double(job.loopEndOffset[i]), ls, le);
        const double step = double(job.pitchRatio[i]) * base;
        const int64_t whole = int64_t(pos);
        float v[2];
        kernel.template read<C>(whole, pos - double(whole), step, v);
        const float a = job.amp[i];
        out0[i] = v[0] * a;
        if constexpr (C == 2) out1[i] = v[1] * a;

        if constexpr (T == kForward || T == kBackward || T == kBidirectional) {
            const float dir = M ? job.loopDirection[i] : 0.0f;
            if (dir + direction >= 0) {
                pos += step;
                if (pos >= le) {
                    if (T == kForward || dir >= 1) {
                        pos = std::fmod(pos - le, le - ls) + ls;
                    } else {
                        // Turn round at the loop end, or where the step overshot it inside the wave.
                        if (pos > we - 1) pos = we - 1;
                        direction = -1.0f;
                    }
                }
            } else {
                const double before = pos;
                pos -= step;
                if (pos <= ls) {
                    if (T == kBackward || dir < 0) {
                        pos = le;
                    } else {
                        if (before >= ls) pos = ls;
                        if (pos < ws) pos = ws;
                        direction = 0.0f;
                    }
                }
            }
        } else {
            pos += step;
            const double end = (T == kNone) ? we : le;
            if (pos >= end) {
                job.position = 0;
                job.direction = direction;
                job.ended = true;
                return i + 1;
            }
        }
    }
    job.position = pos;
    job.direction = direction;
    return n;
}

// The walk without loop lanes, for the kernels that read four samples at once: first the
// positions, a chain of additions, then the reads of all of them, which depend on nothing before.
template <int T, int C, class Kernel>
MV_HOT_INLINE int32_t walkFour(WaveRead& job, const Kernel& kernel) noexcept {
    constexpr int32_t kChunk = 256;
    alignas(16) int32_t whole[kChunk + 4];
    alignas(16) float fraction[kChunk + 4];
    double pos = job.position;
    const double we = job.waveEnd, base = job.baseStep;
    double ls = 0, le = 0;
    if constexpr (T != kNone) loopBounds(job, 0.0, 0.0, ls, le);
    const int32_t n = job.count;
    for (int32_t from = 0; from < n; from += kChunk) {
        const int32_t m = std::min(kChunk, n - from);
        const float* pitch = job.pitchRatio + from;
        int32_t made = m;
        bool ended = false;
        for (int32_t i = 0; i < m; ++i) {
            const auto w = int64_t(pos);
            whole[i] = int32_t(w);
            fraction[i] = float(pos - double(w));
            pos += double(pitch[i]) * base;
            if constexpr (T == kForward) {
                if (pos >= le) pos = std::fmod(pos - le, le - ls) + ls;
            } else {
                if (pos >= (T == kNone ? we : le)) {
                    made = i + 1;
                    ended = true;
                    break;
                }
            }
        }
        for (int32_t i = made; i < FastMath::roundUp4(made); ++i) whole[i] = whole[0], fraction[i] = 0;
        const float* amp = job.amp + from;
        float* out0 = job.out[0] + from;
        float* out1 = job.out[1] + from;
        int32_t i = 0;
        for (; i + 4 <= made; i += 4) {
            const F4 f = FastMath::load4(fraction + i), a = FastMath::load4(amp + i);
            FastMath::store4(out0 + i, Kernel::four(kernel.s0, whole + i, f) * a);
            if constexpr (C == 2) FastMath::store4(out1 + i, Kernel::four(kernel.s1, whole + i, f) * a);
        }
        // The last few into scratch: the outputs may be host buffers of exactly the count.
        if (i < made) {
            const F4 f = FastMath::load4(fraction + i);
            const F4 v0 = Kernel::four(kernel.s0, whole + i, f);
            const F4 v1 = C == 2 ? Kernel::four(kernel.s1, whole + i, f) : v0;
            for (int32_t l = 0; i + l < made; ++l) {
                out0[i + l] = v0[l] * amp[i + l];
                if constexpr (C == 2) out1[i + l] = v1[l] * amp[i + l];
            }
        }
        if (ended) {
            job.position = 0;
            job.ended = true;
            return from + made;
        }
    }
    job.position = pos;
    return n;
}

// Interpolation codes of the kernels; kSilent is 0.
constexpr int kKernels = 6;
constexpr int kLoopTypes = 6;

template <int K, int T, int C, bool M, int W>
MV_HOT_INLINE int32_t run(WaveRead& job) noexcept {
    const float* s1 = C == 2 ? job.data[1] : job.data[0];
    if constexpr (K == WaveRead::kSilent) {
        return walk<T, C, M>(job, SilentKernel{});
    } else if constexpr (K == 1 || K == 2) {
        using Kernel = std::conditional_t<K == 1, DraftKernel, HermiteKernel>;
        // Positions that fit the gather's indices; a longer wave walks sample by sample.
        if constexpr (!M && (T == kNone || T == kForward || T == kSlice))
            if (job.frames < (int64_t(1) << 30)) return walkFour<T, C>(job, Kernel{job.data[0], s1});
        return walk<T, C, M>(job, Kernel{job.data[0], s1});
    } else {
        constexpr int H = K == 3 ? 32 : K == 4 ? 64 : 128;
        const SincKernel<H, W> kernel{job.data[0], s1, job.frames, job.sinc, &SincWindow::forHalfWidth(H)};
        return walk<T, C, M>(job, kernel);
    }
}

template <int K, int T, int C, bool M>
int32_t readBase(WaveRead& job) noexcept {
    return run<K, T, C, M, 2>(job);
}

template <int K, int T, int C, bool M>
[[gnu::target("avx2,fma")]] int32_t readWide(WaveRead& job) noexcept {
    return run<K, T, C, M, 4>(job);
}

using ReadFn = int32_t (*)(WaveRead&) noexcept;
// Per kernel: loop type, then channels 1 or 2, then whether the loop lanes move.
constexpr int kVariants = kLoopTypes * 2 * 2;

template <int K, bool Wide, std::size_t... I>
constexpr std::array<ReadFn, kVariants> variants(std::index_sequence<I...>) {
    if constexpr (Wide)
        return {&readWide<K, int(I / 4), int(I / 2 % 2) + 1, (I % 2) == 1>...};
    else
        return {&readBase<K, int(I / 4), int(I / 2 % 2) + 1, (I % 2) == 1>...};
}

template <bool Wide, std::size_t... K>
constexpr std::array<std::array<ReadFn, kVariants>, sizeof...(K)> table(std::index_sequence<K...>) {
    return {variants<int(K), Wide>(std::make_index_sequence<kVariants>())...};
}

constexpr auto kBaseTable = table<false>(std::make_index_sequence<kKernels>());
constexpr auto kWideTable = table<true>(std::make_index_sequence<kKernels>());

bool processorIsWide() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

}  // namespace

int32_t readWave(WaveRead& job, bool wide) noexcept {
    static const bool kHasWide = processorIsWide();
    job.ended = false;
    if (job.count <= 0) return 0;
    if (job.frames <= 0) {
        job.position = 0;
        job.ended = true;
        return 0;
    }
    if (job.channels > 2) job.channels = 2;
    if (job.position < 0) job.position = 0;
    if (job.position >= double(job.frames)) {
        // Hold the phase, but read from the last frame.
        job.position = double(job.frames - 1) + (job.position - std::floor(job.position));
    }
    const int kernel = (job.interpolation >= 0 && job.interpolation < kKernels) ? job.interpolation : 1;
    const int loop = (job.loopType >= 0 && job.loopType < kLoopTypes) ? job.loopType : kNone;
    const std::size_t variant = std::size_t(loop * 4 + (job.channels == 2 ? 2 : 0) + (job.loopMoves ? 1 : 0));
    if (wide && kHasWide) return kWideTable[std::size_t(kernel)][variant](job);
    return kBaseTable[std::size_t(kernel)][variant](job);
}

}  // namespace MV
