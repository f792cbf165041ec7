// Instruments converted to the product's documents play as their sources did.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "Convert.h"
#include "DemoInstrument.h"
#include "InstrumentLoader.h"
#include "MidiFile.h"
#include "SongRenderer.h"
#include "TestSong.h"
#include "engine/Morvek.h"
#include "import/ImportTestUtil.h"
#include "lib/Error.h"
#include "persist/XmlTestSupport.h"

namespace {

const char* const kTimGm6mb = "/usr/share/sounds/sf2/TimGM6mb.sf2";

Cli::RenderResult render(const std::string& instrument, const Cli::MidiFile& song,
                         const std::vector<MV::ChannelChoice>& choices = {}) {
    MV::Morvek engine;
    engine.adoptBank(*Cli::loadInstrument(instrument, choices, {}));
    Cli::RenderOptions options;
    options.maxTailSeconds = 2;
    return Cli::renderSong(engine, song, options);
}

// The largest difference between two renders, in dB below the first one's peak.
// Documents hold six significant digits and rounded times, so a converted instrument is close, not
// bit-equal.
double differenceDb(const Cli::RenderResult& a, const Cli::RenderResult& b) {
    EXPECT_EQ(a.left.size(), b.left.size());
    float worst = 0;
    for (std::size_t i = 0; i < std::min(a.left.size(), b.left.size()); ++i)
        worst = std::fmax(worst, std::fmax(std::fabs(a.left[i] - b.left[i]), std::fabs(a.right[i] - b.right[i])));
    return worst > 0 ? 20 * std::log10(worst / a.peak) : -300;
}

// Channel 1 only: a run of overlapping notes over the keyboard at changing velocities, 2.2 s.
Cli::MidiFile keyboardRun() {
    Cli::Test::TestSong song;
    for (uint8_t key = 36, n = 0; key <= 96; key += 5, ++n)
        song.at(0, {0x90, key, uint8_t(30 + 8 * n)}).at(192, {0x80, key, 0});
    return song.song();
}

std::string convertError(const std::string& in, const std::string& out, Cli::ConvertOptions options = {}) {
    try {
        Cli::convertInstrument(in, out, options);
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "";
}

}  // namespace

TEST(Convert, OnePresetAndAnSfzPlayLikeTheirSources) {
    MV::XmlTest::Folder folder;
    const Cli::MidiFile run = keyboardRun();

    // One SoundFont preset as a program, against the SoundFont with that preset chosen.
    Cli::ConvertOptions strings;
    strings.preset = "0:48";
    Cli::convertInstrument(kTimGm6mb, folder.path("strings.mvprog"), strings);
    const Cli::RenderResult direct = render(kTimGm6mb, run, {{0, 0, 48}});
    EXPECT_GT(direct.peak, 0.05f);
    EXPECT_LT(differenceDb(direct, render(folder.path("strings.mvprog"), run)), -60);

    // An SFZ, with a loop, as a bank document; its wave stays where it is.
    MV::Test::writeWave(folder.path("sfz/tone.wav"), 4410, 60,
                        {ZnPlug::Loop(441, 4000, ZnPlug::LoopMode::Forward, "1")});
    folder.write("sfz/tone.sfz",
                 "<region> sample=tone.wav ampeg_release=0.3 "
                 "cutoff=3000 fil_type=lpf_2p\n");
    EXPECT_EQ(Cli::convertInstrument(folder.path("sfz/tone.sfz"), folder.path("tone.mvbank"), {}), 3u);
    EXPECT_LT(differenceDb(render(folder.path("sfz/tone.sfz"), run), render(folder.path("tone.mvbank"), run)), -60);
}

TEST(Convert, AWholeSoundFontFollowsProgramChangesLikeTheSoundFont) {
    MV::XmlTest::Folder folder;
    const Cli::MidiFile song = Cli::MidiFile::read(MORVEK_SOURCE_DIR "/res/demo/gm-demo.mid");
    EXPECT_GT(Cli::convertInstrument(kTimGm6mb, folder.path("gm/All.mvbank"), {}), 500u);
    // Pitches read back from six digits drift a voice's position by a fraction of a frame over a
    // long note; where a loop's seam jumps, one sample then differs more than elsewhere.
    EXPECT_LT(differenceDb(render(kTimGm6mb, song, Cli::songChannelChoices(song)),
                           render(folder.path("gm/All.mvbank"), song)),
              -45);
}

TEST(Convert, TheDemoBankFilesPlayLikeTheInstrumentBuiltInMemory) {
    MV::XmlTest::Folder folder;
    Cli::writeDemoBank(folder.path("demo/Demo.mvbank"));
    MV::Morvek engine;
    {
        std::lock_guard lock(engine.mainLock());
        Cli::loadDemoInstrument(engine);
    }
    const Cli::MidiFile demo = Cli::MidiFile::read(MORVEK_SOURCE_DIR "/res/demo/demo.mid");
    Cli::RenderOptions options;
    options.maxTailSeconds = 2;
    EXPECT_LT(differenceDb(Cli::renderSong(engine, demo, options), render(folder.path("demo/Demo.mvbank"), demo)), -60);
}

TEST(Convert, HostPresetFilesCarryTheInstrumentByPathOrByContent) {
    MV::XmlTest::Folder folder;
    const std::string bank = folder.path("demo/Demo.mvbank");
    Cli::writeDemoBank(bank);
    const Cli::MidiFile run = keyboardRun();
    const Cli::RenderResult direct = render(bank, run);
    Cli::convertInstrument(bank, folder.path("byPath.fxb"), {});
    Cli::ConvertOptions embed;
    embed.embedWaves = true;
    Cli::convertInstrument(bank, folder.path("whole.fxb"), embed);
    Cli::convertInstrument(bank, folder.path("current.fxp"), embed);
    EXPECT_EQ(render(folder.path("byPath.fxb"), run).left, direct.left);
    // Without the files: the waves come from the preset, re-encoded once (16-bit, a hair quieter).
    std::filesystem::remove_all(folder.path("demo"));
    EXPECT_LT(differenceDb(direct, render(folder.path("whole.fxb"), run)), -80);
    EXPECT_LT(differenceDb(direct, render(folder.path("current.fxp"), run)), -80);
}

TEST(Convert, RefusesWhatItCannotWriteAndKeepsTheOldFile) {
    MV::XmlTest::Folder folder;
    EXPECT_EQ(
        convertError(kTimGm6mb, folder.path("x.wav")),
        "Cannot save as " + folder.path("x.wav") + ": the name must end in .mvbank, .mvprog, .mvperf, .mvmatrix, .fxb or .fxp");
    EXPECT_NE(convertError(kTimGm6mb, folder.path("all.mvprog")).find("(choose it with --preset BANK:PROG)"),
              std::string::npos);
    Cli::ConvertOptions missing;
    missing.preset = "5:5";
    EXPECT_EQ(convertError(kTimGm6mb, folder.path("p.mvprog"), missing),
              std::string("Could not load ") + kTimGm6mb + "\n - The SoundFont has no preset 5:5");
    // A program whose waves cannot be written: the program's old file stays as it was.
    const std::string old = folder.write("keep.mvprog", "old");
    folder.write("Samples", "a file where the wave folder would go");
    Cli::ConvertOptions piano;
    piano.preset = "0:0";
    EXPECT_NE(convertError(kTimGm6mb, old, piano), "");
    EXPECT_EQ(MV::Test::readFile(old), "old");
}
