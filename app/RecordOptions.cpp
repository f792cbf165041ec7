#include "RecordOptions.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "InstrumentLoader.h"
#include "SongRenderer.h"
#include "TakeRecorder.h"
#include "lib/Text.h"
#include "plug/Wave.h"

namespace Cli {

namespace {

// A key as a note name ("C3" is 48) or a number; 255 when it is neither.
uint8_t keyOf(std::string_view text) {
    text = ZnLib::Text::trim(text);
    if (text.empty()) return 255;
    long long number = 0;
    if (ZnLib::Text::parseInt(text, number)) return number >= 0 && number <= 127 ? uint8_t(number) : 255;
    return ZnPlug::parseNote(std::string(text), 0);
}

// A CLI11 check from a parser that throws.
template <typename Parse>
CLI::Validator parsedBy(Parse parse, const char* description) {
    return CLI::Validator(
        [parse](std::string& text) {
            try {
                parse(text);
                return std::string();
            } catch (const std::exception& e) {
                return std::string(e.what());
            }
        },
        description);
}

}  // namespace

RecordMode parseRecordMode(const std::string& text) {
    RecordMode mode;
    const auto eq = text.find('=');
    const std::string kind = ZnLib::Text::toLower(text.substr(0, eq));
    const std::string value = eq == std::string::npos ? std::string() : text.substr(eq + 1);
    const bool hasValue = eq != std::string::npos;
    double number = 0;
    if (kind == "button" && !hasValue) {
        mode.kind = RecordMode::Kind::Button;
    } else if (kind == "transport" && !hasValue) {
        mode.kind = RecordMode::Kind::Transport;
    } else if (kind == "threshold" && ZnLib::Text::parseDouble(value, number) && number <= 0 && number >= -200) {
        mode.kind = RecordMode::Kind::Threshold;
        mode.thresholdDb = float(number);
    } else if (kind == "cc" && ZnLib::Text::parseDouble(value, number) && number >= 0 && number <= 127 &&
               number == double(int(number))) {
        mode.kind = RecordMode::Kind::Controller;
        mode.controller = uint8_t(number);
    } else if (kind == "key" && keyOf(value) != 255) {
        mode.kind = RecordMode::Kind::Key;
        mode.key = keyOf(value);
    } else {
        throw std::runtime_error("Unknown record mode \"" + text +
                                 "\": button, transport, threshold=DB (-200 to 0), cc=N (0 to 127) or key=NOTE");
    }
    return mode;
}

KeyRange parseKeyRange(const std::string& text) {
    const auto colon = text.find(':');
    if (colon != std::string::npos) {
        const uint8_t low = keyOf(std::string_view(text).substr(0, colon));
        const uint8_t high = keyOf(std::string_view(text).substr(colon + 1));
        if (low != 255 && high != 255 && low <= high) return {low, high};
    }
    throw std::runtime_error("Not a key range: \"" + text + "\" (LOW:HIGH, notes such as C3 or numbers 0 to 127)");
}

void RecordOptions::addTo(CLI::App& render) {
    render_ = &render;
    render.add_option("--input", input,
                      "IN.wav: a wave file fed into the plug-in's two inputs while the song plays (a mono file into "
                      "both), silence after its end; the render lasts at least as long as it")
        ->check(CLI::ExistingFile);
    CLI::Option* recordOption =
        render.add_option("--record", record,
                          "Arm the sampler: button (records the whole render), transport, threshold=DB (starts "
                          "when a block of the input reaches DB dBFS, then goes on), cc=N or key=NOTE (records "
                          "while the song holds controller N above 63, or holds the key). Every take is written "
                          "beside the output as OUT-take1.wav, OUT-take2.wav...")
            ->check(parsedBy(parseRecordMode, "MODE"));
    render.add_option("--channels", channels, "With --record: 1 takes only the first input, 2 both")
        ->capture_default_str()
        ->check(CLI::Range(1, 2))
        ->needs(recordOption);
    render.add_flag("--detect-pitch", detectPitch, "With --record: detect each take's pitch and keep it as its root")
        ->needs(recordOption);
    render.add_option("--map", map,
                      "LOW:HIGH: with --record, map the takes onto these keys (by their roots) in a program, "
                      "saved as OUT-takes.mvprog")
        ->check(parsedBy(parseKeyRange, "LOW:HIGH"))
        ->needs(recordOption);
}

void RecordOptions::loadInput(double& rate) {
    if (input.empty()) return;
    inputWave_ = loadWaveFile(input);
    const auto inputRate = double(inputWave_->sampleRate);
    if (render_ && render_->count("--rate") > 0 && rate != inputRate)
        throw std::runtime_error(ZnLib::Text::format("The input runs at %u Hz and the render at %g Hz: leave out "
                                                     "--rate, or give the input's rate",
                                                     inputWave_->sampleRate, rate));
    rate = inputRate;
}

std::unique_ptr<TakeRecorder> RecordOptions::arm(MV::Morvek& engine, RenderOptions& options) const {
    options.input = inputWave_.get();
    if (record.empty()) return nullptr;
    std::optional<KeyRange> range;
    if (!map.empty()) range = parseKeyRange(map);
    auto recorder = std::make_unique<TakeRecorder>(engine, parseRecordMode(record), channels, detectPitch, range);
    recorder->attach(options);
    return recorder;
}

}  // namespace Cli
