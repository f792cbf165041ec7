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
#include "lib/ByteReader.h"
#include "lib/MappedFile.h"
#include "plug/Wave.h"
#include "plug/WaveFormatHandler.h"
#include "persist/ImportFilter.h"
#include "persist/LoadDocument.h"
#include "persist/PresetFile.h"
#include "persist/RexSupport.h"
#include "persist/Settings.h"
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

// REX loops for the rest of the process, when the settings name a library that loads; the text
// of the failure when it did not.
struct RexSupport {
    std::shared_ptr<ZnPlug::WaveFormatHandler> handler;
    std::string error;
    bool failedBefore = false;
};

const RexSupport& rexSupport() {
    static const RexSupport support = [] {
        RexSupport s;
        MV::Settings settings;
        s.failedBefore = settings.rexDLLFailed != 0;
        s.handler = MV::startRexSupport(settings, &s.error);
        return s;
    }();
    return support;
}

bool isRexFile(const std::string& path) {
    try {
        const ZnLib::MappedFile file(path);
        ZnLib::ByteReader r = file.reader();
        return r.size() >= 12 && r.fourcc() == ZnLib::fourcc("CAT ") &&
               (r.skip(4), r.fourcc() == ZnLib::fourcc("REX2"));
    } catch (const std::exception&) {
        return false;
    }
}

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
    return isDocument(type) || type == ".sf2" || type == ".sfz" || type == ".exs" || type == ".akp" ||
           type == ".fxb" || type == ".fxp";
}

ZnLib::SharedRef<ZnPlug::Wave> loadWaveFile(const std::string& path) {
    const RexSupport& rex = rexSupport();
    auto wave = ZnLib::makeRef<ZnPlug::Wave>();
    // The name first: naming an item renames its file too.
    wave->setName(ZnLib::FS::stem(path));
    wave->setFile(ZnLib::FS::File(path));
    try {
        wave->load();
    } catch (...) {
        if (rex.handler || !isRexFile(path)) throw;
        const std::string why =
            !rex.error.empty() ? "the REX library did not load: " + rex.error
            : rex.failedBefore
                ? "the REX library failed to load before (set RexDLLFailed=0 in settings.ini to try again)"
                : std::string("no REX library is set (") + MV::kRexLibraryKey +
                      "= in section [Settings] of settings.ini)";
        ZnLib::throwWrapped(path + " is a REX loop, which needs the REX decoding library: " + why);
    }
    return wave;
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
    (void)rexSupport();
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
    } else if (type == ".exs") {
        bank = MV::importExsBank(path, quiet, places);
    } else if (type == ".akp") {
        bank = MV::importAkpBank(path, quiet, places);
    } else if (type == ".fxb" || type == ".fxp") {
        try {
            bank = loadHostPreset(path, std::move(places));
        } catch (...) {
            ZnLib::throwWrapped("Could not load " + path);
        }
    } else {
        throw std::runtime_error("Not an instrument file: " + path +
                                 " (known: .mvbank .mvprog .mvperf .mvmatrix .sf2 .sfz .exs .akp .fxb .fxp)");
    }
    ensurePerformance(*bank);
    return bank;
}

}  // namespace Cli
