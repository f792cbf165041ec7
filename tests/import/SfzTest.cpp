// SFZ instruments: the text as the patterns take it apart, the opcodes, and finishing a region.
#include <gtest/gtest.h>

#include <cmath>

#include "import/ImportTestUtil.h"
#include "import/InstrumentImport.h"
#include "import/SFZGroup.h"
#include "import/SfzLoader.h"
#include "import/UnicodeText.h"
#include "model/ModelDump.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"
#include "plug/ValueLaws.h"

namespace MV::Test {
namespace {

using ZnLib::SharedRef;
using ZnPlug::Loop;
using ZnPlug::LoopMode;

struct RecordingFilter : LoadedNothing {
    void process(const std::string& text) override { messages.push_back(text); }
    std::vector<std::string> messages;
};

class Sfz : public ::testing::Test {
protected:
    SharedRef<Program> load(const std::string& text, const std::string& name = "inst.sfz") {
        writeFile(dir / name, text);
        SfzLoader loader(bank, filter, findNothing);
        return loader.loadFile(dir / name);
    }
    const Group& group(const SharedRef<Program>& p, std::size_t i = 0) {
        EXPECT_LT(i, p->groups.size());
        return *p->groups.at(i);
    }
    // A copy of the first group that `text` makes.
    Group only(const std::string& text) { return group(load(text)); }

