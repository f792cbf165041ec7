#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <sstream>
#include <vector>

#include "WaveTestFiles.h"
#include "plug/AudioPlugin.h"

using namespace ZnPlug;
using WaveTestFiles::thrownText;
using Dir = AudioPlugin::Direction;

namespace {

// Records what the frame asks of it.
struct ProbePlugin : AudioPlugin {
    using AudioPlugin::AudioPlugin;
    using AudioPlugin::setScratchCount;
    int reconfigures = 0, resumes = 0, outputChanges = 0;
    std::vector<int32_t> counts;
    std::vector<float*> seenOutputs;
    double movePosTo = -1;  // when >= 0, process() moves the transport itself
    std::function<bool(BusInfo&)> outputCheck;

    void reconfigure() override { ++reconfigures; }
    void resume() override { ++resumes; }
    void outputsChanged() override { ++outputChanges; }
    bool checkOutputBus(BusInfo& b) override { return outputCheck ? outputCheck(b) : true; }
    void process(const float* const*, float* const* outputs, int32_t count) override {
        counts.push_back(count);
        seenOutputs.assign(outputs, outputs + outputCount());
        if (movePosTo >= 0) context().sample_pos = movePosTo;
    }
};

struct CountingDispatcher : AudioPlugin::Dispatcher {
    int io = 0;
    void beginEdit(int32_t) override {}
    void endEdit(int32_t) override {}
    void automate(int32_t, float) override {}
    void parameterChanged(int32_t) override {}
    void inputsChanged() override { ++io; }
    void outputsChanged() override { ++io; }
    bool resizeEditor(int32_t, int32_t) override { return false; }
    void updateDisplay() override {}
    void programChanged(int32_t) override {}
    void bankChanged(int32_t) override {}
};

struct Knob : AudioPlugin::Parameter {
    float value = 0;
    void set(float v) override { value = v; }
    float get() const override { return value; }
    std::string name() const override { return "Knob"; }
};

struct CountingGroup : AudioPlugin::ParameterGroup {
    using ParameterGroup::ParameterGroup;
    int sets = 0;
    void memberSet(AudioPlugin::Parameter&, float) override { ++sets; }
};

std::vector<std::string> busNames(const AudioPlugin& p, Dir d) {
    std::vector<std::string> out;
    for (const PinInfo& pin : p.pins(d)) out.push_back(pin.bus ? pin.bus->name : "<none>");
    return out;
}

// The transport part of a context in one line.
std::string transport(const ProcessContext& c) {
    std::ostringstream o;
    o << (c.playing ? "play " : "") << (c.recording ? "rec " : "") << (c.cycling ? "cycle " : "") << c.tempo
      << " bpm at " << c.sample_pos << " ppq " << c.ppq_pos << " bar " << c.bar_start << " loop " << c.cycle_start
      << "-" << c.cycle_end << " " << c.sig_numerator << "/" << c.sig_denominator;
    return o.str();
}

}  // namespace

TEST(AudioPlugin, BlockSizeChangeReplacesSharedBuffersOnlyWhenItChanges) {
    ZnLib::SharedRef<ProbePlugin> p(new ProbePlugin, ZnLib::adoptRef);
    p->setScratchCount(2);
    p->applyBlockSize(1024);
    EXPECT_EQ(p->reconfigures, 0);

    // Leave the flat vector pointing at silence and discard, then change the size.
    p->audioCall(nullptr, nullptr, 16, true, nullptr, false);
    const float* oldSilence = p->silence();
    p->applyBlockSize(256);
    EXPECT_EQ(p->reconfigures, 1);
    EXPECT_NE(p->silence(), oldSilence);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(p->channels()[std::size_t(i)], p->silence());
    for (int i = 2; i < 18; ++i) EXPECT_EQ(p->channels()[std::size_t(i)], p->discard());
    p->scratch(1)[255] = 1.0f;  // sized to the new block (ASan would catch an overrun)

    p->applySampleRate(48000);
    EXPECT_EQ(p->reconfigures, 2);
    EXPECT_DOUBLE_EQ(p->context().rate_ratio, 44100.0 / 48000.0);
    p->setBypass(false);
    EXPECT_EQ(p->reconfigures, 2);
    p->setBypass(true);
    EXPECT_EQ(p->reconfigures, 3);
}

