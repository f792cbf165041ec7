// Akai programs written by the test: program chunks into the template, keygroups into groups
// with one split per zone, waves by zone name, and the texts of broken files.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "import/AkpLoader.h"
#include "import/ImportTestUtil.h"
#include "model/ModulationTables.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"

namespace MV::Test {
namespace {

using ZnLib::SharedRef;

// A chunk's bytes: `size` zeros with the given bytes set.
std::string bytes(std::size_t size, std::vector<std::pair<std::size_t, int>> set = {}) {
    std::string out(size, '\0');
    for (auto [at, v] : set) out.at(at) = char(uint8_t(v));
    return out;
}

std::string chunk(const std::string& id, const std::string& data) {
    std::string out = id;
    for (int i = 0; i < 4; ++i) out += char(uint8_t(data.size() >> (8 * i)));
    out += data;
    if (data.size() & 1) out += '\0';
    return out;
}

std::string program(const std::string& chunks, const std::string& form = "APRG") {
    return chunk("RIFF", form + chunks);
}

// A zone of `name` over velocities low..high with the bytes 38 to 43 given.
std::string zone(const std::string& name, int lowVel, int highVel, int filter, int pan, int playback, int output,
                 int level, int track = 1) {
    std::string z = bytes(46, {{1, int(name.size())}, {34, lowVel}, {35, highVel}, {38, filter}, {39, pan},
                               {40, playback}, {41, output}, {42, level}, {43, track}, {44, 0x88}, {45, 0x13}});
    z.replace(2, name.size(), name);
    return chunk("zone", z);
}

struct RecordingFilter : LoadedNothing {
    void process(const std::string& text) override { messages.push_back(text); }
    std::vector<std::string> messages;
};

class Akp : public ::testing::Test {
protected:
    SharedRef<Program> load(const std::string& text, std::vector<std::string> places = {}) {
        std::filesystem::create_directories(dir / "Programs");
        writeFile(dir / "Programs/prog.akp", text);
        AkpLoader loader(bank, filter, findNothing, std::move(places));
        return loader.loadFile(dir / "Programs/prog.akp");
    }
    std::string failure(const std::string& text) { return MV::Test::failure([&] { load(text); }); }