    ScratchDir dir;
    Bank bank;
    RecordingFilter filter;
    FindNothing findNothing;
};

TEST_F(Sfz, ValuesRunToTheNextOpcodeSoFileNamesMayHoldBlanks) {
    writeWave(dir / "a b.wav", 100, 62);
    SharedRef<Program> p = load("<region> sample=a b.wav lokey=c4 hikey=e4\n<region>sample=a b.wav key=70");
    EXPECT_EQ(p->name(), "inst");
    ASSERT_EQ(p->groups.size(), 2u);
    const Group& g = group(p);
    EXPECT_EQ(g.name, "a b");
    EXPECT_EQ(keys(g), "60-64 vel 0-127 fade 60-64");
    EXPECT_EQ(g.splits.front().wave()->file().path(), dir / "a b.wav");
    EXPECT_EQ(g.splits.front().root(), 62);
    // "key" sets both bounds and the root; the two regions share the wave.
    EXPECT_EQ(keys(group(p, 1)), "70-70 vel 0-127 fade 70-70");
    EXPECT_EQ(group(p, 1).splits.front().root(), 70);
    EXPECT_EQ(bank.waves.size(), 1u);
    EXPECT_TRUE(filter.messages.empty());
}

TEST_F(Sfz, GroupOpcodesAreEachRegionsDefaultsUntilTheNextGroup) {
    writeWave(dir / "x.wav", 100);
    SharedRef<Program> p = load(
        "<control> default_path=sub\\..\\\n"
        "<group> volume=-6 pan=50 lovel=10\n"
        "<region> sample=x.wav pan=-20\n"
        "<region> sample=x.wav\n"
        "<group> transpose=2\n"
        "<region> sample=x.wav transpose=3\n"
        "<global> volume=0\n");
    ASSERT_EQ(p->groups.size(), 3u);
    EXPECT_NEAR(group(p, 0).amp, std::pow(10.0, -0.3), 1e-6);
    EXPECT_FLOAT_EQ(group(p, 0).pan, -0.2f);
    EXPECT_FLOAT_EQ(group(p, 1).pan, 0.5f);
    EXPECT_EQ(group(p, 1).range.lowVel, 10);
    // A new group starts from nothing: level 0.5, velocity from 0; transposes add up.
    EXPECT_FLOAT_EQ(group(p, 2).amp, 0.5f);
    EXPECT_EQ(group(p, 2).range.lowVel, 0);
    EXPECT_EQ(group(p, 2).coarse, 5);
}

TEST_F(Sfz, FilterTypesCutoffAndTheFailuresThatEndTheImport) {
    EXPECT_FLOAT_EQ(only("<region> cutoff=2000").filter.freq, float(std::sqrt(0.1)));
    const std::tuple<const char*, int, int> types[] = {{"cutoff=2000", kFilterLowPass, kSlope12dB},
                                                       {"fil_type=lpf_1p", kFilterLowPass, kSlope6dB},
                                                       {"fil_type=lpf_2p", kFilterLowPass, kSlope12dB},
                                                       {"filtype=hpf_2p cutoff=100", kFilterHighPass, kSlope12dB},
                                                       {"fil_type=bpf_1p", kFilterBandPass, kSlope6dB},
                                                       {"fil_type=brf_2p", kFilterNotch, kSlope12dB}};
    for (auto [opcodes, type, slope] : types) {
        const Filter f = only(std::string("<region> ") + opcodes).filter;
        EXPECT_EQ(std::pair(int(f.type), int(f.slope)), std::pair(type, slope)) << opcodes;
    }
    EXPECT_FLOAT_EQ(only("<region> resonance=12").filter.res, 0.3f);

    const std::pair<const char*, const char*> failures[] = {{"fil_type=lpf", "Invalid filter type : lpf"},
                                                            {"fil_type=apf_1p", "Invalid filter type : apf_1p"},
                                                            {"lokey=xyz", "invalid value"},
                                                            {"volume=loud", "invalid value"},
                                                            {"on_locc99999999999=1", "stoi argument out of range"}};
    for (auto [opcodes, error] : failures) EXPECT_EQ(failure([&] { load(std::string("<region> ") + opcodes); }), error);
    // Trailing units are ignored, as number parsing always did.
    EXPECT_NEAR(only("<region> volume=-6dB").amp, std::pow(10.0, -0.3), 1e-6);
}

TEST_F(Sfz, CommentsNeedTheirLineEndAndMissingSamplesAreReportedNotFatal) {
    writeWave(dir / "a.wav", 100);
    SharedRef<Program> p = load("<region> sample=a.wav // the first\n<region> sample=a.wav // the last");
    ASSERT_EQ(p->groups.size(), 2u);
    EXPECT_EQ(group(p, 0).splits.front().wave()->file().path(), dir / "a.wav");
    // The last comment has no line end, so it stays in the text and in the sample's name.
    EXPECT_TRUE(group(p, 1).splits.front().wave()->isNone());
    ASSERT_EQ(filter.messages.size(), 1u);
    EXPECT_EQ(filter.messages[0].rfind("Could not find file " + dir.path(), 0), 0u) << filter.messages[0];

    SharedRef<Program> broken = load("<region> sample=missing.wav lokey=40\n<region> sample=a.wav");
    ASSERT_EQ(broken->groups.size(), 2u);
    EXPECT_TRUE(group(broken, 0).splits.front().wave()->isNone());
    EXPECT_EQ(group(broken, 0).range.lowKey, 40);
    EXPECT_FALSE(group(broken, 1).splits.front().wave()->isNone());
}

TEST_F(Sfz, PitchKeytrackPicksTheFirstStepNotBelowIt) {
    // Past the last step the group's value stays.
    const std::pair<const char*, int> steps[] = {
        {"0", kTuningFixed}, {"100", kTuningNormal}, {"-1200", kTuningInv4}, {"30", kTuningHalf}, {"500", kTuningHalf}};
    for (auto [value, tuning] : steps)
        EXPECT_EQ(only("<group> pitch_keytrack=50 <region> pitch_keytrack=" + std::string(value)).tuning, tuning)
            << value;
}

TEST_F(Sfz, LoopModesAndBoundsFinishTheSplit) {
    writeWave(dir / "looped.wav", 1000, 255, {Loop(100, 900, LoopMode::Forward, "L")});
    writeWave(dir / "plain.wav", 1000);
    SharedRef<Program> p = load(
        "<region> sample=looped.wav\n"
        "<region> sample=looped.wav loop_mode=no_loop\n"
        "<region> sample=looped.wav loopmode=one_shot\n"
        "<region> sample=plain.wav loop_mode=loop_continuous loop_start=10 loop_end=500\n"
        "<region> sample=plain.wav loopmode=loop_sustain loopstart=10 loopend=500\n"
        "<region> sample=plain.wav loop_mode=loop_sustain loop_start=600 loop_end=500\n");
    ASSERT_EQ(p->groups.size(), 6u);
    auto loops = [&](std::size_t i) {
        const Split& s = group(p, i).splits.front();
        return std::pair{s.loop, s.release};
    };
    EXPECT_EQ(loops(0), std::pair(0, 0));  // the wave's own loop
    EXPECT_EQ(loops(1), std::pair(-1, -1));
    EXPECT_EQ(group(p, 1).playmode, kPlayNormal);
    EXPECT_EQ(loops(2), std::pair(-1, -1));
    EXPECT_EQ(group(p, 2).playmode, kPlayOneshot);
    // Both spellings add one loop to the wave, shared by the two regions.
    EXPECT_EQ(loops(3), std::pair(0, 0));
    EXPECT_EQ(loops(4), std::pair(0, -1));
    const ZnPlug::Wave& plain = *group(p, 3).splits.front().wave();
    ASSERT_EQ(plain.loops.size(), 1u);
    EXPECT_EQ(std::tuple(plain.loops[0].start, plain.loops[0].end, plain.loops[0].mode),
              std::tuple(10u, 500u, LoopMode::Forward));
    // A start past the end adds nothing.
    EXPECT_EQ(loops(5), std::pair(0, -1));
}

TEST_F(Sfz, TuneKeycenterAndBackslashPaths) {
    writeWave(dir / "Samples/Low/c.wav", 100, 60);
    SharedRef<Program> p = load(
        "<region> sample=Samples\\Low\\c.wav tune=-30 pitch_keycenter=c#4\n"
        "<region> sample=samples/low/C.wav\n"
        "<region> sample=Samples/Low/c.wav tune=70\n");
    ASSERT_EQ(p->groups.size(), 3u);
    const Split& tuned = group(p, 0).splits.front();
    EXPECT_EQ(std::tuple(tuned.root(), tuned.fine(), tuned.hasOverride()), std::tuple(61, -30, true));
    // Names written without regard to case find the file; the wave's own root needs no override.
    EXPECT_EQ(group(p, 1).splits.front().wave(), tuned.wave());
    EXPECT_FALSE(group(p, 1).splits.front().hasOverride());
    // 70 cents move into the root: one key up, 30 cents down.
    EXPECT_EQ(std::tuple(group(p, 2).splits.front().root(), group(p, 2).splits.front().fine()), std::tuple(61, -30));
}

TEST_F(Sfz, EnvelopesLfosAndModulationDepths) {
    const Group g = only(
        "<region> ampeg_attack=0.5 ampeg_hold=1 ampeg_decay=2 ampeg_sustain=40 ampeg_release=0.25 ampeg_delay=0.1 "
        "pitcheg_attack=1 pitcheg_sustain=50 pitcheg_depth=1200 fileg_attack=2 fileg_depth=2400 fileg_sustain=20 "
        "pitchlfo_freq=5 pitchlfo_depth=30 fillfo_depth=99 fillfo_freq=2 amplfo_depth=3 amplfo_freq=4 "
        "pitch_veltrack=100 bend_up=1200 bend_down=-200 fil_veltrack=1200 cutoff=1000 off_by=3 trigger=release");
    using ZnPlug::TimeLaw;
    EXPECT_FLOAT_EQ(g.aeg.attack, float(TimeLaw::fromMs(500)));
    EXPECT_FLOAT_EQ(g.aeg.decay1, float(TimeLaw::fromMs(1000)));
    EXPECT_FLOAT_EQ(g.aeg.decay2, float(TimeLaw::fromMs(2000)));
    EXPECT_FLOAT_EQ(g.aeg.sustain, 0.4f);
    EXPECT_FLOAT_EQ(g.aeg.release, float(TimeLaw::fromMs(250)));
    EXPECT_FLOAT_EQ(g.delay, float(TimeLaw::fromMs(100)));
    EXPECT_FLOAT_EQ(g.env1.level1, 1.0f);
    EXPECT_FLOAT_EQ(g.env1.level2, 0.5f);
    EXPECT_FLOAT_EQ(g.env2.time1, float(TimeLaw::fromMs(2000)));
    EXPECT_FLOAT_EQ(g.env2.level2, 0.2f);
    EXPECT_FLOAT_EQ(g.lfo1.rate, float(ZnPlug::RateLaw::fromHz(5)));
    EXPECT_FLOAT_EQ(g.lfo2.rate, float(ZnPlug::RateLaw::fromHz(2)));
    EXPECT_FLOAT_EQ(g.seq1.rate, float(ZnPlug::RateLaw::fromHz(4)));
    const auto amount = [&](SFZGroup::Row row) { return g.modulation[row].amount; };
    EXPECT_FLOAT_EQ(amount(SFZGroup::kRowBend), -200);  // the last of the two wins
    EXPECT_FLOAT_EQ(amount(SFZGroup::kRowPitchEnv), 1200);
    // The filter LFO's depth lands on the pitch LFO's row, which keeps the last value.
    EXPECT_FLOAT_EQ(amount(SFZGroup::kRowPitchLfo), 99);
    EXPECT_FLOAT_EQ(amount(SFZGroup::kRowFilterLfo), 0);
    EXPECT_NEAR(amount(SFZGroup::kRowFilterEnv), 0.2, 1e-6);
    EXPECT_FLOAT_EQ(amount(SFZGroup::kRowPitchVelocity), 100);
    EXPECT_FLOAT_EQ(amount(SFZGroup::kRowAmpLfo), 3);
    // Velocity tracking of an octave on a 1 kHz cutoff reaches 2 kHz.
    EXPECT_NEAR(amount(SFZGroup::kRowFilterVelocity), std::sqrt(0.1), 1e-4);
    EXPECT_EQ(modulationDestinationName(g.modulation[SFZGroup::kRowFilterVelocity].destination), "Filter Freq");
    EXPECT_EQ(modulationSourceName(g.modulation[SFZGroup::kRowAmpLfo].source), "SEQ1");
    EXPECT_EQ(g.chokeGroup, 3);
    EXPECT_EQ(g.playmode, kPlayRelease);
}

TEST_F(Sfz, SwitcherOpcodes) {
    const Group g = only(
        "<region> sw_lokey=c1 sw_hikey=b1 sw_last=d1 sw_down=e1 sw_up=f1 sw_previous=60 lorand=0.25 hirand=0.5 "
        "seq_length=4 seq_position=2 lobpm=90 hibpm=120 lobend=-8192 hibend=8191 hichanaft=99");
    ASSERT_TRUE(g.switcher);
    const Switcher& s = *g.switcher;
    EXPECT_EQ(std::tuple(s.keyLow, s.keyHigh, s.keyLast, s.keyDown, s.keyUp, s.keyPrev),
              std::tuple(24, 35, 26, 28, 29, 60));
    EXPECT_EQ(std::tuple(s.randLow, s.randHigh, s.bpmLow, s.bpmHigh), std::tuple(0.25f, 0.5f, 90.0f, 120.0f));
    EXPECT_EQ(std::tuple(s.seqLength, s.seqPos, s.rangeLow, s.rangeHigh), std::tuple(4, 2, 0, 127));
    EXPECT_EQ(modulationSourceName(s.source), "Pitchbend");

    const Group cc = only("<region> on_locc64=64 on_hicc64=127");
    EXPECT_EQ(modulationSourceName(cc.switcher->source), "Midi CC 64");
    EXPECT_EQ(std::tuple(cc.switcher->rangeLow, cc.switcher->rangeHigh), std::tuple(64, 127));
    const Group aft = only("<region> lochanaft=20");
    EXPECT_EQ(modulationSourceName(aft.switcher->source), "Channel Pressure");
    EXPECT_EQ(aft.switcher->rangeLow, 20);
    // A region with none of these has no switcher.
    EXPECT_FALSE(only("<region> hichanaft=20").switcher);
}

TEST(UnicodeTextTest, DecodesByOrderMarkThenUtf8ThenLatin1) {
    auto bytes = [](std::initializer_list<int> list) {
        std::vector<uint8_t> v;
        for (int b : list) v.push_back(uint8_t(b));
        return v;
    };
    EXPECT_EQ(UnicodeText::decode(bytes({0xEF, 0xBB, 0xBF, 'a', 0xC3, 0xA9})), "a\xC3\xA9");
    EXPECT_EQ(UnicodeText::decode(bytes({0xFF, 0xFE, 'a', 0, 0xE9, 0, 0x3D, 0xD8, 0x00, 0xDE})), "a\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(UnicodeText::decode(bytes({0xFE, 0xFF, 0, 'a', 0xDC, 0x00})), "a\xEF\xBF\xBD");
    EXPECT_EQ(UnicodeText::decode(bytes({'a', 0xE9, 'b'})), "a\xC3\xA9" "b");
    EXPECT_EQ(UnicodeText::decode(bytes({'a', 0xC0, 0x80})), "a\xC3\x80\xC2\x80");
}

TEST_F(Sfz, Utf16FilesReadLikeUtf8Ones) {
    writeWave(dir / "\xC3\xA9t\xC3\xA9.wav", 100);
    const std::string text = "<region> sample=\xC3\xA9t\xC3\xA9.wav lokey=40";
    std::string utf16 = "\xFF\xFE";
    for (char32_t c : std::u32string{U"<region> sample=\u00E9t\u00E9.wav lokey=40"}) {
        utf16 += char(c & 0xFF);
        utf16 += char(c >> 8);
    }
    SharedRef<Program> p8 = load(text, "a.sfz");
    SharedRef<Program> p16 = load(utf16, "b.sfz");
    EXPECT_EQ(group(p16).range.lowKey, 40);
    EXPECT_EQ(group(p16).splits.front().wave(), group(p8).splits.front().wave());
    EXPECT_FALSE(group(p16).splits.front().wave()->isNone());
}

TEST(SfzBank, PlaysTheProgramOnAllChannelsAndWrapsFailures) {
    ScratchDir dir;
    writeWave(dir / "a.wav", 100);
    writeFile(dir / "inst.sfz", "<region> sample=a.wav");
    RecordingProgress progress;
    SharedRef<Bank> bank = importSfzBank(dir / "inst.sfz", progress);
    ASSERT_EQ(bank->performances.size(), 1u);
    EXPECT_EQ(bank->currentPerformance, bank->performances[0].get());
    ASSERT_EQ(bank->performances[0]->slots.size(), 1u);
    EXPECT_EQ(bank->performances[0]->slots[0]->channel, ProgramSlot::kAllChannels);
    EXPECT_EQ(bank->performances[0]->slots[0]->program, bank->programs.at(0));
    EXPECT_EQ(bank->waves.size(), 1u);

    writeFile(dir / "bad.sfz", "<region> fil_type=x");
    EXPECT_EQ(failure([&] { importSfzBank(dir / "bad.sfz", progress); }),
              "Could not load " + dir / "bad.sfz" + "\n - Invalid filter type : x");
}

}  // namespace
}  // namespace MV::Test
