#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "SaveTestItems.h"
#include "lib/Error.h"
#include "persist/MVWriter.h"
#include "persist/XmlOut.h"

namespace MV {
namespace {

using namespace XmlTest;
using namespace SaveTest;
namespace fs = std::filesystem;

// Counts what it is asked and says yes.
struct CountingFilter : OverwriteAll {
    bool askOverwrite(std::string& path, ZnPlug::SoundItem& item, bool modifiedOnDisk) override {
        ++asked;
        return OverwriteAll::askOverwrite(path, item, modifiedOnDisk);
    }
    int asked = 0;
};

// A small program whose every line is fixed below.
SharedRef<Program> smallProgram() {
    auto wave = memoryWave("Wave & Co", 64);
    wave->root = 60;
    wave->loops.emplace_back(8, 40, ZnPlug::LoopMode::Forward, "sus");
    auto g = ZnLib::makeRef<Group>("G");
    g->splits.clear();
    Split split(0);
    split.setWave(wave);
    g->addSplit(split);
    g->velocityCurve = 2;
    g->modulation[0] = {kSourceModWheel, 0, kDestVolume, 0.5f, 0, false, true};
    g->modulation[1] = {kSourceVelocity, 0, kDestPan, -1, 0, true, false};
    auto s = ZnLib::makeRef<Switcher>();
    s->keyUp = 61;
    s->keyLast = 60;
    g->setSwitcher(s);
    g->normalise();
    auto program = ZnLib::makeRef<Program>("Small");
    program->addGroup(g);
    return program;
}

// Tabs, blanks and order exactly as the files have them.
const char* const kSmallProgram = R"xml(<?xml version="1.0" encoding="utf-16"?>
<mv:program
	xmlns:mv="http://www.morvek.audio/schemas/2.0/program"
	xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
	xsi:schemaLocation="http://www.morvek.audio/schemas/2.0/program program.xsd"
	mv:created-by="@VERSION@"
	mv:compat="2400"
	mv:name="Small"
	>
	<mv:wave mv:id="0" mv:path="Samples/Wave &amp; Co.wav" mv:root="C4" mv:fine="0">
		<mv:loop mv:name="sus" mv:start="8"  mv:end="40" mv:mode="Forward"/>
	</mv:wave>
	<mv:range mv:lowkey="C-1" mv:highkey="G9" mv:lowvel="0" mv:highvel="127"/>
	<mv:group mv:name="G"
		mv:coarse="0"
		mv:fine="0"
		mv:tuning="Normal"
		mv:glide="0ms"
		mv:velocity="1"
		mv:velocityOffset="0"
		mv:pan="0"
		mv:amp="0.5"
		mv:playmode="Normal"
		mv:polymode="Poly"
		mv:noteprio="Last"
		mv:output="(ch)"
		mv:start="0ms"
		mv:chokeGroup="0" mv:velocitycurve="Exp1"
		>
		<mv:range mv:lowkey="C-1" mv:highkey="G9" mv:lowvel="0" mv:highvel="127"/>
		<mv:aeg mv:attack="0ms" mv:decay1="0ms" mv:level1="1" mv:decay2="0ms" mv:sustain="1" mv:release="0ms"/>
		<mv:env1 mv:level0="0" mv:time1="1.00s" mv:level1="0" mv:time2="1.00s" mv:level2="0" mv:time3="1.00s" mv:level3="0" mv:amp="1"/>
		<mv:env2 mv:level0="0" mv:time1="1.00s" mv:level1="0" mv:time2="1.00s" mv:level2="0" mv:time3="1.00s" mv:level3="0" mv:amp="1"/>
		<mv:lfo1 mv:rate="0.50 Hz" mv:type="Sinus" mv:sync="Key" mv:mode="Normal" mv:fadein="0ms" mv:pos="0" mv:amp="1"/>
		<mv:lfo2 mv:rate="0.50 Hz" mv:type="Sinus" mv:sync="Key" mv:mode="Normal" mv:fadein="0ms" mv:pos="0" mv:amp="1"/>
		<mv:seq1 mv:rate="0.50 Hz" mv:sync="Key" mv:mode="Normal" mv:fadein="0ms" mv:pos="0" mv:amp="1" mv:length="0" mv:smooth="0" mv:stepsync="0" mv:values=""/>
		<mv:seq2 mv:rate="0.50 Hz" mv:sync="Key" mv:mode="Normal" mv:fadein="0ms" mv:pos="0" mv:amp="1" mv:length="0" mv:smooth="0" mv:stepsync="0" mv:values=""/>
		<mv:seq3 mv:rate="0.50 Hz" mv:sync="Key" mv:mode="Normal" mv:fadein="0ms" mv:pos="0" mv:amp="1" mv:length="0" mv:smooth="0" mv:stepsync="0" mv:values=""/>
		<mv:filter mv:type="Off" mv:freq="20000 Hz" mv:res="0" mv:drive="0" mv:slope="24dB"/>
		<mv:modulation>
			<mv:entry mv:source="Mod Wheel" mv:destination="Volume" mv:amount="0.5" mv:frozen="0"/>
			<mv:entry mv:source="Vel" mv:destination="Pan" mv:amount="-1" mv:enabled="0" mv:frozen="1"/>
		</mv:modulation>
		<mv:split mv:wave="0" mv:key="C-1" mv:loop="0" mv:release="0"/>
		<mv:switcher mv:key-last="C4" mv:key-up="C#4"/>
	</mv:group>
</mv:program>
)xml";

const std::string& root(const Folder& folder) { return static_cast<const MV::Test::TestFolder&>(folder).path(); }

std::string listing(const std::string& dir) {
    std::set<std::string> sorted;
    for (const auto& e : fs::recursive_directory_iterator(dir)) sorted.insert(fs::relative(e.path(), dir).string());
    std::string names;
    for (const std::string& name : sorted) names += name + " ";
    return names;
}

TEST(SaveFlowTest, ProgramLayoutIsFixed) {
    Folder folder;
    OverwriteAll filter;
    auto program = smallProgram();
    MVSave(folder.path("Small.mvprog"), filter).save(*program);
    std::string text = kSmallProgram;
    text.replace(text.find("@VERSION@"), 9, std::to_string(MVWriter::createdBy()));
    const std::vector<uint8_t> expected = XmlOut::utf16(text);
    EXPECT_EQ(MV::Test::readAll(folder.path("Small.mvprog")), std::string(expected.begin(), expected.end()));
}

TEST(SaveFlowTest, EachItemIsWrittenOnceAndOnlyWhenChanged) {
    Folder folder;
    CountingFilter filter;
    auto program = smallProgram();
    auto performance = ZnLib::makeRef<Performance>("Two");
    performance->addSlot(ZnLib::makeRef<ProgramSlot>(uint8_t(0), program));
    performance->addSlot(ZnLib::makeRef<ProgramSlot>(uint8_t(1), program));
    {
        MVSave save(folder.path("Two.mvperf"), filter);
        save.save(*performance);
        save.save(*performance);
        save.save(*program);
        EXPECT_EQ(save.written(), 3u);  // performance, program, wave
    }
    EXPECT_EQ(listing(root(folder)), "Samples Samples/Wave & Co.wav Small.mvprog Two.mvperf ");
    EXPECT_EQ(program->name(), "Small");
    EXPECT_FALSE(performance->modified());

    const ZnLib::FS::File before(folder.path("Two.mvperf"));
    MVSave again(folder.path("Two.mvperf"), filter);
    again.save(*performance);
    EXPECT_EQ(again.written(), 0u);
    EXPECT_EQ(ZnLib::FS::File(folder.path("Two.mvperf")), before);

    // A change deep down writes the way up to it, and nothing beside it; the own files need no
    // question.
    program->groups[0]->touch();
    MVSave changed(folder.path("Two.mvperf"), filter);
    changed.save(*performance);
    EXPECT_EQ(changed.written(), 2u);
    EXPECT_EQ(filter.asked, 0);
}

// The relative path under which the program document names its first wave.
std::string wavePath(const std::string& document) {
    const std::string text = MV::Test::readAll(document);
    std::string narrow;
    for (std::size_t i = 2; i < text.size(); i += 2) narrow += text[i];
    const auto at = narrow.find("mv:path=\"") + 9;
    return narrow.substr(at, narrow.find('"', at) - at);
}

TEST(SaveFlowTest, NewWavesGoWhereTheSampleFolderSays) {
    const std::pair<uint8_t, std::string> cases[] = {
        {0, "Wave &amp; Co.wav"}, {1, "Samples/Wave &amp; Co.wav"}, {2, "My_Samples/Wave &amp; Co.wav"}};
    for (const auto& [sampleFolder, expected] : cases) {
        Folder folder;
        OverwriteAll filter;
        auto program = smallProgram();
        Bank bank;
        bank.addDeep(program);
        SaveOptions options;
        options.sampleFolder = sampleFolder;
        MVSave(folder.path("My.mvbank"), filter, options).save(bank);
        EXPECT_EQ(wavePath(program->file().path()), expected);
        EXPECT_TRUE(ZnLib::FS::isRegularFile(program->groups[0]->splits[0].wave()->file().path()));
        if (sampleFolder == 0) {
            EXPECT_EQ(listing(root(folder)), "My.mvbank Small.mvprog Wave & Co.wav ");
        }
    }
}

TEST(SaveFlowTest, WaveFilesStayUnlessCopiesAreAsked) {
    Folder folder;
    OverwriteAll filter;
    writeWave(folder.path("library/drums/kick.wav"));
    writeWave(folder.path("elsewhere/snare.wav"));
    for (bool copy : {false, true}) {
        auto program = smallProgram();
        const std::pair<const char*, int> files[] = {{"library/drums/kick.wav", 0}, {"elsewhere/snare.wav", 40}};
        for (const auto& [file, key] : files) {
            auto wave = ZnLib::makeRef<Wave>();
            wave->setName(ZnLib::FS::stem(file));
            wave->setFile(ZnLib::FS::File(folder.path(file)));
            wave->load();
            wave->clearModified();
            Split split{int8_t(key)};
            split.setWave(wave);
            program->groups[0]->addSplit(split);
        }
        SaveOptions options;
        options.places = {folder.path("library")};
        options.copyContent = copy;
        const std::string target = folder.path(copy ? "copy/P.mvprog" : "songs/P.mvprog");
        MVSave(target, filter, options).save(*program);
        std::string text = MV::Test::readAll(target);
        std::string narrow;
        for (std::size_t i = 2; i < text.size(); i += 2) narrow += text[i];
        if (copy) {
            EXPECT_THAT(narrow, testing::HasSubstr("mv:path=\"Samples/kick.wav\""));
            EXPECT_THAT(narrow, testing::HasSubstr("mv:path=\"Samples/snare.wav\""));
        } else {
            // Under a place: relative to it; elsewhere: the whole path.
            EXPECT_THAT(narrow, testing::HasSubstr("mv:path=\"drums/kick.wav\""));
            EXPECT_THAT(narrow, testing::HasSubstr("mv:path=\"" + folder.path("elsewhere/snare.wav") + "\""));
        }
    }
    EXPECT_EQ(listing(folder.path("copy")), "P.mvprog Samples Samples/kick.wav Samples/snare.wav ");
}

TEST(SaveFlowTest, ItemsOfOneNameGetFilesOfTheirOwn) {
    Folder folder;
    OverwriteAll filter;
    Bank bank;
    bank.addProgram(ZnLib::makeRef<Program>("Same/Name"));
    bank.addProgram(ZnLib::makeRef<Program>("Same/Name"));
    MVSave(folder.path("B.mvbank"), filter).save(bank);
    EXPECT_EQ(bank.programs[0]->file().path(), folder.path("Same_Name.mvprog"));
    EXPECT_EQ(bank.programs[1]->file().path(), folder.path("Same_Name 2.mvprog"));
}

TEST(SaveFlowTest, NoneEffectPlaceWritesNoFx) {
    Bank bank;
    Performance performance("P");
    performance.fx[0] = ZnLib::makeRef<StoredEffect>(0);
    performance.fx[3] = ZnLib::makeRef<StoredEffect>(2);
    performance.addSlot(ZnLib::makeRef<ProgramSlot>(uint8_t(0), ZnLib::makeRef<Program>()));
    bank.addProgram(performance.slots[0]->program);
    ChunkReferences refs(bank);
    const std::string text = MVWriter(refs).performance(performance);
    EXPECT_THAT(text, testing::HasSubstr("\t<mv:fx mv:bus=\"FX4\" mv:type=\"Delay\" mv:output=\"S 1+2\">\n\t</mv:fx>\n"));
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("FX1")));
    EXPECT_THAT(text, testing::HasSubstr("mv:program=\"0\""));
}

