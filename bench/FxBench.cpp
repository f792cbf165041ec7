#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "plug/ProcessContext.h"
#include "plug/fx/AlienWah.h"
#include "plug/fx/Bassline.h"
#include "plug/fx/Bitcrusher.h"
#include "plug/fx/Chorus.h"
#include "plug/fx/Compressor.h"
#include "plug/fx/Delay.h"
#include "plug/fx/Distortion.h"
#include "plug/fx/Equalizer.h"
#include "plug/fx/Flanger.h"
#include "plug/fx/Gloubi.h"
#include "plug/fx/Phaser.h"
#include "plug/fx/Reverb.h"
#include "plug/fx/Saturation.h"

// The effects' signal processing at 44.1 kHz in blocks of 256 frames: send effects on a stereo
// bus (per stereo frame), inserts on a voice's buffer in place with both modulation inputs (per
// voice-sample, mono or, where the insert wants it, stereo), and the reverb and the delay after
// a minute of silence that follows a note. Run with --benchmark_repetitions=10 and read the "min"
// rows.
namespace {

using namespace ZnPlug::FX;

constexpr int32_t kBlock = 256;

struct Bus {
    Bus() {
        context.block_size = kBlock;
        for (int c = 0; c < 2; ++c) {
            in[std::size_t(c)].resize(kBlock);
            out[std::size_t(c)].resize(kBlock);
            for (int32_t i = 0; i < kBlock; ++i)
                in[std::size_t(c)][std::size_t(i)] =
                    float(0.4 * std::sin(0.031 * i * (c + 1)) + 0.2 * std::sin(0.0071 * i));
            inputs[std::size_t(c)] = in[std::size_t(c)].data();
            outputs[std::size_t(c)] = out[std::size_t(c)].data();
        }
    }
    void run(Effect& fx, int32_t blocks, bool silent) {
        std::array<const float*, 2> zero = {silence.data(), silence.data()};
        for (int32_t b = 0; b < blocks; ++b) {
            fx.process(silent ? zero.data() : inputs.data(), outputs.data(), 0, kBlock, 2);
            context.sample_pos += kBlock;
        }
    }

    ZnPlug::ProcessContext context;
    std::array<std::vector<float>, 2> in, out;
    std::array<const float*, 2> inputs{};
    std::array<float*, 2> outputs{};
    std::vector<float> silence = std::vector<float>(kBlock, 0.0f);
};

void perFrame(benchmark::State& state, double frames) {
    state.counters["per_frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// `silent`: a second of signal, then a minute of silence, then silence measured.
template <typename D>
void sendEffect(benchmark::State& state, bool silent) {
    Bus bus;
    D fx;
    fx.prepare(bus.context);
    if (silent) {
        bus.run(fx, 44100 / kBlock, false);
        bus.run(fx, 60 * 44100 / kBlock, true);
    }
    for (auto _ : state) {
        bus.run(fx, 1, silent);
        benchmark::DoNotOptimize(bus.out[0].data());
        benchmark::ClobberMemory();
    }
    perFrame(state, kBlock);
}

template <typename D>
void insertEffect(benchmark::State& state, int32_t channels) {
    Bus bus;
    D fx;
    fx.prepare(bus.context);
    if constexpr (requires(D& d) { d.reset(); }) fx.reset();
    std::vector<float> par(kBlock, 0.0f);
    std::array<std::vector<float>, 2> voice = bus.in;
    std::array<float*, 2> buffers = {voice[0].data(), voice[1].data()};
    for (auto _ : state) {
        // A fresh signal each block, as the voice renders one, so that nothing decays away.
        for (int32_t c = 0; c < channels; ++c)
            std::copy(bus.in[std::size_t(c)].begin(), bus.in[std::size_t(c)].end(), voice[std::size_t(c)].begin());
        fx.processModulated(buffers.data(), buffers.data(), 0, kBlock, channels, par.data(), par.data());
        benchmark::DoNotOptimize(voice[0].data());
        benchmark::ClobberMemory();
    }
    perFrame(state, kBlock);
}

struct StereoDelay : Delay {
    StereoDelay() {
        mode = Stereo;
        spread = 0.3f;
    }
};
struct PingPongDelay : Delay {
    PingPongDelay() { mode = PingPong; }
};
// The inserts as their units fix them.
struct InsertChorus : Chorus {
    InsertChorus() { dry = 1.0f; }
};
struct InsertFlanger : Flanger {
    InsertFlanger() { dry = 1.0f; }
};
struct InsertPhaser : Phaser {
    InsertPhaser() { dry = 1.0f; }
};

double fastest(const std::vector<double>& values) { return *std::min_element(values.begin(), values.end()); }

template <typename D>
void send(const char* name) {
    benchmark::RegisterBenchmark(name, [](benchmark::State& state) { sendEffect<D>(state, false); })
        ->ComputeStatistics("min", fastest);
}
template <typename D>
void sendAfterSilence(const char* name) {
    benchmark::RegisterBenchmark(name, [](benchmark::State& state) { sendEffect<D>(state, true); })
        ->ComputeStatistics("min", fastest);
}
template <typename D>
void insert(const char* name, int32_t channels) {
    benchmark::RegisterBenchmark(name, [channels](benchmark::State& state) { insertEffect<D>(state, channels); })
        ->ComputeStatistics("min", fastest);
}

const bool kRegistered = [] {
    send<Reverb>("send/Reverb");
    send<Delay>("send/Delay Mono");
    send<StereoDelay>("send/Delay Stereo");
    send<PingPongDelay>("send/Delay PingPong");
    send<Phaser>("send/Phaser");
    send<Chorus>("send/Chorus");
    send<Flanger>("send/Flanger");
    send<Distortion>("send/Distortion");
    send<AlienWah>("send/AlienWah");
    send<Equalizer>("send/Equalizer");
    sendAfterSilence<Reverb>("silence/Reverb");
    sendAfterSilence<Delay>("silence/Delay Mono");
    sendAfterSilence<PingPongDelay>("silence/Delay PingPong");
    insert<Bassline>("insert/Bassline mono", 1);
    insert<Bitcrusher>("insert/Bitcrusher mono", 1);
    insert<Compressor>("insert/Compressor mono", 1);
    insert<InsertPhaser>("insert/Phaser stereo", 2);
    insert<InsertChorus>("insert/Chorus stereo", 2);
    insert<InsertFlanger>("insert/Flanger stereo", 2);
    insert<Distortion>("insert/Distortion mono", 1);
    insert<Saturation>("insert/Saturation mono", 1);
    insert<Gloubi>("insert/Gloubi mono", 1);
    insert<AlienWah>("insert/AlienWah mono", 1);
    return true;
}();

}  // namespace
