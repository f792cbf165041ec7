#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SaveTestItems.h"
#include "model/ModelDump.h"
#include "persist/LoadDocument.h"
#include "persist/MVWriter.h"
#include "persist/XmlOut.h"

namespace MV {
namespace {

using namespace XmlTest;
using namespace SaveTest;

// Groups equal by the model's operator==, with switcher and insert compared by their content
// (the operator asks for the very same objects).
void expectSameGroup(const Group& a, const Group& b) {
    Group copy(b);
    copy.switcher = a.switcher;
    copy.insert = a.insert;
    EXPECT_TRUE(a == copy) << a.name;
    ASSERT_EQ(bool(a.switcher), bool(b.switcher));
    if (a.switcher) {
        EXPECT_TRUE(*a.switcher == *b.switcher);
    }
    ASSERT_EQ(bool(a.insert), bool(b.insert));
    if (a.insert) {
        EXPECT_EQ(a.insert->type, b.insert->type);
        EXPECT_EQ(EffectFactory::current().params(*a.insert), EffectFactory::current().params(*b.insert));
    }
}

void expectSameProgram(const Program& a, const Program& b) {
    EXPECT_EQ(a.name(), b.name());
    EXPECT_EQ(a.file(), b.file());
    EXPECT_EQ(a.range, b.range);
    EXPECT_EQ(a.interpolation, b.interpolation);
    ASSERT_EQ(bool(a.icon), bool(b.icon));
    if (a.icon) {
        EXPECT_EQ(a.icon->name(), b.icon->name());
    }
    ASSERT_EQ(a.groups.size(), b.groups.size());
    for (std::size_t i = 0; i < a.groups.size(); ++i) expectSameGroup(*a.groups[i], *b.groups[i]);
}

void expectSamePerformance(const Performance& a, const Performance& b) {
    EXPECT_EQ(a.name(), b.name());
    ASSERT_EQ(a.slots.size(), b.slots.size());
    for (std::size_t i = 0; i < a.slots.size(); ++i) {
        const ProgramSlot &x = *a.slots[i], &y = *b.slots[i];
        EXPECT_TRUE(x == y) << i;
        EXPECT_EQ(std::tie(x.ampAutomation, x.panAutomation, x.transposeAutomation, x.detuneAutomation, x.poly),
                  std::tie(y.ampAutomation, y.panAutomation, y.transposeAutomation, y.detuneAutomation, y.poly));
    }
    for (std::size_t bus = 0; bus < Performance::kBuses; ++bus) {
        const auto &x = a.fx[bus], &y = b.fx[bus];
        if (!x || x->type == 0) {
            EXPECT_FALSE(y) << bus;
            continue;
        }
        ASSERT_TRUE(y) << bus;
        EXPECT_EQ(std::tie(x->type, x->bypass, x->mute, x->output), std::tie(y->type, y->bypass, y->mute, y->output));
        EXPECT_EQ(EffectFactory::current().params(*x), EffectFactory::current().params(*y));
    }
}

// A load that finds the items already at hand in `known`, so that references compare as the
// very same objects.
struct Reloader : Loader {
    explicit Reloader(const Bank& known) {
        for (const auto& w : known.waves) bank->addWave(w);
        for (const auto& m : known.matrixes) bank->addMatrix(m);
    }
};

TEST(SaveRoundTripTest, EveryKindReadsBackEqual) {
    Folder folder;
    FullBank items;
    OverwriteAll filter;
    MVSave(folder.path("My.mvbank"), filter, {}).save(*items.bank);
    ASSERT_FALSE(items.bank->modified());

    {
        Reloader reload(*items.bank);
        auto program = reload.load.loadProgram(items.program->file().path());
        ASSERT_NE(program.get(), items.program.get());
        expectSameProgram(*items.program, *program);
    }
    {
        Reloader reload(*items.bank);
        reload.bank->addProgram(items.program);
        auto performance = reload.load.loadPerformance(items.performance->file().path());
        expectSamePerformance(*items.performance, *performance);
    }
    {
        Reloader reload(*items.bank);
        reload.bank->matrixes.clear();
        auto matrix = reload.load.loadMatrix(items.matrix->file().path());
        EXPECT_TRUE(*matrix == *items.matrix);
    }
    // The whole bank, read afresh: settings and every item, field by field.
    auto loaded = loadDocument(folder.path("My.mvbank"));
    EXPECT_EQ(loaded->externalController, items.bank->externalController);
    EXPECT_EQ(loaded->automationOffset, items.bank->automationOffset);
    EXPECT_EQ(loaded->outputs, items.bank->outputs);
    EXPECT_EQ(loaded->programChangeMode, kProgramChangeOff);
    EXPECT_TRUE(loaded->useBankSelect);
    EXPECT_EQ(loaded->currentPerformance->name(), items.performance->name());
    // The bank's own name is not part of its document; a place of "None" holds nothing.
    items.performance->fx[4].reset();
    const auto body = [](const std::string& dump) { return dump.substr(dump.find('\n')); };
    EXPECT_EQ(body(dumpBank(*loaded)), body(dumpBank(*items.bank)));
}

TEST(SaveRoundTripTest, ChunkTextsHoldIndicesAndReadBack) {
    FullBank items;
    const auto text = MVWriter::chunkText(*items.program, *items.bank);
    ASSERT_EQ(text[0], 0xFF);
    ASSERT_EQ(text[1], 0xFE);
    Reloader reload(*items.bank);
    Loader chunk(MVLoad::kChunkMode);
    *chunk.bank = *reload.bank;
    auto program = chunk.load.loadProgramText(text);
    expectSameProgram(*items.program, *program);

    // A wave's path is its place in the bank's list; an item outside the lists has none.
    ChunkReferences refs(*items.bank);
    EXPECT_THAT(MVWriter(refs).matrix(*items.matrix), testing::HasSubstr("<mv:wave mv:id=\"1\" mv:path=\"1\"/>"));
    auto stranger = ZnLib::makeRef<Program>("Stranger");
    stranger->addGroup(fullGroup(memoryWave("Lost"), items.matrix));
    EXPECT_THROW(MVWriter::chunkText(*stranger, *items.bank), std::runtime_error);
}

TEST(SaveRoundTripTest, WrittenDocumentsPassTheSchemaFiles) {
    if (std::system("xmllint --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "xmllint is not installed";
    Folder folder;
    FullBank items;
    OverwriteAll filter;
    MVSave(folder.path("My.mvbank"), filter, {}).save(*items.bank);
    const std::pair<std::string, std::string> documents[] = {{"bank", folder.path("My.mvbank")},
                                                             {"program", items.program->file().path()},
                                                             {"performance", items.performance->file().path()},
                                                             {"wavematrix", items.matrix->file().path()}};
    for (const auto& [root, path] : documents) {
        const std::string command = "xmllint --noout --nonet --schema '" + schemaFolder() + "/" + root + ".xsd' '" +
                                    path + "' >/dev/null 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << path;
    }
}

}  // namespace
}  // namespace MV
