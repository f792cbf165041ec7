// `render` with every output, host automation and the sample an event lands on.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "AutomationFile.h"
#include "OutputFiles.h"
#include "SongRenderer.h"
#include "TestSong.h"
#include "engine/Morvek.h"
#include "model/Program.h"
#include "persist/XmlTestSupport.h"
#include "plug/Wave.h"

namespace {

using MV::Group;

// A group over one key that plays a held mono tone (a looped cosine of 100 frames) into `output`.
ZnLib::SharedRef<Group> toneGroup(uint8_t key, uint8_t output) {
    ZnPlug::SampleBuffer buffer(4410, 1);
    for (uint32_t i = 0; i < 4410; ++i) buffer.channel(0)[i] = float(0.5 * std::cos(2 * M_PI * i / 100.0));
    auto wave = ZnLib::makeRef<ZnPlug::Wave>(std::move(buffer), 44100, 32, 3, ZnPlug::kFormatWave, key, 0);
    wave->loops = {ZnPlug::Loop(0, 4400, ZnPlug::LoopMode::Forward)};
    auto group = ZnLib::makeRef<Group>();
    group->range.lowKey = group->range.highKey = int8_t(key);
    group->splits[0].setWave(wave);
    group->splits[0].loop = 0;
    group->interpolation = MV::kInterpolationDraft;
    group->output = output;
    return group;
}

// Peak of a frame range of one channel of a WAV file.
float peakOf(const std::string& path, unsigned channel, double fromSeconds, double toSeconds) {
    ZnPlug::Wave wave;
    wave.setFile(ZnLib::FS::File(path));
    wave.load();
    float peak = 0;
    const auto end = std::min<std::size_t>(std::size_t(toSeconds * 44100), wave.frames());
    for (std::size_t i = std::size_t(fromSeconds * 44100); i < end; ++i)
        peak = std::fmax(peak, std::fabs(wave.channelData(channel)[i]));
    return peak;
}

}  // namespace

TEST(StemsRender, EachOutputGetsItsOwnFileAndSilentOnesNone) {
    MV::XmlTest::Folder folder;
    MV::Morvek engine;
    MV::Program& program = *engine.performance().slots[0]->program;
    auto stereo = toneGroup(60, 1);  // "S 3+4"
    stereo->sends[0] = {uint8_t(MV::kRouteFirstOutput + 4), 0.5f, false};  // and a send into "M 1"
    program.addGroup(stereo);
    program.addGroup(toneGroup(64, 5));  // "M 2"
    Cli::Test::TestSong song;
    song.at(0, {0x90, 60, 100}).at(480, {0x80, 60, 0}).at(0, {0x90, 64, 100}).at(480, {0x80, 64, 0});

    const std::string out = folder.path("song.wav");
    std::vector<MV::Output> outputs(engine.outputs.begin(), engine.outputs.end());
    Cli::OutputFiles files(out, outputs, 44100, Cli::WavStream::Format::Float, 1.0f);
    Cli::RenderOptions options;
    options.pins = files.pins();
    options.maxTailSeconds = 1;
    Cli::renderSong(engine, song.song(), options, files);
    const std::vector<std::string> written = files.finish(true, options.silenceLevel);
    ASSERT_EQ(written, (std::vector<std::string>{folder.path("song-S3+4.wav"), folder.path("song-M1.wav"),
                                                 folder.path("song-M2.wav")}));
    EXPECT_FALSE(std::filesystem::exists(folder.path("song-S1+2.wav")));
    // The first note on "S 3+4" and its send on "M 1", the second only on "M 2".
    EXPECT_GT(peakOf(written[0], 1, 0.1, 0.4), 0.1f);
    EXPECT_EQ(peakOf(written[0], 0, 0.6, 0.9), 0.0f);
    EXPECT_GT(peakOf(written[1], 0, 0.1, 0.4), 0.05f);
    EXPECT_EQ(peakOf(written[2], 0, 0.1, 0.4), 0.0f);
    EXPECT_GT(peakOf(written[2], 0, 0.6, 0.9), 0.1f);

    EXPECT_THROW(Cli::OutputFiles::pick("S 3+4, M 9", outputs), std::runtime_error);
    EXPECT_EQ(Cli::OutputFiles::pick("M 2,S 3+4", outputs).front().name, "M 2");
}

TEST(StemsRender, AutomationLandsOnItsSampleAndEventsOnTheNearestOne) {
    // 960 ticks are a second: tick 1 is frame 45.9375 at 44.1 kHz, and the note plays from 46.
    Cli::Test::TestSong song;
    song.at(1, {0x90, 60, 100}).at(1919, {0x80, 60, 0});
    const auto render = [&](const std::string& moves) {
        MV::Morvek engine;
        MV::ProgramSlot& slot = *engine.performance().slots[0];
        slot.program->addGroup(toneGroup(60, 0));
        slot.ampAutomation = 5;
        Cli::RenderOptions options;
        options.automation = Cli::parseAutomation(moves, 44100, "moves");
        return Cli::renderSong(engine, song.song(), options).left;
    };
    const std::vector<float> full = render("0 5 1\n");
    EXPECT_EQ(full[45], 0.0f);
    EXPECT_NE(full[46], 0.0f);
    // The slot's amp bound to "Param 05" drops to a quarter exactly on frame 23373 (0.53 s).
    const std::vector<float> moved = render("# level\n0 5 1\n0.53 5 0.25\n");
    ASSERT_EQ(moved.size(), full.size());
    for (std::size_t i = 0; i < 30000; ++i)
        ASSERT_EQ(moved[i], i < 23373 ? full[i] : full[i] * 0.25f) << i;

    EXPECT_THROW(Cli::parseAutomation("1 128 0.5\n", 44100, "moves"), std::runtime_error);
    try {
        Cli::parseAutomation("0 1 0.5\n\n1.5 2\n", 44100, "moves");
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "moves:3: expected SECONDS PARAM VALUE");
    }
}
