// `morvek map` end to end: note-named tones become a program that plays in tune, read back and
// rendered by the engine; a broken input writes nothing.
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>

#include "InstrumentLoader.h"
#include "MapCommand.h"
#include "SongRenderer.h"
#include "TestSong.h"
#include "engine/Morvek.h"
#include "lib/Error.h"
#include "lib/TempFile.h"
#include "plug/Wave.h"
#include "plug/WaveDetect.h"

namespace {

struct Folder {
    Folder() {
        std::string pattern = ZnLib::TempFile::folder() + "/mapcmd-XXXXXX";
        path = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~Folder() {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
    std::string file(const std::string& name) const { return path + "/" + name; }
    std::string path;
};

int runMap(std::vector<std::string> args, std::string* table = nullptr) {
    CLI::App app;
    Cli::MapCommand command(app);
    args.insert(args.begin(), {"morvek", "map"});
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    app.parse(int(argv.size()), argv.data());
    testing::internal::CaptureStdout();
    int rc = 0;
    try {
        rc = command.run();
    } catch (...) {
        testing::internal::GetCapturedStdout();
        throw;
    }
    const std::string out = testing::internal::GetCapturedStdout();
    if (table) *table = out;
    return rc;
}

// A second of a sine at the pitch of `key`, written by the product's WAV writer with no root.
void writeTone(const std::string& path, int key) {
    const double hz = 440 * std::exp2((key - 69) / 12.0);
    ZnPlug::SampleBuffer b(44100, 1);
    for (uint32_t i = 0; i < 44100; ++i) b.channel(0)[i] = float(0.5 * std::sin(2 * std::numbers::pi * hz * i / 44100));
    ZnPlug::Wave(std::move(b), 44100, 16, 2, ZnPlug::kFormatWave).saveAs(path);
}

TEST(MapCommand, NoteNamedTonesPlayInTune) {
    Folder dir;
    std::filesystem::create_directory(dir.file("tones"));
    for (auto [name, key] : {std::pair{"C2", 36}, {"A3", 57}, {"E5", 76}})
        writeTone(dir.file("tones/Tone_") + name + ".wav", key);
    const std::string out = dir.file("Tones.mvprog");
    std::string table;
    ASSERT_EQ(runMap({dir.file("tones"), "-o", out, "--tokens", "ignore,root"}, &table), 0);
    EXPECT_NE(table.find("C2 (36)..A#2 (46)    0-127   C2 (36)    1   Tones  "), std::string::npos) << table;
    EXPECT_NE(table.find("G4 (67)..E5 (76)     0-127   E5 (76)    3   Tones            Tone_E5\n"), std::string::npos);

    MV::Morvek engine;
    engine.adoptBank(*Cli::loadInstrument(out, {}, {}));
    // Three keys half a second apart: a root, and two played by a neighbour's tone transposed.
    const int keys[] = {36, 50, 72};
    Cli::Test::TestSong song;
    for (int key : keys) song.at(0, {0x90, uint8_t(key), 100}).at(384, {0x80, uint8_t(key), 0}).at(96, {0xB0, 0, 0});
    Cli::RenderOptions options;
    options.maxTailSeconds = 0.5;
    const Cli::RenderResult result = Cli::renderSong(engine, song.song(), options);
    for (std::size_t n = 0; n < 3; ++n) {
        const std::size_t from = std::size_t((0.5 * double(n) + 0.05) * 44100), frames = 13230;
        ASSERT_LE(from + frames, result.left.size());
        ZnPlug::SampleBuffer b(frames, 1);
        std::copy_n(result.left.begin() + std::ptrdiff_t(from), frames, b.channel(0));
        const ZnPlug::DetectedPitch pitch = ZnPlug::detectPitch(ZnPlug::Wave(std::move(b), 44100, 32, 3, 0));
        EXPECT_EQ(pitch.key, keys[n]);
        EXPECT_LE(std::abs(pitch.fine), 5) << "key " << keys[n];
    }
}

TEST(MapCommand, AnUnreadableWaveWritesNothing) {
    Folder dir;
    writeTone(dir.file("a.wav"), 60);
    std::ofstream(dir.file("b.wav")) << "not a wave";
    const std::string out = dir.file("x.mvprog");
    try {
        runMap({dir.file("a.wav"), dir.file("b.wav"), "-o", out});
        FAIL();
    } catch (const std::exception& e) {
        const std::string text = ZnLib::describe(e);
        EXPECT_EQ(text.rfind("Could not load " + dir.file("b.wav") + "\n - ", 0), 0u) << text;
    }
    EXPECT_FALSE(std::filesystem::exists(out));
    EXPECT_THROW(runMap({dir.file("a.wav"), "-o", out, "--tokens", "root,loudness"}), std::runtime_error);
}

}  // namespace
