#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "engine/Morvek.h"
#include "import/InstrumentImport.h"
#include "import/SoundFont.h"
#include "model/ModulationTables.h"
#include "persist/LoadedNothing.h"
#include "plug/HostTime.h"
#include "plug/ValueLaws.h"
#include "plug/Wave.h"

// Rendering cost of voices per voice-sample: each interpolator, mono and stereo waves, one voice
// and a full pool. Voices loop a one-second wave over two octaves of keys, so that they read at
// ratios from 0.5 to 2 and never end. Run with --benchmark_repetitions=10 and read the "min" rows.
namespace {

using namespace MV;

constexpr int32_t kBlock = 256;

ZnLib::SharedRef<ZnPlug::Wave> benchWave(uint8_t channels) {
    constexpr uint32_t kFrames = 44100;
    ZnPlug::SampleBuffer buffer(kFrames, channels);
    for (unsigned c = 0; c < channels; ++c)
        for (uint32_t i = 0; i < kFrames; ++i)
            buffer.channel(c)[i] = float(std::sin(0.031 * i * (c + 1)) * 0.5 + std::sin(0.0071 * i) * 0.25);
    auto wave = ZnLib::makeRef<ZnPlug::Wave>(std::move(buffer), 44100, 32, 3, ZnPlug::kFormatWave, 60, 0);
    wave->loops = {ZnPlug::Loop(1000, kFrames - 1000, ZnPlug::LoopMode::Forward)};
    return wave;
}

struct Rig {
    Rig(int interpolation, uint8_t channels, int voices) {
        engine.applyBlockSize(kBlock);
        for (auto& b : buffers) b.assign(kBlock, 0.0f);
        for (std::size_t i = 0; i < buffers.size(); ++i) pointers[i] = buffers[i].data();
        ProgramSlot& slot = *engine.performance().slots[0];
        group = ZnLib::makeRef<Group>();
        group->amp = 0.7f;
        group->interpolation = int8_t(interpolation);
        group->splits[0].setWave(benchWave(channels));
        slot.program->addGroup(group);
        for (int v = 0; v < voices; ++v) {
            Voice* voice = engine.findFreeVoice();
            voice->start(engine, engine.channel(0), slot, *group, *slot.program, uint8_t(48 + v % 25), 100, 0,
                         uint32_t(v + 1), false);
        }
        // One host call points the routes at our buffers; the benchmark then renders the voices
        // alone, without the engine's clearing, bus and meter work.
        ZnPlug::HostTime time;
        time.flags = ZnPlug::HostTime::kTempoValid;
        time.tempo = 120;
        engine.audioCall(nullptr, pointers.data(), kBlock, true, &time, false);
    }

