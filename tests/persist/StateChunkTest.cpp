// Host states through the engine, as a host saves and restores them, and the reader's handling of
// odd and broken blocks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

#include "SaveTestItems.h"
#include "engine/Morvek.h"
#include "import/Sf2Builder.h"
#include "import/SoundFont.h"
#include "model/ModelDump.h"
#include "persist/MVWriter.h"
#include "persist/StateChunkFormat.h"
#include "persist/StateReader.h"
#include "persist/StateWriter.h"

namespace MV {
namespace {

using namespace SaveTest;
using namespace StateChunkFormat;
using XmlTest::Folder;
using Bytes = std::vector<uint8_t>;

// The tags of the top level, in order.
std::vector<std::string> tags(const Bytes& state) {
    std::vector<std::string> out;
    ZnLib::ByteReader list(state.data(), state.size());
    while (!list.atEnd()) {
        const uint32_t tag = nextChunk(list).tag;
        out.push_back({char(tag >> 24), char(tag >> 16), char(tag >> 8), char(tag)});
    }
    return out;
}

// The model without the bank's name line and, when asked, without wave paths: an embedded wave
// comes back with a path made from its name.
std::string model(Bank& bank, bool wavePaths = true) {
    if (!wavePaths)
        for (auto& wave : bank.waves) wave->setFile({});
    const std::string dump = dumpBank(bank);
    return dump.substr(dump.find('\n'));
}

// Fills the test's seed folder of the fuzz target when MORVEK_STATE_SEEDS names one.
void seed(const std::string& name, const Bytes& state) {
    if (const char* folder = std::getenv("MORVEK_STATE_SEEDS"))
        std::ofstream(std::string(folder) + "/" + name, std::ios::binary)
            .write(reinterpret_cast<const char*>(state.data()), std::streamsize(state.size()));
}

struct Instances {
    MV::Test::TestFolder home{true};
    Folder folder;
    FullBank items;
    Morvek saved;
    Morvek fresh;

