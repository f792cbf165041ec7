#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "VoiceFixture.h"
#include "engine/Lfo.h"
#include "engine/ModMatrix.h"
#include "model/ModulationTables.h"
#include "plug/ValueLaws.h"

using namespace MV;
using namespace MV::Test;
using ZnPlug::TimeLaw;

namespace {

ModulationEntry entry(uint16_t source, uint8_t destination, float amount, uint16_t via = 0, float amountVia = 0,
                      bool frozen = false) {
    ModulationEntry e;
    e.source = source;
    e.destination = destination;
    e.amount = amount;
    e.via = via;
    e.amountVia = amountVia;
    e.frozen = frozen;
    return e;
}

uint16_t cc(int n) { return uint16_t(kSourceFirstMidiCC + n); }

// A voice over a steady 0.5 with no level of its own: what it outputs is 0.5 times the volume
// that its modulation gives, so the output shows the slots' values sample by sample.
struct LevelRig : VoiceRig {
    LevelRig() : VoiceRig(makeWave(88200, 1, [](unsigned, uint32_t) { return 0.5f; })) { group->amp = 0; }
    void send(uint8_t status, uint8_t d1, uint8_t d2) {
        auto e = event(status, d1, d2, 0);
        engine.processEvents(&e, 1);
    }
    // One call of `n` samples; the level (0 to 1) of each sample.
    std::vector<float> levels(int32_t n = 256) {
        host.run(n);
        std::vector<float> out(static_cast<std::size_t>(n));
        for (int32_t i = 0; i < n; ++i) out[std::size_t(i)] = host.at(0, i) * 2.0f;
        return out;
    }
};

}  // namespace

TEST(ModMatrix, EntriesFallIntoAudioControlAndStaticRunsAndUnusableOnesAreDropped) {
    VoiceRig rig(makeWave(1000, 1, [](unsigned, uint32_t) { return 0.0f; }));
    auto& m = rig.group->modulation;
    m[0] = entry(kSourceKey, kDestFilterFreq, 0.5f);                 // static: a note-start value
    m[1] = entry(kSourceModWheel, kDestVolume, 1.0f);                // control
    m[2] = entry(kSourceVelocity, kDestPan, 0.5f, kSourceLfo1, 1);   // audio through its via
    m[3] = entry(kSourceModWheel, kDestPan, 1.0f, 0, 0, true);       // frozen: static
    m[4] = entry(cc(7), kDestDelay, 0.1f);                           // note-start destination
    m[5] = entry(kSourceLfo1, kDestPitch, 100.0f);                   // audio
    m[6] = entry(kSourceFirstParam + 3, kDestSendLevel1, 1.0f);      // control, reads automation
    m[7] = entry(kSourceLfo2, kDestVolume, 0.0f);                    // no amount, no via
    m[8] = entry(cc(1), kDestVolume, 0.0f, cc(2), 1.0f);             // gated by a via: control
    m[9] = entry(kSourceLfo1, kDestInsertPar1, 1.0f);                // no insert to move
    m[10] = entry(kSourceLfo1, kDestNone, 1.0f);
    m[11] = entry(kSourceAeg, kDestVolume, 1.0f);
    m[11].enabled = false;
    m[12] = entry(kSourceKey, kDestPitch, 0.5f, kSourceFirstParam, 1.0f, true);  // frozen automation

    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->n_audio, 2);
    EXPECT_EQ(v->n_control, 5);
    EXPECT_EQ(v->n_static, 9);
    EXPECT_EQ(v->auto_sources, 2u);
    EXPECT_TRUE(v->readsAutomation());
    // Table order within each run.
    EXPECT_EQ(v->slots[0].dest, &v->dest.pan);
    EXPECT_EQ(v->slots[1].dest, &v->dest.pitch);
    EXPECT_EQ(v->slots[2].dest, &v->dest.volume);
    EXPECT_EQ(v->slots[3].dest, &v->dest.send1);
    EXPECT_EQ(v->slots[4].dest, &v->dest.volume);
    EXPECT_EQ(v->slots[5].dest, &v->filter.filter_freq);
    EXPECT_EQ(v->slots[7].dest, &v->dest.delay);
    // A source fixed at note start is the slot's own value; a live one is read where it lives.
    EXPECT_EQ(v->slots[5].source, &v->slots[5].source_local);
    EXPECT_EQ(v->slots[2].source, &rig.engine.channel(0).wheel);
    EXPECT_EQ(*v->slots[1].via, 1.0f) << "an entry without a via reads a constant 1";
}