    Morvek engine;
    ZnLib::SharedRef<Group> group;
    std::array<std::vector<float>, 16> buffers;
    std::array<float*, 16> pointers{};
};

// Renders the rig's first `voices` voices block after block, and reports the cost per
// voice-sample; a voice that ends during the run spoils the figure.
void measure(benchmark::State& state, Rig& rig, int voices) {
    for (auto _ : state) {
        for (int v = 0; v < voices; ++v) rig.engine.voice(v).render(rig.engine, 0, kBlock);
        benchmark::DoNotOptimize(rig.buffers[0].data());
        benchmark::ClobberMemory();
    }
    int playing = 0;
    for (int v = 0; v < voices; ++v) playing += rig.engine.voice(v).idle() ? 0 : 1;
    if (playing != voices) state.SkipWithError("a voice ended");
    state.counters["per_voice_sample"] = benchmark::Counter(double(voices) * kBlock,
                                                           benchmark::Counter::kIsIterationInvariantRate |
                                                               benchmark::Counter::kInvert);
}

void renderVoices(benchmark::State& state) {
    const int interpolation = int(state.range(0));
    const auto channels = uint8_t(state.range(1));
    const int voices = int(state.range(2));
    Rig rig(interpolation, channels, voices);
    const std::string name = kInterpolationNames[std::size_t(interpolation)];
    state.SetLabel(name + (channels == 2 ? " stereo" : " mono"));
    measure(state, rig, voices);
}

// On a shared machine the fastest of several repetitions is the figure to read.
double fastest(const std::vector<double>& values) { return *std::min_element(values.begin(), values.end()); }

BENCHMARK(renderVoices)
    ->ArgNames({"interp", "channels", "voices"})
    ->ComputeStatistics("min", fastest)
    ->ArgsProduct({{1, 2, 3, 4, 5}, {1, 2}, {1, 128}})
    ->Unit(benchmark::kMicrosecond);

// The voice filter on a stereo "Hermite" voice whose two LFOs and two envelopes run beside it,
// routed nowhere: what the filter stage and the modulators cost on their own.
void renderFilteredVoices(benchmark::State& state) {
    const auto slope = uint8_t(state.range(0));
    const int voices = int(state.range(1));
    Rig rig(kInterpolationHermite, 2, 0);
    Group& g = *rig.group;
    g.filter.type = kFilterLowPass;
    g.filter.slope = slope;
    g.filter.freq = 0.35f;
    g.filter.res = 0.4f;
    g.filter.drive = 0.2f;
    g.lfo1.rate = 0.4f;
    g.lfo2.rate = 0.25f;
    g.lfo2.type = kLfoTriangle;
    g.lfo2.fadein = 0.3f;
    ProgramSlot& slot = *rig.engine.performance().slots[0];
    for (int v = 0; v < voices; ++v)
        rig.engine.findFreeVoice()->start(rig.engine, rig.engine.channel(0), slot, g, *slot.program,
                                          uint8_t(48 + v % 25), 100, 0, uint32_t(v + 1), false);
    state.SetLabel(std::string("Hermite stereo, low pass ") + kFilterSlopeNames[slope] + ", 2 LFOs");
    measure(state, rig, voices);
}

BENCHMARK(renderFilteredVoices)
    ->ArgNames({"slope", "voices"})
    ->ComputeStatistics("min", fastest)
    ->ArgsProduct({{kSlope24dB, kSlope12dB}, {1, 128}})
    ->Unit(benchmark::kMicrosecond);

// A voice as a played instrument has it: a resonant low pass, LFO1 on pitch (a vibrato), LFO2 on
// the filter frequency, and the mod wheel on volume, which runs as a control-rate slot.
void renderModulatedVoices(benchmark::State& state) {
    const int voices = int(state.range(0));
    Rig rig(kInterpolationHermite, 2, 0);
    Group& g = *rig.group;
    g.filter.type = kFilterLowPass;
    g.filter.slope = kSlope12dB;
    g.filter.freq = 0.4f;
    g.filter.res = 0.3f;
    g.lfo1.rate = float(ZnPlug::RateLaw::fromHz(5.5));
    g.lfo2.rate = float(ZnPlug::RateLaw::fromHz(0.7));
    g.lfo2.type = kLfoTriangle;
    auto entry = [&](std::size_t i, uint16_t source, uint8_t destination, float amount) {
        g.modulation[i].source = source;
        g.modulation[i].destination = destination;
        g.modulation[i].amount = amount;
    };
    entry(0, kSourceLfo1, kDestPitch, 20);
    entry(1, kSourceLfo2, kDestFilterFreq, 0.3f);
    entry(2, kSourceModWheel, kDestVolume, -0.3f);
    rig.engine.channel(0).storeController(1, 100);
    rig.engine.channel(0).refreshWheel();
    // The engine clears the change flags after each segment; rendering the voices alone, the
    // benchmark does it, or the wheel would glide anew in every call.
    rig.engine.channel(0).changes = 0;
    rig.engine.channel(Channel::kAllChannels).changes = 0;
    ProgramSlot& slot = *rig.engine.performance().slots[0];
    for (int v = 0; v < voices; ++v)
        rig.engine.findFreeVoice()->start(rig.engine, rig.engine.channel(0), slot, g, *slot.program,
                                          uint8_t(48 + v % 25), 100, 0, uint32_t(v + 1), false);
    if (rig.engine.voice(0).n_audio != 2 || rig.engine.voice(0).n_control != 3)
        state.SkipWithError("the slots are not two audio ones and one control one");
    state.SetLabel("Hermite stereo, filter, 2 LFOs, wheel");
    measure(state, rig, voices);
}

BENCHMARK(renderModulatedVoices)
    ->ArgNames({"voices"})
    ->ComputeStatistics("min", fastest)
    ->Arg(1)
    ->Arg(128)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

// An imported SoundFont voice as a General MIDI song plays it: the importer's rows (ENV1 on the
// filter, the vibrato LFO on pitch, LFO1 on volume) over TimGM6mb's strings, held notes over two
// octaves. Layered zones start more than one voice a key: the figure is per voice that plays.
void renderSoundFontVoices(benchmark::State& state) {
    const int notes = int(state.range(0));
    Rig rig(kInterpolationHermite, 2, 0);
    MV::LoadedNothing progress;
    ZnLib::SharedRef<MV::SoundFont> soundFont;
    try {
        soundFont = MV::openSoundFont("/usr/share/sounds/sf2/TimGM6mb.sf2", progress);
    } catch (const std::exception& e) {
        state.SkipWithError(e.what());
        return;
    }
    const int preset = MV::findPreset(*soundFont, 0, 48);
    ZnLib::SharedRef<Program> program = soundFont->importProgram(std::size_t(preset), rig.engine, progress);
    rig.engine.addProgram(program);
    ProgramSlot& slot = *rig.engine.performance().slots[0];
    slot.program = program;
    std::vector<ZnPlug::MidiEvent> on;
    for (int n = 0; n < notes; ++n) {
        ZnPlug::MidiEvent e;
        e.status = 0x90;
        e.data1 = uint8_t(48 + n % 25);
        e.data2 = 100;
        on.push_back(e);
    }
    ZnPlug::HostTime time;
    time.flags = ZnPlug::HostTime::kTempoValid;
    time.tempo = 120;
    {
        std::lock_guard lock(rig.engine.mainLock());
        rig.engine.processEvents(on.data(), int32_t(on.size()));
    }
    rig.engine.audioCall(nullptr, rig.pointers.data(), kBlock, true, &time, false);
    state.SetLabel("TimGM6mb strings, " + std::to_string(rig.engine.poolEnd()) + " voices");
    measure(state, rig, rig.engine.poolEnd());
}

BENCHMARK(renderSoundFontVoices)
    ->ArgNames({"notes"})
    ->ComputeStatistics("min", fastest)
    ->Arg(1)
    ->Arg(16)
    ->Unit(benchmark::kMicrosecond);
