#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>

#include "WaveTestFiles.h"
#include "lib/File.h"
#include "lib/Path.h"
#include "plug/Peaks.h"
#include "plug/Wave.h"

using namespace ZnPlug;

namespace {
// A second at 44100 Hz with a few known samples, saved and loaded back as a user's wave.
ZnLib::SharedRef<Wave> savedWave(const std::string& path) {
    SampleBuffer b(44100, 1);
    b.channel(0)[5] = 0.5f;
    b.channel(0)[200] = -0.25f;
    Wave w(std::move(b), 44100, 16, 2, kFormatWave);
    w.setName("w");
    w.saveAs(path);
    auto loaded = ZnLib::makeRef<Wave>();
    loaded->setName("w");
    loaded->setFile(ZnLib::FS::File(path));
    loaded->load();
    return loaded;
}

void setTime(const std::string& path, time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}
}  // namespace

TEST(PeaksTest, LevelsOfOneSecondAndTheirEntries) {
    WaveTestFiles::ScratchDir dir;
    auto wave = savedWave(dir.file("a.wav"));
    auto peaks = Peaks::build(*wave);
    EXPECT_EQ(peaks->level(0), (Peaks::Level{110, 401}));
    EXPECT_EQ(peaks->level(1), (Peaks::Level{4410, 11}));
    EXPECT_EQ(peaks->level(2), (Peaks::Level{44100, 2}));
    EXPECT_EQ(peaks->size(), 42u + (401 + 11 + 2) * 4);
    EXPECT_EQ(peaks->entry(0, 0, 0).max, 16384);
    EXPECT_EQ(peaks->entry(0, 0, 0).min, 0);  // every entry holds the zero line
    EXPECT_EQ(peaks->entry(0, 1, 0).min, -8192);
    EXPECT_EQ(peaks->entry(2, 0, 0).max, 16384);
    EXPECT_EQ(peaks->entry(2, 0, 0).min, -8192);
    EXPECT_EQ(std::memcmp(peaks->bytes().data(), "RPKN\x01\x03", 6), 0);
}

TEST(PeaksTest, CacheIsWrittenReloadedAndDroppedWhenTheWaveFileChanges) {
    WaveTestFiles::ScratchDir dir;
    const std::string path = dir.file("a.wav");
    auto wave = savedWave(path);
    setTime(path, 1700000000);
    wave->file().refresh();
    auto built = Peaks::of(*wave);
    ASSERT_TRUE(built);
    EXPECT_EQ(wave->peaks.get(), built.get());
    ASSERT_TRUE(ZnLib::FS::exists(path + ".reapeaks"));

    auto loaded = Peaks::load(*wave);
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(std::equal(loaded->bytes().begin(), loaded->bytes().end(), built->bytes().begin(),
                           built->bytes().end()));

    setTime(path, 1700000100);
    EXPECT_FALSE(Peaks::load(*wave));

    // A damaged cache (a level's count changed, and the length with it) is never taken.
    setTime(path, 1700000000);
    std::vector<uint8_t> bytes(built->bytes().begin(), built->bytes().end());
    bytes[22] = 7;
    WaveTestFiles::writeFile(path + ".reapeaks", WaveTestFiles::Bytes{bytes});
    EXPECT_FALSE(Peaks::load(*wave));
    bytes.resize(100);
    WaveTestFiles::writeFile(path + ".reapeaks", WaveTestFiles::Bytes{bytes});
    EXPECT_FALSE(Peaks::load(*wave));
    // ...and building again writes a good one over it.
    wave->dropPeaks();
    Peaks::of(*wave);
    EXPECT_TRUE(Peaks::load(*wave));
}

TEST(PeaksTest, ShortOrCroppedWavesGetNoCacheFile) {
    WaveTestFiles::ScratchDir dir;
    const std::string path = dir.file("a.wav");
    auto wave = savedWave(path);
    wave->start = 100;
    wave->crop(false);
    ASSERT_TRUE(Peaks::of(*wave));
    EXPECT_FALSE(ZnLib::FS::exists(path + ".reapeaks"));

    Wave small(SampleBuffer(5120, 1), 44100, 16, 2, kFormatWave);
    EXPECT_FALSE(Peaks::of(small));
}
