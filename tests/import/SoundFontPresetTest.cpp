// Turning presets into programs: the merge of preset and instrument zones, and what each
// generator does to a group.
#include <gtest/gtest.h>

#include <cmath>

#include "import/ImportTestUtil.h"
#include "import/SFGroup.h"
#include "model/ModelDump.h"
#include "plug/ValueLaws.h"

namespace MV::Test {
namespace {

using ZnLib::SharedRef;
using Gen = Sf2Builder::Gen;
using Zone = Sf2Builder::Zone;

// One sample "Tone" (root 60), one instrument of `instrument` zones, one preset of `preset` zones;
// a zone that names no sample or instrument is a global zone.
SharedRef<Program> importPreset(std::vector<Zone> instrument, std::vector<Zone> preset, Bank* into = nullptr) {
    Sf2Builder b;
    Sf2Builder::Sample s = Sf2Builder::ramp("Tone", 50);
    s.loopStart = 10, s.loopEnd = 40;
    b.addSample(s);
    b.addInstrument("I", std::move(instrument));
    b.addPreset("P", 0, 0, std::move(preset));
    Bank bank;
    return importInto(*open(b), 0, into ? *into : bank);
}

// The one group of a preset zone over an instrument zone that plays "Tone".
Group single(std::vector<Gen> instrument, std::vector<Gen> preset = {}) {
    instrument.push_back({53, 0});
    preset.push_back({41, 0});
    SharedRef<Program> p = importPreset({Zone{instrument}}, {Zone{preset}});
    EXPECT_EQ(p->groups.size(), 1u);
    return p->groups.empty() ? Group() : *p->groups.front();
}

TEST(SoundFontMerge, RangesIntersectWithThePresetZoneAndEmptyOverlapsAreDropped) {
    EXPECT_EQ(keys(single({{43, Sf2Builder::range(0, 64)}}, {{43, Sf2Builder::range(60, 72)}})),
              "60-64 vel 0-127 fade 60-64");
    EXPECT_EQ(keys(single({{44, Sf2Builder::range(0, 110)}}, {{44, Sf2Builder::range(100, 127)}})),
              "0-127 vel 100-110 fade 0-127");
    EXPECT_TRUE(importPreset({Zone{{{43, Sf2Builder::range(0, 64)}, {53, 0}}}},
                             {Zone{{{43, Sf2Builder::range(80, 90)}, {41, 0}}}})
                    ->groups.empty());
}

TEST(SoundFontMerge, GlobalZonesBaseTheZonesAfterThemAndOrdinaryZonesDoNotCarryOn) {
    // At both levels a global zone bases the zones after it and not those before it.
    SharedRef<Program> p = importPreset({Zone{{{53, 0}}}, Zone{{{48, 60}}}, Zone{{{53, 0}}}},
                                        {Zone{{{41, 0}}}, Zone{{{17, 200}}}, Zone{{{41, 0}}}});
    ASSERT_EQ(p->groups.size(), 4u);
    EXPECT_FLOAT_EQ(p->groups[0]->pan, 0.0f);
    EXPECT_FLOAT_EQ(p->groups[0]->amp, 1.0f);
    EXPECT_NEAR(p->groups[1]->amp, std::pow(10.0, -0.3), 1e-6);
    EXPECT_FLOAT_EQ(p->groups[2]->pan, 0.4f);
    EXPECT_FLOAT_EQ(p->groups[2]->amp, 1.0f);

    // A drum kit: the first zone's key range stays with that zone.
    Sf2Builder b;
    b.addSample(Sf2Builder::ramp("Kick", 20));
    b.addSample(Sf2Builder::ramp("Snare", 20));
    b.addInstrument("Kick", {Zone{{{43, Sf2Builder::range(35, 36)}, {53, 0}}}});
    b.addInstrument("Snare", {Zone{{{43, Sf2Builder::range(38, 38)}, {53, 1}}}});
    b.addInstrument("Snare 2", {Zone{{{43, Sf2Builder::range(40, 40)}, {53, 1}}}});
    b.addPreset("Kit", 0, 128,
                {Zone{{{43, Sf2Builder::range(35, 35)}, {41, 0}}}, Zone{{{41, 1}}}, Zone{{{17, 100}, {41, 2}}}});
    Bank bank;
    SharedRef<Program> kit = importInto(*open(b), 0, bank);
    ASSERT_EQ(kit->groups.size(), 3u);
    EXPECT_EQ(keys(*kit->groups[0]), "35-35 vel 0-127 fade 35-35");
    EXPECT_EQ(keys(*kit->groups[1]), "38-38 vel 0-127 fade 38-38");
    EXPECT_EQ(keys(*kit->groups[2]), "40-40 vel 0-127 fade 40-40");
    EXPECT_FLOAT_EQ(kit->groups[1]->pan, 0.0f);
    EXPECT_FLOAT_EQ(kit->groups[2]->pan, 0.2f);
}

TEST(SoundFontMerge, PresetValuesAddAsSixteenBitsOnTheZoneOrOnTheDefault) {
    // 30000 + 5000 wraps to -30536: hard left, where the true sum would be hard right.
    EXPECT_FLOAT_EQ(single({{17, 30000}}, {{17, 5000}}).pan, -1.0f);
    // An offset on a generator the zone lacks starts from its default: attack -12000 + 1200.
    EXPECT_FLOAT_EQ(single({}, {{34, 1200}}).aeg.attack, float(ZnPlug::TimeLaw::fromMs(1000.0 * std::pow(2.0, -9))));
    // The cutoff multiplies: the default 13500 cents lowered by two octaves.
    const Group lowered = single({}, {{8, -2400}});
    EXPECT_NEAR(lowered.filter.freq, std::sqrt(8.176 * std::pow(2.0, 13500 / 1200.0) / 4 / 20000), 1e-6);
    EXPECT_EQ(lowered.filter.type, kFilterLowPass);
    EXPECT_EQ(lowered.filter.slope, kSlope12dB);
    const Group doubled = single({{8, 6000}}, {{8, 1200}});
    EXPECT_NEAR(ZnPlug::FrequencyLaw::hz(doubled.filter.freq), 8.176 * 32 * 2, 1e-2);
    // What a preset may not set stays the instrument's: root key, sample modes.
    const Group kept = single({{58, 64}}, {{58, 72}, {54, 1}, {0, 1000}});
    EXPECT_EQ(kept.splits.front().root(), 64);
    EXPECT_EQ(kept.splits.front().loop, -1);
}

TEST(SoundFontMerge, GeneratorsLandOnTheirGroupFields) {
    const Group g = single({{5, 50},    {6, -30},   {7, 1200},  {9, 30},   {13, -60},  {21, -1200}, {22, 0},
                            {26, 0},    {28, 1200}, {29, 300},  {30, -2400}, {34, -1200}, {35, 0},    {36, 1200},
                            {37, 100},  {38, 2400}, {48, 100},  {51, -12}, {52, 30},   {56, 0},    {58, 72}});
    const double k = 20 * std::log10(3.0);
    EXPECT_FLOAT_EQ(g.modulation[SFGroup::kRowLfo1ToPitch].amount, 50);
    EXPECT_FLOAT_EQ(g.modulation[SFGroup::kRowLfo2ToPitch].amount, -30);
    EXPECT_FLOAT_EQ(g.modulation[SFGroup::kRowEnvToPitch].amount, 1200);
    EXPECT_FLOAT_EQ(g.filter.res, float(3.0 / k));
    EXPECT_NEAR(g.modulation[SFGroup::kRowLfo1ToVolume].amount, std::pow(10.0, -0.3) - 1, 1e-6);
    EXPECT_FLOAT_EQ(g.lfo1.fadein, float(ZnPlug::TimeLaw::fromMs(500)));
    EXPECT_FLOAT_EQ(g.lfo1.rate, float(std::sqrt(0.18856166 * std::log(8.176 + 1))));
    EXPECT_FLOAT_EQ(g.env1.time1, float(ZnPlug::TimeLaw::fromMs(1000)));
    EXPECT_FLOAT_EQ(g.env1.time2, float(ZnPlug::TimeLaw::fromMs(2000)));
    EXPECT_FLOAT_EQ(g.env1.level2, 0.7f);
    EXPECT_FLOAT_EQ(g.env1.time3, float(ZnPlug::TimeLaw::fromMs(250)));
    EXPECT_FLOAT_EQ(g.aeg.attack, float(ZnPlug::TimeLaw::fromMs(500)));
    EXPECT_FLOAT_EQ(g.aeg.decay1, float(ZnPlug::TimeLaw::fromMs(1000)));
    EXPECT_FLOAT_EQ(g.aeg.decay2, float(ZnPlug::TimeLaw::fromMs(2000)));
    // Both attenuations lower the level; the AEG squares its own, hence the 40.
    EXPECT_NEAR(g.aeg.sustain, std::pow(10.0, -10.0 / 40), 1e-6);
    EXPECT_NEAR(g.amp, std::pow(10.0, -10.0 / 20), 1e-6);
    EXPECT_FLOAT_EQ(single({{37, -60}, {48, -60}}).amp, 1.0f);
    EXPECT_FLOAT_EQ(single({{37, -60}}).aeg.sustain, 1.0f);
    EXPECT_FLOAT_EQ(g.aeg.release, float(ZnPlug::TimeLaw::fromMs(4000)));
    EXPECT_EQ(g.coarse, -12);
    EXPECT_EQ(g.fine, 30);
    EXPECT_EQ(g.tuning, kTuningFixed);
    EXPECT_EQ(g.splits.front().root(), 72);
    // The routings every imported group starts with; the modulation envelope's fixed levels.
    EXPECT_EQ(modulationSourceName(g.modulation[0].source), "Pitchbend");
    EXPECT_EQ(modulationDestinationName(g.modulation[0].destination), "Pitch");
    EXPECT_FLOAT_EQ(g.modulation[0].amount, 200);
    EXPECT_EQ(modulationSourceName(g.modulation[1].source), "Mod Wheel");
    EXPECT_EQ(modulationDestinationName(g.modulation[1].destination), "LFO2 Amp");
    EXPECT_EQ(g.env1.level1, 1.0f);
    EXPECT_EQ(g.env1.level3, 1.0f);
    // Without a generator: full level, filter off.
    const Group plain = single({});
    EXPECT_FLOAT_EQ(plain.amp, 1.0f);
    EXPECT_EQ(plain.filter.type, kFilterOff);
    EXPECT_EQ(plain.tuning, kTuningNormal);
}

TEST(SoundFontMerge, CutoffModulationIsMeasuredAroundTheCutoffAtThatMoment) {
    // 9000 cents is 8.176 * 2^7.5 Hz; an octave up adds the cutoff itself.
    const Group g = single({{8, 9000}, {10, -1200}, {11, 1200}});
    const double h = 8.176 * std::pow(2.0, 7.5);
    EXPECT_NEAR(g.modulation[SFGroup::kRowEnvToFilter].amount, std::sqrt(h / 20000), 1e-5);
    EXPECT_NEAR(g.modulation[SFGroup::kRowLfo1ToFilter].amount, -std::sqrt(h / 2 / 20000), 1e-5);
    // Without a cutoff the base is 20 kHz.
    EXPECT_NEAR(single({{11, -1200}}).modulation[SFGroup::kRowEnvToFilter].amount, -std::sqrt(0.5), 1e-5);
}

}  // namespace
}  // namespace MV::Test
