#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "plug/Fft512.h"
#include "plug/Wave.h"
#include "plug/WaveDetect.h"
#include "plug/WaveSlicer.h"

using namespace ZnPlug;

namespace {
Wave sine(double hz, uint32_t frames, uint8_t channels = 1) {
    SampleBuffer b(frames, channels);
    for (unsigned c = 0; c < channels; ++c)
        for (uint32_t i = 0; i < frames; ++i) b.channel(c)[i] = float(0.5 * std::sin(2 * M_PI * hz * i / 44100));
    return Wave(std::move(b), 44100, 32, 3, kFormatWave);
}

// Short decaying noise bursts at the given frames, over near silence.
Wave clicks(const std::vector<uint32_t>& at, uint32_t frames, uint8_t channels = 1) {
    SampleBuffer b(frames, channels);
    uint32_t noise = 12345;
    for (uint32_t p : at)
        for (uint32_t i = 0; i < 2000 && p + i < frames; ++i) {
            noise = noise * 1664525u + 1013904223u;
            const float v = float(int32_t(noise) / 2147483648.0 * std::exp(-double(i) / 300));
            for (unsigned c = 0; c < channels; ++c) b.channel(c)[p + i] = v;
        }
    return Wave(std::move(b), 44100, 32, 3, kFormatWave);
}
}  // namespace

TEST(WaveDetectTest, FftMatchesADirectDftInItsLayout) {
    std::array<float, 512> data{};
    for (int i = 0; i < 512; ++i) data[i] = float(std::sin(0.3 * i) + 0.25 * std::cos(1.7 * i) + (i % 7) * 0.01);
    const auto input = data;
    Fft512 fft;
    fft.transform(data);
    for (int k = 0; k < 256; ++k) {
        std::complex<double> sum;
        for (int n = 0; n < 512; ++n) sum += double(input[n]) * std::polar(1.0, -2 * M_PI * k * n / 512);
        EXPECT_NEAR(data[k], sum.real(), 2e-3) << k;
        EXPECT_NEAR(data[256 + k], sum.imag(), 2e-3) << k;
    }
}

TEST(WaveDetectTest, OnsetsLandOnClicksAndCloseOnesCollapse) {
    const std::vector<uint32_t> at = {4410, 26460, 48510, 70560};
    Wave w = clicks(at, 100000, 2);
    const auto onsets = detectOnsets(w, 4410, 0, 0);
    ASSERT_EQ(onsets.size(), at.size());
    // An onset is the start of the first frame whose flux stands out: up to five hops before the
    // click, which then lies inside the frame.
    for (std::size_t i = 0; i < at.size(); ++i) {
        EXPECT_LE(onsets[i].position, at[i]) << i;
        EXPECT_GE(onsets[i].position + 320, at[i]) << i;
    }
    // Two transients 20 ms apart: one onset, at the stronger.
    Wave pair = clicks({10000, 10882}, 30000);
    EXPECT_EQ(detectOnsets(pair, 4410, 0, 0).size(), 1u);
    // A pure tone has no tempo and leaves the wave's as it is.
    Wave tone = sine(440, 44100);
    tone.tempo = 99;
    detectTempo(tone, 0, 0);
    EXPECT_EQ(tone.tempo, 99.0f);
}

TEST(WaveDetectTest, MetronomeAt120GivesTempo120First) {
    std::vector<uint32_t> at;
    for (uint32_t i = 0; i < 16; ++i) at.push_back(2000 + i * 22050);
    Wave w = clicks(at, 2000 + 16 * 22050);
    const auto tempos = detectTempo(w, 5000, 0);
    ASSERT_FALSE(tempos.empty());
    EXPECT_NEAR(tempos[0], 120.0f, 0.5f);
    EXPECT_EQ(w.tempo, tempos[0]);
    for (float t : tempos) EXPECT_TRUE(t >= 60 && t <= 240) << t;
}

