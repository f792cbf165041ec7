#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>

#include "DemoInstrument.h"
#include "EngineReport.h"
#include "MidiFile.h"
#include "MorvekVersion.h"
#include "SongRenderer.h"
#include "engine/Morvek.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "plug/Wave.h"
#include "plug/WaveDescription.h"

namespace {

struct RenderArgs {
    std::vector<std::string> inputs;
    std::string output;
    double rate = 44100;
    int block = 512;
    std::string interpolation = "default";
    double tail = 10;
    std::string format = "24";
    bool quiet = false;
};

const std::map<std::string, uint8_t> kInterpolations = {{"default", 0}, {"draft", 1},  {"hermite", 2},
                                                        {"sinc32", 3},  {"sinc64", 4}, {"sinc128", 5}};

// A bar on stderr, redrawn in place; only when stderr is a terminal.
class ProgressBar {
public:
    explicit ProgressBar(bool enabled) : enabled_(enabled && ::isatty(2)) {}
    void operator()(double done) const {
        if (!enabled_) return;
        const int width = 40, filled = int(done * width);
        std::fprintf(stderr, "\rRendering [%s%s] %3d%%", std::string(std::size_t(filled), '#').c_str(),
                     std::string(std::size_t(width - filled), '.').c_str(), int(done * 100));
        if (done >= 1.0) std::fputc('\n', stderr);
        std::fflush(stderr);
    }

private:
    bool enabled_;
};

void writeWav(const Cli::RenderResult& result, const std::string& path, double rate, const std::string& format) {
    ZnPlug::SampleBuffer buffer(uint32_t(result.left.size()), 2);
    std::copy(result.left.begin(), result.left.end(), buffer.channel(0));
    std::copy(result.right.begin(), result.right.end(), buffer.channel(1));
    const bool isFloat = format == "float";
    const uint8_t bits = isFloat ? 32 : uint8_t(std::stoi(format));
    ZnPlug::Wave wave(std::move(buffer), uint32_t(std::lround(rate)), bits, isFloat ? 3 : 2, ZnPlug::kFormatWave);
    wave.setName(ZnLib::FS::stem(path));
    wave.saveAs(path);
}

int runRender(const RenderArgs& args) {
    const std::string& songPath = args.inputs.back();
    const std::string instrument = args.inputs.size() > 1 ? args.inputs.front() : std::string();
    const Cli::MidiFile song = Cli::MidiFile::read(songPath);

    MV::EngineSettings settings = MV::EngineSettings::from(MV::Settings());
    if (args.interpolation != "default") settings.offlineInterpolation = kInterpolations.at(args.interpolation);
    MV::Morvek engine(settings);
    {
        std::lock_guard lock(engine.mainLock());
        if (!instrument.empty()) throw std::runtime_error("Unsupported instrument file: " + instrument);
        Cli::loadDemoInstrument(engine);
    }

    Cli::RenderOptions options;
    options.sampleRate = args.rate;
    options.blockSize = args.block;
    options.maxTailSeconds = args.tail;
    const Cli::RenderResult result = Cli::renderSong(engine, song, options, ProgressBar(!args.quiet));

    const std::string output = args.output.empty() ? ZnLib::FS::stem(songPath) + ".wav" : args.output;
    writeWav(result, output, args.rate, args.format);
    if (!args.quiet) {
        const double seconds = double(result.left.size()) / args.rate;
        const double peakDb = result.peak > 0 ? 20.0 * std::log10(double(result.peak)) : -INFINITY;
        std::fputs(ZnLib::Text::format("Rendered %s to %s: %.2f s, peak %.1f dBFS\n", songPath.c_str(),
                                       output.c_str(), seconds, peakDb)
                       .c_str(),
                   stdout);
        if (result.peak > 1.0f) std::fputs("Warning: the output clips; 24-bit and 16-bit files are cut at 0 dBFS\n", stderr);
    }
    return 0;
}

int runInfo(const std::string& path) {
    if (path.empty()) {
        MV::Morvek engine;
        std::fputs(Cli::engineReport(engine).c_str(), stdout);
        return 0;
    }
    auto wave = ZnLib::makeRef<ZnPlug::Wave>();
    // The name first: naming an item renames its file too.
    wave->setName(ZnLib::FS::stem(path));
    wave->setFile(ZnLib::FS::File(path));
    wave->load();
    std::string text = ZnPlug::describeWave(*wave);
    if (!text.empty() && text.back() != '\n') text += '\n';
    std::fputs(text.c_str(), stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Morvek: renders MIDI songs through sampler instruments"};
    app.set_version_flag("--version", std::to_string(Version::Major) + "." + std::to_string(Version::Minor) + "." +
                                          std::to_string(Version::Patch));
    app.require_subcommand(1);

    RenderArgs render;
    CLI::App* renderCmd = app.add_subcommand(
        "render", "Render a Standard MIDI File through an instrument into a WAV file. With only a song, the "
                  "built-in demo instrument plays it (keys on channel 1, the keys an octave down on channel 2, "
                  "drums on channel 10).");
    renderCmd->add_option("INSTRUMENT SONG", render.inputs, "[INSTRUMENT] SONG.mid")->required()->expected(1, 2);
    renderCmd->add_option("-o,--output", render.output, "WAV file to write (default: the song's name with .wav)");
    renderCmd->add_option("-r,--rate", render.rate, "Sample rate in Hz")->capture_default_str()->check(
        CLI::Range(8000.0, 384000.0));
    renderCmd->add_option("-b,--block", render.block, "Frames per audio call, as a host's block size")
        ->capture_default_str()
        ->check(CLI::Range(1, 8192));
    renderCmd->add_option("-i,--interpolation", render.interpolation,
                          "Interpolation for the whole render: default (as the settings and the instrument say), "
                          "draft, hermite, "
                          "sinc32, sinc64, sinc128")
        ->capture_default_str()
        ->check(CLI::IsMember({"default", "draft", "hermite", "sinc32", "sinc64", "sinc128"}));
    renderCmd->add_option("-t,--tail", render.tail, "Longest tail after the song's end, in seconds; it ends "
                                                    "earlier when the output falls silent")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 600.0));
    renderCmd->add_option("-f,--format", render.format, "Sample format of the WAV file: 16, 24 or float")
        ->capture_default_str()
        ->check(CLI::IsMember({"16", "24", "float"}));
    renderCmd->add_flag("-q,--quiet", render.quiet, "No progress bar and no summary");

    std::string infoPath;
    CLI::App* infoCmd = app.add_subcommand(
        "info", "Show what a wave file holds; without a file, what the engine holds by default");
    infoCmd->add_option("FILE", infoPath, "A wave file (WAV, AIFF, AIFC, FLAC, Ogg Vorbis, 12-bit sampler format)");

    CLI11_PARSE(app, argc, argv);
    try {
        if (renderCmd->parsed()) return runRender(render);
        if (infoCmd->parsed()) return runInfo(infoPath);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "morvek: %s\n", ZnLib::describe(e).c_str());
        return 1;
    }
    return 0;
}
