#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "FxRig.h"
#include "plug/fx/Bassline.h"
#include "plug/fx/Bitcrusher.h"
#include "plug/fx/Compressor.h"
#include "plug/fx/Distortion.h"
#include "plug/fx/Equalizer.h"
#include "plug/fx/FxMath.h"
#include "plug/fx/Gloubi.h"
#include "plug/fx/Saturation.h"

using namespace ZnPlug::FX;

namespace {

FxRig::Signal noise(int32_t channels, int32_t frames, float amplitude, unsigned seed = 7) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> d(-amplitude, amplitude);
    FxRig::Signal s(std::size_t(channels), std::vector<float>(std::size_t(frames), 0.0f));
    for (auto& ch : s)
        for (float& v : ch) v = d(gen);
    return s;
}

}  // namespace

TEST(Equalizer, UnityGainsGiveTheInputThreeSamplesLate) {
    FxRig rig;
    Equalizer eq;
    eq.prepare(rig.context);
    const auto in = noise(2, 3000, 1.0f);
    const auto out = rig.run(eq, in);
    for (int c = 0; c < 2; ++c)
        for (std::size_t i = 0; i < in[0].size(); ++i)
            ASSERT_NEAR(out[std::size_t(c)][i], i < 3 ? 0.0f : in[std::size_t(c)][i - 3], 1e-6f) << i;
}

TEST(Bitcrusher, RateZeroHoldsAndOneBitTruncatesToZero) {
    FxRig rig;
    Bitcrusher crusher;
    crusher.rate = 0.0f;
    crusher.prepare(rig.context);
    auto in = noise(1, 600, 0.9f);
    auto out = rig.run(crusher, in);
    const float first = std::trunc(in[0][0] * 32768.0f) / 32768.0f;
    for (float v : out[0]) ASSERT_EQ(v, first);

    crusher.bits = 1;
    crusher.rate = 1.0f;
    crusher.prepare(rig.context);
    in[0][10] = 1.0f;
    in[0][20] = -1.0f;
    out = rig.run(crusher, in);
    for (std::size_t i = 0; i < in[0].size(); ++i) ASSERT_EQ(out[0][i], i == 10 ? 1.0f : (i == 20 ? -1.0f : 0.0f));

    // 32 bits make a negative scale, which truncates the same way.
    crusher.bits = 32;
    out = rig.run(crusher, in);
    EXPECT_EQ(out[0][10], 1.0f);
}

TEST(Distortion, FoldsAtTheLowestThresholdWithItsMakeup) {
    FxRig rig;
    Distortion dist;
    dist.threshold = 0.01f;
    dist.wet = 1.0f;
    dist.dry = 0.0f;
    dist.prepare(rig.context);
    FxRig::Signal in{{0.001f, 0.005f, -0.005f, 0.0f}};
    const auto out = rig.run(dist, in);
    // Below lim = 0.002 the input passes; above it folds back from the limit.
    EXPECT_FLOAT_EQ(out[0][0], 0.001f * 3.9601f);
    EXPECT_NEAR(out[0][1], -0.001f * 3.9601f, 1e-7f);
    EXPECT_NEAR(out[0][2], 0.001f * 3.9601f, 1e-7f);

    // The fold's remainder is exactly the library's fmod.
    std::mt19937 gen(3);
    std::uniform_real_distribution<float> big(-2000.0f, 2000.0f), lim(0.002f, 0.2f);
    for (int k = 0; k < 200000; ++k) {
        const float x = big(gen) * (k % 2 ? 1e-3f : 1.0f), l = lim(gen);
        const float expected = std::fabs(std::fabs(std::fmod(x - l, 4.0f * l)) - 2.0f * l) - l;
        ASSERT_EQ(Distortion::fold(x, l), expected) << x << " " << l;
    }
}

TEST(Saturation, AboveOneOverPreGivesTheFixedValueForBothSigns) {
    FxRig rig;
    Saturation sat;
    sat.gain = 2.0f;
    FxRig::Signal in{{0.6f, -0.6f, 0.01f, 0.3f}};
    const auto out = rig.run(sat, in);
    const float th = 0.5f * 0.2f;
    EXPECT_FLOAT_EQ(out[0][0], (th + 1.0f) * 0.5f);
    EXPECT_FLOAT_EQ(out[0][1], (th + 1.0f) * 0.5f);
    EXPECT_FLOAT_EQ(out[0][2], 0.02f);
    const float u = 0.6f - th, v = u / (1.0f - th);
    EXPECT_FLOAT_EQ(out[0][3], u / (v * v + 1.0f) + th);
}

TEST(Compressor, SlopeZeroLeavesTheSignalAndASlopeLowersIt) {
    FxRig rig;
    Compressor comp;
    comp.slope = 0.0f;
    comp.prepare(rig.context);
    const auto in = noise(2, 2000, 1.0f);
    EXPECT_EQ(rig.run(comp, in), in);
    comp.slope = 1.0f;
    comp.threshold = 0.1f;
    const auto out = rig.run(comp, in);
    double ein = 0, eout = 0;
    for (std::size_t i = 0; i < in[0].size(); ++i) {
        ein += std::fabs(in[0][i]);
        eout += std::fabs(out[0][i]);
    }
    EXPECT_LT(eout, ein * 0.8);
}

TEST(FxMath, ExponentialStaysWithinFloatRoundingAndGloubiFollowsItsFormula) {
    for (float x = -87.0f; x <= 88.0f; x += 0.000731f) {
        const double exact = std::exp(double(x));
        ASSERT_NEAR(FxMath::exp(x), exact, exact * 2.5e-7) << x;
    }
    EXPECT_TRUE(std::isfinite(FxMath::exp(1000.0f)));
    // Against the same float formula with the library's exponentials. One unit of rounding in q
    // moves the result by about |x| units, in either evaluation.
    for (float x = -20.0f; x <= 20.0f; x += 0.001f) {
        const float a = std::exp(x), q = (1.0f + std::exp(-0.75f * std::sqrt(std::fabs(x)))) * x;
        const float exact = (a - std::exp(-q)) / (std::exp(-x) + a);
        ASSERT_NEAR(Gloubi::shape(x), exact, 3e-7f + std::fabs(exact) * 2.5e-7f * (2.0f + std::fabs(x))) << x;
    }
}

TEST(Bassline, SettlesOnAFiniteLowPassAndResetsClean) {
    FxRig rig;
    Bassline bass;
    bass.update(0.3f, 0.5f);
    bass.prepare(rig.context);
    bass.reset();
    FxRig::Signal dc{std::vector<float>(20000, 0.25f)};
    const auto out = rig.run(bass, dc);
    for (float v : out[0]) ASSERT_TRUE(std::isfinite(v));
    const float settled = out[0].back();
    EXPECT_NE(settled, 0.0f);
    EXPECT_NEAR(out[0][out[0].size() - 100], settled, std::fabs(settled) * 1e-3f);
    // A fast sine is damped against the DC level.
    FxRig::Signal hf{std::vector<float>(20000)};
    for (std::size_t i = 0; i < hf[0].size(); ++i) hf[0][i] = (i % 2 ? 0.25f : -0.25f);
    bass.reset();
    const auto damped = rig.run(bass, hf);
    EXPECT_LT(std::fabs(damped[0].back()), std::fabs(settled) * 0.1f);
}
