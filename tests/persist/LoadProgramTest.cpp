#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "XmlTestSupport.h"
#include "lib/Error.h"
#include "persist/EffectFactory.h"
#include "persist/LoadDocument.h"
#include "persist/WireFormModulation.h"
#include "plug/ValueLaws.h"

namespace MV {
namespace {

using namespace XmlTest;
using ZnPlug::TimeLaw;

// Writes the program (in UTF-16, as the product writes it) and reads it into a fresh bank.
ZnLib::SharedRef<Program> load(Folder& folder, const std::string& text, Loader& loader) {
    return loader.load.loadProgram(folder.write("p.mvprog", utf16(text)));
}

std::string loadError(Folder& folder, const std::string& text) {
    Loader loader;
    try {
        load(folder, text, loader);
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "";
}

// A group with old-style values that every conversion touches.
GroupDoc legacyGroup() {
    GroupDoc g;
    g.attributes =
        "mv:name=\"Old\" mv:coarse=\"0\" mv:fine=\"0\" mv:tuning=\"Normal\" mv:glide=\"100ms\" "
        "mv:velocity=\"1\" mv:velocityOffset=\"0\" mv:pan=\"0\" mv:amp=\"0.5\" mv:playmode=\"Oneshot\" "
        "mv:polymode=\"Poly\" mv:output=\"S 3+4\"";
    g.aeg =
        "<mv:aeg mv:attack=\"0ms\" mv:decay1=\"100ms\" mv:level1=\"0.5\" mv:decay2=\"200ms\" mv:sustain=\"0.25\" "
        "mv:release=\"50.0ms\"/>";
    g.lfos =
        "<mv:lfo1 mv:rate=\"1/4\" mv:type=\"Square\" mv:sync=\"Tempo\"/>"
        "<mv:lfo2 mv:rate=\"2.00 Hz\" mv:type=\"Sinus\" mv:sync=\"None\" mv:trig=\"Retrig\"/>"
        "<mv:seq1 mv:rate=\"1.00 Hz\" mv:sync=\"Group\" mv:trig=\"Continuous\" mv:length=\"8\"/>";
    g.filter = "<mv:filter mv:type=\"AllPass\" mv:freq=\"1000 Hz\" mv:res=\"0.2\" mv:drive=\"0\"/>";
    g.entries = "<mv:entry mv:source=\"Param 05\" mv:destination=\"Amp\" mv:amount=\"0.5\" mv:frozen=\"false\"/>";
    return g;
}

TEST(LoadProgramTest, DocumentWithoutVersionsTakesEveryConversion) {
    Folder folder;
    Loader loader;
    GroupDoc shelf = legacyGroup();
    shelf.filter = "<mv:filter mv:type=\"LowShelf\" mv:freq=\"100 Hz\" mv:res=\"0.2\" mv:drive=\"0\"/>";
    auto program = load(folder, programDocument("", "", legacyGroup().text() + shelf.text()), loader);
    ASSERT_EQ(program->groups.size(), 2u);
    const Group& g = *program->groups[0];

    // The glide law: 100 ms under the old law.
    const double x = TimeLaw::fromMs(100);
    EXPECT_NEAR(g.glide, std::log2(std::exp2(-14 * (0.4 * x + 0.55)) * 12) / -14, 1e-6);
    // Decays were times over the whole range: the stored number taken as milliseconds.
    const double decay1 = TimeLaw::fromMs(TimeLaw::fromMs(100)) * 0.5;
    const double decay2 = TimeLaw::fromMs(TimeLaw::fromMs(200)) * 0.25;
    EXPECT_NEAR(g.aeg.decay1, decay1, 1e-6);
    // A play mode other than "Normal" then adds the release into the second decay.
    EXPECT_NEAR(g.aeg.decay2, TimeLaw::fromMs(TimeLaw::ms(g.aeg.release) + TimeLaw::ms(decay2)), 1e-5);
    EXPECT_EQ(g.filter.type, kFilterOff);
    EXPECT_FLOAT_EQ(program->groups[1]->filter.res, 1.0f);
    EXPECT_EQ(g.modulation[0].source, WireFormModulation::kFirstParam + 5 + 64);
    EXPECT_EQ(g.modulation[0].destination, WireFormModulation::kVolume);
    // "Tempo" sync becomes the mode, with the rate read as a note value.
    EXPECT_EQ(g.lfo1.mode, kLfoModeTempo);
    EXPECT_EQ(g.lfo1.sync, kSyncKey);
    EXPECT_FLOAT_EQ(g.lfo1.rate, 12.0f / 23.0f);
    EXPECT_EQ(g.lfo2.sync, kSyncKey);
    EXPECT_EQ(g.seq1.sync, kSyncNone);
    EXPECT_EQ(g.seq1.values.size(), 8u);
    EXPECT_EQ(g.output, 1);

    // The same group in a current document stands as written.
    Loader current;
    auto now = load(
        folder, programDocument("mv:created-by=\"2400\" mv:compat=\"2400\"", "", legacyGroup().text() + shelf.text()),
        current);
    const Group& n = *now->groups[0];
    EXPECT_FLOAT_EQ(n.glide, float(x));
    EXPECT_FLOAT_EQ(n.aeg.decay1, float(TimeLaw::fromMs(100)));
    EXPECT_EQ(n.filter.type, kFilterAllPass);
    EXPECT_FLOAT_EQ(now->groups[1]->filter.res, 0.2f);
    EXPECT_EQ(n.modulation[0].source, WireFormModulation::kFirstParam + 5);
    EXPECT_EQ(n.lfo2.sync, kSyncNone);
    EXPECT_EQ(n.seq1.sync, kSyncGroup);
}

TEST(LoadProgramTest, OldPolyModesAndMuteTrue) {
    Folder folder;
    Loader loader;
    GroupDoc mono, legato, muted;
    mono.attributes += " mv:chokeGroup=\"3\" mv:mute=\"true\"";
    mono.attributes.replace(mono.attributes.find("\"Poly\""), 6, "\"Mono/P\"");
    legato.attributes.replace(legato.attributes.find("\"Poly\""), 6, "\"Legato/P\"");
    muted.attributes += " mv:mute=\"2\" mv:solo=\"true\"";
    auto program =
        load(folder, programDocument("mv:compat=\"2400\"", "", mono.text() + legato.text() + muted.text()), loader);
    ASSERT_EQ(program->groups.size(), 3u);
    EXPECT_EQ(program->groups[0]->polymode, kPolyMono);
    EXPECT_EQ(program->groups[0]->chokeGroup, 1);
    EXPECT_EQ(program->groups[0]->mute(), 1);
    EXPECT_EQ(program->groups[1]->polymode, kPolyLegato);
    EXPECT_EQ(program->groups[1]->chokeGroup, 1);
    EXPECT_EQ(program->groups[2]->mute(), 2);
    EXPECT_TRUE(program->groups[2]->solo());
}

TEST(LoadProgramTest, SplitsFindTheDocumentsWaves) {
    Folder folder;
    writeWave(folder.path("a.wav"));
    writeWave(folder.path("Samples/b.wav"), 200);
    GroupDoc g;
    g.splits =
        "<mv:split mv:key=\"60\" mv:wave=\"1\" mv:root=\"D4\" mv:fine=\"10\" mv:loop=\"1\" mv:release=\"0\"/>"
        "<mv:split mv:key=\"C2\" mv:wave=\"&lt;none&gt;\"/>"
        "<mv:split mv:key=\"C5\" mv:wave=\"2\"/>";
    // The later wave of a doubled id wins; its loops are the document's.
    const std::string waves =
        "<mv:wave mv:id=\"1\" mv:path=\"a.wav\"/>"
        "<mv:wave mv:id=\"1\" mv:path=\"Samples\\b.wav\" mv:root=\"A3\" mv:fine=\"-7\" mv:tempo=\"90\" mv:end=\"150\">"
        "<mv:loop mv:start=\"0\" mv:end=\"10\" mv:mode=\"Forward\" mv:name=\"a very long name\"/>"
        "<mv:loop mv:start=\"10\" mv:end=\"20\" mv:mode=\"Slice\"/></mv:wave>"
        "<mv:wave mv:id=\"2\" mv:path=\"a.wav\"/>";
    Loader loader;
    auto program = load(folder, programDocument("mv:compat=\"2400\"", waves, g.text()), loader);
    const auto& splits = program->groups[0]->splits;
    // The first split starts at the group's low key; a "<none>" split stays, empty.
    ASSERT_EQ(splits.size(), 3u);
    EXPECT_EQ(splits[0].key, 0);
    EXPECT_TRUE(splits[1].isEmpty());
    EXPECT_EQ(splits[1].key, 36);
    EXPECT_EQ(std::tuple(splits[0].root(), splits[0].fine(), splits[0].loop, splits[0].release),
              std::tuple(62, 10, 1, 0));
    const ZnPlug::Wave* b = splits[0].wave();
    EXPECT_EQ(b->name(), "b");
    EXPECT_EQ(std::tuple(b->root, b->fine, b->tempo, b->end), std::tuple(57, -7, 90.0f, 150u));
    ASSERT_EQ(b->loops.size(), 2u);
    EXPECT_EQ(b->loops[0].nameText(), "a very lo");
    EXPECT_EQ(b->loops[1].mode, ZnPlug::LoopMode::Slice);
    // "a.wav" is read once, for ids 1 and 2 alike, and the bank lists each wave once.
    EXPECT_EQ(splits[2].wave()->file().path(), folder.path("a.wav"));
    EXPECT_EQ(loader.bank->waves.size(), 2u);
    EXPECT_EQ(loader.bank->programs.size(), 1u);
    // Overriding what the file says makes a wave differ from its file; the program is clean.
    EXPECT_TRUE(b->modified());
    EXPECT_FALSE(splits[2].wave()->modified());
    EXPECT_EQ(program->modCount(), 0u);

    // An empty first split that the user left is kept: the next one does not reach down.
    g.splits = "<mv:split mv:key=\"0\" mv:wave=\"&lt;none&gt;\"/><mv:split mv:key=\"60\" mv:wave=\"2\"/>";
    Loader second;
    const auto& kept = load(folder, programDocument("mv:compat=\"2400\"", waves, g.text()), second)->groups[0]->splits;
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_TRUE(kept[0].isEmpty());
    EXPECT_EQ(kept[1].key, 60);

    const std::string badLoop =
        "<mv:wave mv:id=\"1\" mv:path=\"a.wav\"><mv:loop mv:start=\"50\" mv:end=\"101\" "
        "mv:mode=\"Forward\"/></mv:wave>";
    const std::tuple<std::string, std::string, const char*> failures[] = {
        {waves, "<mv:split mv:key=\"0\" mv:wave=\"7\"/>", "No such wave: 7"},
        {waves, "<mv:split mv:key=\"0\" mv:matrix=\"3\"/>", "No such wavematrix: 3"},
        {badLoop, GroupDoc().splits, "Bad loop bounds or crossfade size"},
    };
    for (const auto& [declarations, split, error] : failures) {
        g.splits = split;
        EXPECT_THAT(loadError(folder, programDocument("", declarations, g.text())), testing::HasSubstr(error));
    }
    EXPECT_EQ(loadError(folder, programDocument("", "<mv:wave mv:id=\"1\" mv:path=\"gone.wav\"/>", "")),
              "Could not load " + folder.path("p.mvprog") + "\n - Could not find file " + folder.path("gone.wav"));
}

TEST(LoadProgramTest, GroupPartsReachTheirFields) {
    Folder folder;
    GroupDoc g;
    g.attributes += " mv:start=\"12ms\" mv:delay=\".012s\" mv:interpolation=\"Sinc32\" mv:noteprio=\"Lowest\"";
    g.range =
        "<mv:range mv:lowkey=\"C2\" mv:highkey=\"C6\" mv:lowvel=\"10\" mv:highvel=\"100\"/>"
        "<mv:fade mv:lowkey=\"48\" mv:highkey=\"72\" mv:lowvel=\"20\" mv:highvel=\"90\"/>";
    g.seqs =
        "<mv:seq1 mv:rate=\"1.00 Hz\" mv:sync=\"Key\" mv:length=\"8\" mv:values=\"5,-120,300,7,1,2,3,4,5,6\"/>"
        "<mv:seq2 mv:rate=\"1/8T\" mv:mode=\"Tempo\" mv:sync=\"Voice\" mv:length=\"16\" mv:values=\"1,2\"/>";
    g.filter = "<mv:filter mv:type=\"HighPass\" mv:freq=\"5 kHz\" mv:res=\"0.3\" mv:drive=\"-0.5\" mv:slope=\"12dB\"/>";
    g.insert =
        "<mv:insert mv:type=\"Bitcrusher\"><mv:param mv:name=\"bits\" mv:value=\"8\"/>"
        "<mv:param mv:name=\"rate\" mv:value=\"0.25\"/></mv:insert>";
    g.sends =
        "<mv:send mv:dest=\"FX1\" mv:level=\"0.5\"/><mv:send mv:dest=\"M 5+6\" mv:pre-fader=\"true\"/>"
        "<mv:send mv:dest=\"S 7+8\"/>";
    g.entries =
        "<mv:entry mv:source=\"LFO1\" mv:destination=\"Pitch\" mv:amount=\"200\" mv:frozen=\"0\"/>"
        "<mv:entry mv:source=\"Vel\" mv:destination=\"Filter Freq\" mv:amount=\"-5000 Hz\" mv:via=\"Mod Wheel\" "
        "mv:amount_via=\"5000 Hz\" mv:frozen=\"true\" mv:enabled=\"false\"/>"
        "<mv:entry mv:source=\"Key\" mv:destination=\"LFO1 Rate\" mv:amount=\"+2.00 Hz\" mv:frozen=\"0\"/>"
        "<mv:entry mv:source=\"Random\" mv:destination=\"Delay\" mv:amount=\"-1.50s\" mv:frozen=\"0\"/>"
        "<mv:entry mv:source=\"Midi CC 7\" mv:destination=\"SEQ4 Amp\" mv:amount=\"0.5\" mv:frozen=\"0\"/>";
    g.switcher =
        "<mv:switcher mv:source=\"External Controller 2\" mv:range-lo=\"10\" mv:range-hi=\"20\" "
        "mv:key-lo=\"C3\" mv:key-up=\"255\" mv:round-robin-source=\"Program\" mv:enabled=\"false\"/>";
    Loader loader;
    ZnLib::SharedRef<Program> program;
    try {
        program = load(folder, programDocument("mv:compat=\"2400\"", "", g.text()), loader);
    } catch (const std::exception& e) {
        FAIL() << ZnLib::describe(e);
    }
    const Group& group = *program->groups[0];
    EXPECT_EQ(group.range, (KeyRange{36, 84, 10, 100}));
    EXPECT_EQ(group.fade, (KeyRange{48, 72, 20, 90}));
    EXPECT_FLOAT_EQ(group.start, float(TimeLaw::fromMs(12)));
    EXPECT_FLOAT_EQ(group.delay, group.start);
    EXPECT_EQ(group.interpolation, kInterpolationSinc32);
    EXPECT_EQ(group.noteprio, kNotePrioLowest);
    EXPECT_EQ(group.seq1.values, (std::vector<int8_t>{5, -100, 100, 7, 1, 2, 3, 4}));
    EXPECT_EQ(group.seq2.values.size(), 16u);
    EXPECT_FLOAT_EQ(group.seq2.rate, 15.0f / 23.0f);
    EXPECT_NEAR(group.filter.freq, std::sqrt(0.25), 1e-6);
    EXPECT_EQ(group.filter.slope, kSlope12dB);
    EXPECT_FLOAT_EQ(group.filter.drive, -0.5f);
    ASSERT_TRUE(group.insert);
    EXPECT_EQ(group.insert->type, 2);
    EXPECT_EQ(EffectFactory::current().params(*group.insert),
              (std::vector<StoredParam>{{"bits", "8", -1}, {"rate", "0.25", -1}}));
    EXPECT_EQ(group.sends[0].dest, kRouteFirstBus);
    EXPECT_FLOAT_EQ(group.sends[0].level, 0.5f);
    EXPECT_EQ(group.sends[1].dest, kRouteFirstOutput + 8);
    EXPECT_TRUE(group.sends[1].preFader);
    EXPECT_FLOAT_EQ(group.modulation[0].amount, 200.0f);
    EXPECT_NEAR(group.modulation[1].amount, -0.5, 1e-6);
    EXPECT_NEAR(group.modulation[1].amountVia, 0.5, 1e-6);
    EXPECT_TRUE(group.modulation[1].frozen);
    EXPECT_FALSE(group.modulation[1].enabled);
    EXPECT_NEAR(ZnPlug::RateLaw::hz(group.modulation[2].amount), 2.0, 1e-4);
    EXPECT_NEAR(group.modulation[3].amount, -TimeLaw::fromMs(1500), 1e-6);
    EXPECT_EQ(group.modulation[4].destination, 15);
    ASSERT_TRUE(group.switcher);
    EXPECT_EQ(group.switcher->source, WireFormModulation::kFirstExternal + 1);
    EXPECT_EQ(group.switcher->keyLow, 48);
    EXPECT_EQ(group.switcher->keyUp, -1);
    EXPECT_EQ(group.switcher->keyHigh, -1);
    EXPECT_EQ(group.switcher->roundRobinSource, kRoundRobinProgram);
    EXPECT_FALSE(group.switcher->enabled);
}

TEST(LoadProgramTest, EncodingsAndBadValues) {
    Folder folder;
    GroupDoc g;
    const std::string text = programDocument("mv:compat=\"2400\" mv:icon=\"Icons/harp.png\"", "", g.text());
    // The same document in UTF-8 reads the same, through the public entry.
    auto bank = loadDocument(folder.write("eight.mvprog", text));
    ASSERT_EQ(bank->programs.size(), 1u);
    EXPECT_EQ(bank->programs[0]->name(), "P");
    EXPECT_EQ(bank->programs[0]->file().path(), folder.path("eight.mvprog"));
    ASSERT_TRUE(bank->programs[0]->icon);
    EXPECT_FALSE(bank->programs[0]->icon->builtIn);
    EXPECT_EQ(bank->programs[0]->icon->file().path(), folder.path("Icons/harp.png"));

    g.lfos = "<mv:lfo1 mv:rate=\"fast\" mv:type=\"Sinus\" mv:sync=\"Key\"/>" + g.lfos.substr(g.lfos.find("<mv:lfo2"));
    EXPECT_NE(loadError(folder, programDocument("", "", g.text())).find("Illegal argument for rate: fast"),
              std::string::npos);
    // A schema failure carries the parser's own words, behind the document's name.
    EXPECT_EQ(loadError(folder, programDocument("mv:colour=\"red\"", "", "")),
              "Could not load " + folder.path("p.mvprog") + "\n - Element '{" + Schemas::documentNamespace("program") +
                  "}program', attribute '{" + Schemas::documentNamespace("program") + "}colour': The attribute '{" +
                  Schemas::documentNamespace("program") + "}colour' is not allowed.");
    // However an ampersand or another character is written, the model gets the character.
    GroupDoc named;
    std::string group;
    for (const char* spelling : {"&amp;", "&#38;", "&#x26;"}) {
        named.attributes.replace(9, named.attributes.find('"', 9) - 9, std::string("Kick ") + spelling + " Snare");
        group += named.text();
    }
    named.attributes.replace(9, named.attributes.find('"', 9) - 9, "&lt;&#60;&gt;&quot;&apos;&amp;#38;");
    group += named.text();
    auto escaped = loadDocument(folder.write("amp.mvprog", programDocument("", "", group)));
    ASSERT_EQ(escaped->programs[0]->groups.size(), 4u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(escaped->programs[0]->groups[i]->name, "Kick & Snare");
    EXPECT_EQ(escaped->programs[0]->groups[3]->name, "<<>\"'&#38;");
    EXPECT_EQ(loadError(folder, document("bank", "", "")),
              "Could not load " + folder.path("p.mvprog") + "\n - The document holds no program");
}

}  // namespace
}  // namespace MV
