#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "VoiceFixture.h"
#include "engine/SincKernel.h"
#include "engine/VoiceReader.h"

using namespace MV;
using namespace MV::Test;

namespace {

constexpr double kPi = 3.14159265358979323846;

// A read of one wave through one interpolator, with constant lanes that a test may change.
struct Reading {
    explicit Reading(const ZnPlug::Wave& wave, int32_t interpolation, int32_t n = 256) : n(n) {
        amp.assign(256, 1.0f);
        pitch.assign(256, 1.0f);
        zeros.assign(256, 0.0f);
        loopEndLane.assign(256, 0.0f);
        out0.assign(256, 0.0f);
        out1.assign(256, 0.0f);
        job.data[0] = wave.channelData(0);
        job.data[1] = wave.channelData(wave.channels() > 1 ? 1 : 0);
        job.channels = wave.channels();
        job.frames = wave.frames();
        job.waveStart = wave.start;
        job.waveEnd = wave.end;
        job.loopStart = wave.start;
        job.loopEnd = wave.end;
        job.interpolation = interpolation;
        job.sinc = &cache;
    }
    int32_t run(bool wide = true) {
        job.amp = amp.data();
        job.pitchRatio = pitch.data();
        job.loopStartOffset = zeros.data();
        job.loopEndOffset = loopEndLane.data();
        job.loopDirection = zeros.data();
        job.out[0] = out0.data();
        job.out[1] = out1.data();
        job.count = n;
        return readWave(job, wide);
    }

    WaveRead job;
    SincCache cache;
    int32_t n;
    std::vector<float> amp, pitch, zeros, loopEndLane, out0, out1;
};

// The kernel as written, tap by tap with the library's trigonometry: the reference.
double sincReference(const float* s, double pos, double step, int halfWidth) {
    const auto i = int64_t(pos);
    const double f = std::max(pos - double(i), 1e-25);
    const double c = std::min(1.0, 1.0 / std::max(std::fabs(step), 1e-25));
    double sum = 0;
    for (int k = -halfWidth; k <= halfWidth; ++k) {
        const double x = k - f;
        const double w = 0.5 * std::cos(kPi * x / halfWidth) + 0.5;
        sum += double(s[i + k]) * w * std::sin(c * kPi * x) / (kPi * x);
    }
    return sum;
}

auto sine(double cyclesPerFrame) {
    return [cyclesPerFrame](unsigned, uint32_t i) { return float(std::sin(2 * kPi * cyclesPerFrame * i)); };
}

}  // namespace

TEST(Reader, DraftAndHermiteReproduceTheSamplesAtWholePositions) {
    auto wave = makeWave(1000, 2, [](unsigned c, uint32_t i) { return c ? -rampValue(i) : rampValue(i); });
    for (int32_t interpolation : {1, 2}) {
        Reading r(*wave, interpolation);
        r.job.position = 10;
        ASSERT_EQ(r.run(), 256);
        for (int i = 0; i < 256; ++i) {
            ASSERT_EQ(r.out0[std::size_t(i)], rampValue(uint32_t(10 + i))) << interpolation << " " << i;
            ASSERT_EQ(r.out1[std::size_t(i)], -rampValue(uint32_t(10 + i))) << interpolation << " " << i;
        }
        EXPECT_EQ(r.job.position, 266.0);
    }
}

TEST(Reader, SincOfASineStaysNearTheExactSine) {
    auto wave = makeWave(4000, 2, sine(0.01));
    for (int32_t interpolation : {3, 4, 5}) {
        for (double ratio : {1.0, 2.0}) {
            Reading r(*wave, interpolation);
            r.job.position = 500.3;
            r.pitch.assign(256, float(ratio));
            r.run();
            for (int i = 0; i < 256; ++i) {
                const double exact = std::sin(2 * kPi * 0.01 * (500.3 + ratio * i));
                ASSERT_NEAR(r.out0[std::size_t(i)], exact, 2e-3) << interpolation << " " << ratio << " " << i;
                ASSERT_EQ(r.out0[std::size_t(i)], r.out1[std::size_t(i)]);
            }
        }
    }
}

TEST(Reader, SincCutoffFollowsTheStepAndBothPathsAgree) {
    // Noise has energy above a quarter of the band, so the cutoff shows in the result.
    uint32_t seed = 1;
    auto wave = makeWave(2000, 1, [&](unsigned, uint32_t) {
        seed = seed * 1664525u + 1013904223u;
        return float(seed >> 8) / float(1u << 24) - 0.5f;
    });
    const float* s = wave->channelData(0);
    Reading r(*wave, 3, 64);
    r.job.position = 700.25;
    r.pitch.assign(256, 4.0f);
    r.run();
    double apart = 0;
    for (int i = 0; i < 64; ++i) {
        const double pos = 700.25 + 4.0 * i;
        ASSERT_NEAR(r.out0[std::size_t(i)], sincReference(s, pos, 4.0, 32), 1e-5) << i;
        apart = std::max(apart, std::fabs(r.out0[std::size_t(i)] - sincReference(s, pos, 1.0, 32)));
    }
    EXPECT_GT(apart, 0.05);  // a cutoff of 1 would sound different

    for (int32_t interpolation : {3, 4, 5}) {
        Reading wide(*wave, interpolation), plain(*wave, interpolation);
        wide.job.position = plain.job.position = 900.6;
        wide.pitch.assign(256, 1.37f);
        plain.pitch.assign(256, 1.37f);
        wide.run(true);
        plain.run(false);
        for (int i = 0; i < 256; ++i) ASSERT_NEAR(wide.out0[std::size_t(i)], plain.out0[std::size_t(i)], 1e-6);
    }
}

