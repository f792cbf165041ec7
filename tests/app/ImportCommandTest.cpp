// EXS and AKP instruments through the command's path: they play, and convert into program
// documents that read back and play alike.
#include <gtest/gtest.h>

#include <cstring>

#include "Convert.h"
#include "InstrumentLoader.h"
#include "MidiFile.h"
#include "SongRenderer.h"
#include "TestSong.h"
#include "engine/Morvek.h"
#include "import/ImportTestUtil.h"

namespace {

using MV::Test::writeFile;

std::string chunk(const std::string& id, std::string data) {
    std::string out = id;
    for (int i = 0; i < 4; ++i) out += char(uint8_t(data.size() >> (8 * i)));
    if (data.size() & 1) data += '\0';
    return out + data;
}

std::string bytes(std::size_t size, std::vector<std::pair<std::size_t, int>> set) {
    std::string out(size, '\0');
    for (auto [at, v] : set) out.at(at) = char(uint8_t(v));
    return out;
}

// One keygroup over the whole keyboard with one looped zone, an inverted LFO and bytes past the
// ranges documents hold.
std::string akp() {
    std::string zone = bytes(46, {{1, 4}, {35, 127}, {38, 100}, {42, 0}, {43, 1}});
    zone.replace(2, 4, "tone");
    return chunk("RIFF", "APRG" + chunk("lfo ", bytes(12, {{1, 7}, {2, 255}, {4, 200}})) +
                             chunk("kgrp", chunk("kloc", bytes(16, {{5, 127}})) +
                                               chunk("env ", bytes(18, {{6, 250}, {7, 90}})) +
                                               chunk("filt", bytes(10, {{1, 0}, {2, 100}})) + chunk("zone", zone)));
}

// A little-endian record: head with body size and magic, then the body.
std::string exsRecord(uint8_t type, std::size_t size, std::vector<std::pair<std::size_t, uint32_t>> words,
                      std::vector<std::pair<std::size_t, int>> set = {}) {
    std::string r = bytes(size, set);
    r[0] = r[1] = 1;
    r[3] = char(type);
    words.insert(words.begin(), {{4, uint32_t(size - 84)}, {16, 0x534F4254}});
    for (auto [at, v] : words)
        for (int i = 0; i < 4; ++i) r[at + std::size_t(i)] = char(uint8_t(v >> (8 * i)));
    return r;
}

std::string exs() {
    std::string sample = exsRecord(3, 420, {});
    std::memcpy(sample.data() + 20, "tone.wav", 8);
    std::string params = exsRecord(4, 392, {{84, 100}}, {{88, 80}, {192, 40}, {89, 79}, {194, 100}});
    return exsRecord(1, 180, {{104, 100}, {108, 20000}, {172, 0xFFFFFFFF}},
                     {{85, 60}, {91, 127}, {117, 1}}) +
           sample + params;
}

TEST(ImportCommand, ExsAndAkpPlayAndConvertIntoProgramsThatPlayAlike) {
    MV::Test::ScratchDir dir;
    MV::Test::writeWave(dir / "tone.wav", 22050, 60);
    writeFile(dir / "inst.akp", akp());
    writeFile(dir / "inst.exs", exs());
    const Cli::MidiFile song = Cli::Test::TestSong().at(0, {0x90, 60, 100}).at(480, {0x80, 60, 0}).song();
    auto render = [&](const std::string& path) {
        MV::Morvek engine;
        engine.adoptBank(*Cli::loadInstrument(path, {}, {}));
        Cli::RenderOptions options;
        options.maxTailSeconds = 1;
        return Cli::renderSong(engine, song, options);
    };
    for (const char* name : {"inst.akp", "inst.exs"}) {
        SCOPED_TRACE(name);
        const Cli::RenderResult original = render(dir / name);
        EXPECT_GT(original.peak, 0.1f);
        Cli::ConvertOptions options;
        options.copyContent = true;
        const std::string converted = dir / (std::string("out/") + name + ".mvprog");
        Cli::convertInstrument(dir / name, converted, options);
        const Cli::RenderResult again = render(converted);
        ASSERT_EQ(again.left.size(), original.left.size());
        EXPECT_NEAR(again.peak, original.peak, 1e-3f);
    }
}

}  // namespace
