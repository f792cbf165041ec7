#include "Convert.h"

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <stdexcept>

#include "InstrumentLoader.h"
#include "import/InstrumentImport.h"
#include "import/SoundFont.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "model/Bank.h"
#include "engine/SoundFontSources.h"
#include "persist/MVSave.h"
#include "persist/PresetFile.h"
#include "persist/SaveFilter.h"
#include "persist/Settings.h"
#include "persist/StateWriter.h"

namespace Cli {

namespace {

using ZnLib::SharedRef;

enum class Kind { Bank, Program, Performance, Matrix, HostBank, HostProgram };

Kind kindOf(const std::string& out) {
    const std::string type = ZnLib::Text::toLower(ZnLib::FS::extension(out));
    if (type == ".mvbank") return Kind::Bank;
    if (type == ".mvprog") return Kind::Program;
    if (type == ".mvperf") return Kind::Performance;
    if (type == ".mvmatrix") return Kind::Matrix;
    if (type == ".fxb") return Kind::HostBank;
    if (type == ".fxp") return Kind::HostProgram;
    throw std::runtime_error("Cannot save as " + out +
                             ": the name must end in .mvbank, .mvprog, .mvperf, .mvmatrix, .fxb or .fxp");
}

// Overwrites whatever the conversion writes and shows how far it got: the files of a save are
// counted beforehand, so each reported step moves the bar by one.
class ConvertFilter : public MV::OverwriteAll {
public:
    ConvertFilter(const ConvertProgress& progress, std::size_t files) : progress_(progress), files_(files) {}
    void process(const std::string& action, const std::string& path) override {
        (void)action;
        if (!progress_) return;
        steps_ = std::min(steps_ + 1, 2 * files_);
        progress_(double(steps_) / double(2 * files_), path);
    }

private:
    const ConvertProgress& progress_;
    std::size_t files_;
    std::size_t steps_ = 0;
};

// A whole SoundFont as a bank: the presets sorted by bank and program, so that a program change to
// N picks General MIDI program N, and a performance that plays program 0 on every channel and the
// first drum kit on channel 10, switching programs as the song asks.
SharedRef<MV::Bank> soundFontBank(MV::SoundFont& soundFont) {
    MV::ProcessCallbacks quiet;
    std::vector<std::size_t> order(soundFont.programCount());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        const MV::ImportProgramInfo x = soundFont.programInfo(a), y = soundFont.programInfo(b);
        return std::pair(x.bank, x.program) < std::pair(y.bank, y.program);
    });
    auto bank = ZnLib::makeRef<MV::Bank>();
    SharedRef<MV::Program> drums;
    for (std::size_t index : order) {
        auto program = soundFont.importProgram(index, *bank, quiet);
        bank->addProgram(program);
        if (!drums && soundFont.programInfo(index).bank == MV::kPercussionBank) drums = program;
    }
    if (bank->programs.empty()) return bank;
    auto performance = ZnLib::makeRef<MV::Performance>(ZnLib::FS::stem(soundFont.path()));
    for (uint8_t channel = 0; channel < 16; ++channel) {
        const bool drumChannel = channel == MV::kPercussionChannel && drums;
        performance->addSlot(ZnLib::makeRef<MV::ProgramSlot>(channel, drumChannel ? drums : bank->programs.front()));
    }
    bank->addPerformance(performance);
    bank->currentPerformance = performance.get();
    bank->programChangeMode = MV::kProgramChangeProgram;
    return bank;
}