TEST(Reader, Sinc128NearBothEndsStaysInsideTheGuards) {
    auto wave = makeWave(20, 2, [](unsigned, uint32_t) { return 1.0f; });
    Reading r(*wave, 5, 40);
    r.job.loopType = 1;
    r.job.loopStart = 0;
    r.job.loopEnd = 20;
    r.run();
    for (int i = 0; i < 40; ++i) ASSERT_TRUE(std::isfinite(r.out1[std::size_t(i)]));
    EXPECT_NEAR(r.out0[5], 1.0f, 1e-6);
}

TEST(Reader, LoopWalks) {
    auto wave = makeWave(100, 1, [](unsigned, uint32_t i) { return float(i); });
    // The walk with moving loop lanes, checked against the fixed walk when the lanes are 0.
    auto frames = [&](int32_t type, double start, float step = 1.0f, float endOffset = 0.0f) {
        std::vector<float> result[2];
        for (bool moves : {true, false}) {
            Reading r(*wave, 1, 40);
            r.job.loopType = type;
            r.job.loopStart = 10;
            r.job.loopEnd = 15;
            r.job.position = start;
            r.job.loopMoves = moves;
            r.pitch.assign(256, step);
            r.loopEndLane.assign(256, endOffset);
            const int32_t made = r.run();
            result[moves].assign(r.out0.begin(), r.out0.begin() + made);
        }
        if (endOffset == 0) {
            EXPECT_EQ(result[0], result[1]);
        }
        return result[1];
    };
    using V = std::vector<float>;
    V forward;
    for (int i = 0; i < 40; ++i) forward.push_back(float(i < 3 ? 12 + i : 10 + (i - 3) % 5));
    EXPECT_EQ(frames(1, 12), forward);
    // The step that overshoots a forward loop wraps by the remainder.
    const V overshoot = frames(1, 12, 2.5f);
    EXPECT_EQ(V(overshoot.begin(), overshoot.begin() + 4), (V{12, 14.5f, 12, 14.5f}));
    // Backward: forward into the loop, then from its end down towards its start, over and over.
    const V backward = frames(2, 13);
    EXPECT_EQ(V(backward.begin(), backward.begin() + 12), (V{13, 14, 15, 14, 13, 12, 11, 15, 14, 13, 12, 11}));
    // Bidirectional: turns at both ends.
    const V bidirectional = frames(3, 13);
    EXPECT_EQ(V(bidirectional.begin(), bidirectional.begin() + 12),
              (V{13, 14, 15, 14, 13, 12, 11, 10, 11, 12, 13, 14}));
    // Slices end at their end, a wave without loop at the wave's.
    EXPECT_EQ(frames(4, 12), (V{12, 13, 14}));
    EXPECT_EQ(frames(5, 12), (V{12, 13, 14}));
    EXPECT_EQ(frames(0, 96), (V{96, 97, 98, 99}));
    // An end moved onto the start leaves a one-frame loop.
    EXPECT_EQ(frames(1, 10, 1, -8), V(40, 10.0f));
}

TEST(Reader, SilentReaderWalksLikeTheOthers) {
    auto wave = makeWave(100, 1, [](unsigned, uint32_t) { return 1.0f; });
    Reading loud(*wave, 2, 200), silent(*wave, WaveRead::kSilent, 200);
    loud.job.position = silent.job.position = 30;
    EXPECT_EQ(loud.run(), silent.run());
    EXPECT_TRUE(silent.job.ended);
    for (int i = 0; i < 70; ++i) ASSERT_EQ(silent.out0[std::size_t(i)], 0.0f);
}

TEST(Reader, FourAtATimeReadsWhatTheWalkReads) {
    // Loop lanes of zeros take the sample-by-sample walk; without them Draft and Hermite read four
    // positions at once. Both must give the same bits, counts and positions at moving pitches.
    auto wave = makeWave(300, 2, [](unsigned c, uint32_t i) { return float(std::sin(i * (c ? 0.31 : 0.17))); });
    for (int32_t interpolation : {1, 2})
        for (int32_t type : {0, 1, 4}) {
            std::vector<float> outs[2][2];
            double positions[2];
            int32_t made[2];
            for (bool moves : {false, true}) {
                Reading r(*wave, interpolation, 255);
                r.job.loopType = type;
                r.job.loopStart = 40.25;
                r.job.loopEnd = 171.5;
                r.job.position = type == 0 ? 120.3 : 3.3;  // every walk meets its end or its loop
                r.job.loopMoves = moves;
                for (std::size_t i = 0; i < r.pitch.size(); ++i) r.pitch[i] = 0.6f + 0.5f * float(i % 7) / 7.0f;
                for (std::size_t i = 0; i < r.amp.size(); ++i) r.amp[i] = 1.0f - float(i) / 512.0f;
                made[moves] = r.run();
                outs[moves][0].assign(r.out0.begin(), r.out0.begin() + made[moves]);
                outs[moves][1].assign(r.out1.begin(), r.out1.begin() + made[moves]);
                positions[moves] = r.job.position;
            }
            EXPECT_EQ(made[0], made[1]) << interpolation << " " << type;
            EXPECT_EQ(outs[0][0], outs[1][0]) << interpolation << " " << type;
            EXPECT_EQ(outs[0][1], outs[1][1]) << interpolation << " " << type;
            EXPECT_EQ(positions[0], positions[1]) << interpolation << " " << type;
        }
}
