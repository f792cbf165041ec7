#pragma once
#include <array>
#include <cstdint>

namespace MV {

struct Filter;

// The voice's multimode filter, between the wave reader and the insert: one biquad stage per
// channel, two for "24dB", whose coefficients follow the modulated frequency, resonance and
// drive sample by sample. Frequencies are fractions of 22050 Hz whatever the sample rate; the
// rate ratio turns them into angles. Coefficients are recomputed only when an input moved, and
// a move glides in through one-pole smoothing of frequency and resonance.
//
// Threads: [audio-thread] [main-lock], as part of the voice that owns it.
struct VoiceFilter {
    static constexpr int kChannels = 2;
    static constexpr int kStages = 2;
    // The smoothing constants of a new voice: 0.99 and 1 - 0.99, both as floats.
    static constexpr double kKeep = 0.9900000095367432;
    static constexpr double kTake = 0.009999990463256836;

    // Base values, type and slope from the group; the smoothing starts at the base, so the
    // coefficients are made at the next sample. Stage memories are the caller's to clear.
    void setup(const Filter& params) noexcept;
    // Static modulation gathered in the destinations becomes part of the base values once.
    void foldStatic() noexcept;
    // `n` samples of 1 or 2 channels from `in` to `out` (which may be the same buffers). The
    // lanes add to the base frequency, resonance and drive per sample; `constant` says that each
    // lane holds one value throughout (else it is found out). Type "Off" copies nothing and must
    // not be called.
    void process(const float* freqLane, const float* resLane, const float* driveLane, bool constant,
                 const float* const* in, float* const* out, int32_t channels, int32_t n, double rateRatio) noexcept;

    // One voice's part of a pass that two filters share: its signal, its count, and its control
    // lanes as process() takes them (index 0 alone when `constant`).
    struct Side {
        const float* const* in = nullptr;
        float* const* out = nullptr;
        int32_t channels = 1;
        int32_t n = 0;
        const float* freq = nullptr;
        const float* res = nullptr;
        const float* drive = nullptr;
        bool constant = true;
    };
    // Whether process() of `side` would run one stage with nothing to shape: on coefficients
    // that hold (the smoothing has arrived), or on moving ones without drive.
    bool sharesPass(const Side& side) const noexcept;
    // process() of two filters that share a pass: the same samples, with one vector carrying
    // both channels of both while both run.
    static void processPair(VoiceFilter& a, const Side& sideA, VoiceFilter& b, const Side& sideB,
                            double rateRatio) noexcept;

    // sin and cos of w by the polynomials the product has always used: close on 0..pi/2,
    // increasingly off towards pi.
    static float polySin(float w) noexcept;
    static float polyCos(float w) noexcept;

    struct Memory {
        float x1 = 0;
        float x2 = 0;
        float y1 = 0;
        float y2 = 0;
    };

    // Modulation destinations.
    float filter_freq = 0;
    float filter_res = 0;
    float base_freq = 0;  // a fraction of 22050 Hz
    float base_res = 0;
    std::array<std::array<Memory, kStages>, kChannels> memory{};
    float b0 = 1;
    float b1 = 0;
    float b2 = 0;
    float a1 = 0;
    float a2 = 0;
    uint8_t type = 0;
    uint8_t slope = 0;
    float base_drive = 0;
    float cached_freq = 0;
    float cached_res = 0;
    float cached_drive = 0;
    double freq_keep = kKeep;
    double freq_take = kTake;
    double freq_smooth = 0;
    double res_keep = kKeep;
    double res_take = kTake;
    double res_smooth = 0;
    // Modulation destination.
    float filter_drive = 0;

private:
    struct Stretch;

    // One step of the smoothing towards `freq` and `res`; the cache takes the results.
    void smooth(float freq, float res, float drive) noexcept;
    // A step of the smoothing, then the coefficients of the smoothed values.
    void update(float freq, float res, float drive, double rateRatio) noexcept;
    // The clamped frequency and resonance and the drive of sample i.
    void target(const float* freqLane, const float* resLane, const float* driveLane, int32_t i, float& F, float& R,
                float& D) const noexcept;
    template <bool Shapes>
    void designStretch(const float* freqLane, const float* resLane, const float* driveLane, int32_t m,
                       double rateRatio, Stretch& stretch) noexcept;
    template <int Stages, bool Shapes>
    void run(const float* freqLane, const float* resLane, const float* driveLane, bool constant,
             const float* const* in, float* const* out, int32_t channels, int32_t n, double rateRatio) noexcept;
    // A side's coefficients for a shared pass: held in the fields, or designed into `stretch`
    // sample by sample (true).
    bool prepareSide(const Side& side, double rateRatio, Stretch& stretch) noexcept;
    // Samples `from` to `to` of the one-stage loop for `a` and, when given, `b` beside it; each
    // takes its coefficients from its stretch when it moves, else from its fields.
    template <bool MovesA, bool MovesB, bool Two>
    static void runSides(VoiceFilter& a, const Side& sideA, const Stretch* stretchA, VoiceFilter* b, const Side* sideB,
                         const Stretch* stretchB, int32_t from, int32_t to) noexcept;
    // Memories that have decayed to nothing audible are set to 0 before they turn denormal.
    void flushMemories() noexcept;
};

}  // namespace MV
