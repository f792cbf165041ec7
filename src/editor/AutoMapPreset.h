#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "editor/AutoMapper.h"
#include "lib/RefCounted.h"
#include "plug/SoundItem.h"

namespace MV {

class Settings;

// The settings of one mapping kept as a file "<name>.automap" in "presets/keymap" of the settings
// folder: an ini file with section "Global" and the keys "Tokens" (the count), "Token" + i (the
// role codes from 0), "UseWaveRoot" and "MergeGroups". It lives with the mapper whose options it
// holds, above the settings store, which only names its folder.
//
// Threads: the interface thread [ui-thread]; no lock.
class AutoMapPreset : public AutoMapper::Options, public ZnPlug::SoundItem {
public:
    static constexpr const char* kExtension = ".automap";
    // More roles than a name has tokens are of no use; a file that asks for more is refused.
    static constexpr long long kMaxTokens = 256;

    AutoMapPreset() = default;
    explicit AutoMapPreset(std::string name) : SoundItem(std::move(name)) {}

    // The file of a preset of that name in the settings' keymap folder.
    static std::string pathFor(const Settings& settings, const std::string& name);
    // Every ".automap" file of the folder, sorted by name; a file that cannot be read is left out.
    static std::vector<ZnLib::SharedRef<AutoMapPreset>> list(const std::string& folder);

    // Reads "UseWaveRoot", "MergeGroups", then "Tokens" and the roles; the name becomes the file's
    // stem. Throws "Could not load <path>" with the cause nested ("Illegal value" for a role code
    // above 7 or a count out of range).
    void load(const std::string& path);
    void load() { load(file().path()); }
    // Writes the file afresh (its folder made when absent), through a new file renamed over the
    // old one. Throws "Could not save <path>" with the cause nested.
    void save(const std::string& path);
    void save() { save(file().path()); }

    std::size_t memUsage() const override { return SoundItem::memUsage() + tokens.size(); }
};

}  // namespace MV
