#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>

#include "AutomationFile.h"
#include "Convert.h"
#include "DemoInstrument.h"
#include "EngineReport.h"
#include "InstrumentLoader.h"
#include "Interpolation.h"
#include "JsonReport.h"
#include "MapCommand.h"
#include "MidiFile.h"
#include "MorvekVersion.h"
#include "OutputFiles.h"
#include "RecordOptions.h"
#include "SongRenderer.h"
#include "TakeRecorder.h"
#include "WavStream.h"
#include "WaveCommand.h"
#include "engine/Morvek.h"
#include "engine/UnitFactory.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "plug/Wave.h"
#include "plug/WaveDescription.h"
#include "import/SoundFont.h"
#include "model/ModelDump.h"

namespace {

struct RenderArgs {
    std::vector<std::string> inputs;
    std::string output;
    double rate = 44100;
    int block = 512;
    std::string interpolation = "default";
    double tail = 10;
    std::string format = "24";
    double gainDb = 0;
    std::string preset;
    bool quiet = false;
    bool noEffects = false;
    std::string outputs;
    std::string automation;
    Cli::RecordOptions record;
};

// "BANK:PROG" of --preset: every channel the song plays gets that one preset.
std::vector<MV::ChannelChoice> forcedPreset(const std::string& text, std::vector<MV::ChannelChoice> choices) {
    const auto [bank, program] = Cli::parsePreset(text);
    std::vector<MV::ChannelChoice> forced;
    for (const MV::ChannelChoice& c : choices) {
        const bool seen = std::any_of(forced.begin(), forced.end(),
                                      [&](const MV::ChannelChoice& f) { return f.channel == c.channel; });
        if (!seen) forced.push_back({c.channel, bank, uint16_t(program)});
    }
    return forced;
}

// A bar on stderr, redrawn in place; only when stderr is a terminal.
class ProgressBar {
public:
    explicit ProgressBar(bool enabled, const char* label = "Rendering")
        : enabled_(enabled && ::isatty(2)), label_(label) {}
    void operator()(double done) const {
        if (!enabled_) return;
        const int width = 40, filled = int(done * width);
        std::fprintf(stderr, "\r%s [%s%s] %3d%%", label_, std::string(std::size_t(filled), '#').c_str(),
                     std::string(std::size_t(width - filled), '.').c_str(), int(done * 100));
        if (done >= 1.0) std::fputc('\n', stderr);
        std::fflush(stderr);
    }

private:
    bool enabled_;
    const char* label_;
};

int runRender(const RenderArgs& args) {
    const std::string& songPath = args.inputs.back();
    const std::string instrument = args.inputs.size() > 1 ? args.inputs.front() : std::string();
    const Cli::MidiFile song = Cli::MidiFile::read(songPath);

    MV::EngineSettings settings = MV::EngineSettings::from(MV::Settings());
    if (const int code = Cli::interpolationCode(args.interpolation); code > 0)
        settings.offlineInterpolation = uint8_t(code);
    MV::Morvek engine(settings);
    engine.effectsOff = args.noEffects;
    if (instrument.empty()) {
        const std::string demo = Cli::demoBankPath();
        if (!ZnLib::FS::exists(demo))
            throw std::runtime_error("The demo instrument is missing: " + demo +
                                     " (building the morvek target writes it; or give an instrument)");
        engine.adoptBank(*Cli::loadInstrument(demo, {}, engine.store().places()));
    } else {
        // A SoundFont brings only the presets that the song asks for.
        auto choices = Cli::isSoundFont(instrument) ? Cli::songChannelChoices(song) : std::vector<MV::ChannelChoice>{};
        if (!args.preset.empty()) {
            if (!Cli::isSoundFont(instrument)) throw std::runtime_error("--preset needs a SoundFont instrument");
            choices = forcedPreset(args.preset, std::move(choices));
        }
        auto bank = Cli::loadInstrument(instrument, choices, engine.store().places());
        engine.adoptBank(*bank);
    }

    Cli::RenderOptions options;
    options.sampleRate = args.rate;
    options.blockSize = args.block;
    options.maxTailSeconds = args.tail;
    const std::string output = args.output.empty() ? ZnLib::FS::stem(songPath) + ".wav" : args.output;
    const auto gain = float(std::pow(10.0, args.gainDb / 20.0));
    const auto format = args.format == "float" ? Cli::WavStream::Format::Float
                        : args.format == "16"  ? Cli::WavStream::Format::Pcm16
                                               : Cli::WavStream::Format::Pcm24;
    if (!args.automation.empty()) options.automation = Cli::readAutomation(args.automation, args.rate);
    // Without --outputs, "S 1+2" into OUT itself; with it, a file per output beside OUT.
    const bool all = args.outputs == "all";
    std::vector<MV::Output> outputs;
    if (args.outputs.empty()) outputs = {engine.outputs[0]};
    else if (all) outputs.assign(engine.outputs.begin(), engine.outputs.end());
    else outputs = Cli::OutputFiles::pick(args.outputs, {engine.outputs.begin(), engine.outputs.end()});
    const auto recorder = args.record.arm(engine, options);
    std::vector<std::string> written;
    Cli::RenderSummary result;
    if (args.outputs.empty()) {
        // Written as it renders: a long song costs no more memory than a short one.
        Cli::WavStream file(output, uint32_t(std::lround(args.rate)), format, gain);
        result = Cli::renderSong(engine, song, options, file, ProgressBar(!args.quiet));
        file.finish();
        written.push_back(output);
    } else {
        Cli::OutputFiles files(output, outputs, uint32_t(std::lround(args.rate)), format, gain);
        options.pins = files.pins();
        result = Cli::renderSong(engine, song, options, files, ProgressBar(!args.quiet));
        // With "all", only the outputs that carry sound.
        written = files.finish(all, options.silenceLevel);
    }
    const std::vector<std::string> takes = recorder ? recorder->finish(output) : std::vector<std::string>();
    const float peak = result.peak * gain;
    if (!args.quiet && recorder) std::fputs(recorder->summary(takes).c_str(), stdout);
    if (!args.quiet) {
        const double seconds = double(result.frames) / args.rate;
        const double peakDb = peak > 0 ? 20.0 * std::log10(double(peak)) : -INFINITY;
        std::string names;
        for (const std::string& w : written) names += (names.empty() ? "" : ", ") + w;
        if (names.empty()) names = "no file (every output was silent)";
        std::fputs(ZnLib::Text::format("Rendered %s to %s: %.2f s, peak %.1f dBFS\n", songPath.c_str(),
                                       names.c_str(), seconds, peakDb)
                       .c_str(),
                   stdout);
        if (peak > 1.0f && args.format != "float")
            std::fputs(ZnLib::Text::format("Warning: the output clips (peak %+.1f dBFS) and was cut at 0 dBFS; "
                                           "render again with --gain %.0f, or -f float\n",
                                           peakDb, std::floor(args.gainDb - peakDb - 1.0))
                           .c_str(),
                       stderr);
    }
    return 0;
}

struct ConvertArgs {
    std::string in;
    std::string out;
    Cli::ConvertOptions options;
    bool quiet = false;
};

int runConvert(const ConvertArgs& args) {
    const ProgressBar bar(!args.quiet, "Saving");
    const std::size_t written = Cli::convertInstrument(args.in, args.out, args.options,
                                                       [&](double done, const std::string&) { bar(done); });
    if (!args.quiet)
        std::fputs(ZnLib::Text::format("Converted %s to %s: %zu files written\n", args.in.c_str(), args.out.c_str(),
                                       written)
                       .c_str(),
                   stdout);
    return 0;
}

struct InfoArgs {
    std::string path;
    bool dump = false;
    bool json = false;
    std::string samples;
};

int runInfoJson(const InfoArgs& args) {
    uint64_t samples = 0;
    if (!args.samples.empty()) {
        const auto count = Cli::parseSampleCount(args.samples);
        if (!count) throw std::runtime_error("--samples takes a count or \"all\" (got \"" + args.samples + "\")");
        samples = *count;
    }
    const std::string& path = args.path;
    std::string text;
    if (path.empty()) {
        MV::Morvek engine;
        text = Cli::engineJson(engine, samples);
    } else if (Cli::isSoundFont(path)) {
        // The preset list alone reads only the file's tables; the model imports every preset.
        MV::ProcessCallbacks quiet;
        auto soundFont = MV::openSoundFont(path, quiet);
        ZnLib::SharedRef<MV::Bank> bank;
        if (args.dump) bank = Cli::loadInstrument(path, {}, MV::Settings().places());
        text = Cli::soundFontJson(path, *soundFont, bank.get(), samples);
    } else if (Cli::isInstrumentFile(path)) {
        text = Cli::bankJson(path, *Cli::loadInstrument(path, {}, MV::Settings().places()), samples);
    } else {
        auto wave = Cli::loadWaveFile(path);
        text = Cli::waveJson(path, *wave, samples);
    }
    std::fputs(text.c_str(), stdout);
    return 0;
}

int runInfo(const InfoArgs& args) {
    if (args.json) return runInfoJson(args);
    const std::string& path = args.path;
    if (path.empty()) {
        MV::Morvek engine;
        std::fputs(args.dump ? MV::dumpBank(engine).c_str() : Cli::engineReport(engine).c_str(), stdout);
        return 0;
    }
    if (Cli::isInstrumentFile(path)) {
        MV::Settings settings;
        if (Cli::isSoundFont(path) && !args.dump) {
            MV::ProcessCallbacks quiet;
            std::fputs(MV::describePrograms(*MV::openSoundFont(path, quiet)).c_str(), stdout);
            return 0;
        }
        auto bank = Cli::loadInstrument(path, {}, settings.places());
        std::fputs(args.dump ? MV::dumpBank(*bank).c_str() : Cli::bankReport(*bank).c_str(), stdout);
        return 0;
    }
    auto wave = Cli::loadWaveFile(path);
    std::string text = ZnPlug::describeWave(*wave);
    if (!text.empty() && text.back() != '\n') text += '\n';
    std::fputs(text.c_str(), stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    // Documents read by any command hold the real effect units.
    MV::FX::UnitFactory::install();
    CLI::App app{"Morvek: renders MIDI songs through sampler instruments"};
    app.set_version_flag("--version", std::to_string(Version::Major) + "." + std::to_string(Version::Minor) + "." +
                                          std::to_string(Version::Patch));
    app.require_subcommand(1);

    RenderArgs render;
    CLI::App* renderCmd = app.add_subcommand(
        "render", "Render a Standard MIDI File through an instrument into a WAV file. With only a song, the "
                  "demo instrument plays it (keys on channel 1, the keys an octave down on channel 2, "
                  "drums on channel 10).");
    renderCmd->add_option("INSTRUMENT SONG", render.inputs,
                          "[INSTRUMENT] SONG.mid; INSTRUMENT is a .mvbank, .mvprog, .mvperf, .mvmatrix, .sf2 (each "
                          "channel gets the preset its program changes ask for), .sfz, .exs or .akp file")
        ->required()
        ->expected(1, 2);
    renderCmd->add_option("-o,--output", render.output, "WAV file to write (default: the song's name with .wav)");
    renderCmd->add_option("-r,--rate", render.rate, "Sample rate in Hz")->capture_default_str()->check(
        CLI::Range(8000.0, 384000.0));
    renderCmd->add_option("-b,--block", render.block, "Frames per audio call, as a host's block size")
        ->capture_default_str()
        ->check(CLI::Range(1, 8192));
    renderCmd->add_option("-i,--interpolation", render.interpolation,
                          "Interpolation for the whole render, in any case: default (as the settings and the "
                          "instrument say), draft, hermite, sinc32, sinc64, sinc128")
        ->capture_default_str()
        ->check(CLI::Validator(
            [](std::string& name) {
                return Cli::interpolationCode(name) < 0 ? name + " not in " + Cli::interpolationChoices()
                                                        : std::string();
            },
            Cli::interpolationChoices()));
    renderCmd->add_option("-t,--tail", render.tail, "Longest tail after the song's end, in seconds; it ends "
                                                    "earlier when the output falls silent")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 600.0));
    renderCmd->add_option("-f,--format", render.format, "Sample format of the WAV file: 16, 24 or float")
        ->capture_default_str()
        ->check(CLI::IsMember({"16", "24", "float"}));
    renderCmd->add_option("-g,--gain", render.gainDb, "Gain in dB applied to the whole render before writing")
        ->capture_default_str()
        ->check(CLI::Range(-60.0, 24.0));
    renderCmd->add_option("-p,--preset", render.preset,
                          "With a SoundFont: BANK:PROG, the one preset every channel of the song plays");
    renderCmd->add_flag("-q,--quiet", render.quiet, "No progress bar and no summary");
    renderCmd->add_flag("--no-effects", render.noEffects, "Bypass every effect bus and insert, for comparisons");
    renderCmd->add_option("--outputs", render.outputs,
                          "Stems: 'all' writes a WAV per named output that carries sound, OUT-S1+2.wav, "
                          "OUT-M1.wav...; or a list such as \"S 3+4,M 1\" writes those outputs");
    renderCmd->add_option("--automation", render.automation,
                          "A text file of 'SECONDS PARAM VALUE' lines (PARAM 0-127, VALUE 0-1) fed to the "
                          "plug-in's parameters at their samples, as a host's automation")
        ->check(CLI::ExistingFile);
    render.record.addTo(*renderCmd);