TEST(AudioPlugin, AudioCallRendersAtMostABlockButTransportAdvancesByHostCount) {
    ZnLib::SharedRef<ProbePlugin> p(new ProbePlugin(0, 2), ZnLib::adoptRef);
    p->applySampleRate(48000);
    p->applyBlockSize(256);
    p->context().tempo = 120;
    std::vector<float> l(1000), r(1000);
    float* outs[] = {l.data(), r.data()};

    p->audioCall(nullptr, outs, 1000, true, nullptr, true);
    ASSERT_EQ(p->counts.size(), 1u);
    EXPECT_EQ(p->counts[0], 256);
    EXPECT_TRUE(p->isOffline());
    EXPECT_DOUBLE_EQ(p->context().sample_pos, 1000);
    EXPECT_DOUBLE_EQ(p->context().ppq_pos, 120.0 / 60.0 * 1000 / 48000.0);

    // A plug-in that moves its own clock is left alone.
    p->movePosTo = 5;
    p->audioCall(nullptr, outs, 100, false, nullptr, false);
    EXPECT_DOUBLE_EQ(p->context().sample_pos, 5);
    EXPECT_FALSE(p->isOffline());
}

TEST(AudioPlugin, HostTimeIsCopiedOnlyByItsValidBits) {
    ZnLib::SharedRef<ProbePlugin> p(new ProbePlugin, ZnLib::adoptRef);
    HostTime t;
    t.samplePos = 4410;
    t.ppqPos = 7;
    t.tempo = 90;
    t.barStartPos = 4;
    t.cycleStartPos = 8;
    t.cycleEndPos = 16;
    t.timeSigNumerator = 3;
    t.timeSigDenominator = 8;

    t.flags = HostTime::kTempoValid | HostTime::kTransportCycleActive;
    p->audioCall(nullptr, nullptr, 0, true, &t, false);  // a count of 0 still reads the time
    // Not playing: the position is not taken.
    EXPECT_EQ(transport(p->context()), "cycle 90 bpm at 0 ppq 0 bar 0 loop 0-0 4/4");

    t.flags = HostTime::kTransportPlaying | HostTime::kTransportRecording | HostTime::kPpqPosValid |
              HostTime::kBarsValid | HostTime::kCyclePosValid | HostTime::kTimeSigValid;
    t.tempo = 60;
    p->audioCall(nullptr, nullptr, 0, true, &t, false);
    EXPECT_EQ(transport(p->context()), "play rec 90 bpm at 4410 ppq 7 bar 4 loop 8-16 3/8");
}

TEST(AudioPlugin, NullAndInactivePinsReadSilenceAndWriteDiscard) {
    ZnLib::SharedRef<ProbePlugin> p(new ProbePlugin(2, 3), ZnLib::adoptRef);
    std::vector<float> in0(64, 0.5f), out0(64, 9.0f), out2(64, 9.0f);
    const float* ins[] = {in0.data(), nullptr};
    float* outs[] = {out0.data(), nullptr, out2.data()};
    p->setPinActive(Dir::Output, 2, false);
    p->discard()[0] = 3.0f;

    p->audioCall(ins, outs, 64, true, nullptr, false);
    const auto& ch = p->channels();
    EXPECT_EQ(ch[0], in0.data());
    EXPECT_EQ(ch[1], p->silence());
    EXPECT_EQ(ch[2], out0.data());
    EXPECT_EQ(ch[3], p->discard());
    EXPECT_EQ(ch[4], p->discard());
    // Replacing clears what the host listens to, and leaves the shared sink and idle pins alone.
    EXPECT_EQ(out0[63], 0.0f);
    EXPECT_EQ(out2[0], 9.0f);
    EXPECT_EQ(p->discard()[0], 3.0f);
    EXPECT_EQ(p->seenOutputs[1], p->discard());
}

