#pragma once
#include <bit>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>

#include "engine/FastMath.h"

namespace MV {

struct AEG;

// The amplitude envelope of a voice: attack, two decays, sustain and release on a linear level
// whose square is the output, so that a straight ramp sounds as a power curve. Its state is the
// voice's state (0 idle, 1 attack, 2 decay 1, 3 decay 2, 4 sustain, 5 release), which the voice
// keeps and passes in. Rates are per sample, already scaled by 44100 / sample rate.
struct Aeg {
    enum State : uint8_t { kIdle = 0, kAttack = 1, kDecay1 = 2, kDecay2 = 3, kSustain = 4, kRelease = 5 };

    // Level steps per sample of a normalised time: 1 for no time (the stage completes in one
    // sample), else 1 / (seconds * 44100); times `rateRatio`.
    static double rate(float time, double rateRatio);

    // Rates and levels from the group's envelope. Play modes "Oneshot" and "Release" (2 and up)
    // ignore the key: the envelope releases by itself after its decays and, with no release
    // rate, holds there until the wave ends.
    void setup(const AEG& params, double rateRatio, int32_t playmode);
    // Static modulation accumulated in the destinations shapes the rates and the level once,
    // then the accumulators are free for per-sample use again.
    void foldStatic();
    // A fresh attack from silence.
    void start(uint8_t& state);
    // Release within 5 ms at the current rate ratio: what a stolen or cut voice gets.
    void fastRelease(uint8_t& state, double rateRatio);

    // One sample: moves the level and the state, then the squared output.
    void step(uint8_t& state);
    // `n` samples while the modulation holds still, each output times `gain` into `amp_out` and,
    // when `before` is given, the output before each step into it; the same values as `n` steps,
    // a stage at a time. Fewer when the envelope ends: the count made.
    int32_t run(uint8_t& state, float gain, float* amp_out, int32_t n, float* before = nullptr);

    // The AEG with its stage's step and end and its level in locals: the same values as step(),
    // sample by sample or in stretches. finish() stores the level and the output.
    class Runner {
    public:
        Runner(Aeg& aeg, uint8_t& state, float gain, float* ampOut, float* before) noexcept
            : aeg_(aeg),
              stateOut_(state),
              amp_(ampOut),
              before_(before),
              level_(aeg.level),
              scale_(double(aeg.amp_mod) + aeg.amp),
              time_(aeg.timeScale()),
              gain_(gain),
              out_(aeg.out),
              state_(state) {
            load();
        }
        // Sample i, the output before it into `before` when given; false once the envelope has
        // ended on it.
        MV_HOT_INLINE bool step(int32_t i) noexcept {
            if (before_) before_[i] = out_;
            level_ += step_;
            if (up_ ? level_ >= target_ : level_ <= target_) [[unlikely]]
                arrive();
            out_ = FastMath::clamp01(float(scale_ * level_ * level_));
            amp_[i] = gain_ * out_;
            return state_ != kIdle;
        }
        // Samples i to n - 1, or fewer when the envelope ends: the index after the last one made.
        // Where the level steps by whole units of its binade's grid, the samples come from that
        // step times their distance, four at a time: the same bits as single steps.
        int32_t run(int32_t i, int32_t n) noexcept {
            while (i < n) {
                if (const int32_t k = evenSteps(n - i); k >= 4) {
                    i = runEven(i, k & ~3);
                } else if (!step(i++)) {
                    break;
                }
            }
            return i;
        }
        void finish() noexcept {
            aeg_.level = level_;
            aeg_.out = out_;
            stateOut_ = state_;
        }

