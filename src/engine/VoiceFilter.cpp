#include "engine/VoiceFilter.h"

#include <algorithm>
#include <cmath>

#include "engine/FastMath.h"
#include "model/GroupSoundParams.h"

namespace MV {

namespace {
// 22/7 as the product has always had it, deliberately not pi: frequencies are a little high.
constexpr float kTwentyTwoSevenths = 3.142857f;
// A stored frequency of 1 is 20 kHz; inside, frequencies are fractions of 22050 Hz (1 / 22050).
constexpr float kMaxHz = 20000.0f;
constexpr float kPerHalfRate = 4.5351473e-05f;
// 20 Hz and 20 kHz as fractions of 22050 Hz.
constexpr float kLowestFreq = 0.0009070295f;
constexpr float kHighestFreq = 0.90702945f;
constexpr float kSqrt2 = 1.41421356f;
// Damping at full resonance with the 12 dB slope's factor.
constexpr float kLeastDamping = 1.0f / 3.0f;
// Resonance factor by slope code "24dB", "12dB", "6dB": two Butterworth-like stages for 24 dB.
constexpr std::array<float, 3> kSlopeQ = {0.7071135640144348f, 1.0f, 1.0f};
// Drive 1 sets a shelf or peak of 12 dB: A = 10^(0.3 D), A squared the linear gain.
constexpr float kDriveToGainExponent = 0.3f;
// The shelves' slope parameter stays away from 0, where its formula divides by it.
constexpr float kMinShelfSlope = 0.0001f;
// Memories below this are -300 dB: nothing to hear, and soon denormal.
constexpr float kSilentMemory = 1e-15f;
}  // namespace

float VoiceFilter::polySin(float w) noexcept {
    const float u = w * w;
    return (((((-2.39e-08f * u + 2.7526e-06f) * u - 0.000198409f) * u + 0.00833333f) * u - 0.166667f) * u + 1.0f) * w;
}

float VoiceFilter::polyCos(float w) noexcept {
    const float u = w * w;
    return ((((-2.605e-07f * u + 2.47609e-05f) * u - 0.00138884f) * u + 0.0416666f) * u - 0.5f) * u + 1.0f;
}

void VoiceFilter::setup(const Filter& params) noexcept {
    const float f = params.freq;
    base_freq = (f < 0 ? -f * f : f * f) * kMaxHz * kPerHalfRate;
    base_res = params.res;
    base_drive = params.drive;
    type = params.type;
    slope = params.slope < kSlopeQ.size() ? params.slope : uint8_t(kSlope24dB);
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

void VoiceFilter::update(float freq, float res, float drive, double rateRatio) noexcept {
    freq_smooth = double(freq) * freq_take + freq_keep * freq_smooth;
    res_smooth = double(res) * res_take + res_keep * res_smooth;
    const float F = float(freq_smooth);
    const float R = float(res_smooth);
    cached_freq = F;
    cached_res = R;
    cached_drive = drive;

    const float w = float(rateRatio) * F * kTwentyTwoSevenths;
    const float s = polySin(w);
    const float c = polyCos(w);
    const float q = kSlopeQ[slope];
    // The bandwidth term of the resonant types; only taken where R > 0.
    auto bandwidth = [&] { return s / (R * 2.0f * q); };
    auto set = [this](float nb0, float nb1, float nb2, float na1, float na2) {
        b0 = nb0;
        b1 = nb1;
        b2 = nb2;
        a1 = na1;
        a2 = na2;
    };
    auto gain = [&](float g) { set(g, 0, 0, 0, 0); };

    switch (type) {
    case kFilterLowPass:
    case kFilterHighPass: {
        const bool low = type == kFilterLowPass;
        if (slope == kSlope6dB) {
            const float e = std::exp(-kTwentyTwoSevenths * (low ? F : 1.0f - F));
            if (low)
                set(1.0f - e, 0, 0, -e, 0);
            else
                set(e - 1.0f, 0, 0, e, 0);
            break;
        }
        // Damping from sqrt(2) at no resonance down to about 1/3 at full (12 dB).
        const float t = s * (kSqrt2 - std::sqrt(q * R) * (kSqrt2 - kLeastDamping)) * 0.5f;
        const float B = ((1.0f - t) * 0.5f) / (1.0f + t);
        const float g = c * (B + 0.5f);
        const float k = low ? ((B + 0.5f) - g) * 0.25f : (B + 0.5f + g) * 0.25f;
        set(2.0f * k, low ? 4.0f * k : -4.0f * k, 2.0f * k, -2.0f * g, 2.0f * B);
        break;
    }
    case kFilterBandPass: {
        if (F >= 1.0f) {
            gain(0);
        } else if (R <= 0) {
            gain(1);
        } else {
            const float alpha = bandwidth();
            const float n = 1.0f / (alpha + 1.0f);
            set(n * alpha, 0, -alpha * n, -2.0f * c * n, (1.0f - alpha) * n);
        }
        break;
    }
    case kFilterNotch: {
        if (F >= 1.0f) {
            gain(1);
        } else if (R <= 0) {
            gain(0);
        } else {
            const float alpha = bandwidth();
            const float n = 1.0f / (alpha + 1.0f);
            set(n, -2.0f * c * n, n, -2.0f * c * n, (1.0f - alpha) * n);
        }
        break;
    }
    case kFilterLowShelf:
    case kFilterHighShelf: {
        const float A = std::pow(10.0f, kDriveToGainExponent * drive);
        const bool low = type == kFilterLowShelf;
        if (F >= 1.0f) {
            gain(low ? A * A : 1.0f);
            break;
        }
        if (F <= 0) {
            gain(low ? 1.0f : A * A);
            break;
        }
        const float m = std::clamp(R, kMinShelfSlope, 1.0f);
        const float y = s * 0.5f * std::sqrt((1.0f / m - 1.0f) * (1.0f / A + A) + 2.0f) * std::sqrt(A) * 2.0f;
        const float p = A + 1.0f;
        const float qa = A - 1.0f;
        const float v = qa * c + p;
        const float u = p - qa * c;
        if (low) {
            const float n = 1.0f / (v + y);
            set((u + y) * A * n, (qa - p * c) * A * 2.0f * n, (u - y) * A * n, (p * c + qa) * -2.0f * n,
                (v - y) * n);
        } else {
            const float n = 1.0f / (u + y);
            set((v + y) * A * n, (p * c + qa) * A * -2.0f * n, (v - y) * A * n, (qa - p * c) * 2.0f * n,
                (u - y) * n);
        }
        break;
    }
    case kFilterPeak: {
        const float A = std::pow(10.0f, kDriveToGainExponent * drive);
        if (F <= 0 || F >= 1.0f) {
            gain(1);
        } else if (R <= 0) {
            gain(A * A);
        } else {
            const float alpha = bandwidth();
            const float e = alpha / A;
            const float d = alpha * A;
            const float n = 1.0f / (e + 1.0f);
            set((d + 1.0f) * n, -2.0f * c * n, (1.0f - d) * n, -2.0f * c * n, (1.0f - e) * n);
        }
        break;
    }
    case kFilterAllPass: {
        if (F <= 0 || F >= 1.0f) {
            gain(1);
        } else if (R <= 0) {
            gain(-1);
        } else {
            // Without the slope's factor, and with b2 at 1 as the product has it.
            const float h = s / (R * 2.0f);
            const float n = 1.0f / (h + 1.0f);
            const float b = (1.0f - h) * n;
            set(b, -2.0f * c * n, 1.0f, -2.0f * c * n, b);
        }
        break;
    }
    default:
        gain(1);
        break;
    }
}

template <int Stages, bool Shapes>
void VoiceFilter::run(const float* freqLane, const float* resLane, const float* driveLane, bool constant,
                      const float* const* in, float* const* out, int32_t channels, int32_t n,
                      double rateRatio) noexcept {
    using FastMath::F4;
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
    F4 c0 = FastMath::splat4(b0), c1 = FastMath::splat4(b1), c2 = FastMath::splat4(b2);
    F4 d1 = FastMath::splat4(a1), d2 = FastMath::splat4(a2);
    // Types 1 to 4 take the drive as shaping, the others as gain in their coefficients.
    auto stale = [this](float F, float R, float D) {
        return F != cached_freq || R != cached_res || (!Shapes && D != cached_drive);
    };
    auto refresh = [&](float F, float R, float D) {
        update(F, R, D, rateRatio);
        c0 = FastMath::splat4(b0), c1 = FastMath::splat4(b1), c2 = FastMath::splat4(b2);
        d1 = FastMath::splat4(a1), d2 = FastMath::splat4(a2);
    };
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
    auto target = [&](int32_t i, float& F, float& R, float& D) {
        F = std::clamp(base_freq + freqLane[i], kLowestFreq, kHighestFreq);
        R = FastMath::clamp01(base_res + resLane[i]);
        D = base_drive + driveLane[i];
    };
    float F, R, D;
    if (constant) {
        // One value in every lane: once the smoothing has arrived the coefficients hold.
        target(0, F, R, D);
        int32_t i = 0;
        for (; i < n && stale(F, R, D); ++i) {
            refresh(F, R, D);
            sample(i, D);
        }
        for (; i < n; ++i) sample(i, D);
    } else {
        for (int32_t i = 0; i < n; ++i) {
            target(i, F, R, D);
            if (stale(F, R, D)) refresh(F, R, D);
            sample(i, D);
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

void VoiceFilter::flushMemories() noexcept {
    for (auto& channel : memory)
        for (Memory& m : channel)
            for (float* v : {&m.x1, &m.x2, &m.y1, &m.y2})
                if (std::fabs(*v) < kSilentMemory) *v = 0;
}

}  // namespace MV
