#include <gtest/gtest.h>

#include <fstream>

#include "lib/TempFile.h"
#include "model/Bank.h"
#include "model/CopyName.h"
#include "model/ModelTestUtil.h"

using namespace MV;
using ZnLib::makeRef;
using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

SharedRef<Program> programWith(const SharedRef<Wave>& wave, const SharedRef<WaveMatrix>& matrix = {}) {
    auto program = makeRef<Program>("P");
    auto group = makeRef<Group>();
    group->splits[0].setWave(wave);
    if (matrix) {
        Split s{int8_t(60)};
        s.setMatrix(matrix);
        group->addSplit(s);
    }
    program->addGroup(group);
    return program;
}

}  // namespace

TEST(Bank, IgnoresNoneObjectsAndDoubles) {
    Bank bank;
    EXPECT_TRUE(bank.empty());
    EXPECT_EQ(bank.currentPerformance, Performance::none());
    bank.addProgram(SharedRef<Program>(Program::none()));
    bank.addPerformance(SharedRef<Performance>(Performance::none()));
    bank.addWave(SharedRef<Wave>(Wave::none()));
    bank.addMatrix(SharedRef<WaveMatrix>(WaveMatrix::none()));
    EXPECT_TRUE(bank.empty());

    auto wave = Fake::makeWave("w");
    bank.addWave(wave);
    bank.addWave(wave);
    EXPECT_EQ(bank.waves.size(), 1u);
    EXPECT_EQ(wave->refCount(), 2);
    EXPECT_FALSE(bank.empty());

    // A state chunk may list the none wave directly; only removeNoneWave takes it out.
    bank.waves.emplace_back(Wave::none());
    bank.removeNoneWave();
    ASSERT_EQ(bank.waves.size(), 1u);
    EXPECT_EQ(bank.waves[0], wave);
    bank.removeWave(Wave::none());
    bank.removeProgram(Program::none());
    EXPECT_EQ(bank.waves.size(), 1u);
}

TEST(Bank, RemovingTheCurrentPerformanceRepairsIt) {
    Bank bank;
    auto only = makeRef<Performance>("only");
    bank.addPerformance(only);
    bank.currentPerformance = only.get();
    bank.removePerformance(only.get());
    EXPECT_EQ(bank.currentPerformance, Performance::none());

    auto a = makeRef<Performance>("a"), b = makeRef<Performance>("b"), c = makeRef<Performance>("c");
    for (auto& p : {a, b, c}) bank.addPerformance(p);
    bank.currentPerformance = c.get();
    bank.removePerformance(c.get());
    EXPECT_EQ(bank.currentPerformance, b.get());

    bank.addPerformance(c);
    bank.removePerformance(a.get());  // the item that took its place
    EXPECT_EQ(bank.currentPerformance, b.get());

    bank.removePerformance(a.get());  // not listed: nothing
    EXPECT_EQ(bank.performances.size(), 2u);
}

TEST(Bank, AddDeepPullsInWavesMatricesAndPrograms) {
    Bank bank;
    auto wave = Fake::makeWave("w"), cellWave = Fake::makeWave("cell");
    auto matrix = makeRef<WaveMatrix>("m");
    WaveMatrix::setCellWave(matrix->cell(0, 0), cellWave);
    auto program = programWith(wave, matrix);
    auto performance = makeRef<Performance>("perf");
    performance->addSlot(makeRef<ProgramSlot>(uint8_t(0), program));
    performance->addSlot(makeRef<ProgramSlot>(uint8_t(1)));  // the none program stays out

    bank.addDeep(performance);
    ASSERT_EQ(bank.performances.size(), 1u);
    ASSERT_EQ(bank.programs.size(), 1u);
    ASSERT_EQ(bank.matrixes.size(), 1u);
    ASSERT_EQ(bank.waves.size(), 2u);
    EXPECT_EQ(bank.waves[0], wave);
    EXPECT_EQ(bank.waves[1], cellWave);

    bank.addDeep(performance);
    EXPECT_EQ(bank.waves.size(), 2u);

    // The plain form leaves the children out.
    Bank plain;
    plain.addProgram(program);
    EXPECT_TRUE(plain.waves.empty());
}

TEST(Bank, MergeAppendsAndPicksACurrentPerformance) {
    Bank live, loaded;
    auto shared = makeRef<Program>("shared");
    live.addProgram(shared);
    auto p1 = makeRef<Performance>("p1"), p2 = makeRef<Performance>("p2");
    loaded.addPerformance(p1);
    loaded.addPerformance(p2);
    loaded.addProgram(shared);
    loaded.addProgram(makeRef<Program>("new"));
    loaded.addWave(Fake::makeWave("w"));

    live.merge(loaded);
    EXPECT_EQ(live.programs.size(), 2u);
    EXPECT_EQ(live.waves.size(), 1u);
    EXPECT_EQ(live.currentPerformance, p1.get());

    Bank other;
    other.addPerformance(makeRef<Performance>("p3"));
    live.currentPerformance = p2.get();
    live.merge(other);
    EXPECT_EQ(live.currentPerformance, p2.get());
}