SharedRef<MV::Bank> load(const std::string& in, const ConvertOptions& options, const MV::Settings& settings) {
    if (!isSoundFont(in)) {
        if (!options.preset.empty()) throw std::runtime_error("--preset needs a SoundFont instrument");
        return loadInstrument(in, {}, settings.places());
    }
    MV::ProcessCallbacks quiet;
    auto soundFont = MV::openSoundFont(in, quiet);
    try {
        if (options.preset.empty()) return soundFontBank(*soundFont);
        const PresetNumber wanted = parsePreset(options.preset);
        const int index = MV::findPreset(*soundFont, uint16_t(wanted.bank), uint16_t(wanted.program));
        if (index < 0) throw std::runtime_error("The SoundFont has no presets");
        const MV::ImportProgramInfo info = soundFont->programInfo(std::size_t(index));
        if (info.bank != wanted.bank || info.program != wanted.program)
            throw std::runtime_error("The SoundFont has no preset " + options.preset);
        auto bank = ZnLib::makeRef<MV::Bank>();
        auto program = soundFont->importProgram(std::size_t(index), *bank, quiet);
        bank->addProgram(program);
        auto performance = ZnLib::makeRef<MV::Performance>(program->name());
        performance->addSlot(ZnLib::makeRef<MV::ProgramSlot>(MV::ProgramSlot::kAllChannels, program));
        bank->addPerformance(performance);
        bank->currentPerformance = performance.get();
        return bank;
    } catch (...) {
        ZnLib::throwWrapped("Could not load " + in);
    }
}

template <typename Item>
Item& only(std::vector<SharedRef<Item>>& items, const std::string& in, const char* what, const char* hint) {
    if (items.size() != 1)
        throw std::runtime_error(
            ZnLib::Text::format("%s holds %zu %s; the document takes one%s", in.c_str(), items.size(), what, hint));
    return *items.front();
}

MV::Performance& currentPerformance(MV::Bank& bank, const std::string& in) {
    if (bank.hasPerformance(bank.currentPerformance)) return *bank.currentPerformance;
    throw std::runtime_error(in + " holds no performance");
}

// The plug-in's state of `bank` in the preset container hosts load.
std::size_t writeHostPreset(MV::Bank& bank, const std::string& in, const std::string& out, bool isBank,
                            bool embedWaves, const MV::Settings& settings) {
    MV::SoundFontSources imports;
    MV::StateOptions options;
    options.saveAllWavesInFXB = embedWaves || settings.saveAllWavesInFXB;
    options.places = settings.places();
    options.imports = &imports;
    MV::PresetFile file;
    file.isBank = isBank;
    file.pluginId = hostPluginId();
    file.pluginVersion = hostPluginVersion();
    file.name = currentPerformance(bank, in).name();
    if (!MV::StateWriter::write(bank, !isBank, options, file.chunk)) throw std::runtime_error(in + " holds no performance");
    ZnLib::FS::replaceFile(out, file.bytes());
    return 1;
}

}  // namespace

std::size_t convertInstrument(const std::string& in, const std::string& out, const ConvertOptions& options,
                              const ConvertProgress& progress) {
    const Kind kind = kindOf(out);
    MV::Settings settings;
    SharedRef<MV::Bank> bank = load(in, options, settings);
    if (kind == Kind::HostBank || kind == Kind::HostProgram) {
        const std::size_t written = writeHostPreset(*bank, in, out, kind == Kind::HostBank, options.embedWaves, settings);
        if (progress) progress(1.0, out);
        return written;
    }

    const bool copy = options.copyContent;
    MV::SaveOptions saveOptions = MV::SaveOptions::fromSettings(settings, copy);
    if (options.sampleFolder >= 0) saveOptions.sampleFolder = uint8_t(options.sampleFolder);
    const std::size_t files =
        1 + bank->waves.size() + bank->programs.size() + bank->performances.size() + bank->matrixes.size();
    ConvertFilter filter(progress, files);
    const std::string target = std::filesystem::absolute(out).lexically_normal().string();
    MV::MVSave save(target, filter, saveOptions);
    switch (kind) {
    case Kind::Bank:
        save.save(*bank);
        break;
    case Kind::Program:
        save.save(only(bank->programs, in, "programs", isSoundFont(in) ? " (choose it with --preset BANK:PROG)" : ""));
        break;
    case Kind::Performance:
        save.save(currentPerformance(*bank, in));
        break;
    case Kind::Matrix:
        save.save(only(bank->matrixes, in, "wave matrices", ""));
        break;
    case Kind::HostBank:
    case Kind::HostProgram:
        break;
    }
    if (progress) progress(1.0, target);
    return save.written();
}

}  // namespace Cli