TEST(AudioPlugin, DefaultBusesPairPinsAndLeaveALastMono) {
    ZnLib::SharedRef<AudioPlugin> p(new AudioPlugin, ZnLib::adoptRef);
    std::vector<std::string> pairs;
    for (int i = 1; i < 16; i += 2)
        pairs.insert(pairs.end(), 2, "S " + std::to_string(i) + "+" + std::to_string(i + 1));
    EXPECT_EQ(busNames(*p, Dir::Output), pairs);
    EXPECT_EQ(p->pin(Dir::Output, 15).bus->start, 14);
    EXPECT_EQ(p->pin(Dir::Output, 15).bus->shape, 2);
    EXPECT_EQ(busNames(*p, Dir::Input), (std::vector<std::string>{"S 1+2", "S 1+2"}));

    ZnLib::SharedRef<AudioPlugin> odd(new AudioPlugin(1, 5), ZnLib::adoptRef);
    EXPECT_EQ(busNames(*odd, Dir::Input), (std::vector<std::string>{"M 1"}));
    EXPECT_EQ(busNames(*odd, Dir::Output), (std::vector<std::string>{"S 1+2", "S 1+2", "S 3+4", "S 3+4", "M 5"}));
    EXPECT_EQ(odd->pin(Dir::Output, 4).bus->shape, 1);
    EXPECT_EQ(odd->pin(Dir::Output, 4).bus->pins, 1);
}

TEST(AudioPlugin, AddedBusFreesOverlappedPinsAndAcceptsAdjustment) {
    ZnLib::SharedRef<ProbePlugin> p(new ProbePlugin(2, 8), ZnLib::adoptRef);
    CountingDispatcher d;
    p->setDispatcher(&d);

    // A stereo bus across two default pairs: the pins at both ends fall back to mono defaults.
    BusInfo across{"Across", 1, 2, 2};
    p->addBuses(Dir::Output, std::span(&across, 1));
    EXPECT_EQ(busNames(*p, Dir::Output),
              (std::vector<std::string>{"M 1", "Across", "Across", "M 4", "S 5+6", "S 5+6", "S 7+8", "S 7+8"}));
    EXPECT_EQ(p->pin(Dir::Output, 1).bus, p->pin(Dir::Output, 2).bus);
    EXPECT_EQ(p->resumes, 1);
    EXPECT_EQ(p->outputChanges, 1);
    EXPECT_EQ(d.io, 1);

    // A surround bus over everything from pin 2 on, which the plug-in trims to 5.1.
    p->outputCheck = [](BusInfo& b) {
        b.pins = 6;
        b.shape = 6;
        return false;
    };
    p->addBus(Dir::Output, BusInfo{"Wide", 2, 6, 0});
    EXPECT_EQ(busNames(*p, Dir::Output),
              (std::vector<std::string>{"M 1", "M 2", "Wide", "Wide", "Wide", "Wide", "Wide", "Wide"}));
    EXPECT_EQ(BusInfo::arrangementOf(p->pin(Dir::Output, 7).bus->shape), 15);

    // An adjustment that leaves the pins is refused by the second bound check.
    p->outputCheck = [](BusInfo& b) {
        b.pins = 9;
        return false;
    };
    EXPECT_EQ(thrownText([&] { p->addBus(Dir::Output, BusInfo{"Too wide", 0, 2, 2}); }), "pins");
    p->setDispatcher(nullptr);
}

