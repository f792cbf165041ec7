#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

#include "plug/Wave.h"

using namespace ZnPlug;

namespace {
// Frame i of channel c holds (i + 1) * sign, sign alternating by channel.
Wave ramp(uint32_t frames, uint8_t channels = 1) {
    SampleBuffer b(frames, channels);
    for (unsigned c = 0; c < channels; ++c)
        for (uint32_t i = 0; i < frames; ++i) b.channel(c)[i] = float(i + 1) * (c % 2 ? -1.0f : 1.0f);
    return Wave(std::move(b), 44100, 16, 2, kFormatWave);
}

std::vector<float> channel(const Wave& w, unsigned c) {
    return std::vector<float>(w.channelData(c), w.channelData(c) + w.frames());
}

bool guardsZero(const Wave& w) {
    for (unsigned c = 0; c < w.channels(); ++c)
        for (int i = 1; i <= 64; ++i)
            if (w.channelData(c)[-i] != 0 || w.channelData(c)[w.frames() + unsigned(i) - 1] != 0) return false;
    return true;
}
}  // namespace

TEST(WaveEditTest, NormalizeTakesThePeakOfTheFirstTwoChannelsOnly) {
    Wave w = ramp(4, 3);
    w.samples().channel(2)[0] = 100;  // a third channel never takes part
    w.start = 1;
    w.end = 3;
    w.normalize();
    // Peak 3 (frames 1..2 of both first channels): the range is scaled by 1/3, every channel.
    EXPECT_EQ(channel(w, 0), (std::vector<float>{1, 2 * (1.0f / 3), 3 * (1.0f / 3), 4}));
    EXPECT_EQ(channel(w, 2)[1], 2 * (1.0f / 3));
    EXPECT_EQ(w.flags, kWaveChanged);

    Wave full = ramp(4, 2);
    full.normalize();
    EXPECT_EQ(channel(full, 1)[3], -1.0f);
    EXPECT_EQ(full.flags, kWaveNormalized);

    // A silent range stays as it is, finite and unflagged.
    Wave silent(SampleBuffer(8, 1), 44100, 16, 2, kFormatWave);
    silent.normalize();
    EXPECT_EQ(channel(silent, 0), std::vector<float>(8, 0.0f));
    EXPECT_EQ(silent.flags, 0);
}

TEST(WaveEditTest, RemoveDcWritesTheFilteredSamplesBack) {
    SampleBuffer b(4, 1);
    for (int i = 0; i < 4; ++i) b.channel(0)[i] = 1;
    Wave w(std::move(b), 190, 16, 2, kFormatWave);  // R = 1 - 190 / 190 = 0: y(n) = x(n) - x(n - 1)
    w.removeDc();
    EXPECT_EQ(channel(w, 0), (std::vector<float>{1, 0, 0, 0}));
    EXPECT_EQ(w.flags, kWaveChanged);
}

TEST(WaveEditTest, ReverseIncludesItsEndButNeverPassesThePlayRange) {
    Wave w = ramp(8);
    w.reverse(2, 5);
    EXPECT_EQ(channel(w, 0), (std::vector<float>{1, 2, 6, 5, 4, 3, 7, 8}));
    Wave full = ramp(5, 2);
    full.reverse(0, 0xFFFFFFFF);
    EXPECT_EQ(channel(full, 0), (std::vector<float>{5, 4, 3, 2, 1}));
    EXPECT_EQ(channel(full, 1), (std::vector<float>{-5, -4, -3, -2, -1}));
    EXPECT_TRUE(guardsZero(full));
    // The selection's end is one past its last frame: the frame behind it stays.
    Wave range = ramp(8);
    range.start = 2;
    range.end = 5;
    range.reverse(range.start, range.end);
    EXPECT_EQ(channel(range, 0), (std::vector<float>{1, 2, 5, 4, 3, 6, 7, 8}));
    EXPECT_EQ(range.flags, kWaveChanged);
}

TEST(WaveEditTest, CutMovesLoopsByTheirPlaceAgainstTheCut) {
    Wave w = ramp(100, 2);
    w.start = 40;
    w.end = 60;
    w.loops = {Loop(60, 80, LoopMode::Forward),  Loop(10, 60, LoopMode::Forward), Loop(10, 50, LoopMode::Forward),
               Loop(10, 30, LoopMode::Forward),  Loop(45, 55, LoopMode::Forward), Loop(40, 60, LoopMode::Forward),
               Loop(50, 90, LoopMode::Forward),  Loop(39, 40, LoopMode::Forward)};
    w.cut();
    EXPECT_EQ(w.frames(), 80u);
    EXPECT_EQ(w.start, 0u);
    EXPECT_EQ(w.end, 80u);
    const std::vector<std::pair<uint32_t, uint32_t>> want = {{40, 60}, {10, 40}, {10, 40}, {10, 30},
                                                             {40, 80}, {40, 80}, {40, 90}, {39, 40}};
    for (std::size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(w.loops[i].start, want[i].first) << i;
        EXPECT_EQ(w.loops[i].end, want[i].second) << i;
    }
    EXPECT_EQ(channel(w, 1)[39], -40.0f);
    EXPECT_EQ(channel(w, 1)[40], -61.0f);
    EXPECT_TRUE(guardsZero(w));
}

