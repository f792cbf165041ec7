#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <numbers>
#include <stdexcept>

#include "InstrumentLoader.h"
#include "RecordOptions.h"
#include "SongRenderer.h"
#include "TakeRecorder.h"
#include "TestSong.h"
#include "engine/Morvek.h"
#include "plug/Wave.h"
#include "plug/WaveDetect.h"

namespace {

namespace fs = std::filesystem;
using Cli::RecordMode;

// A sung note stands in as a tone of a few harmonics at `hz`, after `silence` quiet frames.
ZnLib::SharedRef<ZnPlug::Wave> toneWave(double hz, uint32_t silence, uint32_t frames) {
    ZnPlug::SampleBuffer b{silence + frames, 1};
    for (uint32_t i = 0; i < frames; ++i) {
        double s = 0;
        for (int h = 1; h <= 5; ++h) s += std::sin(2 * std::numbers::pi * hz * h * i / 44100.0) / (h * 3.0);
        b.channel(0)[silence + i] = float(s);
    }
    return ZnLib::makeRef<ZnPlug::Wave>(std::move(b), 44100u, uint8_t(32), uint8_t(3), uint32_t(ZnPlug::kFormatWave));
}

struct TempDir {
    TempDir() : path(fs::temp_directory_path() / ("morvek-record-" + std::to_string(::getpid()))) {
        fs::remove_all(path);
        fs::create_directories(path);
    }
    ~TempDir() { fs::remove_all(path); }
    std::string file(const std::string& name) const { return (path / name).string(); }
    fs::path path;
};

TEST(RecordOptions, ModesAndKeyRangesParseOrSayWhatTheyTake) {
    EXPECT_EQ(Cli::parseRecordMode("threshold=-30").thresholdDb, -30.0f);
    EXPECT_EQ(Cli::parseRecordMode("cc=64").controller, 64);
    EXPECT_EQ(Cli::parseRecordMode("key=C3").key, 48);
    for (const char* bad : {"buttons", "button=1", "threshold=3", "cc=128", "cc=1.5", "key=H2"})
        EXPECT_THROW(Cli::parseRecordMode(bad), std::runtime_error) << bad;
    EXPECT_EQ(Cli::parseKeyRange("C3:C5").high, 72);
    for (const char* bad : {"C5:C3", "C3", "C3:200"}) EXPECT_THROW(Cli::parseKeyRange(bad), std::runtime_error);
}

// The command's path: an input file into the pins, a threshold take with its pitch, mapped over
// C3 to C5, written beside the output; the program then plays the take in tune on other keys.
TEST(Record, AThresholdTakeOfASungNoteIsWrittenAndItsProgramPlaysInTune) {
    TempDir dir;
    const uint32_t silence = 40 * 512;  // the tone starts on a block boundary
    const auto tone = toneWave(220.0, silence, 44100);
    tone->saveAs(dir.file("voice.wav"));

    Cli::RecordOptions record;
    record.input = dir.file("voice.wav");
    record.record = "threshold=-30";
    record.detectPitch = true;
    record.map = "C3:C5";
    double rate = 48000;
    record.loadInput(rate);
    EXPECT_EQ(rate, 44100.0) << "the render takes the input's rate";

    std::vector<std::string> written;
    {
        MV::Morvek engine;
        Cli::RenderOptions options;
        options.sampleRate = rate;
        const auto recorder = record.arm(engine, options);
        const auto result = Cli::renderSong(engine, Cli::Test::TestSong().at(0, {0x90, 40, 0}).song(), options);
        EXPECT_GE(result.left.size(), tone->frames()) << "the render lasts as long as the input";
        written = recorder->finish(dir.file("out.wav"));
        EXPECT_EQ(recorder->summary(written), "Recorded 1 take: " + dir.file("out-take1.wav") + "; program " +
                                                  dir.file("out-takes.mvprog") + "\n");
        EXPECT_EQ(recorder->editor().queueSize(), 1u) << "mapping and naming are one step of undo";
        ASSERT_EQ(recorder->takes().size(), 1u);
        EXPECT_EQ(recorder->takes()[0]->name(), "Takes A3");
    }
    ASSERT_EQ(written.size(), 2u);

    const auto take = Cli::loadWaveFile(written[0]);
    ASSERT_GE(take->frames(), 44100u);
    for (uint32_t i = 0; i < 44100; ++i)
        if (take->channelData(0)[i] != tone->channelData(0)[silence + i]) FAIL() << "frame " << i;

    for (const uint8_t key : {48, 69, 72}) {
        MV::Morvek player;
        player.adoptBank(*Cli::loadInstrument(written[1], {}, {}));
        const Cli::MidiFile note = Cli::Test::TestSong().at(0, {0x90, key, 100}).at(480, {0x80, key, 0}).song();
        Cli::RenderOptions options;
        options.maxTailSeconds = 0;
        const Cli::RenderResult played = Cli::renderSong(player, note, options);
        ZnPlug::SampleBuffer b{uint32_t(played.left.size()), 1};
        std::copy(played.left.begin(), played.left.end(), b.channel(0));
        const ZnPlug::Wave out(std::move(b), 44100u, uint8_t(32), uint8_t(3), uint32_t(ZnPlug::kFormatWave));
        const ZnPlug::DetectedPitch pitch = ZnPlug::detectPitch(out);
        EXPECT_EQ(pitch.key, key);
        EXPECT_LE(std::abs(pitch.fine), 5) << "key " << int(key);
    }
}

TEST(Record, KeyTakesFollowTheSongAndEachIsAFileOfItsOwn) {
    TempDir dir;
    Cli::RecordOptions record;
    record.record = "key=C4";
    record.channels = 1;
    // C4 held from 0.1 s to 0.3 s and from 0.5 s to 0.6 s, on channel 2; 960 ticks are a second.
    const Cli::MidiFile song = Cli::Test::TestSong()
                                   .at(96, {0x91, 60, 100})
                                   .at(192, {0x81, 60, 0})
                                   .at(192, {0x91, 60, 100})
                                   .at(96, {0x81, 60, 0})
                                   .song();
    MV::Morvek engine;
    Cli::RenderOptions options;
    const auto recorder = record.arm(engine, options);
    Cli::renderSong(engine, song, options);
    const std::vector<std::string> written = recorder->finish(dir.file("out.wav"));
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(recorder->summary(written), "Recorded 2 takes: " + written[0] + ", " + written[1] + "\n");
    EXPECT_EQ(written[1], dir.file("out-take2.wav"));
    EXPECT_EQ(recorder->takes()[1]->name(), "New Wave (2)");
    // Whole blocks of 512 frames: from the block where the key went down to the one where it rose.
    for (const auto& [i, seconds] : {std::pair{0, 0.2}, std::pair{1, 0.1}}) {
        const auto take = Cli::loadWaveFile(written[std::size_t(i)]);
        EXPECT_EQ(take->channels(), 1);
        EXPECT_NEAR(double(take->frames()), seconds * 44100, 512.0) << written[std::size_t(i)];
    }
}

}  // namespace
