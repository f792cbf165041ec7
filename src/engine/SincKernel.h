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

// Vectors of W doubles for the tap loop.
template <int W>
struct SincLanes;
template <>
struct SincLanes<2> {
    using D = double __attribute__((vector_size(16)));
};
template <>
struct SincLanes<4> {
    using D = double __attribute__((vector_size(32)));
};

// One channel or two through the kernel of half-width H, W taps at a time; W = 4 only inside
// functions compiled for AVX. Vectors never cross a function boundary.
template <int H, int W>
struct SincKernel {
    static constexpr double kPi = 3.14159265358979323846;
    // Below this the fraction and the step count as this much, so that nothing divides by 0.
    static constexpr double kTiny = 1e-25;

    using D = typename SincLanes<W>::D;

    const float* s0 = nullptr;
    const float* s1 = nullptr;
    int64_t frames = 0;
    SincCache* cache = nullptr;
    const SincWindow* window = nullptr;

    // The fraction, and the sines and cosines of its two angles: the per-sample halves of the
    // angle additions.
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
        int lo = -H, hi = H;
        if constexpr (H == 128) {
            // The widest kernel would read past the 64 guard frames; its range is cut to them.
            const int64_t below = i + 64, above = frames - i + 63;
            lo = below < 128 ? -int(below) : -128;
            hi = above < 128 ? int(above) : 128;
        }
        readRange<C>(i, lo, hi, ph, out);
    }

    // The taps lo to hi, W at a time, and the rest one by one.
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

    // W samples from p as doubles. Built element by element, which compilers turn into one
    // widening load; results go through a reference, since a vector returned by value would
    // change the calling convention between the two instruction sets.
    MV_HOT_INLINE static void load(const float* p, D& to) noexcept {
        if constexpr (W == 4)
            to = D{double(p[0]), double(p[1]), double(p[2]), double(p[3])};
        else
            to = D{double(p[0]), double(p[1])};
    }
    // W samples ending at p + W - 1, last first: the taps -k, -k-1, ... in lane order.
    MV_HOT_INLINE static void loadReversed(const float* p, D& to) noexcept {
        if constexpr (W == 4)
            to = D{double(p[3]), double(p[2]), double(p[1]), double(p[0])};
        else
            to = D{double(p[1]), double(p[0])};
    }
};

}  // namespace MV