TEST(ModMatrix, ViaGatesTheSourceAndAnEntryWithoutViaActsWithItsAmount) {
    LevelRig rig;
    rig.group->modulation[0] = entry(cc(20), kDestVolume, 0.0f, cc(21), 1.0f);
    rig.send(0xB0, 20, 127);
    ASSERT_NE(rig.start(60), nullptr);
    EXPECT_FLOAT_EQ(rig.levels()[10], 0.0f) << "via at 0: the depth is the amount, 0";
    rig.send(0xB0, 21, 127);
    EXPECT_FLOAT_EQ(rig.levels()[10], 1.0f) << "via at 1: the depth is amount_via";
    rig.send(0xB0, 21, 32);
    EXPECT_NEAR(rig.levels()[10], 32.0f / 127, 1e-6);

    // Without a via, amount_via is ignored: the source acts with its amount.
    LevelRig plain;
    plain.group->modulation[0] = entry(cc(20), kDestVolume, 0.5f, 0, 0.0f);
    plain.send(0xB0, 20, 127);
    ASSERT_NE(plain.start(60), nullptr);
    EXPECT_FLOAT_EQ(plain.levels()[10], 0.5f);
}

TEST(ModMatrix, FrozenWheelKeepsItsNoteStartValueWhileALiveOneFollows) {
    LevelRig frozen;
    frozen.group->modulation[0] = entry(kSourceModWheel, kDestVolume, 1.0f, 0, 0, true);
    LevelRig live;
    live.group->modulation[0] = entry(kSourceModWheel, kDestVolume, 1.0f);
    for (LevelRig* rig : {&frozen, &live}) {
        rig->send(0xB0, 1, 64);
        rig->levels();
        ASSERT_NE(rig->start(60), nullptr);
        rig->levels();
        rig->send(0xB0, 1, 127);
        rig->levels();
    }
    EXPECT_NEAR(frozen.levels()[0], 64.0f / 127, 1e-6);
    EXPECT_FLOAT_EQ(live.levels()[0], 1.0f);
}

TEST(ModMatrix, WheelSlewsOver256SamplesAndAPlainControllerStepsAtOnce) {
    LevelRig rig;
    rig.group->modulation[0] = entry(kSourceModWheel, kDestVolume, 1.0f);
    ASSERT_NE(rig.start(60), nullptr);
    EXPECT_FLOAT_EQ(rig.levels()[255], 0.0f);
    rig.send(0xB0, 1, 127);
    const std::vector<float> slew = rig.levels();
    EXPECT_NEAR(slew[0], 1.0f / 256, 1e-7) << "the first sample moves 1/256 of the way";
    EXPECT_TRUE(std::is_sorted(slew.begin(), slew.end()));
    EXPECT_NEAR(slew[255], 1.0f - std::pow(255.0f / 256, 256.0f), 1e-4);
    const std::vector<float> after = rig.levels();
    EXPECT_FLOAT_EQ(after[0], 1.0f) << "the next call lands on the value";
    EXPECT_FLOAT_EQ(after[255], 1.0f);

    LevelRig plain;
    plain.group->modulation[0] = entry(cc(7), kDestVolume, 1.0f);
    ASSERT_NE(plain.start(60), nullptr);
    plain.levels();
    plain.send(0xB0, 7, 127);
    EXPECT_FLOAT_EQ(plain.levels()[0], 1.0f);
}

TEST(ModMatrix, AutomationMovesSlewOnlyVoicesThatReadAutomation) {
    // Two engines alike but for one automation move: the voice that reads no automation plays
    // sample for sample the same.
    LevelRig moved, still;
    for (LevelRig* rig : {&moved, &still}) {
        rig->group->modulation[0] = entry(cc(7), kDestVolume, 1.0f);
        ASSERT_NE(rig->start(60), nullptr);
        rig->levels();
        rig->send(0xB0, 7, 100);
    }
    moved.engine.setParameter(3, 0.9f);
    EXPECT_EQ(moved.levels(), still.levels());

    LevelRig reader;
    reader.group->modulation[0] = entry(kSourceFirstParam + 3, kDestVolume, 1.0f);
    ASSERT_NE(reader.start(60), nullptr);
    EXPECT_FLOAT_EQ(reader.levels()[255], 0.0f);
    reader.engine.setParameter(3, 1.0f);
    const std::vector<float> slew = reader.levels();
    EXPECT_NEAR(slew[0], 1.0f / 256, 1e-7);
    EXPECT_FLOAT_EQ(reader.levels()[0], 1.0f);
}

