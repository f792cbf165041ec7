#include <gtest/gtest.h>

#include <cmath>

#include "InstrumentLoader.h"
#include "MidiFile.h"
#include "SongRenderer.h"
#include "TestSong.h"
#include "engine/Morvek.h"
#include "lib/Error.h"
#include "persist/XmlTestSupport.h"

namespace {

using namespace MV::XmlTest;
using Cli::Test::meanLevel;

// A constant mono signal: its level shows which wave a note played.
void writeLevel(const std::string& path, float level) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    ZnPlug::SampleBuffer b(44100, 1);
    std::fill(b.channel(0), b.channel(0) + 44100, level);
    ZnPlug::Wave(std::move(b), 44100, 16, 2, ZnPlug::kFormatWave).saveAs(path);
}

std::string group(const std::string& name, const std::string& low, const std::string& high,
                  const std::string& split) {
    GroupDoc g;
    // Velocity-insensitive, so that a level measures the wave alone.
    auto set = [&](const std::string& from, const std::string& to) {
        g.attributes.replace(g.attributes.find(from), from.size(), to);
    };
    set("mv:name=\"G\"", "mv:name=\"" + name + "\"");
    set("mv:velocity=\"1\"", "mv:velocity=\"0\"");
    g.range = "<mv:range mv:lowkey=\"" + low + "\" mv:highkey=\"" + high +
              "\" mv:lowvel=\"0\" mv:highvel=\"127\"/>";
    g.splits = split;
    return g.text();
}

// Four notes, 0.3 s apart, 0.2 s long: keys 48 and 72 on channel 1, key 60 at velocities 30 and
// 100 on channel 2. 480 ticks per quarter at 120 beats per minute: 0.3 s is 288 ticks.
Cli::MidiFile fourNotes() {
    return Cli::Test::TestSong()
        .at(0, {0x90, 48, 100})
        .at(192, {0x80, 48, 0})
        .at(96, {0x90, 72, 100})
        .at(192, {0x80, 72, 0})
        .at(96, {0x91, 60, 30})
        .at(192, {0x81, 60, 0})
        .at(96, {0x91, 60, 100})
        .at(192, {0x81, 60, 0})
        .song();
}

}  // namespace

TEST(InstrumentRender, AHandWrittenBankPlaysItsGroupsAndMatrixCells) {
    Folder folder;
    writeLevel(folder.path("Samples/low.wav"), 0.2f);
    writeLevel(folder.path("Samples/high.wav"), 0.6f);
    folder.write("keys.mvprog",
                 utf16(programDocument("mv:compat=\"2400\"",
                                       "<mv:wave mv:id=\"1\" mv:path=\"Samples/low.wav\"/>"
                                       "<mv:wave mv:id=\"2\" mv:path=\"Samples/high.wav\"/>",
                                       group("Low", "0", "59", "<mv:split mv:key=\"0\" mv:wave=\"1\"/>") +
                                           group("High", "60", "127", "<mv:split mv:key=\"60\" mv:wave=\"2\"/>"))));
    folder.write("grid.mvmatrix",
                 utf16(document("wavematrix", "mv:name=\"Grid\" mv:compat=\"2400\"",
                                "<mv:wave mv:id=\"1\" mv:path=\"Samples/low.wav\"/>"
                                "<mv:wave mv:id=\"2\" mv:path=\"Samples/high.wav\"/>"
                                "<mv:xaxis mv:source=\"Vel\"/><mv:yaxis mv:source=\"--\"/>"
                                "<mv:column mv:value=\"64\"/>"
                                "<mv:row mv:value=\"0\"><mv:cell mv:wave=\"1\"/><mv:cell mv:wave=\"2\"/></mv:row>")));
    folder.write("pad.mvprog", utf16(programDocument("mv:compat=\"2400\"",
                                                     "<mv:wavematrix mv:id=\"1\" mv:path=\"grid.mvmatrix\"/>",
                                                     group("Pad", "0", "127",
                                                           "<mv:split mv:key=\"0\" mv:matrix=\"1\"/>"))));
    folder.write("live.mvperf", utf16(document("performance", "mv:name=\"Live\" mv:compat=\"2400\"",
                                               "<mv:slot mv:channel=\"0\" mv:program=\"keys.mvprog\"/>"
                                               "<mv:slot mv:channel=\"1\" mv:program=\"pad.mvprog\"/>")));
    const std::string bankPath = folder.write(
        "set.mvbank", utf16(document("bank", "mv:compat=\"2400\"",
                                     "<mv:wavematrix mv:path=\"grid.mvmatrix\"/>"
                                     "<mv:program mv:path=\"keys.mvprog\"/><mv:program mv:path=\"pad.mvprog\"/>"
                                     "<mv:performance mv:path=\"live.mvperf\" mv:active=\"true\"/>")));

    ZnLib::SharedRef<MV::Bank> bank;
    try {
        bank = Cli::loadInstrument(bankPath, {}, {});
    } catch (const std::exception& e) {
        FAIL() << ZnLib::describe(e);
    }
    ASSERT_EQ(bank->programs.size(), 2u);
    ASSERT_EQ(bank->matrixes.size(), 1u);
    MV::Morvek engine;
    engine.adoptBank(*bank);
    ASSERT_EQ(engine.performance().name(), "Live");

    const Cli::MidiFile song = fourNotes();
    const Cli::RenderResult result = Cli::renderSong(engine, song, Cli::RenderOptions{});
    const double low = meanLevel(result.left, 0.05, 0.15);        // key 48: the "Low" group
    const double high = meanLevel(result.left, 0.35, 0.45);       // key 72: the "High" group
    const double soft = meanLevel(result.left, 0.65, 0.75);       // velocity 30: the matrix's first column
    const double hard = meanLevel(result.left, 0.95, 1.05);       // velocity 100: its second column
    EXPECT_NEAR(low, 0.1, 0.01);  // 0.2 at the group's level of 0.5
    EXPECT_NEAR(high / low, 3.0, 0.05);
    EXPECT_NEAR(soft, low, 0.01);
    EXPECT_NEAR(hard / soft, 3.0, 0.05);
    EXPECT_LT(meanLevel(result.left, 0.26, 0.29), 0.01);  // the notes end between them
}

TEST(InstrumentRender, SongChoicesFollowProgramChangesAndBankSelect) {
    // Channel 1: bank 8 then program 5, later program 6; channel 10 plays without a change.
    const std::vector<uint8_t> file = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0, 96, 'M', 'T', 'r', 'k', 0, 0, 0,
                                       18, 0, 0xB0, 0, 8, 0, 0xC0, 5, 0, 0x99, 36, 100, 10, 0xC0, 6, 0, 0xFF, 0x2F,
                                       0};
    const auto choices = Cli::songChannelChoices(Cli::MidiFile::parse(file));
    ASSERT_EQ(choices.size(), 3u);
    EXPECT_EQ(choices[0].channel, 0);
    EXPECT_EQ(choices[0].bank, 8);
    EXPECT_EQ(choices[0].program, 5);
    EXPECT_EQ(choices[1].channel, 9);
    EXPECT_EQ(choices[1].bank, MV::ChannelChoice::kNoBank);
    EXPECT_EQ(choices[1].program, 0);
    EXPECT_EQ(choices[2].program, 6);
}
