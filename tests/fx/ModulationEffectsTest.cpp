#include <gtest/gtest.h>

#include <cmath>

#include "FxRig.h"
#include "plug/fx/AlienWah.h"
#include "plug/fx/Chorus.h"
#include "plug/fx/Flanger.h"
#include "plug/fx/Phaser.h"

using namespace ZnPlug::FX;

namespace {

// The centre of gravity of a channel's response, and its sum.
double centre(const std::vector<float>& ch, double& sum) {
    double moment = 0;
    sum = 0;
    for (std::size_t i = 0; i < ch.size(); ++i) {
        moment += double(i) * ch[i];
        sum += ch[i];
    }
    return moment / sum;
}

}  // namespace

TEST(Chorus, SendIsAFixedDelayWithTheSecondChannelInvertedWhateverTheRate) {
    FxRig rig;
    rig.context.sample_pos = 12345;
    const double expected = 44100 * 0.05 * 0.5 * 0.5 + std::pow(10.0, 0.2) * 44.1;
    FxRig::Signal first;
    for (float rate : {0.0f, 0.5f, 1.0f}) {
        Chorus chorus;
        chorus.rate = rate;
        chorus.prepare(rig.context);
        // Late enough in the line that the read position is not below zero, where the fraction
        // turns negative and the read extrapolates.
        const auto out = rig.run(chorus, FxRig::impulse(2, 2048, 1000));
        double sum = 0;
        EXPECT_NEAR(centre(out[0], sum), 1000 + expected, 1e-3);
        EXPECT_NEAR(sum, 1.0, 1e-6);  // half of each channel's impulse, twice
        for (std::size_t i = 0; i < out[0].size(); ++i) EXPECT_EQ(out[1][i], -out[0][i]);
        if (first.empty()) first = out;
        EXPECT_EQ(out, first);
    }
}

TEST(Chorus, InsertSweepsOnlyWithTheAmplitudeInput) {
    FxRig rig;
    Chorus chorus;
    chorus.dry = 1.0f;
    chorus.prepare(rig.context);
    FxRig::Signal in(2, std::vector<float>(8192));
    for (std::size_t i = 0; i < in[0].size(); ++i) in[0][i] = in[1][i] = float(std::sin(0.05 * double(i)));
    const std::vector<float> zero(in[0].size(), 0.0f), one(in[0].size(), 1.0f);
    const auto still = rig.run(chorus, in, &zero, &zero);
    Chorus send;
    send.dry = 1.0f;
    send.prepare(rig.context);
    rig.context.sample_pos = 0;
    EXPECT_EQ(still, rig.run(send, in));
    chorus.prepare(rig.context);
    rig.context.sample_pos = 0;
    EXPECT_NE(rig.run(chorus, in, &zero, &one), still);
}

TEST(Flanger, PhaserAndAlienWahRestWhereTheirLfoOutputOfZeroPutsThem) {
    FxRig rig;
    // The rate changes nothing: the LFOs have no amplitude.
    auto response = [&](Effect& fx, float rateA, float rateB, auto setRate) {
        FxRig::Signal outs[2];
        const float rates[2] = {rateA, rateB};
        for (int k = 0; k < 2; ++k) {
            setRate(rates[k]);
            fx.prepare(rig.context);
            outs[k] = rig.run(fx, FxRig::impulse(2, 4096, 3));
        }
        EXPECT_EQ(outs[0], outs[1]);
        return outs[0];
    };
    Flanger flanger;
    const auto f = response(flanger, 0.0f, 1.0f, [&](float r) { flanger.rate = r; });
    double sum = 0;
    // First tap at the chorus delay; the feedback comes back subtracted.
    EXPECT_GT(f[0][std::size_t(3 + 621)], 0.0f);
    EXPECT_LT(centre(f[0], sum), 3 + 621 + 1.0);

    Phaser phaser;
    const auto p = response(phaser, 0.1f, 0.9f, [&](float r) { phaser.rate = r; });
    for (float v : p[0]) ASSERT_TRUE(std::isfinite(v));
    phaser.feedback = 1.0f;
    phaser.prepare(rig.context);
    const auto loud = rig.run(phaser, FxRig::impulse(2, 44100, 0));
    for (float v : loud[1]) ASSERT_LE(std::fabs(v), 50.0f);

    AlienWah wah;
    const auto w = response(wah, 0.1f, 0.9f, [&](float r) { wah.rate = r; });
    // A 5 ms line of 220 entries, g = 0.99 x 0.875: the input enters as (1 - g) x, and returns
    // one line later turned by 1 radian and scaled by g.
    const float g = 0.875f * 0.99f, makeup = g * 13.0f * g + 3.0f;
    EXPECT_FLOAT_EQ(w[0][3], makeup * (1.0f - g));
    EXPECT_FLOAT_EQ(w[0][3 + 220], makeup * ((1.0f - g) * (std::cos(1.0f) * g)));
    EXPECT_EQ(w[0][3 + 219], 0.0f);
    wah.delay = 0.0f;  // a line of one entry
    EXPECT_NO_FATAL_FAILURE(rig.run(wah, FxRig::impulse(2, 600, 3)));
}
