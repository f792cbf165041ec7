#include <gtest/gtest.h>

#include <new>

#include "plug/Wave.h"

using namespace ZnPlug;

namespace {
SampleBuffer ramp(uint32_t frames, uint8_t channels) {
    SampleBuffer b(frames, channels);
    for (unsigned c = 0; c < channels; ++c)
        for (uint32_t i = 0; i < frames; ++i) b.channel(c)[i] = float(i + 1) + 0.5f * float(c);
    return b;
}

bool guardsZero(const SampleBuffer& b) {
    for (unsigned c = 0; c < b.channels(); ++c)
        for (int i = 1; i <= int(SampleBuffer::kGuard); ++i)
            if (b.channel(c)[-i] != 0 || b.channel(c)[b.frames() + unsigned(i) - 1] != 0) return false;
    return true;
}
}  // namespace

TEST(SampleBufferTest, GuardsSurroundEveryChannelEvenWithoutFrames) {
    SampleBuffer empty(0, 3);
    EXPECT_EQ(empty.allocatedFloats(), 64u + 64u * 3u);
    EXPECT_TRUE(guardsZero(empty));

    SampleBuffer b = ramp(5, 2);
    EXPECT_EQ(b.allocatedFloats(), (5u + 64u) * 2u + 64u);
    EXPECT_EQ(b.channel(1) - b.channel(0), 5 + 64);
    EXPECT_TRUE(guardsZero(b));
}

TEST(SampleBufferTest, CopyIsDeepAndMoveLeavesTheSharedEmptyBuffer) {
    SampleBuffer a = ramp(10, 2);
    SampleBuffer copy(a);
    EXPECT_TRUE(copy == a);
    EXPECT_NE(copy.channel(0), a.channel(0));
    copy.channel(1)[3] = -1;
    EXPECT_FALSE(copy == a);

    const float* data = a.channel(0);
    SampleBuffer moved(std::move(a));
    EXPECT_EQ(moved.channel(0), data);
    EXPECT_EQ(a.frames(), 0u);
    EXPECT_EQ(a.channels(), 1);
    EXPECT_EQ(a.channel(0), SampleBuffer().channel(0));
    EXPECT_TRUE(guardsZero(a));
}

TEST(SampleBufferTest, ByteCountBeyond32BitsIsOutOfMemory) {
    // (frames + 64) * 2 + 64 floats of 4 bytes: 2^29 frames on two channels pass 2^32 bytes.
    EXPECT_THROW(SampleBuffer(1u << 29, 2), std::bad_alloc);
    EXPECT_THROW(SampleBuffer(0xFFFFFFFFu, 255), std::bad_alloc);
}

TEST(WaveTest, NormalizeRootMovesWholeHundredsOfCents) {
    struct Case {
        uint8_t root;
        int8_t fine;
        uint8_t wantRoot;
        int8_t wantFine;
    } cases[] = {{60, 120, 61, 20}, {60, -120, 59, -20}, {255, 120, 255, 20}, {127, 120, 127, 20},
                 {60, 127, 61, 27}, {60, -128, 59, -28}, {0, -99, 0, -99},    {0, -100, 0, 0},
                 {60, 99, 60, 99}};
    for (const Case& c : cases) {
        Wave w(SampleBuffer(), 44100, 16, 2, kFormatWave, c.root, c.fine);
        EXPECT_EQ(w.root, c.wantRoot) << int(c.root) << " " << int(c.fine);
        EXPECT_EQ(w.fine, c.wantFine) << int(c.root) << " " << int(c.fine);
    }
}

TEST(WaveTest, ClampLoopKeepsAnInvertedLoopUnlessItsEndReachesTheFrames) {
    Wave w(ramp(100, 1), 44100, 16, 2, kFormatWave);
    EXPECT_EQ(w.clampLoop(Loop(50, 20, LoopMode::Forward, "x")), Loop(50, 50, LoopMode::Forward, "x"));
    EXPECT_EQ(w.clampLoop(Loop(150, 120, LoopMode::Backward)), Loop(100, 100, LoopMode::Backward));
    EXPECT_EQ(w.clampLoop(Loop(10, 40, LoopMode::Forward)).end, 40u);
    // Names are cut at nine characters.
    Loop named(0, 1, LoopMode::Slice, "twelve_chars");
    EXPECT_EQ(named.nameText(), "twelve_ch");
    EXPECT_EQ(named.name[9], '\0');
}

