#include <gtest/gtest.h>

#include <cmath>

#include "DemoInstrument.h"
#include "MidiFile.h"
#include "SongRenderer.h"
#include "engine/Morvek.h"

namespace {
// Where the engine's transport stood when each event took effect.
struct Recorder : MV::MidiListener {
    void onMidi(MV::Morvek& engine, const ZnPlug::MidiEvent& e, bool) override {
        positions.push_back({e.status, engine.context().sample_pos, engine.context().tempo});
    }
    struct Entry {
        uint8_t status;
        double samplePos;
        double tempo;
    };
    std::vector<Entry> positions;
};

std::vector<uint8_t> twoNoteSong() {
    // 96 ticks per quarter at 120 beats per minute: tick 96 is 0.5 s; tempo 60 from tick 192 (1 s).
    return {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0, 96, 'M', 'T', 'r', 'k', 0, 0, 0, 19,
            0x60, 0x90, 60, 100,  // at 96
            0x60, 0xFF, 0x51, 0x03, 0x0F, 0x42, 0x40,  // at 192: 60 beats per minute
            0x60, 0x80, 60, 0,  // at 288: 1 s later, at the new tempo
            0x00, 0xFF, 0x2F, 0x00};
}
}  // namespace

TEST(SongRenderer, EventsLandOnTheirSampleAcrossBlocksAndTempoChanges) {
    const Cli::MidiFile song = Cli::MidiFile::parse(twoNoteSong());
    MV::Morvek engine;
    Recorder rec;
    engine.addMidiListener(&rec);
    Cli::RenderOptions options;
    options.sampleRate = 48000;
    options.blockSize = 100;
    options.maxTailSeconds = 0;
    const Cli::RenderResult result = Cli::renderSong(engine, song, options);
    ASSERT_EQ(rec.positions.size(), 2u);
    EXPECT_EQ(rec.positions[0].samplePos, 24000.0);
    EXPECT_EQ(rec.positions[1].samplePos, 96000.0);
    EXPECT_DOUBLE_EQ(rec.positions[1].tempo, 60.0);
    // The silent default instrument: the song up to its last event is kept, nothing of the tail.
    EXPECT_EQ(result.left.size(), 96001u);
    EXPECT_EQ(result.peak, 0.0f);
}

TEST(SongRenderer, TheDemoSongIsAudibleAndEndsInSilence) {
    const Cli::MidiFile song = Cli::MidiFile::read(MORVEK_SOURCE_DIR "/res/demo/demo.mid");
    MV::Morvek engine;
    {
        std::lock_guard lock(engine.mainLock());
        Cli::loadDemoInstrument(engine);
    }
    Cli::RenderOptions options;
    const Cli::RenderResult result = Cli::renderSong(engine, song, options);
    const double seconds = double(result.left.size()) / options.sampleRate;
    EXPECT_GE(seconds, song.lengthSeconds());
    EXPECT_LE(seconds, song.lengthSeconds() + options.maxTailSeconds);
    EXPECT_GT(result.peak, 0.1f);
    EXPECT_LT(result.peak, 4.0f);
    // Sound in every bar: no stretch of a whole bar stays silent.
    const auto bar = std::size_t(4 * 60.0 / 112.0 * options.sampleRate);
    for (std::size_t start = 0; start + bar <= std::size_t(song.lengthSeconds() * options.sampleRate);
         start += bar) {
        float peak = 0;
        for (std::size_t i = start; i < start + bar; ++i) peak = std::fmax(peak, std::fabs(result.left[i]));
        EXPECT_GT(peak, 0.05f) << "bar starting at frame " << start;
    }
    for (float s : result.left) ASSERT_TRUE(std::isfinite(s));
}
