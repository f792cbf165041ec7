#include "editor/AutoMapPreset.h"

#include <algorithm>
#include <filesystem>
#include <span>
#include <stdexcept>

#include "lib/Error.h"
#include "lib/IniFile.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "persist/Settings.h"

namespace MV {

namespace {

constexpr const char* kSection = "Global";

long long readChecked(const ZnLib::IniFile& ini, const std::string& key, long long low, long long high) {
    const long long value = ini.readInt(kSection, key, 0);
    if (value < low || value > high) throw std::runtime_error("Illegal value");
    return value;
}

}  // namespace

std::string AutoMapPreset::pathFor(const Settings& settings, const std::string& name) {
    return ZnLib::FS::join(settings.autoMapPresetFolder(), name + kExtension);
}

std::vector<ZnLib::SharedRef<AutoMapPreset>> AutoMapPreset::list(const std::string& folder) {
    std::vector<ZnLib::SharedRef<AutoMapPreset>> presets;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
        if (!entry.is_regular_file(ec) || entry.path().extension() != kExtension) continue;
        auto preset = ZnLib::makeRef<AutoMapPreset>();
        try {
            preset->load(entry.path().string());
            presets.push_back(std::move(preset));
        } catch (const std::exception&) {
            // One broken preset file does not hide the others.
        }
    }
    std::sort(presets.begin(), presets.end(), [](const auto& a, const auto& b) {
        return ZnLib::Text::toLower(a->name()) < ZnLib::Text::toLower(b->name());
    });
    return presets;
}

void AutoMapPreset::load(const std::string& path) {
    try {
        if (!ZnLib::FS::isRegularFile(path)) throw std::runtime_error("No such file");
        const ZnLib::IniFile ini(path);
        const bool waveRoot = ini.readBool(kSection, "UseWaveRoot", true);
        const bool merge = ini.readBool(kSection, "MergeGroups", false);
        const long long count = readChecked(ini, "Tokens", 0, kMaxTokens);
        std::vector<uint8_t> roles;
        for (long long i = 0; i < count; ++i)
            roles.push_back(uint8_t(readChecked(ini, "Token" + std::to_string(i), 0, AutoMapper::kRoles - 1)));
        useWaveRoot = waveRoot;
        mergeGroups = merge;
        tokens = std::move(roles);
        setName(ZnLib::FS::stem(path));
        setFile(ZnLib::FS::File(path));
        clearModified();
    } catch (const std::exception&) {
        ZnLib::throwWrapped("Could not load " + path);
    }
}

void AutoMapPreset::save(const std::string& path) {
    std::string text = "[Global]\nTokens=" + std::to_string(tokens.size()) + "\n";
    for (std::size_t i = 0; i < tokens.size(); ++i)
        text += "Token" + std::to_string(i) + "=" + std::to_string(unsigned(tokens[i])) + "\n";
    text += std::string("UseWaveRoot=") + (useWaveRoot ? "1" : "0") + "\n";
    text += std::string("MergeGroups=") + (mergeGroups ? "1" : "0") + "\n";
    try {
        const std::string folder = ZnLib::FS::directory(path);
        if (!folder.empty()) std::filesystem::create_directories(folder);
    } catch (const std::exception&) {
        ZnLib::throwWrapped("Could not save " + path);
    }
    ZnLib::FS::replaceFile(path, std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
    setName(ZnLib::FS::stem(path));
    setFile(ZnLib::FS::File(path));
    clearModified();
}

}  // namespace MV
