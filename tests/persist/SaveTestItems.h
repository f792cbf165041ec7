#pragma once
#include <cmath>
#include <string>

#include "XmlTestSupport.h"
#include "model/Bank.h"
#include "persist/EffectFactory.h"
#include "persist/MVSave.h"
#include "persist/SaveFilter.h"
#include "persist/WireForm.h"
#include "persist/WireFormModulation.h"

// Items with something other than the default in every field, for the writer and save tests.
// Values come through the text forms, so that they survive the file's precision.
namespace MV::SaveTest {

using ZnLib::SharedRef;
using ZnPlug::Wave;

inline float time(const char* text) {
    float v = 0;
    WireForm::parseTime(text, v);
    return v;
}

// A mono wave in memory, never saved, with samples that 16 bits hold exactly.
inline SharedRef<Wave> memoryWave(const std::string& name, uint32_t frames = 100) {
    ZnPlug::SampleBuffer buffer(frames, 1);
    for (uint32_t i = 0; i < frames; ++i) buffer.channel(0)[i] = float(std::lround(std::sin(i * 0.3) * 1000)) / 32768.0f;
    auto wave = ZnLib::makeRef<Wave>(std::move(buffer), 44100, 16, 2, ZnPlug::kFormatWave);
    wave->setName(name);
    return wave;
}

inline SharedRef<Wave> loopedWave(const std::string& name) {
    auto wave = memoryWave(name);
    wave->root = 62;
    wave->fine = -20;
    wave->start = 5;
    wave->end = 90;
    wave->tempo = 120.5f;
    wave->loops.emplace_back(10, 20, ZnPlug::LoopMode::Forward, "one");
    wave->loops.emplace_back(30, 60, ZnPlug::LoopMode::PinnedSlice, "two");
    return wave;
}

inline SharedRef<WaveMatrix> fullMatrix(const SharedRef<Wave>& a, const SharedRef<Wave>& b) {
    auto m = ZnLib::makeRef<WaveMatrix>("Grid <&>");
    m->addColumn(64);
    m->addRow(40);
    m->cell(0, 0) = WaveMatrix::Cell(a, 1, 1);
    m->cell(1, 1) = WaveMatrix::Cell(b, 0, 0);
    m->cell(0, 1) = WaveMatrix::Cell(SharedRef<Wave>(Wave::none()));
    m->xAxis = {true, uint16_t(kSourceVelocity), kRoundRobinGroup};
    m->yAxis = {false, uint16_t(kSourceFirstMidiCC + 1), kRoundRobinDefault};
    m->normaliseCells();
    return m;
}

inline SharedRef<Group> fullGroup(const SharedRef<Wave>& wave, const SharedRef<WaveMatrix>& matrix) {
    auto g = ZnLib::makeRef<Group>("Lead \"1\" & 'two' \t<x>");
    g->setMute(1);
    g->setSolo(true);
    g->coarse = -12;
    g->fine = 7;
    g->tuning = kTuningHalf;
    g->glide = time("120ms");
    g->velocity = -0.5f;
    g->velocityOffset = 10;
    g->pan = 0.25f;
    g->amp = 0.75f;
    g->playmode = kPlayOneshot;
    g->polymode = kPolyLegato;
    g->noteprio = kNotePrioHighest;
    g->chokeGroup = 3;
    g->output = 6;
    g->interpolation = kInterpolationSinc64;
    g->velocityCurve = 3;
    g->start = time("2.50ms");
    g->delay = time("40.0ms");
    g->range = {24, 96, 5, 120};
    g->fade = {30, 90, 10, 110};
    g->aeg = {time("5.00ms"), time("250ms"), 0.5f, time("1.50s"), 0.25f, time("300ms")};
    g->env1 = {0.5f, -0.5f, 0.25f, -0.75f, 1, time("10.0ms"), time("20.0ms"), time("2.00s")};
    g->env2 = {0.25f, 1, -1, 0.5f, 0, time("1.00ms"), time("0ms"), time("30.0s")};
    WireForm::parseRate("2.00 Hz", kLfoModeNormal, g->lfo1.rate);
    g->lfo1.type = kLfoSquare;
    g->lfo1.sync = kSyncVoice;
    g->lfo1.fadein = time("100ms");
    g->lfo1.pos = 0.25f;
    g->lfo1.amp = 0.5f;
    g->lfo2.mode = kLfoModeTempo;
    WireForm::parseRate("1/8T", kLfoModeTempo, g->lfo2.rate);
    g->lfo2.sync = kSyncNone;
    g->seq1 = {};
    g->seq1.mode = kLfoModeTempo;
    WireForm::parseRate("1/4", kLfoModeTempo, g->seq1.rate);
    g->seq1.values = {1, -100, 50, 0, 0, 0, 0, 7};
    g->seq1.smooth = g->seq1.stepsync = true;
    g->seq1.sync = kSyncGroup;
    g->seq2.values.assign(16, -3);
    g->seq2.pos = 0.5f;
    g->seq3.amp = 0.125f;
    g->filter.type = kFilterPeak;
    WireForm::parseFilterFrequency("1500 Hz", g->filter.freq);
    g->filter.res = 0.5f;
    g->filter.drive = -0.25f;
    g->filter.slope = kSlope12dB;
    const EffectFactory& units = EffectFactory::current();
    auto insert = units.createInsert(5);
    units.setParam(*insert, "rate", "2.00 Hz");
    units.setParam(*insert, "width", "25.0 %");
    g->setInsert(insert);
    // A gap before a send that is set: rows stay where they are.
    g->sends[1] = {2, 0.5f, true};
    ModulationEntry& pitch = g->modulation[1];
    pitch = {kSourceLfo1, kSourceModWheel, kDestPitch, 200, 100, false, true};
    ModulationEntry& freq = g->modulation[2];
    freq.source = kSourceVelocity;
    freq.destination = kDestFilterFreq;
    WireFormModulation::parseAmount(kDestFilterFreq, "-350 Hz", freq.amount);
    freq.enabled = false;
    freq.frozen = true;
    g->splits.clear();
    Split low(24);
    low.setWave(wave);
    low.setOverride(60, 10);
    low.loop = 0;
    low.release = 1;
    g->addSplit(low);
    Split high(60);
    high.setMatrix(matrix);
    g->addSplit(high);
    g->addSplit(Split(90));
    auto s = ZnLib::makeRef<Switcher>();
    s->source = kSourceRandom;
    s->rangeLow = 10;
    s->rangeHigh = 100;
    s->randLow = -0.5f;
    s->randHigh = 0.5f;
    s->bpmLow = 60;
    s->bpmHigh = 180;
    s->seqLength = 4;
    s->seqPos = 2;
    s->keyLow = 30;
    s->keyHigh = 40;
    s->keyDown = 31;
    s->keyUp = 32;
    s->keyLast = 33;
    s->keyPrev = 34;
    s->enabled = false;
    s->roundRobinSource = kRoundRobinMidi;
    g->setSwitcher(s);
    g->normalise();
    return g;
}

// A bank of one program with a group as above, a matrix and a performance with effects; all its
// waves are in memory only.
struct FullBank {
    FullBank() {
        bank->addWave(looped);
        bank->addWave(plain);
        bank->addMatrix(matrix);
        program->interpolation = kInterpolationHermite;
        program->icon = ZnLib::makeRef<Icon>("piano", true);
        program->range = {12, 100, 1, 126};
        program->addGroup(fullGroup(looped, matrix));
        program->addGroup(ZnLib::makeRef<Group>("Plain"));
        bank->addProgram(program);

        auto slot = ZnLib::makeRef<ProgramSlot>(uint8_t(15), program);
        slot->name = "Bass & Lead";
        slot->output = 5;
        slot->amp = 0.5f;
        slot->ampAutomation = 0;
        slot->pan = -0.25f;
        slot->panAutomation = 3;
        slot->transpose = -7;
        slot->detune = 12;
        slot->detuneAutomation = 127;
        slot->interpolation = kInterpolationSinc32;
        slot->velocityCurve = 5;
        slot->poly = 8;
        slot->setMute(2);
        slot->setSolo(true);
        slot->sends[0] = {3, 0.75f, 4, true};
        slot->sends[2] = {9, 0, -1, false};
        performance->addSlot(slot);
        auto plainSlot = ZnLib::makeRef<ProgramSlot>(uint8_t(0), program);
        performance->addSlot(plainSlot);
        const EffectFactory& units = EffectFactory::current();
        auto reverb = units.createEffect(1);
        units.setParam(*reverb, "roomsize", "0.7");
        units.setAutomation(*reverb, "roomsize", 1);
        units.setParam(*reverb, "wet", "50 %");
        reverb->bypass = reverb->mute = true;
        reverb->output = 9;
        performance->fx[2] = reverb;
        performance->fx[4] = ZnLib::makeRef<StoredEffect>(0);  // a place set to "None"
        bank->addPerformance(performance);
        bank->currentPerformance = performance.get();

        bank->programChangeMode = kProgramChangeOff;
        bank->useBankSelect = true;
        bank->automationOffset[5] = 0.5f;
        bank->automationOffset[127] = 0.25f;
        bank->externalController[0] = {74, -3};
        bank->externalController[15] = {1, 12};
        bank->outputs[1].enabled = false;
        bank->outputs[6].channels = bank->outputs[7].channels = 2;
    }

    SharedRef<Wave> looped = loopedWave("Looped");
    SharedRef<Wave> plain = memoryWave("Plain");
    SharedRef<WaveMatrix> matrix = fullMatrix(looped, plain);
    SharedRef<Program> program = ZnLib::makeRef<Program>("Full Program");
    SharedRef<Performance> performance = ZnLib::makeRef<Performance>("Perf <1>");
    SharedRef<Bank> bank = ZnLib::makeRef<Bank>();
};

}  // namespace MV::SaveTest