TEST(ModMatrix, AmountsTakeTheUnitsOfTheirDestination) {
    VoiceRig rig(makeWave(88200, 1, [](unsigned, uint32_t) { return 0.0f; }));
    Voice probe;
    float out = 0;
    // Cents through the group's keyboard scale, or plain cents for "Pitch (raw)".
    ASSERT_TRUE(ModMatrix::convert(kDestPitch, 1200, 100, 1.0 / 44100, probe, out));
    EXPECT_NEAR(out, 1.0f, 1e-5);
    ModMatrix::convert(kDestPitch, 1200, ModMatrix::centsPerKey(kTuningTimes2), 1.0 / 44100, probe, out);
    EXPECT_NEAR(out, 2.0f, 1e-5);
    ModMatrix::convert(kDestPitch, 1200, ModMatrix::centsPerKey(kTuningFixed), 1.0 / 44100, probe, out);
    EXPECT_EQ(out, 0.0f);
    ModMatrix::convert(kDestPitchRaw, -600, 0, 1.0 / 44100, probe, out);
    EXPECT_NEAR(out, -0.5f, 1e-6);
    // A signed frequency law over a fraction of 22050 Hz.
    ModMatrix::convert(kDestFilterFreq, -0.5f, 0, 1.0 / 44100, probe, out);
    EXPECT_NEAR(out, -5000.0f / 22050, 1e-6);
    // A rate in hertz as a phase step; a signed time in samples at 44.1 kHz, 0 staying 0.
    ModMatrix::convert(kDestLfo2Rate, float(ZnPlug::RateLaw::fromHz(2)), 0, 1.0 / 44100, probe, out);
    EXPECT_NEAR(out, 2.0 / 44100 * 4294967296.0, 2);
    ModMatrix::convert(kDestLoopEnd, -float(TimeLaw::fromMs(10)), 0, 1.0 / 44100, probe, out);
    EXPECT_NEAR(out, -441.0f, 1e-2);
    ModMatrix::convert(kDestGlide, 0, 0, 1.0 / 44100, probe, out);
    EXPECT_EQ(out, 0.0f);

    // At note start: velocity 127 acts as 1 (squared), folded into pitch, filter and delay.
    rig.group->tuning = kTuningTimes2;
    rig.group->filter.freq = 0.5f;
    rig.group->modulation[0] = entry(kSourceVelocity, kDestPitch, 600);
    rig.group->modulation[1] = entry(kSourceVelocity, kDestPitchRaw, 1200);
    rig.group->modulation[2] = entry(kSourceVelocity, kDestFilterFreq, 0.5f);
    rig.group->modulation[3] = entry(kSourceVelocity, kDestDelay, float(TimeLaw::fromMs(10)));
    Voice* v = rig.start(60, 127);
    ASSERT_NE(v, nullptr);
    EXPECT_NEAR(v->static_pitch, 2.0f, 1e-5);
    EXPECT_NEAR(v->glide_target, 2.0f, 1e-5) << "key 60 on root 60 adds nothing";
    EXPECT_NEAR(v->filter.base_freq, 2 * 5000.0f / 22050, 1e-6);
    EXPECT_EQ(v->filter.filter_freq, 0.0f) << "folded, and the accumulator free again";
    EXPECT_NEAR(v->delay_left, 441.0, 0.05);
    Voice* soft = rig.start(60, 64);
    EXPECT_NEAR(soft->static_pitch, 2.0f * (64.0f / 127) * (64.0f / 127), 1e-5);
}

TEST(ModMatrix, RefreshOfTheGroupFoldsTheStaticRunOnceMore) {
    VoiceRig rig(makeWave(88200, 1, [](unsigned, uint32_t) { return 0.5f; }));
    rig.group->modulation[0] = entry(kSourceVelocity, kDestVolume, -0.25f);
    rig.group->modulation[1] = entry(kSourceVelocity, kDestLfo1Amp, -0.5f);
    Voice* v = rig.start(60, 127);
    ASSERT_NE(v, nullptr);
    EXPECT_FLOAT_EQ(v->static_volume, -0.25f);
    EXPECT_FLOAT_EQ(v->lfo1.amp, 0.5f);
    rig.group->pan = 0.5f;
    rig.group->touch();
    rig.host.run(256);
    EXPECT_FLOAT_EQ(v->static_volume, -0.25f) << "not twice";
    EXPECT_FLOAT_EQ(v->lfo1.amp, 0.5f);
}

TEST(ModMatrix, LfoOnPitchMakesAVibratoOfItsDepth) {
    // A 441 Hz sine, one semitone of vibrato at 5 Hz: the measured frequency swings between
    // 441 Hz a semitone down and up.
    constexpr double kPi = 3.14159265358979323846;
    VoiceRig rig(makeWave(88200, 1, [](unsigned, uint32_t i) { return float(std::sin(2 * kPi * 441 * i / 44100.0)); }));
    rig.setLoop(0, 88200, ZnPlug::LoopMode::Forward);
    rig.group->interpolation = kInterpolationHermite;
    rig.group->lfo1.rate = float(ZnPlug::RateLaw::fromHz(5));
    rig.group->lfo1.type = kLfoSinus;
    rig.group->modulation[0] = entry(kSourceLfo1, kDestPitch, 100);
    ASSERT_NE(rig.start(60), nullptr);

    std::vector<float> out;
    for (int block = 0; block < 172; ++block) {
        rig.host.run(256);
        for (int i = 0; i < 256; ++i) out.push_back(rig.host.at(0, i));
    }
    std::vector<double> crossings;
    for (std::size_t i = 1; i < out.size(); ++i)
        if (out[i - 1] < 0 && out[i] >= 0) crossings.push_back(double(i - 1) + out[i - 1] / (out[i - 1] - out[i]));
    ASSERT_GT(crossings.size(), 400u);
    double low = 1e9, high = 0;
    for (std::size_t k = 1; k < crossings.size(); ++k) {
        const double hz = 44100.0 / (crossings[k] - crossings[k - 1]);
        low = std::min(low, hz);
        high = std::max(high, hz);
    }
    EXPECT_NEAR(high, 441.0 * std::pow(2.0, 1.0 / 12), 1.5);
    EXPECT_NEAR(low, 441.0 / std::pow(2.0, 1.0 / 12), 1.5);
}

