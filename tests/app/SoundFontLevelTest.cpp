// SoundFont attenuations measured on what the engine renders, through the command's own loader.
#include <gtest/gtest.h>

#include <cmath>

#include "InstrumentLoader.h"
#include "MidiFile.h"
#include "SongRenderer.h"
#include "engine/Morvek.h"
#include "import/ImportTestUtil.h"
#include "persist/XmlTestSupport.h"

namespace {

using MV::Test::Sf2Builder;
using Zone = Sf2Builder::Zone;

// Three notes of 0.5 s, 0.6 s apart, at velocity 100: keys 48, 60 and 72 on channel 1.
// 480 ticks per quarter at 120 beats per minute: 960 ticks a second.
std::vector<uint8_t> threeNotes() {
    std::vector<uint8_t> track;
    auto at = [&](uint32_t delta, std::initializer_list<uint8_t> msg) {
        if (delta >= 128) track.push_back(uint8_t(0x80 | (delta >> 7)));
        track.push_back(uint8_t(delta & 0x7F));
        track.insert(track.end(), msg);
    };
    for (uint8_t key : {48, 60, 72}) {
        at(key == 48 ? 0 : 96, {0x90, key, 100});
        at(480, {0x80, key, 0});
    }
    at(0, {0xFF, 0x2F, 0x00});
    std::vector<uint8_t> file = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0x01, 0xE0, 'M', 'T', 'r', 'k', 0, 0, 0,
                                 uint8_t(track.size())};
    file.insert(file.end(), track.begin(), track.end());
    return file;
}

double levelDb(const std::vector<float>& s, double fromSeconds, double toSeconds) {
    double sum = 0;
    const auto a = std::size_t(fromSeconds * 44100), b = std::size_t(toSeconds * 44100);
    for (std::size_t i = a; i < b; ++i) sum += std::fabs(s[i]);
    return 20 * std::log10(sum / double(b - a));
}

}  // namespace

TEST(SoundFontLevels, AttenuationAndSustainAreCentibelsBelowFullLevel) {
    Sf2Builder b;
    Sf2Builder::Sample s;
    s.name = "Flat";
    s.data.assign(2000, 8000);
    s.loopStart = 100, s.loopEnd = 1900;
    b.addSample(s);
    // Key 48: attenuation 60 cB; key 60: no level generators; key 72: sustain 100 cB after a
    // 30 ms decay.
    b.addInstrument("I", {Zone{{{43, Sf2Builder::range(48, 48)}, {48, 60}, {54, 1}, {53, 0}}},
                          Zone{{{43, Sf2Builder::range(60, 60)}, {54, 1}, {53, 0}}},
                          Zone{{{43, Sf2Builder::range(72, 72)}, {36, -6000}, {37, 100}, {54, 1}, {53, 0}}}});
    b.addPreset("P", 0, 0, {Zone{{{41, 0}}}});
    MV::XmlTest::Folder folder;
    const std::vector<uint8_t> bytes = b.build();
    const std::string path = folder.write("levels.sf2", std::string(bytes.begin(), bytes.end()));

    MV::Morvek engine;
    engine.adoptBank(*Cli::loadInstrument(path, {}, {}));
    const Cli::RenderResult r = Cli::renderSong(engine, Cli::MidiFile::parse(threeNotes()), Cli::RenderOptions{});
    const double full = levelDb(r.left, 0.8, 1.0);
    EXPECT_NEAR(levelDb(r.left, 0.2, 0.4) - full, -6.0, 0.1);
    EXPECT_NEAR(levelDb(r.left, 1.5, 1.65) - full, -10.0, 0.1);
}
