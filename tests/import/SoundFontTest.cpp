// Opening SoundFont files: the tables, the waves made from the sample headers, sample data, and
// what broken files do.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "import/ImportTestUtil.h"
#include "import/InstrumentImport.h"
#include "persist/ImportFilter.h"
#include "plug/Wave.h"

namespace MV::Test {
namespace {

using ZnLib::SharedRef;
using ZnPlug::Wave;
using Gen = Sf2Builder::Gen;

enum : uint16_t { kMono = 1, kRight = 2, kLeft = 4 };

// A preset per zone list, each over its own instrument.
Sf2Builder withPreset(Sf2Builder b, std::vector<Sf2Builder::Zone> instrumentZones, std::string name = "P",
                      uint16_t program = 0, uint16_t bank = 0) {
    const int inst = b.addInstrument(name + " inst", std::move(instrumentZones));
    b.addPreset(std::move(name), program, bank, {{{{41, int16_t(inst)}}}});
    return b;
}

Sf2Builder::Zone zone(std::vector<Gen> gens) { return Sf2Builder::Zone{std::move(gens)}; }

TEST(SoundFontOpen, RefusesWhatIsNoSoundFontWithItsText) {
    Sf2Builder b = withPreset({}, {zone({{53, 0}})});
    b.addSample(Sf2Builder::ramp("Tone", 10));
    const std::vector<uint8_t> good = b.build();

    EXPECT_EQ(failure([] { openBytes({}); }), "Not a RIFF file");
    EXPECT_EQ(failure([] { openBytes({'J', 'U', 'N', 'K', 0, 0, 0, 0}); }), "Not a RIFF file");
    EXPECT_EQ(failure([] { openBytes({'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V', 'E'}); }), "Not a Soundfont file");
    EXPECT_EQ(failure([] { openBytes({'R', 'I', 'F', 'F', 4, 0, 0, 0}); }), "Not a Soundfont file");

    auto patched = [&](const char* tag, const char* with) {
        std::vector<uint8_t> bytes = good;
        std::memcpy(bytes.data() + Sf2Builder::find(bytes, tag) - 8, with, 4);
        return failure([&] { openBytes(bytes); });
    };
    EXPECT_EQ(patched("LIST", "JUNK"), "Invalid format (missing 'LIST')");
    EXPECT_EQ(patched("smpl", "smpx"), "Bad sample list");
    // A list type sits where a chunk's size would: the tag is 4 bytes behind the LIST header.
    std::vector<uint8_t> noPdta = good;
    std::memcpy(noPdta.data() + Sf2Builder::find(noPdta, "pdta") - 8, "pdtx", 4);
    EXPECT_EQ(failure([&] { openBytes(noPdta); }), "Invalid soundfont (missing chunks)");

    Sf2Builder noSamples = b;
    noSamples.omit = {"shdr"};
    EXPECT_EQ(failure([&] { open(noSamples); }), "Invalid Soundfont (missing chunks)");
    // The modulator tables play no part, so they may be absent.
    Sf2Builder noModulators = b;
    noModulators.omit = {"pmod", "imod"};
    EXPECT_EQ(open(noModulators)->programCount(), 1u);
}

TEST(SoundFontOpen, ReportsItsStepsAndSortsPresetsByBankThenProgram) {
    Sf2Builder b;
    b.addSample(Sf2Builder::ramp("Tone", 10));
    b.addInstrument("I", {zone({{53, 0}})});
    b.addPreset("Drums", 0, 128, {zone({{41, 0}})});
    b.addPreset("Organ", 19, 0, {zone({{41, 0}})});
    b.addPreset("Piano", 0, 0, {zone({{41, 0}})});
    b.addPreset("Bright", 1, 8, {zone({{41, 0}})});

    RecordingProgress progress;
    auto sf = ZnLib::makeRef<SoundFont>("/virtual/gm.sf2", b.build(), progress);
    EXPECT_EQ(progress.steps, (std::vector<std::string>{"program chunk /virtual/gm.sf2", "sample headers /virtual/gm.sf2"}));
    EXPECT_EQ(describePrograms(*sf), "000:000 Piano\n000:019 Organ\n008:001 Bright\n128:000 Drums\n");
    EXPECT_EQ(findPreset(*sf, 0, 19), 1);
    // Fallbacks of a song's choice: a missing variation plays bank 0, a missing kit kit 0.
    EXPECT_EQ(findPreset(*sf, 8, 19), 1);
    EXPECT_EQ(findPreset(*sf, 128, 25), 3);
    EXPECT_EQ(findPreset(*sf, 0, 42), 0);
    EXPECT_EQ(failure([&] { sf->programInfo(4); }), "Index out of range");
}

TEST(SoundFontWaves, PairsLeftAndRightByLinkOrByNameAndKeepsUnequalPairsMono) {
    Sf2Builder b;
    b.addSample(Sf2Builder::ramp("Pad L", 8, kLeft, 1));      // 0, linked to 1
    b.addSample(Sf2Builder::ramp("Pad R", 8, kRight, 0));     // 1
    b.addSample(Sf2Builder::ramp("Vox L", 8, kLeft, 99));      // 2, link broken: found by name
    b.addSample(Sf2Builder::ramp("Bass", 8, kMono));          // 3
    b.addSample(Sf2Builder::ramp("Vox R", 8, kRight, 77));     // 4
    b.addSample(Sf2Builder::ramp("Viola L", 8, kLeft, 6));    // 5, lengths differ: two monos
    b.addSample(Sf2Builder::ramp("Viola R", 9, kRight, 5));   // 6
    b.addSample(Sf2Builder::ramp("Oboe", 8, kLeft, 99));      // 7, no letter to turn: mono
    b.addSample(Sf2Builder::ramp("Horn l", 8, kLeft, 9));     // 8, the same name on both sides
    b.addSample(Sf2Builder::ramp("Horn l", 8, kRight, 8));    // 9
    b.addSample(Sf2Builder::ramp("ROM", 8, 0x8001));          // 10, no entry of its own
    auto sf = open(b);

    std::vector<std::string> got;
    for (const auto& e : sf->waveEntries())
        got.push_back(e.name + "|" + std::to_string(e.channels) + "|" + std::to_string(e.left) + "|" +
                      std::to_string(e.right) + "|" + std::to_string(e.sizeBytes));
    EXPECT_EQ(got, (std::vector<std::string>{"Pad |2|0|1|32", "Vox |2|2|4|32", "Bass|1|3|65535|16",
                                              "Viola L|1|5|65535|16", "Viola R|1|6|65535|18", "Oboe|1|7|65535|16",
                                              "Horn S|2|8|9|32"}));

    // Either sample of a pair gives the stereo wave; the ROM sample takes the last entry made.
    Bank bank;
    RecordingProgress progress;
    EXPECT_EQ(sf->importWave(1, "", bank, progress).get(), sf->importWave(0, "", bank, progress).get());
    EXPECT_EQ(sf->importWave(4, "", bank, progress)->name(), "Vox ");
    EXPECT_EQ(sf->importWave(10, "", bank, progress)->name(), "Horn S");
    EXPECT_EQ(sf->importWave(0xFFFFFFFF, "Oboe", bank, progress)->containerIndex, 7u);
    EXPECT_EQ(failure([&] { sf->importWave(11, "", bank, progress); }), "Index out of range");
    EXPECT_EQ(failure([&] { sf->importWave(0xFFFFFFFF, "Tuba", bank, progress); }), "Could not find wave Tuba");
    EXPECT_EQ(bank.waves.size(), 4u);
}

TEST(SoundFontWaves, LoadsFramesRootFineAndLoopsAndSampleModesPickTheLoop) {
    Sf2Builder b;
    Sf2Builder::Sample left = Sf2Builder::ramp("Pad L", 40, kLeft, 1), right = Sf2Builder::ramp("Pad R", 40, kRight, 0);
    left.data[3] = -32768;
    left.pitch = 62;
    left.correction = -20;
    left.rate = 22050;
    left.loopStart = 10, left.loopEnd = 30, right.loopStart = 12, right.loopEnd = 30;
    Sf2Builder::Sample mono = Sf2Builder::ramp("Flute", 40);
    mono.loopStart = 5, mono.loopEnd = 35;
    b.addSample(left);
    b.addSample(right);
    b.addSample(mono);
    b = withPreset(b, {zone({{54, 1}, {53, 1}}), zone({{54, 1}, {53, 0}}), zone({{54, 3}, {53, 1}}),
                       zone({{54, 2}, {53, 0}}), zone({{53, 2}}), zone({{54, 1}, {53, 2}})});
    auto sf = openBytes(b.build(), "/lib/sounds/pads.sf2");
    Bank bank;
    SharedRef<Program> p = importInto(*sf, 0, bank);

    ASSERT_EQ(bank.waves.size(), 2u);
    const Wave& w = *bank.waves[0];
    EXPECT_EQ(w.name(), "Pad ");
    EXPECT_EQ(w.file().path(), "/lib/sounds/Pad ");
    EXPECT_EQ(std::tuple(w.channels(), w.frames(), w.sampleRate, w.root, w.fine), std::tuple(2, 40u, 22050u, 62, -20));
    EXPECT_EQ(std::tuple(w.bits, w.sampleType, w.format), std::tuple(16, 2, uint32_t(ZnPlug::kFormatUnknown)));
    EXPECT_EQ(w.container.get(), static_cast<ZnLib::RefCounted*>(sf.get()));
    EXPECT_EQ(w.containerIndex, 0u);
    EXPECT_FLOAT_EQ(w.channelData(0)[5], 500.0f / 32768.0f);
    EXPECT_FLOAT_EQ(w.channelData(0)[3], -1.0f);
    EXPECT_FLOAT_EQ(w.channelData(1)[39], 3900.0f / 32768.0f);
    // The right sample's loop differs from the left one's, so it comes second.
    EXPECT_EQ(w.loops, (std::vector<ZnPlug::Loop>{ZnPlug::Loop(10, 30, ZnPlug::LoopMode::Forward, "0"),
                                                  ZnPlug::Loop(12, 30, ZnPlug::LoopMode::Forward, "1")}));

    ASSERT_EQ(p->groups.size(), 6u);
    auto loops = [&](std::size_t g) {
        const Split& s = p->groups[g]->splits.front();
        return std::pair{s.loop, s.release};
    };
    EXPECT_EQ(loops(0), std::pair(1, 1));    // right sample, loop and release
    EXPECT_EQ(loops(1), std::pair(0, 0));    // left sample
    EXPECT_EQ(loops(2), std::pair(1, -1));   // mode 3: sustain loop only
    EXPECT_EQ(loops(3), std::pair(-1, -1));  // mode 2 does not loop
    EXPECT_EQ(loops(4), std::pair(-1, -1));  // no sample modes: no loop, though the wave has one
    EXPECT_EQ(loops(5), std::pair(0, 0));
    EXPECT_EQ(p->groups[0]->splits.front().wave(), p->groups[1]->splits.front().wave());
}

TEST(SoundFontWaves, ImportsShareWavesOfTheSameFileAndSampleButNotOfAnotherFile) {
    Sf2Builder b;
    b.addSample(Sf2Builder::ramp("Tone", 20));
    b.addSample(Sf2Builder::ramp("Other", 20));
    b = withPreset(b, {zone({{53, 0}})}, "A", 0);
    b = withPreset(b, {zone({{43, Sf2Builder::range(0, 59)}, {53, 0}}), zone({{43, Sf2Builder::range(60, 127)}, {53, 0}})},
                   "B", 1);
    const std::vector<uint8_t> bytes = b.build();
    auto first = openBytes(bytes, "/lib/x.sf2");
    auto again = openBytes(bytes, "/lib/x.sf2");
    auto elsewhere = openBytes(bytes, "/lib/y.sf2");

    Bank bank;
    SharedRef<Program> a = importInto(*first, 0, bank);
    SharedRef<Program> bProgram = importInto(*again, 1, bank);
    ASSERT_EQ(bank.waves.size(), 1u);
    EXPECT_EQ(bProgram->groups[0]->splits.front().wave(), bank.waves[0].get());
    EXPECT_EQ(bProgram->groups[1]->splits.front().wave(), bank.waves[0].get());
    importInto(*elsewhere, 0, bank);
    EXPECT_EQ(bank.waves.size(), 2u);

    // By name through a filter: only the waves asked for.
    struct OnlyOther : ImportFilter {
        bool accept(const std::string& name) override { return name == "Other"; }
    } filter;
    Bank other;
    RecordingProgress progress;
    first->importWaves(other, filter, progress);
    ASSERT_EQ(other.waves.size(), 1u);
    EXPECT_EQ(other.waves[0]->containerIndex, 1u);
}

TEST(SoundFontBroken, LyingIndicesAndSampleBoundsFailWithTheirTexts) {
    Sf2Builder b;
    b.addSample(Sf2Builder::ramp("Tone", 20));
    b = withPreset(b, {zone({{53, 0}})}, "Good", 0);
    b = withPreset(b, {zone({{53, 7}})}, "No such sample", 1);
    const std::vector<uint8_t> good = b.build();

    EXPECT_EQ(failure([&] { Bank bank; importInto(*openBytes(good), 1, bank); }), "Index out of range");

    // The terminator's bag index past the bag table.
    std::vector<uint8_t> bags = good;
    Sf2Builder::poke16(bags, Sf2Builder::find(bags, "phdr") + 2 * 38 + 24, 500);
    EXPECT_EQ(failure([&] { Bank bank; importInto(*openBytes(bags), 1, bank); }), "Index out of range");

    // A generator index past the generator table.
    std::vector<uint8_t> gens = good;
    Sf2Builder::poke16(gens, Sf2Builder::find(gens, "ibag") + 4, 900);
    EXPECT_EQ(failure([&] { Bank bank; importInto(*openBytes(gens), 0, bank); }), "Index out of range");

    // A sample whose end lies past the sample data: reported, and the split stays empty.
    std::vector<uint8_t> data = good;
    Sf2Builder::poke16(data, Sf2Builder::find(data, "shdr") + 24, 60000);
    Bank bank;
    RecordingProgress progress;
    SharedRef<Program> p = openBytes(data)->importProgram(0, bank, progress);
    EXPECT_EQ(progress.messages, std::vector<std::string>{"Could not load wave data for Tone"});
    EXPECT_TRUE(p->groups.at(0)->splits.front().wave()->isNone());
    EXPECT_TRUE(bank.waves.empty());
}

TEST(SoundFontBroken, EveryTruncationEndsInAKnownTextOrAnImport) {
    Sf2Builder b;
    b.addSample(Sf2Builder::ramp("Pad L", 30, kLeft, 1));
    b.addSample(Sf2Builder::ramp("Pad R", 30, kRight, 0));
    b = withPreset(b, {zone({{43, Sf2Builder::range(0, 60)}, {8, 9000}, {54, 1}, {53, 0}}), zone({{53, 1}})});
    const std::vector<uint8_t> whole = b.build();
    const std::set<std::string> known = {"Not a RIFF file", "Not a Soundfont file", "Invalid format (missing 'LIST')",
                                         "Bad sample list", "Invalid soundfont (missing chunks)",
                                         "Invalid Soundfont (missing chunks)", "Address out of bounds",
                                         "Index out of range"};
    for (std::size_t n = 0; n < whole.size(); ++n) {
        std::vector<uint8_t> cut(whole.begin(), whole.begin() + std::ptrdiff_t(n));
        // The RIFF size still claims the whole file, as in a download that broke off.
        const std::string text = failure([&] {
            auto sf = openBytes(cut);
            for (std::size_t i = 0; i < sf->programCount(); ++i) {
                Bank bank;
                importInto(*sf, i, bank);
            }
        });
        if (!text.empty()) {
            EXPECT_TRUE(known.count(text)) << n << ": " << text;
        }
    }
}

}  // namespace
}  // namespace MV::Test
