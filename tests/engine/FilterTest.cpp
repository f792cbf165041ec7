#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "VoiceFixture.h"
#include "engine/VoiceFilter.h"
#include "plug/ValueLaws.h"

using namespace MV;
using namespace MV::Test;

namespace {
constexpr double kPi = 3.14159265358979323846;
constexpr int kSkip = 2048;   // the filter's start transient
constexpr int kLength = 8192;

// What a voice playing a sine of `hz` at root key through the group's filter puts out on pin 0.
std::vector<float> render(const Filter& filter, double hz, double sampleRate = 44100.0) {
    const auto frames = uint32_t(sampleRate);
    auto sine = [&](unsigned, uint32_t i) { return float(0.5 * std::sin(2 * kPi * hz * i / sampleRate)); };
    VoiceRig rig(makeWave(frames, 1, sine, uint32_t(sampleRate)));
    rig.engine.applySampleRate(sampleRate);
    rig.group->filter = filter;
    EXPECT_NE(rig.start(60), nullptr);
    std::vector<float> out;
    for (int done = 0; done < kLength; done += 256) {
        rig.host.run(256);
        out.insert(out.end(), rig.host.buffers[0].begin(), rig.host.buffers[0].end());
    }
    return out;
}

double rms(const std::vector<float>& x) {
    double sum = 0;
    for (std::size_t i = kSkip; i < x.size(); ++i) sum += double(x[i]) * x[i];
    return std::sqrt(sum / double(x.size() - kSkip));
}

Filter filterOf(uint8_t type, uint8_t slope, double hz, float res = 0, float drive = 0) {
    Filter f;
    f.type = type;
    f.slope = slope;
    f.freq = float(ZnPlug::FrequencyLaw::fromHzPositive(hz));
    f.res = res;
    f.drive = drive;
    return f;
}

// The textbook second-order low-pass with Q = 1/sqrt(2), in decibels at `hz`.
double butterworthDb(double cutoffHz, double hz, double sampleRate) {
    const double w0 = 2 * kPi * cutoffHz / sampleRate;
    const double alpha = std::sin(w0) / std::sqrt(2.0);
    const double c = std::cos(w0);
    const std::complex<double> z = std::polar(1.0, -2 * kPi * hz / sampleRate);
    const std::complex<double> num = (1 - c) / 2 + (1 - c) * z + (1 - c) / 2 * z * z;
    const std::complex<double> den = (1 + alpha) - 2 * c * z + (1 - alpha) * z * z;
    return 20 * std::log10(std::abs(num / den));
}
}  // namespace

TEST(Filter, LowPassAtOneKilohertzTakesOffFiveKilohertzByItsSlope) {
    for (const double rate : {44100.0, 88200.0}) {
        const double dry = rms(render(filterOf(kFilterOff, kSlope24dB, 1000), 5000, rate));
        const double perStage = butterworthDb(1000, 5000, rate);
        auto lowPassDb = [&](uint8_t slope) {
            return 20 * std::log10(rms(render(filterOf(kFilterLowPass, slope, 1000), 5000, rate)) / dry);
        };
        const double twelve = lowPassDb(kSlope12dB);
        const double twentyFour = lowPassDb(kSlope24dB);
        EXPECT_NEAR(twelve, perStage, 0.1) << rate;
        EXPECT_NEAR(twentyFour, 2 * perStage, 0.2) << rate;
        EXPECT_LT(twelve, -27.0);
    }
    // High-pass mirrors it: 5 kHz passes a 1 kHz high-pass almost untouched.
    const double dry = rms(render(filterOf(kFilterOff, kSlope24dB, 1000), 5000));
    const double high = rms(render(filterOf(kFilterHighPass, kSlope12dB, 1000), 5000));
    EXPECT_NEAR(20 * std::log10(high / dry), 0.0, 0.3);
}

TEST(Filter, WithoutResonanceBandPassPassesAllNotchMutesAndAllPassInverts) {
    const std::vector<float> dry = render(filterOf(kFilterOff, kSlope24dB, 1000, 0, 1.0f), 440);
    EXPECT_EQ(render(filterOf(kFilterBandPass, kSlope24dB, 1000), 440), dry);
    for (float v : render(filterOf(kFilterNotch, kSlope12dB, 1000), 440)) ASSERT_EQ(v, 0.0f);
    const std::vector<float> inverted = render(filterOf(kFilterAllPass, kSlope12dB, 1000), 440);
    for (std::size_t i = 0; i < dry.size(); ++i) ASSERT_EQ(inverted[i], -dry[i]) << i;
    // "Off" ignores the drive: `dry` was made with drive 1.
    EXPECT_EQ(render(filterOf(kFilterOff, kSlope24dB, 1000), 440), dry);
}

