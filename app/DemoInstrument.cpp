#include "DemoInstrument.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>

#include "model/Bank.h"
#include "model/ModulationTables.h"
#include "persist/EffectFactory.h"
#include "persist/MVSave.h"
#include "persist/SaveFilter.h"
#include "plug/ValueLaws.h"

namespace Cli {

namespace {

using ZnLib::SharedRef;
using ZnPlug::SampleBuffer;
using ZnPlug::Wave;

constexpr uint32_t kRate = 44100;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

// A small deterministic noise source, so that every render of the demo is the same.
class Noise {
public:
    float next() {
        state_ = state_ * 1664525u + 1013904223u;
        return float(int32_t(state_)) * (1.0f / 2147483648.0f);
    }

private:
    uint32_t state_ = 0x2545F491u;
};

SharedRef<Wave> makeWave(SampleBuffer&& buffer, uint8_t root, const char* name) {
    auto wave = ZnLib::makeRef<Wave>(std::move(buffer), kRate, uint8_t(16), uint8_t(2), uint32_t(ZnPlug::kFormatUnknown),
                                     root, int8_t(0));
    wave->setName(name);
    return wave;
}

void normalise(SampleBuffer& b, float peak) {
    float max = 0;
    for (unsigned c = 0; c < b.channels(); ++c)
        for (uint32_t i = 0; i < b.frames(); ++i) max = std::fmax(max, std::fabs(b.channel(c)[i]));
    if (max <= 0) return;
    for (unsigned c = 0; c < b.channels(); ++c)
        for (uint32_t i = 0; i < b.frames(); ++i) b.channel(c)[i] *= peak / max;
}

// A stereo keyboard tone at `root` with a bright attack that settles into a steady spectrum by
// the loop start. The loop holds a whole number of periods of every partial, so it is seamless;
// the tone is tuned by at most a few hundredths of a cent to make that possible.
SharedRef<Wave> keyboardTone(uint8_t root, const char* name) {
    const double f0 = 440.0 * std::pow(2.0, (root - 69) / 12.0);
    int bestCycles = 0;
    double bestError = 1.0;
    for (int cycles = 40; cycles < 600; ++cycles) {
        const double length = cycles * kRate / f0;
        const double error = std::fabs(length - std::round(length)) / length;
        if (length >= 8000 && error < bestError) {
            bestError = error;
            bestCycles = cycles;
        }
    }
    const uint32_t loopFrames = uint32_t(std::lround(bestCycles * kRate / f0));
    const double f = double(bestCycles) * kRate / loopFrames;
    const uint32_t loopStart = kRate / 2;
    SampleBuffer b(loopStart + loopFrames, 2);
    const double settle = double(loopStart) / kRate;
    for (int h = 1; h <= 10 && h * f < 16000.0; ++h) {
        const double amplitude = 1.0 / std::pow(double(h), 1.4);
        const double phase[2] = {0.37 * h * h, 0.37 * h * h + 0.9 * h};
        for (uint32_t i = 0; i < b.frames(); ++i) {
            const double t = double(i) / kRate;
            const double env = amplitude * (1.0 + 2.0 * std::exp(-std::fmin(t, settle) * 9.0 * h));
            for (unsigned c = 0; c < 2; ++c)
                b.channel(c)[i] += float(env * std::sin(kTwoPi * f * h * t + phase[c]));
        }
    }
    normalise(b, 0.8f);
    auto wave = makeWave(std::move(b), root, name);
    wave->loops.push_back(ZnPlug::Loop(loopStart, loopStart + loopFrames, ZnPlug::LoopMode::Forward, "sustain"));
    return wave;
}

SharedRef<Wave> kick() {
    SampleBuffer b(uint32_t(kRate * 0.6), 1);
    double phase = 0;
    for (uint32_t i = 0; i < b.frames(); ++i) {
        const double t = double(i) / kRate;
        phase += kTwoPi * (48.0 + 110.0 * std::exp(-t * 28.0)) / kRate;
        b.channel(0)[i] = float(std::sin(phase) * std::exp(-t * 6.0));
    }
    normalise(b, 0.9f);
    return makeWave(std::move(b), 36, "Demo Kick");
}

SharedRef<Wave> snare() {
    SampleBuffer b(uint32_t(kRate * 0.35), 1);
    Noise noise;
    for (uint32_t i = 0; i < b.frames(); ++i) {
        const double t = double(i) / kRate;
        b.channel(0)[i] = float(0.6 * noise.next() * std::exp(-t * 16.0) +
                                0.5 * std::sin(kTwoPi * 185.0 * t) * std::exp(-t * 30.0));
    }
    normalise(b, 0.8f);
    return makeWave(std::move(b), 38, "Demo Snare");
}

SharedRef<Wave> hat() {
    SampleBuffer b(uint32_t(kRate * 0.12), 1);
    Noise noise;
    float previous = 0;
    for (uint32_t i = 0; i < b.frames(); ++i) {
        const double t = double(i) / kRate;
        const float n = noise.next();
        b.channel(0)[i] = float((n - previous) * std::exp(-t * 55.0));  // a first difference: only the top
        previous = n;
    }
    normalise(b, 0.5f);
    return makeWave(std::move(b), 42, "Demo Hat");
}

float time(double ms) { return float(ZnPlug::TimeLaw::fromMs(ms)); }

SharedRef<MV::Program> keysProgram(MV::Bank& bank) {
    auto program = ZnLib::makeRef<MV::Program>("Demo Keys");
    auto group = ZnLib::makeRef<MV::Group>("Keys");
    group->aeg.attack = time(4);
    group->aeg.decay1 = time(500);
    group->aeg.level1 = 0.7f;
    group->aeg.decay2 = time(5000);
    group->aeg.sustain = 0.35f;
    group->aeg.release = time(400);
    // A low-pass that ENV1 opens at every attack and lets settle: bright strikes, a softer hold.
    group->filter.type = MV::kFilterLowPass;
    group->filter.slope = MV::kSlope12dB;
    group->filter.freq = float(ZnPlug::FrequencyLaw::fromHz(1200));
    group->filter.res = 0.15f;
    group->env1.level0 = 1.0f;
    group->env1.time1 = time(250);
    group->env1.level1 = 0.35f;
    group->env1.time2 = time(1500);
    group->env1.level2 = 0.15f;
    group->env1.time3 = time(1000);
    group->env1.level3 = 0.15f;
    MV::ModulationEntry& brightness = group->addModulation(MV::kSourceEnv1);
    brightness.destination = MV::kDestFilterFreq;
    brightness.amount = float(ZnPlug::FrequencyLaw::fromHz(4000));
    // A vibrato of up to 25 cents at 5.5 Hz that the mod wheel brings in.
    group->lfo1.type = MV::kLfoSinus;
    group->lfo1.rate = float(ZnPlug::RateLaw::fromHz(5.5));
    MV::ModulationEntry& vibrato = group->addModulation(MV::kSourceLfo1);
    vibrato.via = MV::kSourceModWheel;
    vibrato.destination = MV::kDestPitch;
    vibrato.amount = 0;
    vibrato.amountVia = 25;  // cents at full wheel
    const struct {
        uint8_t root;
        int8_t fromKey;
        const char* name;
    } layers[] = {{48, 0, "Demo Keys C3"}, {60, 54, "Demo Keys C4"}, {72, 66, "Demo Keys C5"}};
    group->splits.clear();
    for (const auto& layer : layers) {
        auto wave = keyboardTone(layer.root, layer.name);
        bank.addWave(wave);
        MV::Split split(layer.fromKey);
        split.setWave(wave);
        group->splits.push_back(split);
    }
    program->addGroup(group);
    return program;
}

SharedRef<MV::Program> drumProgram(MV::Bank& bank) {
    auto program = ZnLib::makeRef<MV::Program>("Demo Drums");
    for (auto wave : {kick(), snare(), hat()}) {
        bank.addWave(wave);
        auto group = ZnLib::makeRef<MV::Group>(wave->name());
        // One-shots: the drum plays to its end whatever the note length.
        group->playmode = MV::kPlayOneshot;
        group->range.lowKey = group->range.highKey = int8_t(wave->root);
        group->fade = group->range;
        group->splits.clear();
        MV::Split split(int8_t(wave->root));
        split.setWave(wave);
        group->splits.push_back(split);
        group->amp = 0.6f;
        program->addGroup(group);
    }
    // The kick gets some weight from a saturating insert.
    const MV::EffectFactory& units = MV::EffectFactory::current();
    MV::Group& kickGroup = *program->groups.front();
    kickGroup.setInsert(units.createInsert(int32_t(MV::FX::InsertType::Saturation)));
    units.setParam(*kickGroup.insert, "threshold", "0.4");
    units.setParam(*kickGroup.insert, "gain", "3 dB");
    return program;
}

}  // namespace

void loadDemoInstrument(MV::Bank& bank) {
    bank.programs.clear();
    bank.performances.clear();
    bank.waves.clear();
    bank.matrixes.clear();
    auto keys = keysProgram(bank);
    auto drums = drumProgram(bank);
    bank.addProgram(keys);
    bank.addProgram(drums);

    // Levels that leave about 3 dB of headroom over the whole song.
    auto performance = ZnLib::makeRef<MV::Performance>("Demo");
    auto chords = ZnLib::makeRef<MV::ProgramSlot>(uint8_t(0), keys);
    chords->amp = 0.55f;
    performance->addSlot(chords);
    auto bass = ZnLib::makeRef<MV::ProgramSlot>(uint8_t(1), keys);
    bass->transpose = -12;
    bass->amp = 0.5f;
    performance->addSlot(bass);
    auto kit = ZnLib::makeRef<MV::ProgramSlot>(uint8_t(9), drums);
    kit->amp = 0.7f;
    performance->addSlot(kit);

    // A room on FX1 and a dotted echo on FX2, both into "S 1+2"; the keys feed both, the kit
    // only the room.
    const MV::EffectFactory& units = MV::EffectFactory::current();
    auto room = units.createEffect(int32_t(MV::FX::EffectType::Reverb));
    units.setParam(*room, "roomsize", "0.7");
    units.setParam(*room, "damp", "0.4");
    units.setParam(*room, "level", "0.8");
    auto echo = units.createEffect(int32_t(MV::FX::EffectType::Delay));
    units.setParam(*echo, "sync", "Tempo");
    units.setParam(*echo, "delay", "1/8");
    units.setParam(*echo, "mode", "PingPong");
    units.setParam(*echo, "feedback", "0.3");
    units.setParam(*echo, "level", "0.6");
    performance->fx[0] = room;
    performance->fx[1] = echo;
    chords->sends[0] = {MV::kRouteFirstBus, 0.3f};
    chords->sends[1] = {uint8_t(MV::kRouteFirstBus + 1), 0.2f};
    bass->sends[0] = {MV::kRouteFirstBus, 0.1f};
    kit->sends[0] = {MV::kRouteFirstBus, 0.15f};
    bank.addPerformance(performance);
    bank.currentPerformance = performance.get();
}

void writeDemoBank(const std::string& path) {
    auto bank = ZnLib::makeRef<MV::Bank>();
    loadDemoInstrument(*bank);
    MV::OverwriteAll overwrite;
    MV::SaveOptions options;
    options.usePlaces = false;
    options.copyContent = true;
    options.sampleFolder = 1;
    MV::MVSave(std::filesystem::absolute(path).lexically_normal().string(), overwrite, options).save(*bank);
}

std::string demoBankPath() {
    if (const char* path = std::getenv("MORVEK_DEMO_BANK"); path && *path) return path;
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    const fs::path build = folder / ".." / "res" / "demo" / "Demo.mvbank";
    const fs::path installed = folder / ".." / "share" / "morvek" / "demo" / "Demo.mvbank";
    return (fs::exists(installed, error) && !fs::exists(build, error) ? installed : build).lexically_normal().string();
}

}  // namespace Cli
