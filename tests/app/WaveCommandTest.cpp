// `morvek wave` end to end: files in, files out, read back with the product's own readers.
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <filesystem>
#include <stdexcept>

#include "MidiFile.h"
#include "WaveCommand.h"
#include "lib/Path.h"
#include "lib/TempFile.h"
#include "plug/Wave.h"
#include "plug/WaveDetect.h"

namespace {

class Scratch {
public:
    Scratch() {
        std::string pattern = ZnLib::TempFile::folder() + "/wavecmd-XXXXXX";
        path_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~Scratch() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

int runWave(std::vector<std::string> args) {
    CLI::App app;
    Cli::WaveCommand command(app);
    args.insert(args.begin(), {"morvek", "wave"});
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    app.parse(int(argv.size()), argv.data());
    return command.run();
}

ZnLib::SharedRef<ZnPlug::Wave> readWave(const std::string& path) {
    auto w = ZnLib::makeRef<ZnPlug::Wave>();
    w->setFile(ZnLib::FS::File(path));
    w->load();
    return w;
}

std::string writeRamp(const Scratch& dir, uint32_t frames) {
    ZnPlug::SampleBuffer b(frames, 1);
    for (uint32_t i = 0; i < frames; ++i) b.channel(0)[i] = float(i + 1) / 16;
    ZnPlug::Wave w(std::move(b), 44100, 32, 3, ZnPlug::kFormatWave);
    w.setName("ramp");
    const std::string path = dir.file("ramp.wav");
    w.saveAs(path);
    return path;
}

const char* const kBeats = "/usr/share/lmms/samples/beats/";

}  // namespace

TEST(WaveCommandTest, EditAppliesTheOperationsInTheirOrder) {
    Scratch dir;
    const std::string in = writeRamp(dir, 8), out = dir.file("out.wav");
    EXPECT_EQ(runWave({"edit", in, "-o", out, "--range", "2:6", "--reverse-range", "--add-loop", "1:3:Backward",
                       "--range", "0:4", "--normalize"}),
              0);
    auto w = readWave(out);
    const float* x = w->channelData(0);
    // Frames 2..5 reversed (3 4 5 6 -> 6 5 4 3), then frames 0..3 scaled by their peak, 6/16.
    const float k = 1 / (6.0f / 16);
    EXPECT_EQ(std::vector<float>(x, x + 8), (std::vector<float>{1.0f / 16 * k, 2.0f / 16 * k, 6.0f / 16 * k,
                                                                5.0f / 16 * k, 4.0f / 16, 3.0f / 16, 7.0f / 16,
                                                                8.0f / 16}));
    ASSERT_EQ(w->loops.size(), 1u);
    EXPECT_EQ(w->loops[0].mode, ZnPlug::LoopMode::Backward);

    try {
        runWave({"edit", in, "-o", out, "--add-loop", "2:6", "--crossfade-loop", "0", "--size", "3"});
        ADD_FAILURE();
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "Bad loop bounds or crossfade size");
    }
}

TEST(WaveCommandTest, SliceWritesLoopsWavesAndAMidiFile) {
    Scratch dir;
    const std::string in = writeRamp(dir, 4000), out = dir.file("sliced.wav");
    EXPECT_EQ(runWave({"slice", in, "-o", out, "--even", "4", "--to-waves", dir.file("slices"), "--midi",
                       dir.file("s.mid"), "--png", dir.file("s.png")}),
              0);
    auto w = readWave(out);
    ASSERT_EQ(w->loops.size(), 4u);
    EXPECT_EQ(w->loops[1], ZnPlug::Loop(1000, 2000, ZnPlug::LoopMode::Slice, "Slc2"));
    EXPECT_EQ(readWave(dir.file("slices/ramp_Slc4.wav"))->frames(), 1000u);
    EXPECT_EQ(Cli::MidiFile::read(dir.file("s.mid")).events().size(), 8u);
    EXPECT_TRUE(ZnLib::FS::exists(dir.file("s.png")));
    EXPECT_THROW(runWave({"slice", in, "--even", "4"}), std::runtime_error);
}

TEST(WaveCommandTest, PeaksAreWrittenOnceThenFoundUpToDate) {
    Scratch dir;
    const char* home = ::getenv("MORVEK_HOME");
    const std::string oldHome = home ? home : "";
    ::setenv("MORVEK_HOME", dir.file("home").c_str(), 1);
    const std::string in = writeRamp(dir, 20000);
    testing::internal::CaptureStdout();
    runWave({"peaks", in});
    runWave({"peaks", in, "--png", dir.file("p.png")});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Peak file: " + in + ".reapeaks (written)\nPeak file: " + in + ".reapeaks (up to date)\nWrote " +
                  dir.file("p.png") + "\n");
    home ? ::setenv("MORVEK_HOME", oldHome.c_str(), 1) : ::unsetenv("MORVEK_HOME");
}

TEST(WaveCommandTest, RealDrumLoopsHavePlausibleTempos) {
    // Loops of a Debian package, when installed: four beats of a break, and two bars at 120.
    struct Loop {
        const char* file;
        double bpm;
    } loops[] = {{"break02.ogg", 4 * 60 / 1.719683}, {"electro_beat01.ogg", 120}};
    for (const Loop& l : loops) {
        const std::string path = std::string(kBeats) + l.file;
        if (!ZnLib::FS::exists(path)) GTEST_SKIP() << "lmms-common is not installed";
        auto w = readWave(path);
        const auto tempos = ZnPlug::detectTempo(*w, 0, 0);
        ASSERT_FALSE(tempos.empty()) << l.file;
        EXPECT_NEAR(tempos[0], l.bpm, l.bpm * 0.02) << l.file;
    }
}
