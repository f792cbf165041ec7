#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "XmlTestSupport.h"
#include "lib/Error.h"
#include "persist/EffectFactory.h"
#include "persist/LoadDocument.h"
#include "persist/PerfHandler.h"
#include "persist/ProgHandler.h"

namespace MV {
namespace {

using namespace XmlTest;
using ZnLib::SharedRef;

// A program with one group whose only split plays `wave`.
std::string programPlaying(const std::string& wave, const std::string& name = "P") {
    GroupDoc g;
    g.splits = "<mv:split mv:key=\"0\" mv:wave=\"1\"/>";
    return utf16(document("program", "mv:name=\"" + name + "\" mv:compat=\"2400\"",
                          "<mv:wave mv:id=\"1\" mv:path=\"" + wave +
                              "\"/>"
                              "<mv:range mv:lowkey=\"0\" mv:highkey=\"127\" mv:lowvel=\"0\" mv:highvel=\"127\"/>" +
                              g.text()));
}

std::string performanceOf(const std::string& slots, const std::string& fx = "") {
    return utf16(document("performance", "mv:name=\"Live\" mv:compat=\"2400\"", slots + fx));
}

TEST(LoadBankTest, BankSettingsAndItems) {
    Folder folder;
    writeWave(folder.path("Samples/a.wav"));
    folder.write("Programs/p.mvprog", programPlaying("../Samples/a.wav"));
    folder.write("one.mvperf", performanceOf("<mv:slot mv:channel=\"0\" mv:program=\"Programs/p.mvprog\"/>"));
    folder.write("two.mvperf", performanceOf("<mv:slot mv:channel=\"1\" mv:program=\"Programs\\p.mvprog\"/>"));
    const std::string body =
        "<mv:xctrl mv:ctrl=\"7\" mv:offset=\"-3\"/><mv:xctrl mv:ctrl=\"11\"/>"
        "<mv:midi mv:program-change-mode=\"Program\" mv:use-bank-select=\"true\"/>"
        "<mv:automation mv:param=\"Param 00\" mv:offset=\"0.25\"/>"
        "<mv:output mv:name=\"M 3\" mv:stereo=\"true\"/><mv:output mv:name=\"S 1+2\" mv:enabled=\"false\" "
        "mv:stereo=\"true\"/>"
        "<mv:wave mv:path=\"Samples/a.wav\"/><mv:program mv:path=\"Programs/p.mvprog\"/>"
        "<mv:performance mv:path=\"one.mvperf\"/><mv:performance mv:path=\"two.mvperf\" mv:active=\"true\"/>";
    auto bank = loadDocument(folder.write("b.mvbank", utf16(document("bank",
                                                                     "mv:interpolation=\"Sinc128\" "
                                                                     "mv:compat=\"2400\"",
                                                                     body))));
    EXPECT_EQ(bank->interpolation, kInterpolationSinc128);
    EXPECT_EQ(bank->externalController[0], (ExternalController{7, -3}));
    EXPECT_EQ(bank->externalController[1], (ExternalController{11, 0}));
    EXPECT_EQ(bank->programChangeMode, kProgramChangeProgram);
    EXPECT_TRUE(bank->useBankSelect);
    EXPECT_FLOAT_EQ(bank->automationOffset[0], 0.25f);
    // A mono pin tagged stereo pairs up with its partner; a stereo output ignores the tag.
    EXPECT_EQ(bank->outputs[6].channels, 2);
    EXPECT_EQ(bank->outputs[7].channels, 2);
    EXPECT_EQ(bank->outputs[8].channels, Output::defaults()[8].channels);
    EXPECT_FALSE(bank->outputs[0].enabled);
    // Everything met twice was read once.
    ASSERT_EQ(bank->waves.size(), 1u);
    ASSERT_EQ(bank->programs.size(), 1u);
    ASSERT_EQ(bank->performances.size(), 2u);
    EXPECT_EQ(bank->performances[0]->slots[0]->program, bank->programs[0]);
    EXPECT_EQ(bank->performances[1]->slots[0]->program, bank->programs[0]);
    EXPECT_EQ(bank->currentPerformance, bank->performances[1].get());
    EXPECT_EQ(bank->file().path(), folder.path("b.mvbank"));
    EXPECT_FALSE(bank->modified());
}

TEST(LoadBankTest, AutomationSlotsMovedBy64BeforeCompat2101) {
    Folder folder;
    const std::string body =
        "<mv:automation mv:param=\"Param 00\" mv:offset=\"0.5\"/>"
        "<mv:automation mv:param=\"Param 70\" mv:offset=\"0.75\"/>";
    auto old = loadDocument(folder.write("old.mvbank", document("bank", "mv:compat=\"2100\"", body)));
    auto now = loadDocument(folder.write("new.mvbank", document("bank", "mv:compat=\"2101\"", body)));
    EXPECT_FLOAT_EQ(now->automationOffset[0], 0.5f);
    EXPECT_FLOAT_EQ(now->automationOffset[70], 0.75f);
    // "Param 70" of an old bank would land past the 128 cells: it goes nowhere.
    for (std::size_t i = 0; i < Bank::kAutomationParams; ++i)
        EXPECT_EQ(old->automationOffset[i], i == 64 ? 0.5f : 0.0f) << i;
}

// Answers for the files it was given, and counts what it was asked.
struct Filter : LoadedNothing {
    SharedRef<Program> existingProgram(const ZnLib::FS::File& file) override {
        ++asked[file.path()];
        auto it = programs.find(file.path());
        return it == programs.end() ? SharedRef<Program>() : it->second;
    }
    std::map<std::string, SharedRef<Program>> programs;
    std::map<std::string, int> asked;
};

TEST(LoadBankTest, TheFilterAnswersBeforeAnyFileIsRead) {
    Folder folder;
    // Not even a document: the filter's item stands in for it.
    const std::string known = folder.write("known.mvprog", "garbage");
    folder.write("p.mvperf", performanceOf("<mv:slot mv:channel=\"0\" mv:program=\"known.mvprog\"/>"
                                           "<mv:slot mv:channel=\"1\" mv:program=\"known.mvprog\"/>"));
    Filter filter;
    auto program = ZnLib::makeRef<Program>("Known");
    program->setFile(ZnLib::FS::File(known));
    auto group = ZnLib::makeRef<Group>("G");
    Split split;
    split.setWave(ZnLib::makeRef<ZnPlug::Wave>());
    group->addSplit(split);
    program->addGroup(group);
    filter.programs[known] = program;
    std::vector<std::string> places;
    auto bank = loadDocument(folder.path("p.mvperf"), places, &filter);
    ASSERT_EQ(bank->programs.size(), 1u);
    EXPECT_EQ(bank->programs[0], program);
    // Taken deep: the program's wave joins the bank with it.
    EXPECT_EQ(bank->waves.size(), 1u);
    // The second slot found it in the target itself.
    EXPECT_EQ(filter.asked[known], 1);
}

// Answers every question with the file under `root`.
struct FindUnder : FindMissing {
    explicit FindUnder(std::string root) : root(std::move(root)) {}
    bool find(std::string& path) override {
        ++asked;
        path = ZnLib::FS::join(root, "Samples/" + ZnLib::FS::fileName(path));
        return true;
    }
    bool error(const std::string&) override { return false; }
    std::string root;
    int asked = 0;
};

TEST(LoadBankTest, FilesFoundInNewPlacesMarkTheDocumentChanged) {
    Folder folder;
    writeWave(folder.path("moved/Samples/a.wav"));
    writeWave(folder.path("moved/Samples/b.wav"));
    writeWave(folder.path("c.wav"));
    folder.write("lost.mvprog", programPlaying("Samples/a.wav", "Lost"));
    folder.write("also.mvprog", programPlaying("Samples/b.wav", "Also"));
    folder.write("home.mvprog", programPlaying("c.wav", "Home"));
    const std::string body =
        "<mv:program mv:path=\"lost.mvprog\"/><mv:program mv:path=\"also.mvprog\"/>"
        "<mv:program mv:path=\"home.mvprog\"/>";
    FindUnder find(folder.path("moved"));
    std::vector<std::string> places;
    auto bank = loadDocument(folder.write("b.mvbank", document("bank", "", body)), places, nullptr, &find);
    // One answer taught the root for the next file.
    EXPECT_EQ(find.asked, 1);
    EXPECT_EQ(places, std::vector<std::string>{folder.path("moved")});
    ASSERT_EQ(bank->programs.size(), 3u);
    EXPECT_TRUE(bank->programs[0]->modified());
    EXPECT_TRUE(bank->programs[1]->modified());
    EXPECT_FALSE(bank->programs[2]->modified());
    EXPECT_FALSE(bank->modCount());
}

TEST(LoadBankTest, StateChunkReferences) {
    Loader loader(MVLoad::kChunkMode);
    for (int i = 0; i < 5; ++i) loader.bank->addWave(ZnLib::makeRef<ZnPlug::Wave>());
    GroupDoc g;
    g.splits = "<mv:split mv:key=\"0\" mv:wave=\"1\"/>";
    const auto program = [&g](const std::string& version, const std::string& path) {
        return utf16(programDocument(version, "<mv:wave mv:id=\"1\" mv:path=\"" + path + "\"/>", g.text()));
    };
    const auto error = [&loader](const std::string& text, bool performance = false) -> std::string {
        try {
            if (performance)
                loader.load.loadPerformanceText(bytes(text));
            else
                loader.load.loadProgramText(bytes(text));
        } catch (const std::exception& e) {
            return ZnLib::describe(e);
        }
        return "";
    };
    EXPECT_EQ(error(program("mv:created-by=\"906\"", "5")), "Wave reference out of range: 5");
    // Old states may hold dangling wave indexes: they play nothing.
    const std::string old = program("mv:created-by=\"905\"", "5");
    auto dangling = loader.load.loadProgramText(bytes(old));
    EXPECT_TRUE(dangling->groups[0]->splits[0].wave()->isNone());
    // All ones in the low 32 bits stand for the first wave.
    for (const char* first : {"-1", "4294967295", "0"}) {
        const std::string text = program("mv:created-by=\"2400\"", first);
        EXPECT_EQ(loader.load.loadProgramText(bytes(text))->groups[0]->splits[0].wave(), loader.bank->waves[0].get());
    }
    // A failed load leaves the bank as far as it got: the first program is listed too.
    EXPECT_EQ(loader.bank->programs.size(), 5u);
    EXPECT_EQ(error(performanceOf("<mv:slot mv:channel=\"0\" mv:program=\"5\"/>"), true),
              "Program reference out of range: 5");
    EXPECT_EQ(error(program("mv:created-by=\"2400\"", "x")), "invalid stoull argument");
}

TEST(LoadBankTest, PerformanceSlotsAndEffects) {
    Folder folder;
    folder.write("p.mvprog", utf16(programDocument("", "", "")));
    const std::string slot =
        "<mv:slot mv:name=\"Lead\" mv:channel=\"16\" mv:program=\"p.mvprog\" mv:output=\"M 5+6\" mv:amp=\"0.25\" "
        "mv:pan=\"-0.5\" mv:transpose=\"-12\" mv:detune=\"7\" mv:poly=\"8\" mv:solo=\"true\" mv:mute=\"true\" "
        "mv:interpolation=\"Draft\" mv:velocitycurve=\"Log3\">"
        "<mv:amp mv:value=\"0.75\" mv:automation=\"Param 03\"/><mv:transpose mv:automation=\"Param 127\"/>"
        "<mv:send mv:dest=\"FX2\" mv:pre-fader=\"true\"><mv:level mv:value=\"0.5\" mv:automation=\"Param 09\"/>"
        "</mv:send><mv:send mv:dest=\"S 3+4\" mv:level=\"1\"/></mv:slot>";
    const std::string fx =
        "<mv:fx mv:bus=\"FX3\" mv:type=\"Delay\" mv:output=\"FX4\" mv:bypass=\"true\" mv:mute=\"1\" "
        "mv:level=\"0.5\" mv:wet=\"40 %\"><mv:param mv:name=\"feedback\" mv:value=\"0.7\" "
        "mv:automation=\"Param 02\"/><mv:param mv:name=\"sync\" mv:value=\"Tempo\"/>"
        "<mv:param mv:name=\"delay\" mv:value=\"1/4\"/></mv:fx>"
        "<mv:fx mv:bus=\"FX1\" mv:type=\"None\" mv:output=\"None\"/>";
    auto bank = loadDocument(folder.write("p.mvperf", performanceOf(slot, fx)));
    ASSERT_EQ(bank->performances.size(), 1u);
    const Performance& perf = *bank->performances[0];
    EXPECT_EQ(perf.name(), "Live");
    ASSERT_EQ(perf.slots.size(), 1u);
    const ProgramSlot& s = *perf.slots[0];
    EXPECT_EQ(s.name, "Lead");
    EXPECT_EQ(s.program, bank->programs.at(0));
    // Channel, output, amp (the element's value wins), pan, transpose, detune, voices, their automation.
    EXPECT_EQ(std::tuple(s.channel, s.output, s.amp, s.pan, s.transpose, s.detune, s.poly),
              std::tuple(16, 8, 0.75f, -0.5f, -12, 7, 8));
    EXPECT_EQ(std::pair(s.ampAutomation, s.transposeAutomation), std::pair(3, 127));
    EXPECT_EQ(std::tuple(s.solo(), s.mute(), s.interpolation, s.velocityCurve),
              std::tuple(true, 1, kInterpolationDraft, 7));
    EXPECT_EQ(s.sends[0], (SlotSend{2, 0.5f, 9, true}));
    EXPECT_EQ(s.sends[1], (SlotSend{kRouteFirstOutput + 1, 1.0f, -1, false}));
    EXPECT_FALSE(perf.fx[0]);
    const FX::Effect* delay = perf.fx[2].get();
    ASSERT_NE(delay, nullptr);
    EXPECT_EQ(delay->type, 2);
    EXPECT_TRUE(delay->bypass);
    EXPECT_TRUE(delay->mute);
    EXPECT_EQ(delay->output, 4);
    // The old attributes became parameters.
    EXPECT_FLOAT_EQ(delay->parameter(0), 0.4f);
    EXPECT_FLOAT_EQ(delay->parameter(1), 0.0f);
    EXPECT_FLOAT_EQ(delay->parameter(2), 0.5f);
    const std::vector<StoredParam> params = EffectFactory::current().params(*delay);
    const auto has = [&](const StoredParam& p) { return std::find(params.begin(), params.end(), p) != params.end(); };
    EXPECT_TRUE(has({"feedback", "0.7", 2}));
    EXPECT_TRUE(has({"sync", "Tempo", -1}));
    EXPECT_TRUE(has({"delay", "1/4", -1}));
    EXPECT_EQ(EffectFactory::current().params(*delay->clone()), params);
}

TEST(LoadBankTest, AFourthSendIsPassedOver) {
    // The schema allows three; a document that slipped past it still cannot reach a fourth.
    Loader loader(MVLoad::kChunkMode);
    loader.bank->addProgram(ZnLib::makeRef<Program>());
    PerfHandler perf(loader.load);
    ProgHandler prog(loader.load);
    start(perf, "performance");
    start(perf, "slot", {{"channel", "", "0"}, {"program", "", "0"}});
    start(prog, "program", {{"name", "", "P"}});
    start(prog, "group", {{"name", "", "G"}});
    for (const char* dest : {"FX1", "FX2", "FX3", "FX4"}) {
        start(perf, "send", {{"dest", "", dest}});
        start(perf, "level", {{"value", "", "0.5"}});
        end(perf, "level");
        end(perf, "send");
        start(prog, "send", {{"dest", "", dest}, {"level", "", "0.5"}});
        end(prog, "send");
    }
    end(prog, "group");
    end(prog, "program");
    const auto third = [](const auto& sends) { return std::pair(int(sends[2].dest), sends[2].level); };
    EXPECT_EQ(third(perf.performance()->slots.at(0)->sends), std::pair(3, 0.5f));
    EXPECT_EQ(third(prog.program()->groups.at(0)->sends), std::pair(3, 0.5f));
}

}  // namespace
}  // namespace MV
