#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "plug/Wave.h"
#include "plug/WaveDetect.h"

// Onset detection over a 10-minute stereo wave at 44100 Hz: noise bursts on a beat at 120 BPM
// over a soft tone, so that every stage (flux, threshold, picking, merging) has work.
namespace {

ZnPlug::Wave tenMinutes() {
    constexpr uint32_t kRate = 44100, kFrames = kRate * 600;
    ZnPlug::SampleBuffer b(kFrames, 2);
    uint32_t noise = 1;
    for (uint32_t i = 0; i < kFrames; ++i) {
        const uint32_t sinceBeat = i % (kRate / 2);
        noise = noise * 1664525u + 1013904223u;
        const float burst = sinceBeat < 4000 ? float(int32_t(noise) / 2147483648.0) * (1 - sinceBeat / 4000.0f) : 0;
        const float tone = 0.1f * float(std::sin(i * 0.0627));
        b.channel(0)[i] = burst + tone;
        b.channel(1)[i] = burst - tone;
    }
    return ZnPlug::Wave(std::move(b), kRate, 16, 2, ZnPlug::kFormatWave);
}

void BM_DetectOnsetsTenMinutes(benchmark::State& state) {
    static const ZnPlug::Wave wave = tenMinutes();
    std::size_t found = 0;
    for (auto _ : state) {
        const auto onsets = ZnPlug::detectOnsets(wave, wave.sampleRate / 10, 0, 0);
        found = onsets.size();
        benchmark::DoNotOptimize(onsets.data());
    }
    state.counters["onsets"] = double(found);
}
BENCHMARK(BM_DetectOnsetsTenMinutes)->Unit(benchmark::kMillisecond);

}  // namespace
