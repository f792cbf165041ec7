#include <gtest/gtest.h>

#include <limits>

#include "TriggerFixture.h"
#include "engine/OutputMeter.h"

using namespace MV;
using namespace MV::Test;

namespace {
// Records each event with the performance that was current and the transport position when it
// took effect.
struct Recorder : MidiListener {
    struct Entry {
        ZnPlug::MidiEvent event;
        int32_t performance;
        double samplePos;
        Morvek* current;
    };
    void onMidi(Morvek& engine, const ZnPlug::MidiEvent& e, bool) override {
        entries.push_back({e, engine.currentProgram(), engine.context().sample_pos, Morvek::current()});
    }
    std::vector<Entry> entries;
};

ZnLib::SharedRef<Performance> addPerformanceWith(Morvek& engine, ZnLib::SharedRef<FX::Effect> fx) {
    auto p = ZnLib::makeRef<Performance>();
    p->fx[0] = std::move(fx);
    engine.addPerformance(p);
    return p;
}
}  // namespace

TEST(Morvek, StartsWithADefaultPerformanceProgramAndSlot) {
    Morvek engine;
    ASSERT_EQ(engine.programCount(), 1);
    EXPECT_EQ(engine.currentProgram(), 0);
    EXPECT_EQ(engine.programName(0), "New Performance");
    EXPECT_EQ(engine.midiChannelCount(), 1);
    EXPECT_EQ(engine.midiChannelOf(0), 0);
    EXPECT_EQ(engine.midiChannelOf(5), 16);
    EXPECT_EQ(engine.channelProgramName(0), "New Program");
    EXPECT_EQ(engine.channelProgram(0), 0);
    EXPECT_EQ(engine.channelProgram(3), -1);
    EXPECT_EQ(engine.outputCount(), 16);
    EXPECT_EQ(engine.inputCount(), 2);
    EXPECT_EQ(engine.channel(3).fallback, &engine.channel(16));
    EXPECT_EQ(engine.channel(16).fallback, nullptr);
    EXPECT_GE(engine.eventQueue().capacity(), 1024u);
}

TEST(Morvek, ZeroSampleBlockLeavesQueueAndTransportAlone) {
    Morvek engine;
    Host host(engine);
    auto e = event(0x90, 60, 100, 10);
    engine.processEvents(&e, 1);
    host.run(0);
    EXPECT_EQ(engine.eventQueue().size(), 1u);
    EXPECT_EQ(engine.context().sample_pos, 0.0);
}

TEST(Morvek, EventsPastTheBlockWaitAndAreHandledFirstInTheNext) {
    Morvek engine;
    Recorder rec;
    engine.addMidiListener(&rec);
    Host host(engine, 256);
    std::vector<ZnPlug::MidiEvent> events = {event(0xB0, 7, 1, 300), event(0xB0, 7, 2, 100), event(0xB0, 7, 3, 100)};
    engine.processEvents(events.data(), int32_t(events.size()));
    // Sorted by offset, and stably: equal offsets keep their arrival order.
    ASSERT_EQ(engine.eventQueue()[0].data2, 2);
    ASSERT_EQ(engine.eventQueue()[1].data2, 3);

    host.run(256);
    ASSERT_EQ(rec.entries.size(), 2u);
    EXPECT_EQ(rec.entries[0].samplePos, 100.0);  // sample accurate
    EXPECT_EQ(rec.entries[0].current, &engine);
    ASSERT_EQ(engine.eventQueue().size(), 1u);
    EXPECT_EQ(engine.eventQueue()[0].offset, 300);  // kept, with its old offset

    auto early = event(0xB0, 7, 4, 20);
    engine.processEvents(&early, 1);
    host.run(256);
    ASSERT_EQ(rec.entries.size(), 4u);
    EXPECT_EQ(rec.entries[2].event.data2, 1);  // the carried event goes first, at once
    EXPECT_EQ(rec.entries[2].samplePos, 256.0);
    EXPECT_EQ(rec.entries[3].samplePos, 276.0);
    EXPECT_EQ(Morvek::current(), nullptr);
}

TEST(Morvek, ProgramChangesSwitchPerformancesAtSegmentBoundaries) {
    Morvek engine;
    auto a = ZnLib::makeRef<ConstEffect>(1.0f);
    auto b = ZnLib::makeRef<ConstEffect>(2.0f);
    auto c = ZnLib::makeRef<ConstEffect>(3.0f);
    engine.performances.clear();
    addPerformanceWith(engine, a);
    addPerformanceWith(engine, b);
    addPerformanceWith(engine, c);
    engine.currentPerformance = engine.performances[0].get();
    Recorder rec;
    engine.addMidiListener(&rec);
    Host host(engine, 256);
    std::vector<ZnPlug::MidiEvent> events = {event(0xC0, 1, 0, 100), event(0xC0, 2, 0, 150),
                                             event(0xB0, 7, 9, 150)};
    engine.processEvents(events.data(), 3);
    host.run(256);

    EXPECT_EQ(engine.currentProgram(), 2);
    // Sound before each change comes from the old performance.
    EXPECT_FLOAT_EQ(host.at(0, 99), 1.0f);
    EXPECT_FLOAT_EQ(host.at(0, 100), 2.0f);
    EXPECT_FLOAT_EQ(host.at(0, 149), 2.0f);
    EXPECT_FLOAT_EQ(host.at(1, 255), 3.0f);
    // The second change waited for the next segment, and the controller behind it saw the new
    // performance.
    ASSERT_EQ(rec.entries.size(), 3u);
    EXPECT_EQ(rec.entries[1].performance, 1);
    EXPECT_EQ(rec.entries[2].performance, 2);
    EXPECT_EQ(a->released, 1);
    EXPECT_EQ(b->prepared, 1);
    EXPECT_EQ(b->released, 1);
    // A unit always processes the whole block from 0, once per segment.
    EXPECT_EQ(b->lastFrames, 256);
}

