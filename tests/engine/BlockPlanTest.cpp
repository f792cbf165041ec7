// The block passes of the modulated lanes against the per-sample walk: the same samples, bit for
// bit, over envelopes of every length, AEG curves, LFO fades, sequencers, vias, control slots, note-offs and voices that
// end inside a block.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "VoiceFixture.h"
#include "model/ModulationTables.h"
#include "plug/ValueLaws.h"

using namespace MV;
using namespace MV::Test;

namespace {

float samplesTime(double samples) { return float(ZnPlug::TimeLaw::fromMs(samples * 1000.0 / 44100.0)); }

struct Case {
    double attack, decay, release;  // AEG times, in samples
    double env1Time;                // every ENV1 segment
    double lfoHz;
    uint8_t curve;                  // the AEG's velocity curve, through the group
    int32_t noteOff;                // sample of the note-off inside the second call
    bool volumeHolds = false;       // no audio slot on the volume, while one moves the pan
};

// Renders four 256-sample calls of one modulated voice and returns both outputs.
std::vector<float> render(const Case& c) {
    auto wave = makeWave(20000, 1, [](unsigned, uint32_t i) { return float(std::sin(i * 0.05)) * 0.5f; });
    VoiceRig rig(wave);
    rig.setLoop(200, 700, ZnPlug::LoopMode::Forward);
    Group& g = *rig.group;
    g.aeg.attack = samplesTime(c.attack);
    g.aeg.decay1 = samplesTime(c.decay);
    g.aeg.level1 = 0.6f;
    g.aeg.sustain = 0.4f;
    g.aeg.release = samplesTime(c.release);
    g.velocityCurve = c.curve;
    g.filter.type = kFilterLowPass;
    g.filter.freq = 0.3f;
    g.env1 = {1.0f, 0.0f, 1.0f, 0.3f, -0.2f, samplesTime(c.env1Time), samplesTime(c.env1Time), samplesTime(c.env1Time)};
    g.lfo1.rate = float(ZnPlug::RateLaw::fromHz(c.lfoHz));
    g.lfo2.rate = float(ZnPlug::RateLaw::fromHz(c.lfoHz * 0.37));
    g.lfo2.fadein = samplesTime(c.release);  // a fade that ends inside a block, or none
    g.seq1.rate = float(ZnPlug::RateLaw::fromHz(c.lfoHz * 3.1));
    g.seq1.values = {100, -60, 25, -100, 0, 77, -13, 50};
    g.seq1.smooth = c.curve % 2 == 1;
    auto add = [&](uint16_t source, uint8_t destination, float amount, uint16_t via = kSourceNone,
                   float amountVia = 0) {
        ModulationEntry& e = g.addModulation(source);
        e.destination = destination;
        e.amount = amount;
        e.via = via;
        e.amountVia = amountVia;
    };
    add(kSourceEnv1, kDestFilterFreq, 0.5f);
    add(kSourceLfo1, kDestPitch, 30.0f, kSourceAeg, 80.0f);  // a via that moves sample by sample
    if (!c.volumeHolds) add(kSourceLfo2, kDestVolume, -0.3f, kSourceModWheel, -0.1f);
    add(kSourceAeg, kDestPan, 0.7f);
    add(kSourceSeq1, kDestPan, 0.2f);
    add(kSourceModWheel, kDestFilterRes, 0.4f);  // a control slot beside the audio ones
    add(kSourceModWheel, kDestVolume, -0.2f);    // and one on a destination the audio run moves
    add(kSourceModWheel, kDestLoopStart, 0.02f);  // a loop that a held lane moves
    auto wheel = event(0xB0, 1, 90, 0);
    rig.engine.processEvents(&wheel, 1);
    auto on = event(0x90, 60, 100, 3);
    rig.engine.processEvents(&on, 1);
    std::vector<float> out;
    for (int call = 0; call < 4; ++call) {
        if (call == 1) {
            auto off = event(0x80, 60, 0, c.noteOff);
            rig.engine.processEvents(&off, 1);
        }
        rig.host.run(256);
        for (int pin = 0; pin < 2; ++pin)
            out.insert(out.end(), rig.host.buffers[std::size_t(pin)].begin(), rig.host.buffers[std::size_t(pin)].end());
    }
    return out;
}

}  // namespace