    ScratchDir dir;
    Bank bank;
    RecordingFilter filter;
    FindNothing findNothing;
};

TEST_F(Akp, KeygroupZonesBecomeGroupsOverTheKeygroupsKeys) {
    writeWave(dir / "Programs/Bass C1.wav", 500, 36, {ZnPlug::Loop(10, 400, ZnPlug::LoopMode::Forward, "L")});
    writeWave(dir / "Programs/Bass C2.wav", 500, 48, {ZnPlug::Loop(10, 400, ZnPlug::LoopMode::Forward, "L")});
    writeWave(dir / "Kits/Snare.wav", 300, 38);
    const std::string first = chunk("kgrp", chunk("kloc", bytes(16, {{4, 30}, {5, 47}, {7, 5}, {12, 50}, {14, 9}})) +
                                                chunk("env ", bytes(18, {{6, 80}, {7, 60}, {10, 20}})) +
                                                chunk("env ", bytes(18, {{5, 10}, {6, 20}, {7, 30}, {8, 40}})) +
                                                chunk("env ", bytes(18, {{5, 50}})) +
                                                chunk("filt", bytes(10, {{1, 4}, {2, 70}, {3, 20}})) +
                                                zone("Bass C1", 0, 63, 20, -25, 3, 10, 0) +
                                                zone("Bass C2", 64, 127, 0, 25, 0, 2, -30, 0) +
                                                chunk("zone", bytes(46)));
    const std::string second = chunk("kgrp", chunk("kloc", bytes(16, {{4, 38}, {5, 38}})) +
                                                 zone("Snare", 0, 127, 0, 0, 1, 0, 0) +
                                                 zone("Lost", 0, 127, 0, 0, 4, 0, 0));
    const SharedRef<Program> p =
        load(program(chunk("tune", bytes(22, {{2, uint8_t(-7)}, {15, 2}, {16, 12}, {18, 3}})) +
                     chunk("lfo ", bytes(12, {{1, 4}, {2, 50}, {3, 10}, {4, 60}, {5, 1}, {7, 40}})) +
                     chunk("out ", bytes(8)) + chunk("mods", bytes(38)) + first + second),
             {dir / "Kits"});
    ASSERT_EQ(p->name(), "prog");
    ASSERT_EQ(p->groups.size(), 4u) << "the empty zone makes no group";

    const Group& c1 = *p->groups[0];
    EXPECT_EQ(c1.name, "Bass C1");
    EXPECT_EQ(keys(c1), "30-47 vel 0-63 fade 30-47");
    EXPECT_EQ(c1.fine, -2) << "the program's -7 cents and the keygroup's 5";
    EXPECT_EQ(c1.chokeGroup, 7) << "the mute group is limited to 7";
    EXPECT_FLOAT_EQ(c1.aeg.level1, 0.8f);
    EXPECT_FLOAT_EQ(c1.aeg.sustain, 0.6f);
    EXPECT_FLOAT_EQ(c1.env1.level3, 0.4f);
    EXPECT_FLOAT_EQ(c1.env2.level0, 0.5f);
    EXPECT_EQ(c1.filter.type, kFilterBandPass);
    EXPECT_EQ(c1.filter.slope, kSlope24dB);
    EXPECT_NEAR(c1.filter.freq, 0.1f, 1e-6) << "|0.2 + 0.7 - 1|";
    EXPECT_FLOAT_EQ(c1.filter.res, 0.2f);
    EXPECT_FLOAT_EQ(c1.pan, -0.5f);
    EXPECT_FLOAT_EQ(c1.amp, 0.5f) << "|0 + 0.5 - 1|";
    EXPECT_EQ(c1.output, 5);
    EXPECT_NEAR(c1.start, 5000 * 0.00010001, 1e-6);
    EXPECT_EQ(c1.splits.front().root(), 36);
    EXPECT_EQ(c1.splits.front().loop, 0);
    EXPECT_EQ(c1.splits.front().release, -1) << "playback 3 loops until release";
    // The program's LFO: square at half phase (the inverted one), synced to tempo.
    EXPECT_EQ(c1.lfo1.type, kLfoSquare);
    EXPECT_FLOAT_EQ(c1.lfo1.amp, 0.6f);
    EXPECT_FLOAT_EQ(c1.lfo1.pos, 0.5f);
    EXPECT_EQ(c1.lfo1.mode, kLfoModeTempo);
    const auto row = [&](uint16_t source, uint8_t destination) {
        for (const ModulationEntry& e : c1.modulation)
            if (e.source == source && e.destination == destination) return e.amount;
        return 0.0f;
    };
    EXPECT_FLOAT_EQ(row(kSourcePitchbend, kDestPitchRaw), 1200);
    EXPECT_FLOAT_EQ(row(kSourceAftertouch, kDestPitchRaw), 300);
    EXPECT_FLOAT_EQ(row(kSourceModWheel, kDestLfo1Amp), 0.4f);
    EXPECT_FLOAT_EQ(row(kSourceVelocity, kDestVolume), 0.5f);
    EXPECT_FLOAT_EQ(row(kSourceVelocity, kDestAegAttack), 0.2f);

    const Group& c2 = *p->groups[1];
    EXPECT_EQ(keys(c2), "30-47 vel 64-127 fade 30-47");
    EXPECT_FLOAT_EQ(c2.amp, 0.8f) << "|-0.3 + 0.5 - 1|";
    EXPECT_EQ(c2.output, 1);
    EXPECT_EQ(c2.tuning, kTuningFixed);
    EXPECT_EQ(c2.splits.front().loop, -1);

    const Group& snare = *p->groups[2];
    EXPECT_EQ(snare.splits.front().wave()->file().path(), dir / "Kits/Snare.wav") << "found through the places";
    EXPECT_EQ(keys(snare), "38-38 vel 0-127 fade 38-38");
    EXPECT_EQ(snare.playmode, kPlayOneshot);
    EXPECT_EQ(snare.fine, -7) << "a keygroup starts from the program's template";

    EXPECT_TRUE(p->groups[3]->splits.front().wave()->isNone());
    ASSERT_EQ(filter.messages.size(), 1u);
    EXPECT_NE(filter.messages[0].find("Could not find file"), std::string::npos) << filter.messages[0];
}

TEST_F(Akp, BrokenFilesGiveTheirTexts) {
    EXPECT_EQ(failure("RIFX" + bytes(20)), "Not a valid RIFF file");
    EXPECT_EQ(failure(program(chunk("fmt ", bytes(16)), "WAVE")), "Not a valid Akai program file");
    EXPECT_EQ(failure(program(chunk("tune", bytes(21)))), "Address out of bounds");
    EXPECT_EQ(failure(program(chunk("kgrp", chunk("kloc", bytes(16)) + chunk("zone", bytes(46, {{1, 60}}))))),
              "Address out of bounds")
        << "a name longer than its chunk";
    std::string cut = program(chunk("lfo ", bytes(12)));
    cut.resize(cut.size() - 2);
    EXPECT_EQ(failure(cut), "Address out of bounds");
}

}  // namespace
}  // namespace MV::Test
