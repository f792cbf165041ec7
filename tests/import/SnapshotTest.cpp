// Whole imports against stored dumps: any change of what an import makes shows as a difference
// of text. MORVEK_UPDATE_SNAPSHOTS=1 writes the dumps anew (review the difference before keeping it).
#include <gtest/gtest.h>

#include <cstdlib>

#include "import/ImportTestUtil.h"
#include "import/InstrumentImport.h"
#include "model/ModelDump.h"

namespace MV::Test {
namespace {

using Zone = Sf2Builder::Zone;

void compareWithSnapshot(const std::string& dump, const std::string& name) {
    const std::string path = std::string(MORVEK_SOURCE_DIR) + "/tests/import/snapshots/" + name;
    const char* update = std::getenv("MORVEK_UPDATE_SNAPSHOTS");
    if (update && std::string(update) == "1") {
        writeFile(path, dump);
        return;
    }
    const std::string expected = readFile(path);
    ASSERT_FALSE(expected.empty()) << path << " is missing; run with MORVEK_UPDATE_SNAPSHOTS=1";
    EXPECT_EQ(dump, expected) << "differs from " << path;
}

TEST(Snapshot, SoundFontSongBank) {
    Sf2Builder b;
    Sf2Builder::Sample left = Sf2Builder::ramp("Strings L", 64, 4, 1), right = Sf2Builder::ramp("Strings R", 64, 2, 0);
    left.loopStart = 8, left.loopEnd = 56, right.loopStart = 8, right.loopEnd = 56;
    left.pitch = right.pitch = 57;
    b.addSample(left);
    b.addSample(right);
    b.addSample(Sf2Builder::ramp("Kick", 32));
    b.addInstrument("Strings", {Zone{{{34, -2400}, {38, 0}, {8, 9600}, {9, 40}, {11, 600}}},
                                Zone{{{43, Sf2Builder::range(0, 72)}, {17, -500}, {54, 1}, {53, 0}}},
                                Zone{{{43, Sf2Builder::range(0, 72)}, {17, 500}, {54, 1}, {53, 1}}},
                                Zone{{{43, Sf2Builder::range(73, 127)}, {51, 12}, {52, -20}, {54, 3}, {53, 0}}}});
    b.addInstrument("Kit", {Zone{{{43, Sf2Builder::range(36, 36)}, {48, -20}, {56, 0}, {53, 2}}}});
    b.addPreset("Strings", 48, 0, {Zone{{{43, Sf2Builder::range(24, 96)}, {22, 600}, {26, -1200}, {5, 20}, {41, 0}}}});
    b.addPreset("Standard", 0, 128, {Zone{{{41, 1}}}});
    auto sf = openBytes(b.build(), "/virtual/snap.sf2");
    RecordingProgress progress;
    auto bank = importSongBank(*sf, {{0, ChannelChoice::kNoBank, 48}, {9, ChannelChoice::kNoBank, 0}}, progress);
    compareWithSnapshot(dumpBank(*bank, "/virtual/"), "soundfont-song.txt");
}

TEST(Snapshot, SfzInstrument) {
    ScratchDir dir;
    writeWave(dir / "samples/piano c4.wav", 200, 60, {ZnPlug::Loop(20, 180, ZnPlug::LoopMode::Forward, "sus")});
    writeWave(dir / "samples/piano c5.wav", 150, 72);
    writeFile(dir / "piano.sfz",
              "// a small piano\n"
              "<control> default_path=samples\\\n"
              "<group> ampeg_release=0.4 fil_type=lpf_2p cutoff=3000 fil_veltrack=600 seq_length=2\n"
              "<region> sample=piano c4.wav lokey=c3 hikey=f#4 pitch_keycenter=c4 seq_position=1\n"
              "<region> sample=piano c5.wav lokey=g4 hikey=c6 tune=-12 loop_mode=loop_continuous loop_start=10 "
              "loop_end=140\n"
              "<group> trigger=release volume=-12 ampeg_attack=0.01\n"
              "<region> sample=piano c4.wav key=40 loop_mode=one_shot\n");
    RecordingProgress progress;
    auto bank = importSfzBank(dir / "piano.sfz", progress);
    EXPECT_TRUE(progress.messages.empty());
    compareWithSnapshot(dumpBank(*bank, dir.path()), "sfz-piano.txt");
}

}  // namespace
}  // namespace MV::Test