TEST(Bank, AnswersLoadedItemsByExactPath) {
    Bank bank;
    auto wave = Fake::makeWave("a");
    wave->setFile(ZnLib::FS::File("/lib/a.wav", 1, 1));
    bank.addWave(wave);
    auto program = makeRef<Program>("p");
    program->setFile(ZnLib::FS::File("C:\\lib\\p.mvprog", 1, 1));
    bank.addProgram(program);

    auto found = bank.existingWave(ZnLib::FS::File("/lib/a.wav", 5, 5));
    EXPECT_EQ(found, wave);
    EXPECT_EQ(wave->refCount(), 3);
    EXPECT_FALSE(bank.existingWave(ZnLib::FS::File("/LIB/a.wav", 1, 1)));
    EXPECT_EQ(bank.existingProgram(ZnLib::FS::File("C:/lib/p.mvprog", 1, 1)), program);
    EXPECT_FALSE(bank.existingPerformance(ZnLib::FS::File("/lib/a.wav", 1, 1)));
    EXPECT_FALSE(bank.existingMatrix(ZnLib::FS::File("/lib/a.wav", 1, 1)));
}

TEST(Bank, ModifiedDescendsAndClearModifiedCleansTheTree) {
    ZnLib::TempFile file("bank", ".mvbank");
    std::ofstream(file.path()) << "x";
    Bank bank;
    bank.setFile(ZnLib::FS::File(file.path()));
    EXPECT_FALSE(bank.modified());

    auto program = makeRef<Program>("p");
    program->setFile(ZnLib::FS::File(file.path()));
    auto group = makeRef<Group>();
    program->addGroup(group);
    bank.addProgram(program);
    EXPECT_FALSE(bank.modified());
    group->touch();
    EXPECT_TRUE(program->modified());
    EXPECT_TRUE(bank.modified());
    bank.touch();
    bank.clearModified();
    EXPECT_FALSE(group->modified());
    EXPECT_FALSE(bank.modified());

    // An item never saved is modified; a copy of a bank shares its items.
    Bank copy(bank);
    EXPECT_EQ(copy.programs[0], program);
    program->setFile(ZnLib::FS::File());
    EXPECT_TRUE(copy.modified());
}

TEST(SoundItems, NoneObjectsAreNeverModified) {
    Program::none()->touch();
    Performance::none()->touch();
    WaveMatrix::none()->touch();
    EXPECT_FALSE(Program::none()->modified());
    EXPECT_FALSE(Performance::none()->modified());
    EXPECT_FALSE(WaveMatrix::none()->modified());
    EXPECT_FALSE(ProgramSlot::defaultSlot()->modified());
    EXPECT_EQ(Program::none()->name(), "<none>");
    EXPECT_EQ(WaveMatrix::none()->name(), "<none>");
    EXPECT_EQ(Performance::none()->name(), "<none>");
    Program::none()->clearModified();

    EXPECT_TRUE(Program().modified());  // empty path
    EXPECT_TRUE(Performance().modified());
    EXPECT_TRUE(WaveMatrix().modified());
}

TEST(SoundItems, SetNameRewritesTheLastPathComponentWithoutExtension) {
    Program program("old");
    program.setFile(ZnLib::FS::File("C:\\x\\old.mvprog", 7, 8));
    program.setName("new");
    EXPECT_EQ(program.name(), "new");
    EXPECT_EQ(program.file().path(), "C:/x/new");
    EXPECT_EQ(program.file().time(), 7u);
    EXPECT_EQ(program.file().size(), 8u);
}

TEST(SoundItems, CopyNamesCountFromTwoOnTheStem) {
    std::vector<SharedRef<Program>> items;
    for (const char* n : {"Foo (3)", "Bar", "Bar (2)", "x (y)", " (4)"}) items.push_back(makeRef<Program>(n));
    EXPECT_EQ(copyName("Foo", items), "Foo");
    EXPECT_EQ(copyName("Foo (3)", items), "Foo (2)");
    EXPECT_EQ(copyName("Bar", items), "Bar (3)");
    EXPECT_EQ(copyName("bar", items), "bar");  // case counts
    EXPECT_EQ(copyName("x (y)", items), "x (y) (2)");
    EXPECT_EQ(copyName(" (4)", items), " (2)");  // empty stem
}
