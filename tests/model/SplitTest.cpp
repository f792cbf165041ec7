#include <gtest/gtest.h>

#include "model/ModelTestUtil.h"
#include "model/Performance.h"
#include "model/Split.h"
#include "model/WaveMatrix.h"

using namespace MV;
using ZnLib::makeRef;
using ZnLib::SharedRef;
using ZnPlug::Wave;

TEST(Split, SoundChoiceResetsLoops) {
    Split s;
    EXPECT_TRUE(s.isEmpty());
    EXPECT_EQ(s.wave(), Wave::none());
    EXPECT_EQ(s.matrix(), WaveMatrix::none());

    auto looped = Fake::makeWave("looped", 60, 0, 2), plain = Fake::makeWave("plain", 60);
    s.setWave(looped);
    EXPECT_EQ(s.loop, 0);
    EXPECT_EQ(s.release, 0);
    s.loop = 1;
    s.setWave(looped);  // the very same wave: loops stay
    EXPECT_EQ(s.loop, 1);
    s.setWave(plain);
    EXPECT_EQ(s.loop, -1);
    EXPECT_EQ(s.release, -1);
    EXPECT_EQ(s.matrix(), WaveMatrix::none());

    auto matrix = makeRef<WaveMatrix>("m");
    s.setWave(looped);
    s.setMatrix(matrix);
    EXPECT_TRUE(s.isMatrix());
    EXPECT_EQ(s.loop, -1);
    EXPECT_EQ(s.wave(), Wave::none());
    EXPECT_EQ(s.matrix(), matrix.get());
    EXPECT_TRUE(s.isEmpty() == false);
    s.setWave(looped);  // back from a matrix: a fresh choice
    EXPECT_EQ(s.loop, 0);
}

TEST(Split, RootAndFineOverrides) {
    auto wave = Fake::makeWave("w", 60, 10);
    Split s;
    s.setWave(wave);
    EXPECT_EQ(s.root(), 60);
    EXPECT_EQ(s.fine(), 10);
    s.setRoot(62);
    EXPECT_TRUE(s.hasOverride());
    EXPECT_EQ(s.root(), 62);
    EXPECT_EQ(s.fine(), 10);  // taken from the wave
    s.setRoot(60);            // what the wave says: no override
    EXPECT_FALSE(s.hasOverride());
    s.setFine(-5);
    EXPECT_EQ(s.root(), 60);
    EXPECT_EQ(s.fine(), -5);
    EXPECT_EQ(s.flags >> Split::kOverrideShift, 1);

    // A matrix split plays at the root of its selected cell, and keeps any override.
    auto matrix = makeRef<WaveMatrix>("m");
    WaveMatrix::setCellWave(matrix->cell(0, 0), Fake::makeWave("c", 48, 3));
    Split m;
    m.setMatrix(matrix);
    EXPECT_EQ(m.root(), 48);
    EXPECT_EQ(m.fine(), 3);
    EXPECT_TRUE(matrix->hasRoot());
    m.setRoot(48);
    EXPECT_TRUE(m.hasOverride());
}

TEST(Split, DisplayNameNamesSlices) {
    auto wave = Fake::makeWave("beat", 255, 0, 2, ZnPlug::LoopMode::Slice);
    Split s;
    s.setWave(wave);
    s.loop = 1;
    EXPECT_EQ(s.displayName(), "beat #s2");
    wave->loops[1].mode = ZnPlug::LoopMode::Forward;
    EXPECT_EQ(s.displayName(), "beat");
    s.loop = 7;  // no such loop
    EXPECT_EQ(s.displayName(), "beat");
}

TEST(ProgramSlot, NamesEqualityAndModified) {
    EXPECT_EQ(ProgramSlot().name, "Ch01");
    EXPECT_EQ(ProgramSlot(uint8_t(15)).name, "Ch16");
    EXPECT_EQ(ProgramSlot(uint8_t(16)).name, "Ch17");
    EXPECT_EQ(ProgramSlot().program.get(), Program::none());

    auto program = makeRef<Program>("p");
    ProgramSlot a(uint8_t(3), program), b(uint8_t(3), program);
    b.poly = 8;
    b.ampAutomation = 5;
    EXPECT_TRUE(a == b);  // neither the voice limit nor automation numbers count
    b.sends[2].preFader = true;
    EXPECT_FALSE(a == b);
    b = a;
    b.setSolo(true);
    EXPECT_FALSE(a == b);

    EXPECT_TRUE(a.modified());  // its program was never saved
    ProgramSlot none;
    EXPECT_FALSE(none.modified());
    none.touch();
    EXPECT_TRUE(none.modified());
}

TEST(Performance, CopiesShareOrCloneSlotsAndEffects) {
    auto program = makeRef<Program>("p");
    Performance perf("perf");
    perf.setFile(ZnLib::FS::File("/x/perf.mvperf", 1, 1));
    perf.addSlot(makeRef<ProgramSlot>(uint8_t(0), program));
    perf.fx[2] = makeRef<Fake::FakeEffect>();
    perf.fx[2]->output = 3;

    Performance shared(perf);
    EXPECT_TRUE(shared == perf);
    EXPECT_EQ(shared.slots[0], perf.slots[0]);

    Performance dup(perf, "dup");
    EXPECT_EQ(dup.name(), "dup");
    EXPECT_EQ(dup.file().path(), "/x/dup");
    ASSERT_EQ(dup.slots.size(), 1u);
    EXPECT_NE(dup.slots[0], perf.slots[0]);
    EXPECT_TRUE(*dup.slots[0] == *perf.slots[0]);
    EXPECT_EQ(dup.slots[0]->program, program);
    ASSERT_TRUE(dup.fx[2]);
    EXPECT_NE(dup.fx[2], perf.fx[2]);
    EXPECT_EQ(dup.fx[2]->output, 3);
    EXPECT_FALSE(dup.fx[0]);
    EXPECT_FALSE(dup == perf);

    perf.fx[2]->touch();
    perf.clearModified();
    EXPECT_FALSE(perf.fx[2]->modified());

    perf.removeSlot(perf.slots[0].get());
    EXPECT_TRUE(perf.slots.empty());
    dup.clear();
    EXPECT_TRUE(dup.slots.empty());
    EXPECT_EQ(dup.name(), "");
}
