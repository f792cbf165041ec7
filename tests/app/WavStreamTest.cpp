#include <gtest/gtest.h>

#include <filesystem>

#include "DemoInstrument.h"
#include "SongRenderer.h"
#include "TestSong.h"
#include "WavStream.h"
#include "engine/Morvek.h"
#include "import/ImportTestUtil.h"
#include "persist/XmlTestSupport.h"
#include "plug/Wave.h"

namespace {

Cli::MidiFile twoChords() {
    Cli::Test::TestSong song;
    for (uint8_t key : {48, 55, 64}) song.at(0, {0x90, key, 90});
    song.at(480, {0x80, 48, 0}).at(0, {0x99, 36, 120}).at(240, {0x80, 55, 0}).at(0, {0x80, 64, 0});
    return song.song();
}

Cli::RenderOptions shortTail() {
    Cli::RenderOptions options;
    options.maxTailSeconds = 3;
    return options;
}

}  // namespace

TEST(WavStream, AStreamedRenderIsTheRenderWithItsTailCut) {
    MV::XmlTest::Folder folder;
    MV::Morvek a, b;
    {
        std::lock_guard lock(a.mainLock());
        Cli::loadDemoInstrument(a);
    }
    {
        std::lock_guard lock(b.mainLock());
        Cli::loadDemoInstrument(b);
    }
    const Cli::RenderResult whole = Cli::renderSong(a, twoChords(), shortTail());
    const std::string path = folder.path("out.wav");
    Cli::WavStream file(path, 44100, Cli::WavStream::Format::Float);
    const Cli::RenderSummary summary = Cli::renderSong(b, twoChords(), shortTail(), file);
    file.finish();
    ASSERT_EQ(summary.frames, whole.left.size());
    // The tail was cut where the sound ended, before the longest tail allowed.
    EXPECT_LT(summary.frames, std::size_t((twoChords().lengthSeconds() + 3) * 44100));

    ZnPlug::Wave wave;
    wave.setFile(ZnLib::FS::File(path));
    wave.load();
    ASSERT_EQ(wave.frames(), whole.left.size());
    ASSERT_EQ(wave.channels(), 2u);
    EXPECT_TRUE(std::equal(whole.left.begin(), whole.left.end(), wave.channelData(0)));
    EXPECT_TRUE(std::equal(whole.right.begin(), whole.right.end(), wave.channelData(1)));
}

TEST(WavStream, AnUnfinishedFileLeavesTheOldOneAndNoTrace) {
    MV::XmlTest::Folder folder;
    const std::string path = folder.write("out.wav", "old");
    {
        Cli::WavStream file(path, 48000, Cli::WavStream::Format::Pcm24);
        const float x[2] = {0.5f, -0.5f};
        const float* pins[2] = {x, x};
        file.write(pins, 2);
    }
    EXPECT_EQ(MV::Test::readFile(path), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 1);
}