TEST(WaveTest, ModifiedAgainstTheFileInfoButTheNoneWaveNever) {
    Wave* none = Wave::none();
    EXPECT_EQ(none, Wave::none());
    EXPECT_FALSE(none->isModified());
    EXPECT_TRUE(Wave().isModified());

    Wave w(ramp(10, 1), 44100, 16, 2, kFormatWave, 60);
    w.takeFileInfo();
    // No backing file: the item's identity counts as changed.
    EXPECT_TRUE(w.isModified());

    Wave kept(ramp(10, 1), 44100, 16, 2, kFormatWave, 60);
    kept.takeFileInfo();
    kept.setFile(ZnLib::FS::File("/proc/self/exe"));
    kept.setFile(ZnLib::FS::File(kept.file().path(), kept.file().time(), kept.file().size()));
    ASSERT_FALSE(kept.file().changedOnDisk());
    EXPECT_FALSE(kept.isModified());
    kept.loops.push_back(Loop(1, 2, LoopMode::Forward));
    EXPECT_TRUE(kept.isModified());
    kept.loops.clear();
    kept.tailTrim = 3;
    EXPECT_TRUE(kept.isModified());
    kept.tailTrim = 0;
    kept.touch();
    EXPECT_TRUE(kept.isModified());
    kept.clearModified();
    kept.format = kFormatUnknown;
    EXPECT_TRUE(kept.isModified());
}

TEST(WaveTest, CopySharesContainerAndDeepCopiesSamples) {
    auto container = ZnLib::makeRef<ZnLib::RefCounted>();
    Wave w(ramp(8, 2), 22050, 24, 2, kFormatAiff, 64, 0, 120.0f, container, 7);
    EXPECT_EQ(container->refCount(), 2);
    w.loops.push_back(Loop(1, 5, LoopMode::Bidirectional, "a"));
    Wave copy(w);
    EXPECT_TRUE(copy == w);
    EXPECT_EQ(container->refCount(), 3);
    EXPECT_NE(copy.channelData(0), w.channelData(0));
    copy.samples().channel(1)[7] = 0;
    EXPECT_FALSE(copy == w);

    Wave moved(std::move(w));
    EXPECT_EQ(moved.frames(), 8u);
    EXPECT_EQ(w.frames(), 0u);
    EXPECT_EQ(moved.loops.size(), 1u);
}

TEST(WaveTest, RenameReplacesTheFileNameOfThePath) {
    Wave w;
    w.setFile(ZnLib::FS::File("/no/such/dir/old.wav"));
    w.rename("new.wav");
    EXPECT_EQ(w.name(), "new.wav");
    EXPECT_EQ(w.file().path(), "/no/such/dir/new.wav");
}

TEST(NoteNameTest, SharpNamesOutFlatsAndNumbersIn) {
    EXPECT_EQ(noteName(61, 0), "C#4");
    EXPECT_EQ(noteName(60, -1), "C3");
    EXPECT_EQ(noteName(0, 0), "C-1");
    // A pair that names no note ("E#") falls through to the number scan.
    const std::tuple<const char*, int, int> parsed[] = {{"c#4", 0, 61},  {"C#4", 0, 61},  {"Db4", 0, 61},
                                                        {"bb3", 0, 58},  {"C3", -1, 60},  {"B12", 0, 127},
                                                        {"C-2", 0, 0},   {"300", 0, 127}, {"H2", 0, 255},
                                                        {"E#4", 0, 255}};
    for (auto [text, base, key] : parsed) EXPECT_EQ(parseNote(text, base), key) << text;
    for (int key = 0; key < 128; ++key) EXPECT_EQ(parseNote(noteName(key, 1), 1), key);
}