std::string saveError(MVSave& save, Program& program) {
    try {
        save.save(program);
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "";
}

TEST(SaveFlowTest, FailedSaveLeavesThePreviousFile) {
    Folder folder;
    OverwriteAll filter;
    const std::string old = folder.write("P.mvprog", "old content");
    // A wave that cannot be encoded fails the document before its file is touched.
    auto program = smallProgram();
    program->groups[0]->splits[0].wave()->sampleType = 0;
    MVSave save(old, filter);
    EXPECT_THAT(saveError(save, *program), testing::StartsWith("Could not save " + old + "\n - Could not save "));
    EXPECT_EQ(MV::Test::readAll(old), "old content");
    EXPECT_EQ(program->name(), "Small");
    EXPECT_TRUE(program->file().empty());
    EXPECT_EQ(listing(root(folder)), "P.mvprog Samples ");

    // A folder that cannot be written to, and a folder that is a file.
    auto fine = ZnLib::makeRef<Program>("Fine");
    const std::string blocked = folder.write("file", "x") + "/P.mvprog";
    MVSave nowhere(blocked, filter);
    EXPECT_THAT(saveError(nowhere, *fine), testing::StartsWith("Could not save " + blocked));
    // Root writes into a read-only folder regardless: there only the cases above can fail.
    if (::geteuid() != 0) {
        fs::permissions(root(folder), fs::perms::owner_read | fs::perms::owner_exec);
        MVSave readOnly(old, filter);
        const std::string error = saveError(readOnly, *fine);
        fs::permissions(root(folder), fs::perms::owner_all);
        EXPECT_THAT(error, testing::StartsWith("Could not save " + old));
        EXPECT_EQ(MV::Test::readAll(old), "old content");
    }
}

}  // namespace
}  // namespace MV