TEST(Morvek, ProgramChangeModesProgramAndOff) {
    Morvek engine;
    auto second = ZnLib::makeRef<Program>("Second");
    engine.addProgram(second);
    engine.useBankSelect = true;
    engine.programChangeMode = kProgramChangeProgram;
    Host host(engine);
    auto change = event(0xC0, 1, 0, 0);
    engine.processEvents(&change, 1);
    host.run(64);
    EXPECT_EQ(engine.performance().slots[0]->program.get(), second.get());

    // Bank select moves the number by 128 per bank: 129 is no program, nothing changes.
    std::vector<ZnPlug::MidiEvent> banked = {event(0xB0, 0, 1, 0), event(0xC0, 0, 0, 1)};
    engine.processEvents(banked.data(), 2);
    host.run(64);
    EXPECT_EQ(engine.performance().slots[0]->program.get(), second.get());

    engine.programChangeMode = kProgramChangeOff;
    auto ignored = event(0xC0, 0, 0, 0);
    engine.processEvents(&ignored, 1);
    host.run(64);
    EXPECT_EQ(engine.performance().slots[0]->program.get(), second.get());
}

TEST(Morvek, PoolEndShrinksAndNoteCounterRestartsWhenThePoolDrains) {
    TriggerRig rig;
    rig.addGroup();
    for (uint8_t key : {60, 62, 64}) rig.press(key);
    EXPECT_EQ(rig.engine.poolEnd(), 3);
    EXPECT_EQ(rig.engine.noteCounter(), 3u);
    rig.engine.voice(2).kill();
    rig.run(1);
    EXPECT_EQ(rig.engine.poolEnd(), 2);
    rig.engine.voice(0).kill();  // a hole below pool_end stays
    rig.run(1);
    EXPECT_EQ(rig.engine.poolEnd(), 2);
    EXPECT_EQ(rig.engine.noteCounter(), 3u);
    rig.engine.voice(1).kill();
    rig.run(1);
    EXPECT_EQ(rig.engine.poolEnd(), 0);
    EXPECT_EQ(rig.engine.noteCounter(), 0u);
}

TEST(Morvek, AutomationDeltaIsMeasuredFromTheDefault) {
    Morvek engine;
    engine.setAutomationDefault(3, 0.25f);
    engine.setAutomationDefault(4, 0.75f);
    engine.setParameter(3, 1.0f);
    engine.setParameter(4, 0.0f);
    engine.setParameter(200, 1.0f);
    EXPECT_FLOAT_EQ(engine.automation(3).delta, 1.0f);
    EXPECT_FLOAT_EQ(engine.automation(4).delta, -1.0f);
    EXPECT_FLOAT_EQ(engine.getParameter(4), 0.0f);
    EXPECT_EQ(engine.getParameter(200), 0.0f);
    EXPECT_EQ(engine.automationMoved(), 2);
    Host host(engine);
    host.run(8);
    EXPECT_EQ(engine.automationMoved(), 0);
}

TEST(Morvek, OutputBusesKeepStereoPairsOnTheFirstEightPins) {
    Morvek engine;
    using D = ZnPlug::AudioPlugin::Direction;
    auto busAt = [&](int pin) { return *engine.pin(D::Output, pin).bus; };
    ZnPlug::BusInfo mono{"x", 3, 1, 1};
    engine.addBus(D::Output, mono);
    EXPECT_EQ(busAt(3).start, 2);
    EXPECT_EQ(busAt(3).pins, 2);
    ZnPlug::BusInfo lateMono{"y", 9, 1, 1};
    engine.addBus(D::Output, lateMono);
    EXPECT_EQ(busAt(9).pins, 1);
    EXPECT_EQ(busAt(8).pins, 1);  // the pin the mono bus freed became a default bus of its own
    ZnPlug::BusInfo oddPair{"z", 11, 2, 2};
    engine.addBus(D::Output, oddPair);
    EXPECT_EQ(busAt(11).start, 10);
    ZnPlug::BusInfo wide{"w", 12, 4, 8 - 2};
    engine.addBus(D::Output, wide);
    EXPECT_EQ(busAt(12).pins, 2);
    ZnPlug::BusInfo in{"in", 0, 1, 1};
    engine.addBus(D::Input, in);
    EXPECT_EQ(engine.pin(D::Input, 0).bus->pins, 2);
}

TEST(OutputMeter, PeakIsTheLargestMagnitudeWhereverItFallsAndPassesOverNaN) {
    for (int at = 0; at < 11; ++at) {
        float samples[11] = {0.25f, -0.5f};
        samples[7] = std::numeric_limits<float>::quiet_NaN();
        samples[at] = -0.75f;
        OutputMeter meter;
        meter.update(samples, 11, 44100.0);
        EXPECT_EQ(meter.peak, 0.75f) << at;
    }
}

TEST(Morvek, SilentEngineClearsOutputsAndMetersFollowThem) {
    Morvek engine;
    Host host(engine, 128);
    host.run(128);
    for (int pin = 0; pin < 16; ++pin) EXPECT_EQ(host.at(pin, 127), 0.0f);
    EXPECT_EQ(engine.meter(0).peak, 0.0f);

    engine.performance().fx[0] = ZnLib::makeRef<ConstEffect>(0.5f);
    host.run(128);
    EXPECT_FLOAT_EQ(engine.meter(0).peak, 0.5f);
    EXPECT_FLOAT_EQ(engine.meter(1).hold, 0.5f);
    EXPECT_EQ(engine.meter(2).peak, 0.0f);
}