TEST(Filter, DriveShapesLowPassToNotchAndSetsTheGainOfTheOthers) {
    const std::vector<float> dry = render(filterOf(kFilterOff, kSlope24dB, 1000), 440);
    EXPECT_EQ(render(filterOf(kFilterBandPass, kSlope24dB, 1000, 0, 0.0f), 440), dry);
    const std::vector<float> driven = render(filterOf(kFilterBandPass, kSlope24dB, 1000, 0, 1.0f), 440);
    for (std::size_t i = 0; i < dry.size(); ++i) {
        const float x = dry[i], g = 2.0f - std::fabs(x);
        ASSERT_FLOAT_EQ(driven[i], g * x * g) << i;
    }
    // A peak without resonance is a plain gain of A^2 = 10^(0.6 D) per stage, so "24dB" doubles
    // it in decibels.
    const double d = 0.5;
    for (const auto& [slope, stages] : {std::pair{kSlope12dB, 1}, std::pair{kSlope24dB, 2}, std::pair{kSlope6dB, 1}}) {
        const std::vector<float> peak = render(filterOf(kFilterPeak, slope, 1000, 0, float(d)), 440);
        const double gain = std::pow(10.0, 0.6 * d * stages);
        for (std::size_t i = 0; i < dry.size(); i += 97) ASSERT_NEAR(peak[i], dry[i] * gain, 1e-5) << i;
    }
}

TEST(Filter, CachedCoefficientsGiveWhatRecomputingEverySampleGives) {
    // Frequency and resonance move early; the drive moves once their smoothing has arrived.
    constexpr std::size_t kN = 4096;
    std::vector<float> input(kN), freq(kN), res(kN), drive(kN);
    for (std::size_t i = 0; i < kN; ++i) {
        input[i] = float(std::sin(0.3 * double(i)) * 0.7);
        freq[i] = i < 64 ? 0.0f : i < 160 ? 0.2f : -0.05f;
        res[i] = i < 100 ? 0.0f : 0.4f;
        drive[i] = i < 3000 ? 0.0f : 0.5f;
    }
    for (const uint8_t type : {kFilterLowPass, kFilterHighPass, kFilterBandPass, kFilterNotch, kFilterLowShelf,
                               kFilterHighShelf, kFilterPeak, kFilterAllPass}) {
        const Filter params = filterOf(type, kSlope24dB, 800, 0.3f, 0.2f);
        // Four samples' coefficients are made side by side in a modulated block, one at a time
        // where the lanes hold still: both must agree too.
        VoiceFilter cached, fresh, single;
        cached.setup(params);
        fresh.setup(params);
        single.setup(params);
        std::vector<float> a(kN), b(kN), c(kN);
        const float* in = input.data();
        float* outA = a.data();
        cached.process(freq.data(), res.data(), drive.data(), false, &in, &outA, 1, int32_t(kN), 1.0);
        for (std::size_t i = 0; i < kN; ++i) {
            fresh.cached_freq = -1.0f;
            single.cached_freq = -1.0f;
            const float* x = input.data() + i;
            float* y = b.data() + i;
            float* z = c.data() + i;
            fresh.process(freq.data() + i, res.data() + i, drive.data() + i, false, &x, &y, 1, 1, 1.0);
            single.process(freq.data() + i, res.data() + i, drive.data() + i, true, &x, &z, 1, 1, 1.0);
        }
        for (std::size_t i = 0; i < kN; ++i) {
            ASSERT_EQ(a[i], b[i]) << int(type) << " at " << i;
            ASSERT_EQ(a[i], c[i]) << int(type) << " at " << i;
        }
    }
}

TEST(Filter, PolynomialSineAndCosineHoldUpToAQuarterTurn) {
    for (double w = 0; w <= kPi / 2; w += 0.01) {
        ASSERT_NEAR(VoiceFilter::polySin(float(w)), std::sin(w), 2e-6) << w;
        ASSERT_NEAR(VoiceFilter::polyCos(float(w)), std::cos(w), 2e-6) << w;
    }
}
