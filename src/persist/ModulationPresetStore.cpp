#include "persist/ModulationPresetStore.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"

namespace MV {

namespace fs = ZnLib::FS;

namespace {

// mkdir -p; false when a folder on the way cannot be made.
bool makeFolders(const std::string& folder) {
    for (std::size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
        const std::string partial = folder.substr(0, end);
        if (!partial.empty() && ::mkdir(partial.c_str(), 0777) != 0 && errno != EEXIST) return false;
        if (end == std::string::npos) break;
    }
    struct stat st;
    return ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string fileSafe(std::string name) {
    for (char& c : name)
        if (c == '/' || c == '\\') c = '_';
    return name;
}

}  // namespace

void ModulationPresetStore::load() {
    presets_.clear();
    DIR* dir = ::opendir(folder_.c_str());
    if (!dir) return;
    std::vector<std::string> files;
    while (const dirent* e = ::readdir(dir)) {
        const std::string name = e->d_name;
        if (ZnLib::Text::iequals(fs::extension(name), ModulationPreset::kExtension)) files.push_back(name);
    }
    ::closedir(dir);
    for (const auto& name : files) {
        auto preset = ZnLib::makeRef<ModulationPreset>();
        try {
            preset->load(fs::join(folder_, name));
        } catch (const std::exception&) {
            continue;  // one broken preset must not hide the others
        }
        presets_.push_back(std::move(preset));
    }
    sort();
}

ZnLib::SharedRef<ModulationPreset> ModulationPresetStore::find(const std::string& name) const {
    for (const auto& p : presets_)
        if (ZnLib::Text::iequals(p->name(), name)) return p;
    return {};
}

void ModulationPresetStore::save(const ZnLib::SharedRef<ModulationPreset>& preset) {
    const std::string name = preset->name().empty() ? uniqueName() : fileSafe(preset->name());
    const std::string path = fs::join(folder_, name + ModulationPreset::kExtension);
    if (!makeFolders(folder_)) {
        try {
            throw std::runtime_error("Could not create settings directory " + folder_);
        } catch (const std::exception&) {
            ZnLib::throwWrapped("Could not save " + path);
        }
    }
    if (preset->name() != name) preset->setName(name);
    preset->save(path);

    std::erase_if(presets_, [&](const auto& p) {
        if (p == preset || !ZnLib::Text::iequals(p->name(), name)) return false;
        if (p->file().path() != path && !p->file().path().empty()) ::unlink(p->file().path().c_str());
        return true;
    });
    if (std::find(presets_.begin(), presets_.end(), preset) == presets_.end()) presets_.push_back(preset);
    sort();
}

void ModulationPresetStore::rename(const ZnLib::SharedRef<ModulationPreset>& preset, const std::string& name) {
    const std::string oldPath = preset->file().path();
    preset->setName(name.empty() ? uniqueName() : fileSafe(name));
    save(preset);
    if (!oldPath.empty() && oldPath != preset->file().path()) ::unlink(oldPath.c_str());
}

void ModulationPresetStore::remove(const ModulationPreset* preset) {
    const auto it = std::find_if(presets_.begin(), presets_.end(), [&](const auto& p) { return p.get() == preset; });
    if (it == presets_.end()) return;
    if (!(*it)->file().path().empty()) ::unlink((*it)->file().path().c_str());
    presets_.erase(it);
}

std::string ModulationPresetStore::uniqueName() const {
    if (!find(kStem)) return kStem;
    for (int n = 2;; ++n) {
        const std::string name = std::string(kStem) + " " + std::to_string(n);
        if (!find(name)) return name;
    }
}

void ModulationPresetStore::sort() {
    std::stable_sort(presets_.begin(), presets_.end(), [](const auto& a, const auto& b) {
        return ZnLib::Text::toLower(a->name()) < ZnLib::Text::toLower(b->name());
    });
}

}  // namespace MV
