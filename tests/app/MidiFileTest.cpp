#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "MidiFile.h"
#include "lib/Error.h"

using Cli::MidiFile;

namespace {
using Bytes = std::vector<uint8_t>;

Bytes chunk(const char* id, const Bytes& body) {
    Bytes out(id, id + 4);
    const auto n = uint32_t(body.size());
    out.insert(out.end(), {uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8), uint8_t(n)});
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes file(uint16_t format, const std::vector<Bytes>& tracks, uint16_t division = 96) {
    Bytes out = chunk("MThd", {0, uint8_t(format), 0, uint8_t(tracks.size()), uint8_t(division >> 8),
                               uint8_t(division)});
    for (const Bytes& t : tracks) {
        Bytes c = chunk("MTrk", t);
        out.insert(out.end(), c.begin(), c.end());
    }
    return out;
}

std::string errorOf(const Bytes& bytes) {
    try {
        MidiFile::parse(bytes);
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "";
}
}  // namespace

TEST(MidiFile, MergesTracksWithRunningStatusAndATempoMap) {
    // Track 1: tempo 120, then at tick 192 (two quarters) tempo 60; ends at 288.
    const Bytes meta = {0x00, 0xFF, 0x51, 0x03, 0x07, 0xA1, 0x20,  // 500000 us
                        0x81, 0x40, 0xFF, 0x51, 0x03, 0x0F, 0x42, 0x40,  // +192: 1000000 us
                        0x60, 0xFF, 0x2F, 0x00};
    // Track 2: note on at 0, then by running status a note off (velocity 0) at 96 and a second
    // note on at 96 + 0; a controller and a program change (one data byte) at 288.
    const Bytes notes = {0x00, 0x90, 60, 100, 0x60, 60, 0, 0x00, 64, 90,
                         0x81, 0x40, 0xB1, 7, 100, 0x00, 0xC1, 5, 0x00, 0xFF, 0x2F, 0x00};
    const MidiFile song = MidiFile::parse(file(1, {meta, notes}));
    ASSERT_EQ(song.events().size(), 5u);
    EXPECT_EQ(song.events()[1].tick, 96u);
    EXPECT_EQ(song.events()[1].status, 0x90);  // running status kept
    EXPECT_EQ(song.events()[1].data2, 0);
    EXPECT_EQ(song.events()[2].data1, 64);
    EXPECT_EQ(song.events()[3].status, 0xB1);
    EXPECT_EQ(song.events()[4].status, 0xC1);
    EXPECT_EQ(song.events()[4].data1, 5);
    // Two quarters at 120 (1 s), then one quarter at 60 (1 s).
    EXPECT_DOUBLE_EQ(song.secondsAt(192), 1.0);
    EXPECT_DOUBLE_EQ(song.secondsAt(288), 2.0);
    EXPECT_DOUBLE_EQ(song.lengthSeconds(), 2.0);
    EXPECT_DOUBLE_EQ(song.quartersAtSeconds(1.5), 2.5);
    EXPECT_DOUBLE_EQ(song.tempoAtSeconds(0.5), 120.0);
    EXPECT_DOUBLE_EQ(song.tempoAtSeconds(1.5), 60.0);
}

TEST(MidiFile, SkipsSysexAndUnknownChunksAndCancelsRunningStatus) {
    Bytes track = {0x00, 0x90, 60, 100, 0x00, 0xF0, 0x02, 0x7E, 0xF7, 0x00, 0x3C, 0x40, 0x00, 0xFF, 0x2F, 0x00};
    Bytes bytes = file(0, {});
    bytes[11] = 1;  // one track
    Bytes junk = chunk("XTRA", {1, 2, 3});
    bytes.insert(bytes.end(), junk.begin(), junk.end());
    Bytes t = chunk("MTrk", track);
    bytes.insert(bytes.end(), t.begin(), t.end());
    EXPECT_EQ(errorOf(bytes), "Data byte without a status in MIDI track 1");
}

TEST(MidiFile, BadFilesGiveClearErrors) {
    EXPECT_EQ(errorOf({'R', 'I', 'F', 'F'}), "Not a Standard MIDI File");
    EXPECT_EQ(errorOf(file(2, {{0x00, 0xFF, 0x2F, 0x00}})), "Unsupported MIDI file format 2");
    EXPECT_EQ(errorOf(file(0, {{0x00, 0xFF, 0x2F, 0x00}}, 0)), "Invalid MIDI time division");
    EXPECT_EQ(errorOf(file(0, {{0x00, 0x90, 60}})), "Truncated MIDI track 1\n - Address out of bounds");
    EXPECT_EQ(errorOf(file(0, {{0xFF, 0xFF, 0xFF, 0xFF, 0x00}})), "Invalid variable-length number");
    // A track length beyond the file.
    Bytes lying = file(0, {{0x00, 0xFF, 0x2F, 0x00}});
    lying[21] = 0x40;
    EXPECT_EQ(errorOf(lying), "Truncated MIDI track 1");
    EXPECT_EQ(errorOf(file(0, {})), "MIDI file has no tracks");
    try {
        MidiFile::read("/no/such/song.mid");
        FAIL();
    } catch (const std::exception& e) {
        EXPECT_EQ(ZnLib::describe(e).rfind("Could not load /no/such/song.mid\n - Could not open file", 0), 0u);
    }
}

TEST(MidiFile, ReadsTheDemoSong) {
    const MidiFile song = MidiFile::read(MORVEK_SOURCE_DIR "/res/demo/demo.mid");
    EXPECT_EQ(song.format(), 1);
    EXPECT_EQ(song.trackCount(), 4);
    EXPECT_EQ(song.name(), "Morvek Demo");
    EXPECT_NEAR(song.tempoAtSeconds(1.0), 112.0, 0.01);
    // Eight bars of 4/4 at 112 beats per minute.
    EXPECT_NEAR(song.lengthSeconds(), 32 * 60.0 / 112.0, 0.01);
}