TEST(AudioPlugin, RefusalsCarryTheirTexts) {
    ZnLib::SharedRef<AudioPlugin> p(new AudioPlugin, ZnLib::adoptRef);
    EXPECT_EQ(thrownText([&] { p->addBus(Dir::Output, BusInfo{"x", -1, 2, 2}); }), "Invalid bus");
    EXPECT_EQ(thrownText([&] { p->addBus(Dir::Output, BusInfo{"x", 16, 1, 1}); }), "start");
    EXPECT_EQ(thrownText([&] { p->addBus(Dir::Input, BusInfo{"x", 1, 2, 2}); }), "pins");
    EXPECT_EQ(thrownText([&] { p->addBus(Dir::Output, BusInfo{"x", 0, 3, 3}); }), "bad busmode");
    EXPECT_EQ(thrownText([&] { p->pin(Dir::Input, 2); }), "index");
    EXPECT_EQ(thrownText([&] { p->addParameter({}); }), "null parameter");
    EXPECT_EQ(thrownText([] { BusInfo::shapeForPins(3); }), "Illegal pin count 3");
    EXPECT_EQ(BusInfo::shapeForPins(8), 8);
    EXPECT_EQ(BusInfo::arrangementOf(263), 21);
    EXPECT_EQ(BusInfo::widthOf(264), 8);
    EXPECT_EQ(BusInfo::shapeOfArrangement(23), 264);
    EXPECT_EQ(BusInfo::shapeOfArrangement(2), 0);
    EXPECT_EQ(BusInfo::pinModeOf(5), PinMode::Surround);
}

TEST(AudioPlugin, ParametersAndGroupsAsTheHostSeesThem) {
    ZnLib::SharedRef<AudioPlugin> p(new AudioPlugin, ZnLib::adoptRef);
    p->setParameterCount(8);
    auto knob = ZnLib::makeRef<Knob>();
    p->setParameterAt(3, knob);
    EXPECT_EQ(knob->index(), 3);

    auto amp = p->parameterGroup("Amp");
    ZnLib::SharedRef<CountingGroup> env(new CountingGroup("Env", amp.get(), 2), ZnLib::adoptRef);
    knob->setGroup(env);
    EXPECT_EQ(env->name(), "Amp Env");
    EXPECT_EQ(env->memberCount(), 1);
    EXPECT_EQ(amp->number(), 1);
    EXPECT_EQ(p->parameterGroup("Amp"), amp);  // looked up, not made twice
    EXPECT_EQ(p->parameterGroup("Filter", amp.get())->name(), "Amp Filter");
    EXPECT_EQ(p->parameterGroup("Filter", amp.get())->number(), 2);
    EXPECT_EQ(p->findParameterGroup("Amp Filter")->number(), 2);
    EXPECT_FALSE(p->findParameterGroup("Filter"));

    p->hostSetParameter(3, 0.25f);
    EXPECT_EQ(knob->value, 0.25f);
    EXPECT_EQ(env->sets, 1);
    EXPECT_EQ(p->hostGetParameter(3), 0.25f);
    EXPECT_EQ(p->parameterDisplay(3), "0.25");
    EXPECT_EQ(p->parameterNameAt(3), "Knob");
    // Empty slots fall back to the plug-in's own operations.
    EXPECT_EQ(p->parameterNameAt(7), "Param007");
    EXPECT_EQ(p->parameterDisplay(7), "0.00");
    EXPECT_TRUE(p->parameterFromText(3, " 0.5 and more"));
    EXPECT_EQ(knob->value, 0.5f);
    EXPECT_FALSE(p->parameterFromText(3, "loud"));
    EXPECT_FALSE(p->parameterFromText(7, "0.5"));

    knob->setGroup({});
    EXPECT_EQ(env->memberCount(), 0);
}

TEST(AudioPlugin, ProgramChangedMarksAreTakenOnce) {
    ZnLib::SharedRef<AudioPlugin> p(new AudioPlugin, ZnLib::adoptRef);
    EXPECT_FALSE(p->takeProgramsChanged(0));
    p->markProgramChanged(3);
    EXPECT_FALSE(p->takeProgramsChanged(2));
    EXPECT_TRUE(p->takeProgramsChanged(3));
    EXPECT_FALSE(p->takeProgramsChanged(3));
    p->markAllProgramsChanged();
    EXPECT_TRUE(p->takeProgramsChanged(16));
    EXPECT_FALSE(p->takeProgramsChanged(16));
}
