// SoundFont attenuations measured on what the engine renders, through the command's own loader.
#include <gtest/gtest.h>

#include <cmath>

#include "InstrumentLoader.h"
#include "MidiFile.h"
#include "SongRenderer.h"
#include "TestSong.h"
#include "engine/Morvek.h"
#include "import/ImportTestUtil.h"
#include "persist/XmlTestSupport.h"

namespace {

using MV::Test::Sf2Builder;
using Zone = Sf2Builder::Zone;

// Three notes of 0.5 s, 0.6 s apart, at velocity 100: keys 48, 60 and 72 on channel 1.
Cli::MidiFile threeNotes() {
    Cli::Test::TestSong song;
    for (uint8_t key : {48, 60, 72}) song.at(key == 48 ? 0 : 96, {0x90, key, 100}).at(480, {0x80, key, 0});
    return song.song();
}

double levelDb(const std::vector<float>& s, double fromSeconds, double toSeconds) {
    return 20 * std::log10(Cli::Test::meanLevel(s, fromSeconds, toSeconds));
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
    const Cli::RenderResult r = Cli::renderSong(engine, threeNotes(), Cli::RenderOptions{});
    const double full = levelDb(r.left, 0.8, 1.0);
    EXPECT_NEAR(levelDb(r.left, 0.2, 0.4) - full, -6.0, 0.1);
    EXPECT_NEAR(levelDb(r.left, 1.5, 1.65) - full, -10.0, 0.1);
}
