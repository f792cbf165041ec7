#pragma once
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "engine/FastMath.h"

// The windowed-sinc interpolation: the sum over k = -H..H of s[i + k] * W(x) * sin(c pi x) / (pi x)
// with x = k - f, W(x) = 0.5 cos(pi x / H) + 0.5 and the cutoff c = min(1, 1 / |step|), so that a
// voice transposed up narrows its passband. There is no table of the kernel: it is computed per
// sample, once for both channels, in double precision. Its trigonometry splits by angle addition,
// cos(pi (k - f) / H) = cos(pi k / H) cos(pi f / H) + sin(pi k / H) sin(pi f / H), and likewise
// for the numerator, into per-k tables (the window's fixed, the numerator's rebuilt when the cutoff
// changes) and four sines and cosines of the fraction per sample.
namespace MV {

// sin(c pi k) / pi and cos(c pi k) / pi for k = -128..128 at one cutoff c: the numerator's per-k
// half. Rebuilt only when the cutoff changes, which a voice at or below its wave's rate never does.
// Shared scratch: lives with the engine's voice lanes.
struct SincCache {
    static constexpr int kMaxHalfWidth = 128;
    static constexpr int kSize = 2 * kMaxHalfWidth + 1;

    // Makes the tables hold cutoff `c`.
    void prepare(double c) noexcept {
        if (c != cutoff) rebuild(c);
    }
    // Entry k of the tables, k from -128 to 128.
    const double* sinAt() const noexcept { return sinTab.data() + kMaxHalfWidth; }
    const double* cosAt() const noexcept { return cosTab.data() + kMaxHalfWidth; }

    double cutoff = -1;
    alignas(32) std::array<double, kSize> sinTab{};
    alignas(32) std::array<double, kSize> cosTab{};

private:
    void rebuild(double c) noexcept;
};

// 0.5 cos(pi k / H) and 0.5 sin(pi k / H) for k = -H..H: the window's per-k half, built once.
struct SincWindow {
    // The tables for half-width 32, 64 or 128, indexable from -H to H.
    static const SincWindow& forHalfWidth(int halfWidth) noexcept;
    const double* cosAt() const noexcept { return cosTab.data() + halfWidth; }
    const double* sinAt() const noexcept { return sinTab.data() + halfWidth; }

    int halfWidth = 0;
    alignas(32) std::array<double, SincCache::kSize> cosTab{};
    alignas(32) std::array<double, SincCache::kSize> sinTab{};
};

// Vector types of W doubles and W floats for the tap loop.
template <int W>
struct SincLanes;
template <>
struct SincLanes<2> {
    using D = double __attribute__((vector_size(16)));
    using F = float __attribute__((vector_size(8)));
};
template <>
struct SincLanes<4> {
    using D = double __attribute__((vector_size(32)));
    using F = float __attribute__((vector_size(16)));
};

// One channel or two through the kernel of half-width H, W taps at a time; W = 4 only inside
// functions compiled for AVX. Vectors never cross a function boundary. Taps k and -k go
// together: their window and numerator share the products of the tables, and one division
// 1 / ((k - f)(k + f)) serves both.
template <int H, int W>
struct SincKernel {
    static constexpr double kPi = 3.14159265358979323846;
    // Below this the fraction and the step count as this much, so that nothing divides by 0.
    static constexpr double kTiny = 1e-25;
    static_assert(H % W == 0);

    using D = typename SincLanes<W>::D;
    using F = typename SincLanes<W>::F;

    const float* s0 = nullptr;
    const float* s1 = nullptr;
    int64_t frames = 0;
    SincCache* cache = nullptr;
    const SincWindow* window = nullptr;

    // The four per-sample halves of the angle additions.
    struct Phase {
        double fp, cf, sf, ccf, scf;
    };

    // Frame i with fraction f at the given step, into out[0] (and out[1] for two channels).
    template <int C>
    MV_HOT_INLINE void read(int64_t i, double f, double step, float* out) const noexcept {
        Phase ph;
        ph.fp = f > kTiny ? f : kTiny;
        const double w = std::fabs(step);
        const double c = w > 1.0 ? 1.0 / w : 1.0;
        cache->prepare(c);
        FastMath::sinCosQuarterTurn(kPi * ph.fp / H, ph.sf, ph.cf);
        FastMath::sinCosHalfTurn(c * kPi * ph.fp, ph.scf, ph.ccf);
        if constexpr (H == 128) {
            // The widest kernel would read past the 64 guard frames; its range is cut to them.
            const int64_t below = i + 64, above = frames - i + 63;
            if (below < 128 || above < 128) {
                readRange<C>(i, below < 128 ? -int(below) : -128, above < 128 ? int(above) : 128, ph, out);
                return;
            }
        }
        readPaired<C>(i, ph, out);
    }