    InfoArgs info;
    CLI::App* infoCmd = app.add_subcommand(
        "info", "Show what an instrument or wave file holds; without a file, what the engine holds by default");
    infoCmd->add_option("FILE", info.path,
                        "An instrument (.mvbank, .mvprog, .mvperf, .mvmatrix, .sf2: its presets, .sfz, .exs, .akp) or a "
                        "wave file (WAV, AIFF, AIFC, FLAC, Ogg Vorbis, 12-bit sampler format; REX loops where the "
                        "REX library is set in the settings)");
    infoCmd->add_flag("-d,--dump", info.dump,
                      "Print the whole model the instrument becomes: every performance, slot, program, group, "
                      "split, wave and wave matrix (a SoundFont with all its presets)");
    CLI::Option* jsonFlag = infoCmd->add_flag(
        "-j,--json", info.json,
        "Print what the file holds as one JSON document: every field of a wave; the whole model of an "
        "instrument (of a SoundFont its presets, and with --dump the model too)");
    infoCmd->add_option("-s,--samples", info.samples,
                        "With --json: list the first N decoded samples of each channel of a wave, or \"all\"")
        ->needs(jsonFlag);

    ConvertArgs convert;
    CLI::App* convertCmd = app.add_subcommand(
        "convert", "Save an instrument as one of the product's documents, with the waves it needs. OUT's "
                   "extension names the type: .mvbank, .mvprog, .mvperf or .mvmatrix; or a host preset file: "
                   ".fxb (the bank) or .fxp (the current performance), the plug-in's state that hosts load. A "
                   "whole SoundFont becomes a bank with one program per preset, in General MIDI order.");
    convertCmd->add_option("IN", convert.in, "A .mvbank, .mvprog, .mvperf, .mvmatrix, .sf2, .sfz, .exs or .akp file")
        ->required();
    convertCmd->add_option("OUT", convert.out, "The document to write; an existing one is replaced only when the "
                                               "save succeeds")
        ->required();
    convertCmd->add_option("-p,--preset", convert.options.preset, "With a SoundFont: BANK:PROG, the one preset to "
                                                                  "convert (into a .mvprog, or a bank of one)");
    convertCmd->add_flag("-c,--copy-content", convert.options.copyContent,
                         "Copy every program, performance, matrix and wave beside the new document, instead of "
                         "referring to their files where they are");
    convertCmd->add_option("--sample-folder", convert.options.sampleFolder,
                           "Where new waves go: 0 beside the document, 1 Samples/, 2 <document>_Samples/ "
                           "(default: the settings' choice)")
        ->check(CLI::Range(0, 2));
    convertCmd->add_flag("-e,--embed-waves", convert.options.embedWaves,
                         "With OUT.fxb or OUT.fxp: the preset file holds the waves themselves, not their paths");
    convertCmd->add_flag("-q,--quiet", convert.quiet, "No progress bar and no summary");

    Cli::WaveCommand waveCmd(app);
    Cli::MapCommand mapCmd(app);

    // The build writes the demo instrument with this; it is no command for users.
    std::string demoBank;
    CLI::App* demoCmd = app.add_subcommand("write-demo-bank", "Write the demo instrument as a bank document")->group("");
    demoCmd->add_option("PATH", demoBank)->required();

    CLI11_PARSE(app, argc, argv);
    try {
        if (renderCmd->parsed()) {
            render.record.loadInput(render.rate);
            return runRender(render);
        }
        if (infoCmd->parsed()) return runInfo(info);
        if (convertCmd->parsed()) return runConvert(convert);
        if (waveCmd.parsed()) return waveCmd.run();
        if (mapCmd.parsed()) return mapCmd.run();
        if (demoCmd->parsed()) {
            Cli::writeDemoBank(demoBank);
            return 0;
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "morvek: %s\n", ZnLib::describe(e).c_str());
        return 1;
    }
    return 0;
}