TEST(ModMatrix, AWheelGatedVibratoSoundsOnlyOnceTheWheelMoves) {
    // While the wheel is at 0 the voice skips its per-sample slots: it must sound exactly like a
    // voice without the entry, and take the vibrato up as soon as the wheel moves.
    constexpr double kPi = 3.14159265358979323846;
    auto sine = [](unsigned, uint32_t i) { return float(std::sin(2 * kPi * 441 * i / 44100.0)); };
    VoiceRig gated(makeWave(88200, 1, sine)), plain(makeWave(88200, 1, sine));
    for (VoiceRig* rig : {&gated, &plain}) {
        rig->setLoop(0, 88200, ZnPlug::LoopMode::Forward);
        rig->group->lfo1.rate = float(ZnPlug::RateLaw::fromHz(5));
        rig->group->aeg.decay1 = float(ZnPlug::TimeLaw::fromMs(2000));
        rig->group->aeg.sustain = 0.5f;
    }
    gated.group->modulation[0] = entry(kSourceLfo1, kDestPitch, 0, kSourceModWheel, 100);
    ASSERT_NE(gated.start(60), nullptr);
    ASSERT_NE(plain.start(60), nullptr);
    for (int block = 0; block < 40; ++block) {
        gated.host.run(256);
        plain.host.run(256);
        for (int i = 0; i < 256; ++i) ASSERT_EQ(gated.host.at(0, i), plain.host.at(0, i)) << "block " << block;
    }
    for (VoiceRig* rig : {&gated, &plain}) {
        auto wheel = event(0xB0, 1, 127, 0);
        rig->engine.processEvents(&wheel, 1);
    }
    float difference = 0;
    for (int block = 0; block < 40; ++block) {
        gated.host.run(256);
        plain.host.run(256);
        for (int i = 0; i < 256; ++i)
            difference = std::max(difference, std::fabs(gated.host.at(0, i) - plain.host.at(0, i)));
    }
    EXPECT_GT(difference, 0.1f);
}

namespace {
// An insert that scales its first parameter's modulation by 10 and keeps what the voice gave it.
struct ProbeInsert : FX::Insert {
    struct Processor : FX::Insert::Processor {
        Processor() : FX::Insert::Processor(1, false) {}
        void process(float* const*, int32_t, int32_t, int32_t, const float* par1, const float* par2) override {
            first = par1[0];
            second = par2[0];
        }
        void update(const FX::Insert&) override {}
        float first = 0;
        float second = 0;
    };
    ProbeInsert() : FX::Insert(1) {}
    bool wantsStereo() const override { return false; }
    ZnLib::SharedRef<FX::Insert> clone() const override { return ZnLib::makeRef<ProbeInsert>(*this); }
    ZnLib::SharedRef<FX::Insert::Processor> createProcessor(const ZnPlug::ProcessContext&) const override {
        return ZnLib::makeRef<Processor>();
    }
    float modulationBase(int index, float value) const override { return index == 0 ? value * 10 : value; }
};
}  // namespace

TEST(ModMatrix, InsertParametersReachTheInsertThroughItsMapping) {
    LevelRig rig;
    rig.group->insert = ZnLib::makeRef<ProbeInsert>();
    rig.group->modulation[0] = entry(kSourceVelocity, kDestInsertPar1, 0.5f);
    rig.group->modulation[1] = entry(kSourceModWheel, kDestInsertPar2, 0.25f);
    rig.send(0xB0, 1, 127);
    rig.levels();
    Voice* v = rig.start(60, 127);
    ASSERT_NE(v, nullptr);
    EXPECT_FLOAT_EQ(v->static_insert1, 5.0f);
    rig.levels();
    const auto& processor = static_cast<const ProbeInsert::Processor&>(*v->processor);
    EXPECT_FLOAT_EQ(processor.first, 5.0f);
    EXPECT_FLOAT_EQ(processor.second, 0.25f);
}
