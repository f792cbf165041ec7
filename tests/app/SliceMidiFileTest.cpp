// The slice MIDI file, read back by the command's own MIDI file reader.
#include <gtest/gtest.h>

#include "MidiFile.h"
#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "model/Group.h"
#include "model/Split.h"
#include "persist/SliceMidiFile.h"
#include "plug/Wave.h"

using ZnPlug::Loop;
using ZnPlug::LoopMode;

namespace {
ZnLib::SharedRef<ZnPlug::Wave> slicedWave() {
    auto w = ZnLib::makeRef<ZnPlug::Wave>(ZnPlug::SampleBuffer(96000, 1), 48000, 16, 2, ZnPlug::kFormatWave);
    w->setName("beat");
    w->tempo = 120;
    w->loops = {Loop(0, 24000, LoopMode::Slice, "Slc1"), Loop(100, 900, LoopMode::Forward),
                Loop(24000, 48000, LoopMode::PinnedSlice, "Pin"), Loop(48000, 96000, LoopMode::Slice, "Slc2")};
    return w;
}
}  // namespace

TEST(SliceMidiFileTest, OneNotePerSliceAtItsTime) {
    auto wave = slicedWave();
    const MV::SliceMidiFile file(*wave, nullptr, 16);
    const Cli::MidiFile midi = Cli::MidiFile::read(file.path());
    EXPECT_EQ(midi.ticksPerQuarter(), 960);
    EXPECT_EQ(midi.tempos().size(), 1u);  // no tempo event: the reader's default alone
    // 120 BPM at 48000 Hz is 0.04 ticks per frame: half a second is 960 ticks. Keys from 36 up,
    // velocity 0 + 127 * 0.8 truncated; a note-off first where two slices touch.
    struct Want {
        uint64_t tick;
        uint8_t status, key;
    } want[] = {{0, 0x90, 36}, {960, 0x80, 36}, {960, 0x90, 37}, {1920, 0x80, 37}, {1920, 0x90, 38}, {3840, 0x80, 38}};
    ASSERT_EQ(midi.events().size(), std::size(want));
    for (std::size_t i = 0; i < std::size(want); ++i) {
        EXPECT_EQ(midi.events()[i].tick, want[i].tick) << i;
        EXPECT_EQ(midi.events()[i].status, want[i].status) << i;
        EXPECT_EQ(midi.events()[i].data1, want[i].key) << i;
        EXPECT_EQ(midi.events()[i].data2, 101) << i;
    }
}

TEST(SliceMidiFileTest, GroupKeysVelocityAndAnEmptyTrack) {
    auto wave = slicedWave();
    MV::Group group("Drums");
    group.range.lowVel = 64;
    group.range.highVel = 64;
    group.setLowKey(60);
    MV::Split split(60);
    split.setWave(wave);
    split.loop = 3;
    group.addSplit(split);
    std::string path;
    {
        const MV::SliceMidiFile file(*wave, &group, 9);
        path = file.path();
        EXPECT_NE(path.find("beat-Drums"), std::string::npos);
        const Cli::MidiFile midi = Cli::MidiFile::read(path);
        ASSERT_EQ(midi.events().size(), 2u);
        EXPECT_EQ(midi.events()[0].status, 0x99);
        EXPECT_EQ(midi.events()[0].data1, 60);
        EXPECT_EQ(midi.events()[0].data2, 65);
        EXPECT_EQ(midi.events()[0].tick, 1920u);
        EXPECT_EQ(midi.events()[1].tick, 3840u);
    }
    EXPECT_FALSE(ZnLib::FS::exists(path));  // the file goes with the object

    ZnPlug::Wave plain(ZnPlug::SampleBuffer(1000, 1), 44100, 16, 2, ZnPlug::kFormatWave);
    plain.tempo = 100;
    const MV::SliceMidiFile empty(plain, nullptr, 0);
    const ZnLib::MappedFile bytes(empty.path());
    ASSERT_EQ(bytes.size(), 26u);
    EXPECT_EQ(std::vector<uint8_t>(bytes.bytes().begin() + 18, bytes.bytes().end()),
              (std::vector<uint8_t>{0, 0, 0, 4, 0x00, 0xFF, 0x2F, 0x00}));
}