    private:
        // The step and the end of the stage in `state_`, as step() makes them once a stage: a held
        // stage steps by 0 towards infinity. A step down adds the negated step, which rounds as
        // the subtraction does.
        MV_HOT_INLINE void load() noexcept {
            up_ = true;
            step_ = 0;
            target_ = __builtin_inf();
            if (state_ == kAttack) {
                step_ = aeg_.attackScale() * aeg_.attack_rate;
                target_ = 1.0;
            } else if (state_ == kDecay1) {
                step_ = -(time_ * aeg_.decay1_rate);
                target_ = aeg_.level1;
                up_ = false;
            } else if (state_ == kDecay2) {
                // The direction holds for the whole stage: arriving sets the level to the sustain.
                target_ = aeg_.sustain;
                up_ = level_ < target_;
                step_ = up_ ? time_ * aeg_.decay2_rate : -(time_ * aeg_.decay2_rate);
            } else if (state_ == kRelease) {
                step_ = -(time_ * aeg_.release_rate);
                target_ = 0;
                up_ = false;
            }
        }
        // How many of the next `m` steps add the same exact amount to the level without leaving
        // its binade or arriving: each sum then rounds on one grid, away from a tie and from the
        // binade's edges.
        int32_t evenSteps(int32_t m) const noexcept {
            if (state_ == kIdle) return 0;
            const bool arrived = up_ ? level_ >= target_ : level_ <= target_;
            if (step_ == 0) return arrived ? 0 : m;
            if (!(level_ > 0x1p-1000 && level_ < 0x1p1000)) return 0;
            const double low = std::bit_cast<double>(std::bit_cast<uint64_t>(level_) & 0x7FF0000000000000ull);
            const double grid = low * 0x1p-52, high = 2 * low;
            const double units = step_ / grid;
            if (!(units > -0x1p51 && units < 0x1p51)) return 0;
            const double part = units - double(int64_t(units));
            if (part == 0.5 || part == -0.5) return 0;
            const double each = (level_ + step_) - level_;
            if (each == 0) return arrived ? 0 : m;
            if ((each > 0) != up_) return 0;
            // The last level the run may reach: a grid step inside the binade, short of the target.
            const double edge = up_ ? high - grid : low + grid;
            auto fits = [&](double v) { return up_ ? v <= edge && v < target_ : v >= edge && v > target_; };
            const double room = (edge - level_) / each;
            auto k = int32_t(room < double(m) ? (room > 0 ? room : 0) : double(m));
            while (k > 0 && !fits(level_ + double(k) * each)) --k;
            return k;
        }
        // k samples, a multiple of 4, on the even steps that evenSteps() found.
        int32_t runEven(int32_t i, int32_t k) noexcept {
            const double each = (level_ + step_) - level_;
            // Level j + 1 is the start plus j + 1 steps; every sum is exact on the grid, so the
            // levels may as well move on by four steps at a time.
            const __m128d scale = _mm_set1_pd(scale_), base = _mm_set1_pd(level_), step = _mm_set1_pd(each);
            const __m128d four = _mm_set1_pd(4 * each);
            __m128d lo = _mm_add_pd(base, _mm_mul_pd(_mm_set_pd(2, 1), step));
            __m128d hi = _mm_add_pd(base, _mm_mul_pd(_mm_set_pd(4, 3), step));
            const float gain = gain_;
            for (int32_t j = 0; j < k; j += 4, lo = _mm_add_pd(lo, four), hi = _mm_add_pd(hi, four)) {
                const __m128 squares = _mm_movelh_ps(_mm_cvtpd_ps(_mm_mul_pd(_mm_mul_pd(scale, lo), lo)),
                                                     _mm_cvtpd_ps(_mm_mul_pd(_mm_mul_pd(scale, hi), hi)));
                FastMath::F4 outs;
                std::memcpy(&outs, &squares, sizeof outs);
                outs = FastMath::clamp01(outs);
                FastMath::store4(amp_ + i + j, outs * gain);
                if (before_) FastMath::store4(before_ + i + j, FastMath::F4{out_, outs[0], outs[1], outs[2]});
                out_ = outs[3];
            }
            level_ += double(k) * each;
            return i + k;
        }
        // The stage's end: the level lands on it, and the next stage begins.
        MV_HOT_INLINE void arrive() noexcept {
            level_ = target_;
            if (state_ == kAttack)
                state_ = kDecay1;
            else if (state_ == kDecay1)
                state_ = kDecay2;
            else if (state_ == kDecay2)
                state_ = (aeg_.no_release || aeg_.sustain == 0) ? kRelease : kSustain;
            else
                state_ = kIdle;
            load();
        }

        Aeg& aeg_;
        uint8_t& stateOut_;
        float* amp_;
        float* before_;
        double level_;
        double step_ = 0;
        double target_ = 0;
        double scale_;
        double time_;
        float gain_;
        float out_;
        uint8_t state_;
        bool up_ = true;
    };

    // Modulation destinations.
    float attack_mod = 0;
    float time_mod = 0;
    float amp_mod = 0;
    float out = 0;
    double level = 0;
    double level1 = 1;
    double attack_rate = 1;
    double decay1_rate = 1;
    double decay2_rate = 1;
    double release_rate = 1;
    double sustain = 1;
    double amp = 1;
    bool no_release = false;

private:
    template <typename StepOf>
    void move(uint8_t& state, StepOf stepOf);
    // 2^(10 x modulation), made again only when the modulation moved: most samples it holds.
    double attackScale();
    double timeScale();

    float seen_attack_mod_ = __builtin_nanf("");
    float seen_time_mod_ = __builtin_nanf("");
    double attack_scale_ = 1;
    double time_scale_ = 1;
};

template <typename StepOf>
inline void Aeg::move(uint8_t& state, StepOf stepOf) {
    switch (state) {
    case kAttack:
        level += stepOf(kAttack);
        if (level >= 1.0) {
            level = 1.0;
            state = kDecay1;
        }
        break;
    case kDecay1:
        level -= stepOf(kDecay1);
        if (level <= level1) {
            level = level1;
            state = kDecay2;
        }
        break;
    case kDecay2: {
        const double delta = stepOf(kDecay2);
        bool arrived;
        if (level < sustain) {
            level += delta;
            arrived = level >= sustain;
        } else {
            level -= delta;
            arrived = level <= sustain;
        }
        if (arrived) {
            level = sustain;
            state = (no_release || sustain == 0) ? kRelease : kSustain;
        }
        break;
    }
    case kRelease:
        level -= stepOf(kRelease);
        if (level <= 0) {
            level = 0;
            state = kIdle;
        }
        break;
    default:
        break;
    }
}

inline double Aeg::attackScale() {
    if (!(attack_mod == seen_attack_mod_)) {
        seen_attack_mod_ = attack_mod;
        attack_scale_ = double(FastMath::fastPow2(10.0f * attack_mod));
    }
    return attack_scale_;
}

inline double Aeg::timeScale() {
    if (!(time_mod == seen_time_mod_)) {
        seen_time_mod_ = time_mod;
        time_scale_ = double(FastMath::fastPow2(10.0f * time_mod));
    }
    return time_scale_;
}

inline void Aeg::step(uint8_t& state) {
    move(state, [this](uint8_t stage) {
        switch (stage) {
        case kAttack: return attackScale() * attack_rate;
        case kDecay1: return timeScale() * decay1_rate;
        case kDecay2: return timeScale() * decay2_rate;
        default: return timeScale() * release_rate;
        }
    });
    out = FastMath::clamp01(float((double(amp_mod) + amp) * level * level));
}

}  // namespace MV