    // The full bank in the first engine; with `files`, its waves are files first and then
    // changed in memory, so that the state's wave info carries what the files do not say.
    explicit Instances(bool files = false) {
        if (files)
            for (auto& wave : items.bank->waves) {
                const ZnPlug::WaveInfo info = wave->info();
                wave->saveAs(folder.path(wave->name() + ".wav"));
                wave->info() = info;
                wave->loops.emplace_back(1, 3, ZnPlug::LoopMode::Backward, "late");
            }
        // A WAVE file holds the tempo, which then counts as known.
        items.looped->flags |= ZnPlug::kWaveTempoKnown;
        // A place of "None" is no effect, and no document holds it.
        items.performance->fx[4].reset();
        saved.adoptBank(*items.bank);
    }
};

TEST(StateChunk, BankStateRestoresTheModelWithWavesByReferenceEmbeddedOrInTheProject) {
    {
        Instances by(true);
        const Bytes state = by.saved.getChunk(false);
        seed("reference", state);
        EXPECT_THAT(tags(state), testing::ElementsAre("vers", "mvid", "wref", "wref", "uist", "mtrx", "prgm", "perf",
                                                      "bank"));
        ASSERT_TRUE(by.fresh.setChunk(state.data(), state.size(), false)) << by.fresh.lastChunkError();
        EXPECT_EQ(model(by.fresh), model(by.saved));
        EXPECT_EQ(by.fresh.instanceId(), by.saved.instanceId());
    }
    {
        Instances embedded(true);
        embedded.saved.store().saveAllWavesInFXB = true;
        const Bytes state = embedded.saved.getChunk(false);
        seed("embedded", state);
        EXPECT_THAT(tags(state), testing::ElementsAre("vers", "mvid", "wave", "wave", "uist", "mtrx", "prgm", "perf",
                                                      "bank"));
        ASSERT_TRUE(embedded.fresh.setChunk(state.data(), state.size(), false)) << embedded.fresh.lastChunkError();
        EXPECT_EQ(embedded.fresh.waves[0]->name(), "Looped");
        EXPECT_EQ(model(embedded.fresh, false), model(embedded.saved, false));
    }
    {
        // Waves that live in memory only go by content without being asked; in a project they
        // become files of the instance's folder, and an earlier save's files go.
        Instances project;
        project.saved.store().saveWavesInProject = true;
        const std::string context = project.folder.path("session/Song.chunk");
        const std::string instanceFolder = project.folder.path("session/" + project.saved.instanceId());
        project.folder.put("session/" + project.saved.instanceId() + "/00000007-Old.wav");
        project.folder.put("session/recording.wav");
        const Bytes state = project.saved.getChunk(false, context);
        EXPECT_TRUE(std::filesystem::exists(instanceFolder + "/00000000-Looped.wav"));
        EXPECT_TRUE(std::filesystem::exists(instanceFolder + "/00000001-Plain.wav"));
        EXPECT_FALSE(std::filesystem::exists(instanceFolder + "/00000007-Old.wav"));
        EXPECT_TRUE(std::filesystem::exists(project.folder.path("session/recording.wav")));
        ASSERT_TRUE(project.fresh.setChunk(state.data(), state.size(), false, context)) << project.fresh.lastChunkError();
        EXPECT_EQ(model(project.fresh, false), model(project.saved, false));
        EXPECT_EQ(project.fresh.instanceId(), project.saved.instanceId());
    }
}

TEST(StateChunk, ProgramStateAddsTheCurrentPerformanceWithWhatItUses) {
    Instances program;
    const Bytes state = program.saved.getChunk(true);
    seed("program", state);
    EXPECT_THAT(tags(state), testing::Not(testing::Contains("bank")));
    ASSERT_TRUE(program.fresh.setChunk(state.data(), state.size(), true)) << program.fresh.lastChunkError();
    // The fresh engine keeps its default performance; the loaded one becomes current.
    ASSERT_EQ(program.fresh.performances.size(), 2u);
    EXPECT_EQ(program.fresh.currentPerformance, program.fresh.performances[1].get());
    const auto current = [](Morvek& engine) {
        auto only = ZnLib::makeRef<Bank>();
        only->addDeep(SharedRef<Performance>(engine.currentPerformance));
        only->currentPerformance = engine.currentPerformance;
        return model(*only, false);
    };
    EXPECT_EQ(current(program.fresh), current(program.saved));

    // No performance, no program state.
    Bank empty;
    Bytes nothing;
    EXPECT_FALSE(StateWriter::write(empty, true, {}, nothing));
    EXPECT_TRUE(nothing.empty());
    // An empty bank has nothing but its version, interface state and document.
    ASSERT_TRUE(StateWriter::write(empty, false, {}, nothing));
    seed("empty", nothing);
    EXPECT_THAT(tags(nothing), testing::ElementsAre("vers", "uist", "bank"));
}

// A state written by hand: a `wref` to a wave file, a wave info in either form, a program over it.
struct HandState {
    ChunkWriter out;
    void chunk(uint32_t tag, const std::function<void()>& body) {
        const std::size_t at = out.open(tag);
        body();
        out.close(at);
    }
    void version(uint32_t v) {
        chunk(kVers, [&] { out.u32(v); });
    }
    void waveInfo(bool old) {
        chunk(kWinf, [&] {
            out.u32(64);  // root
            for (uint32_t v : {22050u, 2u, 40u, 0u, 0u}) out.u32(v);
            if (!old) out.f32(96);
            out.u8(uint8_t(-7));  // fine
            out.u8(old ? 0 : ZnPlug::kWaveTempoKnown);
            out.zeros(old ? 2 : 66);
            out.u32(1);
            for (uint32_t v : {4u, 30u, 1u}) out.u32(v);
            out.bytes("loop\0\0\0\0\0\0\0\0", 12);
        });
    }
    void pathChunk(const std::string& path) {
        chunk(kPath, [&] { out.utf16z(path); });
    }
    void document(uint32_t tag, const Bytes& text, bool bom) {
        chunk(tag, [&] {
            out.u64(0);
            out.u64(0);
            out.utf16z("");
            out.bytes(text.data() + (bom ? 0 : 2), text.size() - (bom ? 0 : 2));
            out.zeros(2);
        });
    }
};

std::string failure(const Bytes& state) {
    try {
        StateReader::read(state, false, {});
    } catch (const std::exception& e) {
        return e.what();
    }
    return "";
}

TEST(StateChunk, ReaderTakesOldFormsSkipsUnknownTagsAndRefusesMalformedChunks) {
    Folder folder;
    XmlTest::writeWave(folder.path("w.wav"), 50);
    auto program = ZnLib::makeRef<Program>("P");
    Bank textBank;
    auto wave = memoryWave("w");
    textBank.addWave(wave);
    auto group = ZnLib::makeRef<Group>("G");
    group->splits.front().setWave(wave);
    program->addGroup(group);
    const Bytes text = MVWriter::chunkText(*program, textBank);

    for (bool old : {true, false}) {
        std::string programDump;
        for (bool bom : {true, false}) {
            HandState s;
            s.version(old ? 900 : StateWriter::version());
            s.chunk(ZnLib::fourcc("zzzz"), [&] { s.out.bytes("odd", 3); });
            s.chunk(kWref, [&] {
                s.waveInfo(old);
                s.pathChunk(folder.path("w.wav"));
            });
            const LoadedState waves = StateReader::read(s.out.data(), false, {});
            ASSERT_EQ(waves.bank->waves.size(), 1u);
            const ZnPlug::Wave& w = *waves.bank->waves[0];
            EXPECT_EQ(w.root, 64);
            EXPECT_EQ(w.fine, -7);
            EXPECT_EQ(w.sampleRate, 22050u);
            EXPECT_EQ(w.start, 2u);
            EXPECT_EQ(w.end, 40u);
            EXPECT_EQ(w.tempo, old ? 0.0f : 96.0f);
            EXPECT_EQ(w.loops, std::vector<ZnPlug::Loop>{ZnPlug::Loop(4, 30, ZnPlug::LoopMode::Forward, "loop")});

            // A document with or without its byte order mark reads the same.
            s.document(kPrgm, text, bom);
            const LoadedState state = StateReader::read(s.out.data(), false, {});
            ASSERT_EQ(state.bank->programs.size(), 1u);
            EXPECT_EQ(state.bank->programs[0]->groups[0]->splits.front().wave(), state.bank->waves[0].get());
            if (programDump.empty()) programDump = model(*state.bank);
            EXPECT_EQ(model(*state.bank), programDump);
        }
    }

    const auto wref = [&](const std::function<void(HandState&)>& body) {
        HandState s;
        s.version(StateWriter::version());
        s.chunk(kWref, [&] { body(s); });
        return failure(s.out.data());
    };
    EXPECT_EQ(wref([&](HandState& s) { s.pathChunk("w.wav"); }), "Malformed wave info");
    EXPECT_EQ(wref([&](HandState& s) { s.waveInfo(false); }), "Malformed 'wref' data chunk");
    EXPECT_EQ(wref([&](HandState& s) {
                  s.waveInfo(false);
                  s.chunk(kIcon, [] {});
              }),
              "Malformed 'wref' data chunk");
    EXPECT_EQ(wref([&](HandState& s) {
                  s.waveInfo(false);
                  s.chunk(kPath, [&] { s.out.bytes("w\0x", 3); });
              }),
              "Malformed path");

    const auto wave_ = [&](const std::function<void(HandState&)>& body) {
        HandState s;
        s.chunk(kWave, [&] { body(s); });
        return failure(s.out.data());
    };
    const auto pathInfo = [](HandState& s) {
        s.chunk(kWfip, [&] {
            s.out.u64(0);
            s.out.u64(0);
            s.out.utf16z("w.wav");
        });
    };
    EXPECT_EQ(wave_([&](HandState& s) { s.pathChunk("w.wav"); }), "Malformed 'wave' chunk");
    EXPECT_EQ(wave_([&](HandState& s) { s.chunk(kWfip, [&] { s.out.zeros(16); }); }), "Malformed path info");
    EXPECT_EQ(wave_([&](HandState& s) {
                  pathInfo(s);
                  s.chunk(ZnLib::fourcc("data"), [&] { s.out.zeros(8); });
              }),
              "Bad RIFF chunk");
    HandState noZero;
    noZero.chunk(kPrgm, [&] {
        noZero.out.zeros(16);
        noZero.out.bytes("<\0p\0", 4);
    });
    EXPECT_EQ(failure(noZero.out.data()), "Malformed path info");
}

TEST(StateChunk, ABrokenStateIsRefusedWithItsTextAndTheEngineKeepsWhatItHad) {
    Instances pair;
    pair.saved.store().saveAllWavesInFXB = true;
    const Bytes state = pair.saved.getChunk(false);
    ASSERT_TRUE(pair.fresh.setChunk(state.data(), state.size(), false));
    const std::string before = model(pair.fresh);
    const std::string id = pair.fresh.instanceId();

    Bytes cut(state.begin(), state.begin() + std::ptrdiff_t(state.size() * 2 / 3));
    EXPECT_FALSE(pair.fresh.setChunk(cut.data(), cut.size(), false));
    EXPECT_EQ(pair.fresh.lastChunkError(), "Address out of bounds");
    std::mt19937 random(7);
    Bytes noise(4096);
    for (auto& b : noise) b = uint8_t(random());
    EXPECT_FALSE(pair.fresh.setChunk(noise.data(), noise.size(), true));
    EXPECT_FALSE(pair.fresh.lastChunkError().empty());
    // A state whose documents do not parse.
    Bytes broken = state;
    const uint8_t root[] = {'m', 0, 'v', 0, ':', 0, 'p', 0, 'r', 0, 'o', 0, 'g', 0};
    const auto at = std::search(broken.begin(), broken.end(), std::begin(root), std::end(root));
    ASSERT_NE(at, broken.end());
    at[6] = 'q';
    EXPECT_FALSE(pair.fresh.setChunk(broken.data(), broken.size(), false));
    EXPECT_EQ(model(pair.fresh), before);
    EXPECT_EQ(pair.fresh.instanceId(), id);
}

TEST(StateChunk, SoundFontWavesTravelAsIndexesIntoTheirSource) {
    Instances pair;
    MV::Test::Sf2Builder b;
    b.addSample(MV::Test::Sf2Builder::ramp("Low", 40));
    b.addSample(MV::Test::Sf2Builder::ramp("High", 30));
    const int inst = b.addInstrument("I", {{{{43, MV::Test::Sf2Builder::range(0, 59)}, {53, 0}}},
                                          {{{43, MV::Test::Sf2Builder::range(60, 127)}, {53, 1}}}});
    b.addPreset("Keys", 0, 0, {{{{41, int16_t(inst)}}}});
    const Bytes sf2 = b.build();
    const std::string path = pair.folder.path("kit.sf2");
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(sf2.data()), std::streamsize(sf2.size()));

    ProcessCallbacks quiet;
    auto font = ZnLib::makeRef<SoundFont>(path, quiet);
    auto bank = ZnLib::makeRef<Bank>();
    auto program = font->importProgram(0, *bank, quiet);
    bank->addProgram(program);
    // A plain wave between imported ones breaks the run of the source.
    bank->waves.insert(bank->waves.begin() + 1, pair.items.plain);
    pair.saved.adoptBank(*bank);
    pair.saved.waves[2]->root = 70;

    const Bytes state = pair.saved.getChunk(false);
    seed("soundfont", state);
    EXPECT_THAT(tags(state), testing::ElementsAre("vers", "mvid", "bimp", "wref", "wave", "bimp", "wref", "uist",
                                                  "prgm", "bank"));
    ASSERT_TRUE(pair.fresh.setChunk(state.data(), state.size(), false)) << pair.fresh.lastChunkError();
    ASSERT_EQ(pair.fresh.waves.size(), 3u);
    EXPECT_TRUE(pair.fresh.waves[0]->container);
    EXPECT_EQ(pair.fresh.waves[2]->root, 70);
    EXPECT_EQ(model(pair.fresh, false), model(pair.saved, false));
}

}  // namespace
}  // namespace MV
