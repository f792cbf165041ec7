#include "InstrumentLoader.h"

#include <array>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "MidiFile.h"
#include "MorvekVersion.h"
#include "engine/SoundFontSources.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "import/SoundFont.h"
#include "persist/ImportFilter.h"
#include "persist/LoadDocument.h"
#include "persist/PresetFile.h"
#include "persist/StateReader.h"

namespace Cli {

namespace {

std::string typeOf(const std::string& path) { return ZnLib::Text::toLower(ZnLib::FS::extension(path)); }

bool isDocument(const std::string& type) {
    return type == ".mvbank" || type == ".mvprog" || type == ".mvperf" || type == ".mvmatrix";
}

ZnLib::SharedRef<MV::Bank> loadHostPreset(const std::string& path, std::vector<std::string> places) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("File not found");
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const MV::PresetFile file = MV::PresetFile::read(bytes, hostPluginId());
    MV::SoundFontSources imports;
    MV::StateOptions options;
    options.places = std::move(places);
    options.imports = &imports;
    options.restoreIcons = false;
    return MV::StateReader::read(file.chunk, !file.isBank, options).bank;
}

// Gives a bank that holds programs or matrices but no performance one that plays them.
void ensurePerformance(MV::Bank& bank) {
    if (!bank.performances.empty()) {
        if (!bank.hasPerformance(bank.currentPerformance)) bank.currentPerformance = bank.performances.front().get();
        return;
    }
    if (bank.programs.empty() && !bank.matrixes.empty()) {
        auto program = ZnLib::makeRef<MV::Program>(bank.matrixes.front()->name());
        auto group = ZnLib::makeRef<MV::Group>(bank.matrixes.front()->name());
        group->splits.front().setMatrix(bank.matrixes.front());
        program->addGroup(group);
        bank.addProgram(program);
    }
    if (bank.programs.empty()) return;
    auto performance = ZnLib::makeRef<MV::Performance>(bank.programs.front()->name());
    if (bank.programs.size() == 1) {
        performance->addSlot(ZnLib::makeRef<MV::ProgramSlot>(MV::ProgramSlot::kAllChannels, bank.programs.front()));
    } else {
        for (std::size_t i = 0; i < bank.programs.size() && i < 16; ++i)
            performance->addSlot(ZnLib::makeRef<MV::ProgramSlot>(uint8_t(i), bank.programs[i]));
    }
    bank.addPerformance(performance);
    bank.currentPerformance = performance.get();
}

// Import progress is not shown by the command: it prints the result, or the error.
struct Quiet : MV::ProcessCallbacks {};

}  // namespace

PresetNumber parsePreset(const std::string& text) {
    PresetNumber n;
    char end = 0;
    if (ZnLib::Text::scan(text.c_str(), "%d:%d%c", &n.bank, &n.program, &end) != 2 || n.bank < 0 || n.bank > 16383 ||
        n.program < 0 || n.program > 127)
        throw std::runtime_error("--preset takes BANK:PROG, for example 0:48 (got \"" + text + "\")");
    return n;
}

uint32_t hostPluginId() {
    const char* tag = Version::ProductTag;
    return (uint32_t(uint8_t(tag[0])) << 24) | (uint32_t(uint8_t(tag[1])) << 16) | (uint32_t(uint8_t(tag[2])) << 8) |
           uint32_t(uint8_t(tag[3]));
}

uint32_t hostPluginVersion() { return uint32_t((Version::Major * 100 + Version::Minor) * 100 + Version::Patch); }

bool isSoundFont(const std::string& path) { return typeOf(path) == ".sf2"; }

bool isInstrumentFile(const std::string& path) {
    const std::string type = typeOf(path);
    return isDocument(type) || type == ".sf2" || type == ".sfz" || type == ".fxb" || type == ".fxp";
}

std::vector<MV::ChannelChoice> songChannelChoices(const MidiFile& song) {
    std::array<int, 16> bank;
    bank.fill(MV::ChannelChoice::kNoBank);
    std::array<bool, 16> chosen{};
    std::vector<MV::ChannelChoice> choices;
    for (const MidiFile::Event& e : song.events()) {
        const uint8_t channel = e.status & 0x0F;
        switch (e.status & 0xF0) {
        case 0xB0:
            if (e.data1 == 0) bank[channel] = e.data2;
            break;
        case 0xC0:
            choices.push_back({channel, bank[channel], e.data1});
            chosen[channel] = true;
            break;
        case 0x90:
            if (!chosen[channel] && e.data2 > 0) {
                // Notes before any program change play program 0 (a drum kit on channel 10).
                choices.push_back({channel, bank[channel], 0});
                chosen[channel] = true;
            }
            break;
        default:
            break;
        }
    }
    return choices;
}

ZnLib::SharedRef<MV::Bank> loadInstrument(const std::string& path, const std::vector<MV::ChannelChoice>& choices,
                                          std::vector<std::string> places) {
    const std::string type = typeOf(path);
    Quiet quiet;
    ZnLib::SharedRef<MV::Bank> bank;
    if (isDocument(type)) {
        bank = MV::loadDocument(path, places);
    } else if (type == ".sf2") {
        auto soundFont = MV::openSoundFont(path, quiet);
        try {
            if (choices.empty()) {
                bank = ZnLib::makeRef<MV::Bank>();
                MV::ImportFilter all;
                soundFont->importPrograms(*bank, all, quiet);
            } else {
                bank = MV::importSongBank(*soundFont, choices, quiet);
            }
            // The slots already hold what the song's program changes ask for; switching
            // performances on them would only silence the song.
            bank->programChangeMode = MV::kProgramChangeOff;
        } catch (...) {
            ZnLib::throwWrapped("Could not load " + path);
        }
    } else if (type == ".sfz") {
        bank = MV::importSfzBank(path, quiet);
    } else if (type == ".fxb" || type == ".fxp") {
        try {
            bank = loadHostPreset(path, std::move(places));
        } catch (...) {
            ZnLib::throwWrapped("Could not load " + path);
        }
    } else {
        throw std::runtime_error("Not an instrument file: " + path +
                                 " (known: .mvbank .mvprog .mvperf .mvmatrix .sf2 .sfz .fxb .fxp)");
    }
    ensurePerformance(*bank);
    return bank;
}

}  // namespace Cli