TEST(BlockPlan, GivesThePerSampleWalksSamples) {
    const Case cases[] = {
        {0, 0, 0, 0, 5.5, 1, 100},             // instant segments
        {1, 1, 1, 1, 0.2, 2, 0},               // one-sample segments, a note-off on the first sample
        {300, 2000, 40, 100, 7.0, 3, 255},     // many samples, a release that ends inside a block
        {5000, 20000, 80000, 3000, 1.0, 7, 17},
        {300, 2000, 40, 100, 450.0, 3, 255, true},  // LFOs at audio rates
    };
    for (const Case& c : cases) {
        Voice::blockPlans = false;
        const std::vector<float> walk = render(c);
        Voice::blockPlans = true;
        const std::vector<float> block = render(c);
        ASSERT_EQ(walk.size(), block.size());
        float peak = 0;
        for (std::size_t i = 0; i < walk.size(); ++i) {
            ASSERT_EQ(walk[i], block[i]) << "attack " << c.attack << " env1 " << c.env1Time << " at " << i;
            peak = std::fmax(peak, std::fabs(walk[i]));
        }
        EXPECT_GT(peak, 0.0f);
    }
}

TEST(BlockPlan, VoicesInPairsMakeWhatTheyMakeOneByOne) {
    // Filters that hold share a pass two voices at a time; an AEG on the cutoff makes them move
    // during the attack and decay, so pairs change between shared and separate passes. Voices end
    // inside sub-blocks (release, wave end), and calls of 300 samples take two sub-blocks.
    for (const uint8_t channels : {1, 2}) {
        std::vector<float> outs[2];
        for (const bool pairs : {false, true}) {
            auto wave =
                makeWave(9000, channels, [](unsigned c, uint32_t i) { return float(std::sin(i * (0.03 + c * 0.01))); });
            VoiceRig rig(wave, 300);
            Group& g = *rig.group;
            g.filter.type = kFilterLowPass;
            g.filter.slope = kSlope12dB;
            g.filter.freq = 0.35f;
            g.aeg.attack = samplesTime(400);
            g.aeg.decay1 = samplesTime(900);
            g.aeg.level1 = 0.5f;
            g.aeg.sustain = 0.5f;
            g.aeg.release = samplesTime(500);
            ModulationEntry& e = g.addModulation(kSourceAeg);
            e.destination = kDestFilterFreq;
            e.amount = 0.3f;
            ModulationEntry& byVelocity = g.addModulation(kSourceVelocity);  // each voice its own cutoff
            byVelocity.destination = kDestFilterFreq;
            byVelocity.amount = 0.2f;
            Voice::pairs = pairs;
            for (int call = 0; call < 40; ++call) {
                const int32_t at = (call * 37) % 300;
                if (call % 3 == 0 && call < 30) {
                    auto on = event(0x90, uint8_t(48 + call), uint8_t(60 + call), at);
                    rig.engine.processEvents(&on, 1);
                }
                if (call % 4 == 2) {
                    auto off = event(0x80, uint8_t(48 + call - 5), 0, at);
                    rig.engine.processEvents(&off, 1);
                }
                rig.host.run(300);
                for (int pin = 0; pin < 2; ++pin)
                    outs[pairs].insert(outs[pairs].end(), rig.host.buffers[std::size_t(pin)].begin(),
                                       rig.host.buffers[std::size_t(pin)].end());
            }
        }
        Voice::pairs = true;
        ASSERT_EQ(outs[0].size(), outs[1].size());
        for (std::size_t i = 0; i < outs[0].size(); ++i)
            ASSERT_EQ(outs[0][i], outs[1][i]) << "channels " << int(channels) << " at " << i;
    }
}