TEST(WaveDetectTest, PitchOfSinesAndSilence) {
    const DetectedPitch a4 = detectPitch(sine(440, 44100, 2));
    EXPECT_EQ(a4.key, 69);
    EXPECT_EQ(a4.fine, 0);
    // 445 Hz is 19.56 cents above A4; the cents are truncated.
    const DetectedPitch sharp = detectPitch(sine(445, 44100));
    EXPECT_EQ(sharp.key, 69);
    EXPECT_EQ(sharp.fine, 19);
    const DetectedPitch none = detectPitch(Wave(SampleBuffer(44100, 1), 44100, 32, 3, kFormatWave));
    EXPECT_EQ(none.key, 255);
    EXPECT_EQ(none.fine, 0);
}

TEST(WaveDetectTest, QuietAndZeroCrossingSearches) {
    SampleBuffer b(100, 2);
    for (uint32_t i = 0; i < 100; ++i) {
        b.channel(0)[i] = i < 50 ? 0.5f : -0.5f;
        b.channel(1)[i] = i < 53 ? 0.5f : -0.5f;
    }
    b.channel(0)[70] = b.channel(1)[70] = 0.001f;
    Wave w(std::move(b), 44100, 32, 3, kFormatWave);
    EXPECT_EQ(findQuiet(w, 60, 1, 40), 70u);
    EXPECT_EQ(findQuiet(w, 60, 1, 20), 100u);  // the budget falls by 2 a step: not found, the limit
    EXPECT_EQ(findQuiet(w, 60, -1, 40), 0u);
    // The second channel crosses 3 frames after the first: close enough at 44100 Hz (16 frames).
    EXPECT_EQ(findZeroCrossing(w, 40, 1, 30), 53u);
    EXPECT_EQ(findZeroCrossing(w, 40, 1, 5), 100u);
    EXPECT_EQ(findZeroCrossing(w, 60, -1, 30), 49u);
}

TEST(WaveSlicerTest, EvenSlicesRespectPinnedSlicesAndNames) {
    Wave w(SampleBuffer(1000, 1), 44100, 32, 3, kFormatWave);
    w.loops = {Loop(0, 1000, LoopMode::Forward, "Slc1"), Loop(10, 20, LoopMode::Slice, "old"),
               Loop(240, 260, LoopMode::PinnedSlice, "pin")};
    sliceEvenly(w, 4);
    // Slices at 0, 500 and 750; the one at 250 would fall in the pinned slice and goes to its end.
    // A loop already holds "Slc1"; the old plain slice goes.
    ASSERT_EQ(w.loops.size(), 6u);
    EXPECT_EQ(w.loops[0], Loop(0, 1000, LoopMode::Forward, "Slc1"));
    EXPECT_EQ(w.loops[1], Loop(0, 240, LoopMode::Slice, "Slc2"));
    EXPECT_EQ(w.loops[2], Loop(240, 260, LoopMode::PinnedSlice, "pin"));
    EXPECT_EQ(w.loops[3], Loop(260, 500, LoopMode::Slice, "Slc3"));
    EXPECT_EQ(w.loops[4], Loop(500, 750, LoopMode::Slice, "Slc4"));
    EXPECT_EQ(w.loops[5], Loop(750, 1000, LoopMode::Slice, "Slc5"));
    sliceEvenly(w, 0);
    EXPECT_EQ(w.loops.size(), 2u);
}

TEST(WaveSlicerTest, BeatSlicesStartAtTheClicksAndTileTheWave) {
    const std::vector<uint32_t> at = {4410, 26460, 48510, 70560};
    Wave w = clicks(at, 100000);
    w.flags = kWaveTempoKnown;
    w.tempo = 100;
    sliceByBeats(w, 0, 0);
    ASSERT_EQ(w.loops.size(), at.size());
    for (std::size_t i = 0; i < at.size(); ++i) {
        EXPECT_EQ(w.loops[i].mode, LoopMode::Slice);
        EXPECT_NEAR(double(w.loops[i].start), double(at[i]) - 160, 160.0) << i;
        EXPECT_EQ(w.loops[i].end, i + 1 < at.size() ? w.loops[i + 1].start : 100000u);
    }
    EXPECT_EQ(w.tempo, 100.0f);
}
