#include "import/InstrumentImport.h"

#include <map>

#include "import/AkpLoader.h"
#include "import/ExsLoader.h"
#include "import/SfzLoader.h"
#include "import/SoundFont.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "model/Bank.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"

namespace MV {

using ZnLib::SharedRef;

namespace {

// Answers no question and passes progress on: the command has no dialogs.
class ProgressOnly : public LoadedNothing {
public:
    explicit ProgressOnly(ProcessCallbacks& progress) : progress_(progress) {}
    void process(const std::string& action, const std::string& path) override { progress_.process(action, path); }
    void process(const std::string& text) override { progress_.process(text); }
    void progressEnd() override { progress_.progressEnd(); }

private:
    ProcessCallbacks& progress_;
};

SharedRef<Performance> newPerformance(const std::string& name) { return ZnLib::makeRef<Performance>(name); }

// A bank whose one program, made by `load` from a private bank and the filter, plays on all
// channels.
template <typename Load>
SharedRef<Bank> programBank(const std::string& path, ProcessCallbacks& progress, Load load) {
    try {
        auto bank = ZnLib::makeRef<Bank>();
        ProgressOnly filter(progress);
        FindNothing findNothing;
        SharedRef<Program> program = load(*bank, filter, findNothing);
        bank->addProgram(program);
        auto performance = newPerformance(program->name());
        performance->addSlot(ZnLib::makeRef<ProgramSlot>(ProgramSlot::kAllChannels, program));
        bank->addPerformance(performance);
        bank->currentPerformance = performance.get();
        return bank;
    } catch (...) {
        ZnLib::throwWrapped("Could not load " + path);
    }
}

// The same for the loaders that search the places for their samples.
template <typename Loader>
SharedRef<Bank> importProgramBank(const std::string& path, ProcessCallbacks& progress,
                                  std::vector<std::string> places) {
    return programBank(path, progress, [&](Bank& bank, LoadFilter& filter, FindMissing& findMissing) {
        return Loader(bank, filter, findMissing, std::move(places)).loadFile(path);
    });
}

}  // namespace

SharedRef<SoundFont> openSoundFont(const std::string& path, ProcessCallbacks& progress) {
    try {
        return ZnLib::makeRef<SoundFont>(path, progress);
    } catch (...) {
        ZnLib::throwWrapped("Could not load " + path);
    }
}

int findPreset(const ImportBank& soundFont, uint16_t bank, uint16_t program) {
    const std::size_t n = soundFont.programCount();
    auto find = [&](uint16_t b, uint16_t p) {
        for (std::size_t i = 0; i < n; ++i) {
            const ImportProgramInfo info = soundFont.programInfo(i);
            if (info.bank == b && info.program == p) return int(i);
        }
        return -1;
    };
    int found = find(bank, program);
    if (found < 0) found = bank >= kPercussionBank ? find(kPercussionBank, 0) : find(0, program);
    if (found < 0 && n > 0) found = 0;
    return found;
}

SharedRef<Bank> importSongBank(SoundFont& soundFont, const std::vector<ChannelChoice>& choices,
                               ProcessCallbacks& progress) {
    auto bank = ZnLib::makeRef<Bank>();
    auto performance = newPerformance(ZnLib::FS::stem(soundFont.path()));
    std::map<int, SharedRef<Program>> imported;  // by preset list index
    std::vector<bool> slotted(16, false);
    for (const ChannelChoice& choice : choices) {
        const uint8_t channel = uint8_t(choice.channel & 15);
        const int wantedBank = choice.bank != ChannelChoice::kNoBank ? choice.bank
                               : channel == kPercussionChannel        ? kPercussionBank
                                                                      : 0;
        const int preset = findPreset(soundFont, uint16_t(wantedBank), choice.program);
        if (preset < 0) continue;
        SharedRef<Program>& program = imported[preset];
        if (!program) {
            program = soundFont.importProgram(std::size_t(preset), *bank, progress);
            bank->addProgram(program);
        }
        if (slotted[channel]) continue;
        slotted[channel] = true;
        performance->addSlot(ZnLib::makeRef<ProgramSlot>(channel, program));
    }
    bank->addPerformance(performance);
    bank->currentPerformance = performance.get();
    return bank;
}

std::string describePrograms(const ImportBank& bank) {
    std::string out;
    for (std::size_t i = 0; i < bank.programCount(); ++i) {
        const ImportProgramInfo info = bank.programInfo(i);
        out += ZnLib::Text::format("%03u:%03u %s\n", unsigned(info.bank), unsigned(info.program), info.name.c_str());
    }
    return out;
}

SharedRef<Bank> importSfzBank(const std::string& path, ProcessCallbacks& progress) {
    return programBank(path, progress, [&](Bank& bank, LoadFilter& filter, FindMissing& findMissing) {
        return SfzLoader(bank, filter, findMissing).loadFile(path);
    });
}

SharedRef<Bank> importExsBank(const std::string& path, ProcessCallbacks& progress, std::vector<std::string> places) {
    return importProgramBank<ExsLoader>(path, progress, std::move(places));
}

SharedRef<Bank> importAkpBank(const std::string& path, ProcessCallbacks& progress, std::vector<std::string> places) {
    return importProgramBank<AkpLoader>(path, progress, std::move(places));
}

}  // namespace MV