TEST(WaveEditTest, CropClampsLoopsAndCountsTheTrims) {
    Wave w = ramp(100);
    w.start = 20;
    w.end = 70;
    w.loops = {Loop(10, 30, LoopMode::Forward), Loop(30, 90, LoopMode::Forward), Loop(80, 95, LoopMode::Forward),
               Loop(25, 35, LoopMode::Forward)};
    w.crop(true);
    EXPECT_EQ(channel(w, 0).front(), 21.0f);
    EXPECT_EQ(w.frames(), 50u);
    EXPECT_EQ(w.headTrim, 20u);
    EXPECT_EQ(w.tailTrim, 30u);
    EXPECT_EQ(w.flags, kWaveCropped);
    // (0,10), (10,50), then (50,50) is empty: it and everything after it go.
    ASSERT_EQ(w.loops.size(), 2u);
    EXPECT_EQ(w.loops[0], Loop(0, 10, LoopMode::Forward));
    EXPECT_EQ(w.loops[1], Loop(10, 50, LoopMode::Forward));

    Wave whole = ramp(10);
    whole.crop(false);
    EXPECT_EQ(whole.flags, 0);
    EXPECT_EQ(whole.frames(), 10u);
}

TEST(WaveEditTest, CrossfadeLoopBoundsAndArithmetic) {
    Wave w = ramp(20);
    for (auto [s, e, n] : {std::tuple{5u, 5u, 0u}, {5u, 21u, 0u}, {4u, 10u, 5u}}) {
        try {
            w.crossfadeLoop(s, e, n);
            ADD_FAILURE() << s << " " << e << " " << n;
        } catch (const std::out_of_range& x) {
            EXPECT_STREQ(x.what(), "Bad loop bounds or crossfade size");
        }
    }
    EXPECT_EQ(w.flags, 0);
    w.crossfadeLoop(4, 10, 0);
    EXPECT_EQ(channel(w, 0), channel(ramp(20), 0));
    EXPECT_EQ(w.flags, kWaveChanged);

    Wave x = ramp(20);
    x.crossfadeLoop(4, 10, 4);
    // Frames 6..9 fade into frames 0..3 by t = 0, 1/4, 2/4, 3/4; m = min(2, 10 * 2 / 3) = 2, and
    // frames 10..11 start as frames 4..5 and fade back by t = 0, 1/2.
    EXPECT_EQ(channel(x, 0), (std::vector<float>{1, 2, 3, 4, 5, 6, 7, 6.5f, 6, 5.5f, 5, 9, 13, 14, 15, 16, 17,
                                                 18, 19, 20}));
}

TEST(WaveEditTest, ChannelOperations) {
    Wave w = ramp(3, 2);
    w.swapChannels();
    EXPECT_EQ(channel(w, 0), (std::vector<float>{-1, -2, -3}));
    w.toMono();
    EXPECT_EQ(w.channels(), 1);
    EXPECT_EQ(channel(w, 0), (std::vector<float>{0, 0, 0}));
    Wave mono = ramp(3);
    mono.toMono();
    EXPECT_EQ(mono.flags, 0);
    mono.toStereo();
    EXPECT_EQ(channel(mono, 1), (std::vector<float>{1, 2, 3}));
    EXPECT_TRUE(guardsZero(mono));
}

TEST(WaveEditTest, SlicesBecomeWavesOfTheirOwn) {
    Wave w = ramp(30);
    w.setName("loop");
    w.loops = {Loop(0, 10, LoopMode::Slice, "Slc1"), Loop(10, 30, LoopMode::PinnedSlice, "Pin"),
               Loop(5, 25, LoopMode::Forward, "L")};
    const auto waves = w.slicesToWaves();
    ASSERT_EQ(waves.size(), 2u);
    EXPECT_EQ(waves[0]->name(), "loop_Slc1");
    EXPECT_EQ(waves[0]->frames(), 10u);
    EXPECT_EQ(waves[1]->name(), "loop_Pin");
    EXPECT_EQ(channel(*waves[1], 0).front(), 11.0f);
    // The pinned slice and the loop stay, clamped into the kept frames; plain slices go.
    EXPECT_EQ(waves[1]->loops, (std::vector<Loop>{Loop(0, 20, LoopMode::PinnedSlice, "Pin"),
                                                  Loop(0, 15, LoopMode::Forward, "L")}));
    w.removeSlices();
    EXPECT_EQ(w.loops.size(), 2u);
}