    template <int C>
    MV_HOT_INLINE void readPaired(int64_t i, const Phase& ph, float* out) const noexcept {
        const double* wc = window->cosAt();
        const double* ws = window->sinAt();
        const double* ns = cache->sinAt();
        const double* nc = cache->cosAt();
        const float* p0 = s0 + i;
        const float* p1 = s1 + i;
        // Tap 0 alone.
        const double k0 = (0.5 + wc[0] * ph.cf) * (ns[0] * ph.ccf - nc[0] * ph.scf) / -ph.fp;
        double r0 = double(p0[0]) * k0;
        double r1 = double(p1[0]) * k0;

        D acc0 = {}, acc1 = {};
        D kv = {};
        for (int j = 0; j < W; ++j) kv[j] = double(1 + j);
        for (int k = 1; k <= H; k += W) {
            D a, b, p, q;
            std::memcpy(&a, wc + k, sizeof a);
            std::memcpy(&b, ws + k, sizeof b);
            std::memcpy(&p, ns + k, sizeof p);
            std::memcpy(&q, nc + k, sizeof q);
            const D win = a * ph.cf + 0.5, tilt = b * ph.sf;
            const D sinCos = p * ph.ccf, cosSin = q * ph.scf;
            const D below = kv - ph.fp, above = kv + ph.fp;
            const D d = 1.0 / (below * above);
            // W(k - f) sin(c pi (k - f)) / (pi (k - f)), and the same at -k - f.
            const D up = (win + tilt) * (sinCos - cosSin) * (above * d);
            const D down = (win - tilt) * (sinCos + cosSin) * (below * d);
            D x, y;
            load(p0 + k, x);
            loadReversed(p0 - k - (W - 1), y);
            acc0 += x * up + y * down;
            if constexpr (C == 2) {
                load(p1 + k, x);
                loadReversed(p1 - k - (W - 1), y);
                acc1 += x * up + y * down;
            }
            kv += double(W);
        }
        for (int j = 0; j < W; ++j) {
            r0 += acc0[j];
            r1 += acc1[j];
        }
        out[0] = float(r0);
        out[1] = float(r1);
    }

    // Any range of taps, one by one in vectors: the cut kernel near the ends of a wave.
    template <int C>
    MV_HOT_INLINE void readRange(int64_t i, int lo, int hi, const Phase& ph, float* out) const noexcept {
        const double* wc = window->cosAt();
        const double* ws = window->sinAt();
        const double* ns = cache->sinAt();
        const double* nc = cache->cosAt();
        const float* p0 = s0 + i;
        const float* p1 = s1 + i;
        D acc0 = {}, acc1 = {};
        // Whole tap numbers, exact in a double; the fraction comes off at each use so that the
        // 1e-25 of a whole position survives next to k = 0.
        D kv = {};
        for (int j = 0; j < W; ++j) kv[j] = double(lo + j);
        int k = lo;
        for (; k + W - 1 <= hi; k += W) {
            D a, b, p, q;
            std::memcpy(&a, wc + k, sizeof a);
            std::memcpy(&b, ws + k, sizeof b);
            std::memcpy(&p, ns + k, sizeof p);
            std::memcpy(&q, nc + k, sizeof q);
            const D kernel = (0.5 + a * ph.cf + b * ph.sf) * (p * ph.ccf - q * ph.scf) / (kv - ph.fp);
            D x;
            load(p0 + k, x);
            acc0 += x * kernel;
            if constexpr (C == 2) {
                load(p1 + k, x);
                acc1 += x * kernel;
            }
            kv += double(W);
        }
        double r0 = 0, r1 = 0;
        for (int j = 0; j < W; ++j) {
            r0 += acc0[j];
            r1 += acc1[j];
        }
        for (; k <= hi; ++k) {
            const double kernel =
                (0.5 + wc[k] * ph.cf + ws[k] * ph.sf) * (ns[k] * ph.ccf - nc[k] * ph.scf) / (double(k) - ph.fp);
            r0 += double(p0[k]) * kernel;
            if constexpr (C == 2) r1 += double(p1[k]) * kernel;
        }
        out[0] = float(r0);
        out[1] = float(r1);
    }

    // W samples from p as doubles. Results go through a reference: a vector returned by value
    // would change the calling convention between the two instruction sets.
    MV_HOT_INLINE static void load(const float* p, D& to) noexcept {
        F x;
        std::memcpy(&x, p, sizeof x);
        to = __builtin_convertvector(x, D);
    }
    // W samples ending at p + W - 1, last first: the taps -k, -k-1, ... in lane order.
    MV_HOT_INLINE static void loadReversed(const float* p, D& to) noexcept {
        F x;
        std::memcpy(&x, p, sizeof x);
        if constexpr (W == 4)
            x = __builtin_shufflevector(x, x, 3, 2, 1, 0);
        else
            x = __builtin_shufflevector(x, x, 1, 0);
        to = __builtin_convertvector(x, D);
    }
};

}  // namespace MV
