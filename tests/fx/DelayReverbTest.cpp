#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "FxRig.h"
#include "plug/fx/Delay.h"
#include "plug/fx/Reverb.h"

using namespace ZnPlug::FX;

namespace {

// Frames at which a channel is not zero.
std::vector<int32_t> nonZero(const std::vector<float>& ch, int32_t from = 0) {
    std::vector<int32_t> at;
    for (auto i = std::size_t(from); i < ch.size(); ++i)
        if (ch[i] != 0.0f) at.push_back(int32_t(i));
    return at;
}

double energy(const std::vector<float>& ch, std::size_t from, std::size_t to) {
    double e = 0;
    for (std::size_t i = from; i < to; ++i) e += double(ch[i]) * ch[i];
    return e;
}

}  // namespace

TEST(Delay, DelaysByTheLineLengthAndFollowsTheTempo) {
    FxRig rig;
    Delay delay;
    delay.delay = 1.0f;
    delay.feedback = 0.0f;
    delay.prepare(rig.context);
    const int32_t L = 3 * 44100;
    ASSERT_EQ(delay.delaySamples(rig.context), L);
    // After the first pass of the line the read position is the write position: exactly L.
    const auto out = rig.run(delay, FxRig::impulse(2, 2 * L + 10, L, 0.5f));
    EXPECT_EQ(nonZero(out[0], L), std::vector<int32_t>{2 * L});
    EXPECT_EQ(out[1][std::size_t(2 * L)], 0.5f);

    delay.sync = Delay::Tempo;
    delay.delay = 12.0f / 23.0f;  // "1/4": one beat
    rig.context.tempo = 120.0;
    EXPECT_EQ(delay.delaySamples(rig.context), 22050);
    rig.context.tempo = 2.0;  // longer than the line: the read wraps
    EXPECT_GT(delay.delaySamples(rig.context), L);
    rig.run(delay, FxRig::impulse(2, 1000, 0));
}

TEST(Delay, PingPongAlternatesSides) {
    FxRig rig(1000.0);
    Delay delay;
    delay.mode = Delay::PingPong;
    delay.delay = 0.1f;
    delay.feedback = 0.5f;
    delay.prepare(rig.context);
    const auto D = int32_t(delay.delaySamples(rig.context));
    ASSERT_EQ(D, 30);
    const int32_t t0 = 3000;  // one pass of the line first
    const auto out = rig.run(delay, FxRig::impulse(2, t0 + 5 * D + 1, t0));
    EXPECT_EQ(nonZero(out[0], t0), (std::vector<int32_t>{t0 + D, t0 + 3 * D, t0 + 5 * D}));
    EXPECT_EQ(nonZero(out[1], t0), (std::vector<int32_t>{t0 + 2 * D, t0 + 4 * D}));
    EXPECT_EQ(out[0][std::size_t(t0 + D)], 1.0f);
    EXPECT_EQ(out[1][std::size_t(t0 + 2 * D)], 1.0f);
    EXPECT_EQ(out[0][std::size_t(t0 + 3 * D)], 0.5f);

    // "Stereo" reads the two lines `spread` apart.
    delay.mode = Delay::Stereo;
    delay.feedback = 0.0f;
    delay.spread = 0.5f;
    delay.prepare(rig.context);
    const auto st = rig.run(delay, FxRig::impulse(2, 2 * t0, t0));
    EXPECT_EQ(nonZero(st[0], t0), std::vector<int32_t>{t0 + D - 7});
    EXPECT_EQ(nonZero(st[1], t0), std::vector<int32_t>{t0 + D + 7});
}

TEST(Reverb, WidthZeroIsMonoAndTheTailDecays) {
    FxRig rig;
    Reverb reverb;
    reverb.width = 0.0f;
    reverb.prepare(rig.context);
    FxRig::Signal in = FxRig::impulse(2, 44100 * 4, 0);
    in[1][0] = 0.0f;
    in[1][100] = -0.7f;
    const auto out = rig.run(reverb, in);
    EXPECT_EQ(out[0], out[1]);
    const double early = energy(out[0], 0, 22050), late = energy(out[0], 3 * 44100, 4 * 44100);
    EXPECT_GT(early, 0.0);
    EXPECT_LT(late, early * 1e-3);

    // Full width keeps the channels apart; one channel alone runs without the matrix.
    reverb.width = 1.0f;
    const auto wide = rig.run(reverb, in);
    EXPECT_NE(wide[0], wide[1]);
    const auto mono = rig.run(reverb, FxRig::Signal{in[0]});
    EXPECT_GT(energy(mono[0], 0, mono[0].size()), 0.0);
}

TEST(Reverb, LinesShrinkWithTheRateAndCopiesOwnNothing) {
    EXPECT_EQ(Reverb::lineLength(1116, 0, 1.0), 1116u);
    EXPECT_EQ(Reverb::lineLength(1116, 1, 1.0), 1139u);
    EXPECT_EQ(Reverb::lineLength(1116, 0, 44100.0 / 192000.0), 256u);
    EXPECT_EQ(Reverb::lineLength(153, 0, 1e-6), 1u);

    FxRig rig(192000.0, 64);
    Reverb reverb;
    reverb.roomsize = 1.0f;
    reverb.prepare(rig.context);
    Reverb copy(reverb);
    EXPECT_FLOAT_EQ(copy.roomsize, 1.0f);
    // The copy gives silence until it is prepared; the original is untouched by it.
    const auto silent = rig.run(copy, FxRig::impulse(2, 300, 0));
    EXPECT_EQ(nonZero(silent[0]).size(), 0u);
    copy.prepare(rig.context);
    EXPECT_EQ(rig.run(copy, FxRig::impulse(2, 300, 0)), rig.run(reverb, FxRig::impulse(2, 300, 0)));
}
