#include "persist/Settings.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <variant>

#include "lib/Error.h"
#include "lib/IniFile.h"
#include "lib/Path.h"

namespace MV {

namespace fs = ZnLib::FS;

namespace {

constexpr const char* kGlobal = "Global";
constexpr const char* kControllers = "External Controllers";
constexpr const char* kAutomation = "AssignableAutomation Parameters";
constexpr const char* kOutputs = "Outputs";
constexpr const char* kSettings = "Settings";

// A places count beyond this is a broken file, not a list to walk.
constexpr long long kMaxPlaces = 4096;

// Output value of a mono pin that has joined its partner in a stereo pair.
constexpr long long kOutputPaired = 2;

// A number field with the range its type or table allows; a value outside keeps the default.
template <typename T>
struct Ranged {
    T Settings::*member;
    long long low;
    long long high;
};

using Member = std::variant<bool Settings::*, Ranged<uint8_t>, Ranged<int8_t>, Ranged<int32_t>, float Settings::*,
                            std::string Settings::*>;

struct Field {
    const char* name;  // the field's name; the key has its first letter in upper case
    Member member;
};

constexpr long long k7Bit = 127;
constexpr long long kByte = 255;
constexpr long long kInt32Max = 2147483647;

// In the order of the file.
const Field kFields[] = {
    {"saveAllWavesInFXB", &Settings::saveAllWavesInFXB},
    {"saveWavesInProject", &Settings::saveWavesInProject},
    {"previewWaves", &Settings::previewWaves},
    {"autoplayWaves", &Settings::autoplayWaves},
    {"autoplayWavesInBrowser", &Settings::autoplayWavesInBrowser},
    {"previewPrograms", &Settings::previewPrograms},
    {"bankSaveCopyContent", &Settings::bankSaveCopyContent},
    {"performanceSaveCopyContent", &Settings::performanceSaveCopyContent},
    {"programSaveCopyContent", &Settings::programSaveCopyContent},
    {"matrixSaveCopyContent", &Settings::matrixSaveCopyContent},
    {"usePlaces", &Settings::usePlaces},
    {"autoCreateSoundItems", &Settings::autoCreateSoundItems},
    {"loadExistingWaves", Ranged<uint8_t>{&Settings::loadExistingWaves, 0, kByte}},
    {"loadExistingPrograms", Ranged<uint8_t>{&Settings::loadExistingPrograms, 0, kByte}},
    {"loadExistingPerformances", Ranged<uint8_t>{&Settings::loadExistingPerformances, 0, kByte}},
    {"loadExistingWaveMatrixes", Ranged<uint8_t>{&Settings::loadExistingWaveMatrixes, 0, kByte}},
    {"dragReplaceWaveToSampleList", Ranged<uint8_t>{&Settings::dragReplaceWaveToSampleList, 0, kByte}},
    {"copyLoopsWhenReplacingWave", Ranged<uint8_t>{&Settings::copyLoopsWhenReplacingWave, 0, kByte}},
    {"uiSize", Ranged<uint8_t>{&Settings::uiSize, 0, kByte}},
    {"enableTooltips", &Settings::enableTooltips},
    {"undoQueueSize", Ranged<int32_t>{&Settings::undoQueueSize, 0, kInt32Max}},
    {"fixedKeyRange", Ranged<uint8_t>{&Settings::fixedKeyRange, 0, k7Bit}},
    {"forceFixedKeyMapping", &Settings::forceFixedKeyMapping},
    {"enableLayerPartitions", &Settings::enableLayerPartitions},
    {"useMIDINoteNames", &Settings::useMIDINoteNames},
    {"knobMode", Ranged<uint8_t>{&Settings::knobMode, 0, kByte}},
    {"midiEditMode", Ranged<uint8_t>{&Settings::midiEditMode, 0, kByte}},
    {"sampleFolder", Ranged<uint8_t>{&Settings::sampleFolder, 0, 2}},
    {"autoMapLowKey", Ranged<uint8_t>{&Settings::autoMapLowKey, 0, k7Bit}},
    {"autoMapHighKey", Ranged<uint8_t>{&Settings::autoMapHighKey, 0, k7Bit}},
    {"velocityCurve", Ranged<uint8_t>{&Settings::velocityCurve, 0, kVelocityCurveNames.size() - 1}},
    {"programChangeMode", Ranged<int32_t>{&Settings::programChangeMode, 0, kProgramChangeModeNames.size() - 1}},
    {"useBankSelect", &Settings::useBankSelect},
    {"showProgramNumbers", &Settings::showProgramNumbers},
    {"interpolation", Ranged<uint8_t>{&Settings::interpolation, 0, kInterpolationNames.size() - 1}},
    {"renderInterpolation", Ranged<uint8_t>{&Settings::renderInterpolation, 0, kInterpolationNames.size() - 1}},
    {"loadOutputs", Ranged<uint8_t>{&Settings::loadOutputs, 0, kByte}},
    {"octaveOffset", Ranged<uint8_t>{&Settings::octaveOffset, 0, k7Bit}},
    {"midiKeysAsNumbers", &Settings::midiKeysAsNumbers},
    {"showNotifications", &Settings::showNotifications},
    {"skin", &Settings::skin},
    {"useHardwareAcceleratedUI", &Settings::useHardwareAcceleratedUI},
    {"peaksFolder", &Settings::peaksFolder},
    {"peaksInFolder", Ranged<uint8_t>{&Settings::peaksInFolder, 0, kByte}},
    {"sampleFormat", Ranged<uint8_t>{&Settings::sampleFormat, 0, kByte}},
    {"showKeymapperGrid", &Settings::showKeymapperGrid},
    {"rexDLLFailed", Ranged<int32_t>{&Settings::rexDLLFailed, -kInt32Max - 1, kInt32Max}},
    {"samplerMidiCC", Ranged<uint8_t>{&Settings::samplerMidiCC, 0, k7Bit}},
    {"samplerMidiKey", Ranged<int8_t>{&Settings::samplerMidiKey, -128, 127}},
    {"samplerMidiChannel", Ranged<uint8_t>{&Settings::samplerMidiChannel, 0, kByte}},
    {"previewVolume", Ranged<int32_t>{&Settings::previewVolume, -kInt32Max - 1, kInt32Max}},
    {"autoRemapOnDrop", &Settings::autoRemapOnDrop},
    {"globalTune", &Settings::globalTune},
};

std::string keyOf(const char* fieldName) {
    std::string key(fieldName);
    if (!key.empty() && key[0] >= 'a' && key[0] <= 'z') key[0] = char(key[0] - 'a' + 'A');
    return key;
}

std::string indexed(const char* word, std::size_t i) { return word + std::to_string(i); }

template <class... Ts>
struct Overloaded : Ts... {
    using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

void readField(const ZnLib::IniFile& ini, Settings& s, const Field& f) {
    const std::string key = keyOf(f.name);
    std::visit(Overloaded{
                   [&](bool Settings::*m) { s.*m = ini.readBool(kSettings, key, s.*m); },
                   [&](float Settings::*m) { s.*m = float(ini.readDouble(kSettings, key, double(s.*m))); },
                   [&](std::string Settings::*m) { s.*m = ini.read(kSettings, key, s.*m); },
                   [&](auto ranged) {
                       const long long v = ini.readInt(kSettings, key, (s.*ranged.member));
                       if (v >= ranged.low && v <= ranged.high)
                           s.*ranged.member = static_cast<std::remove_reference_t<decltype(s.*ranged.member)>>(v);
                   },
               },
               f.member);
}

void writeField(ZnLib::IniFile& ini, const Settings& s, const Field& f) {
    const std::string key = keyOf(f.name);
    std::visit(Overloaded{
                   [&](bool Settings::*m) { ini.writeBool(kSettings, key, s.*m); },
                   [&](float Settings::*m) { ini.writeFloat(kSettings, key, s.*m); },
                   [&](std::string Settings::*m) { ini.write(kSettings, key, s.*m); },
                   [&](auto ranged) { ini.writeInt(kSettings, key, s.*ranged.member); },
               },
               f.member);
}

std::string homeFolder() {
    const char* home = std::getenv("HOME");
    return home && *home ? home : "/tmp";
}

}  // namespace

std::string Settings::defaultFolder() {
    if (const char* own = std::getenv("MORVEK_HOME"); own && *own) return own;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) return fs::join(xdg, "Morvek");
    return fs::join(fs::join(homeFolder(), ".config"), "Morvek");
}

Settings::Settings() : Settings(defaultFolder()) {}

Settings::Settings(std::string folder) : folder_(fs::normalise(folder)) {
    setDefaults();
    try {
        load();
        save();
    } catch (const std::exception& e) {
        lastError_ = ZnLib::describe(e);
    }
}

std::string Settings::filePath() const { return fs::join(folder_, kFileName); }
std::string Settings::modulationPresetFolder() const { return fs::join(folder_, "presets/modulation"); }
std::string Settings::autoMapPresetFolder() const { return fs::join(folder_, "presets/keymap"); }

std::vector<std::string> Settings::places() const {
    std::vector<std::string> out;
    out.reserve(places_.size());
    for (const auto& p : places_) out.push_back(p.path);
    return out;
}

void Settings::setPlaces(std::vector<Place> places) {
    places_.clear();
    for (auto& p : places) {
        if (p.path.empty()) continue;
        p.path = fs::normalise(p.path);
        places_.push_back(std::move(p));
    }
}

void Settings::setDefaults() {
    const std::string folder = std::move(folder_);
    std::string error = std::move(lastError_);
    *this = Settings(Defaults{});
    folder_ = folder;
    lastError_ = std::move(error);
}

void Settings::load() {
    const ZnLib::IniFile ini(filePath());
    compat = int32_t(std::clamp<long long>(ini.readInt(kGlobal, "Compat", 0), 0, kInt32Max));

    const long long count = std::clamp<long long>(ini.readInt(kGlobal, "NumPaths", 0), 0, kMaxPlaces);
    std::vector<Place> places;
    for (std::size_t i = 0; i < std::size_t(count); ++i)
        places.push_back({ini.read(kGlobal, indexed("Path", i)), ini.read(kGlobal, indexed("Alias", i))});
    setPlaces(std::move(places));

    for (std::size_t i = 0; i < externalController.size(); ++i) {
        auto& x = externalController[i];
        const long long ctrl = ini.readInt(kControllers, indexed("XCtrl", i), x.ctrl);
        if (ctrl >= 0 && ctrl <= k7Bit) x.ctrl = uint8_t(ctrl);
        const long long offset = ini.readInt(kControllers, indexed("XCtrlOffset", i), x.offset);
        if (offset >= -kInt32Max - 1 && offset <= kInt32Max) x.offset = int32_t(offset);
    }

    const std::size_t automationCount =
        compat < kCompatAllAutomation ? kLegacyAutomationParams : automationOffset.size();
    for (std::size_t i = 0; i < automationCount; ++i)
        automationOffset[i] =
            float(ini.readDouble(kAutomation, indexed("AutoParam", i), double(automationOffset[i])));

    for (const Field& f : kFields) readField(ini, *this, f);

    for (std::size_t i = 0; i < outputs.size(); ++i) {
        Output& o = outputs[i];
        const long long v = ini.readInt(kOutputs, indexed("Output", i), -1);
        if (v < 0 || v > kOutputPaired) continue;
        o.enabled = v != 0;
        if (o.pin >= 8) o.channels = v == kOutputPaired ? 2 : 1;
    }
}

void Settings::save() {
    ensureFolder();
    const std::string path = filePath();
    {
        struct stat st;
        const bool there = ::stat(path.c_str(), &st) == 0;
        if (there && S_ISDIR(st.st_mode)) throw std::runtime_error("Could not create settings file " + path + " - path exists");
        if (!there && !std::ofstream(path, std::ios::app)) throw std::runtime_error("Could not create settings file " + path);
    }

    ZnLib::IniFile ini(path);
    compat = kCompat;
    ini.writeInt(kGlobal, "Compat", kCompat);
    std::size_t n = 0;
    for (const auto& p : places_) {
        if (p.path.empty()) continue;
        ini.write(kGlobal, indexed("Path", n), p.path);
        ini.write(kGlobal, indexed("Alias", n), p.alias);
        ++n;
    }
    ini.writeInt(kGlobal, "NumPaths", static_cast<long long>(n));

    for (std::size_t i = 0; i < externalController.size(); ++i) {
        ini.writeInt(kControllers, indexed("XCtrl", i), externalController[i].ctrl);
        ini.writeInt(kControllers, indexed("XCtrlOffset", i), externalController[i].offset);
    }
    for (std::size_t i = 0; i < automationOffset.size(); ++i)
        ini.writeFloat(kAutomation, indexed("AutoParam", i), automationOffset[i]);

    for (const Field& f : kFields) writeField(ini, *this, f);

    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const Output& o = outputs[i];
        const bool paired = o.isMonoPin() && o.channels >= 2;
        ini.writeInt(kOutputs, indexed("Output", i), paired ? kOutputPaired : (o.enabled ? 1 : 0));
    }
}

void Settings::ensureFolder() const {
    std::size_t start = 0;
    // Each missing folder on the way is made, as mkdir -p does.
    while (start <= folder_.size()) {
        auto end = folder_.find('/', start);
        if (end == std::string::npos) end = folder_.size();
        const std::string partial = folder_.substr(0, end);
        start = end + 1;
        if (partial.empty()) continue;
        struct stat st;
        if (::stat(partial.c_str(), &st) == 0) {
            if (!S_ISDIR(st.st_mode))
                throw std::runtime_error("Could not create settings directory " + partial +
                                         " - a file by this name exists");
            continue;
        }
        if (::mkdir(partial.c_str(), 0777) != 0 && errno != EEXIST)
            throw std::runtime_error("Could not create settings directory " + partial);
    }
}

}  // namespace MV
