#pragma once
#include <string>
#include <vector>

#include "lib/RefCounted.h"
#include "persist/ModulationPreset.h"

namespace MV {

// The modulation presets of the user: every ".modulation" file in one folder (the settings
// folder's "presets/modulation"), listed by name.
//
// Threads: built with the engine and used by the editor on the UI thread [ui-thread]; no lock.
class ModulationPresetStore {
public:
    // The name a new preset gets when it has none: "modulation", then "modulation 2", ...
    static constexpr const char* kStem = "modulation";

    explicit ModulationPresetStore(std::string folder) : folder_(std::move(folder)) {}

    const std::string& folder() const noexcept { return folder_; }

    // Lists every ".modulation" file of the folder, sorted by name without regard to case. A file
    // that cannot be read is left out; a missing folder lists nothing.
    void load();
    const std::vector<ZnLib::SharedRef<ModulationPreset>>& presets() const noexcept { return presets_; }
    // The preset of that name (without regard to case), or an empty reference.
    ZnLib::SharedRef<ModulationPreset> find(const std::string& name) const;

    // Writes the preset as "<name>.modulation" into the folder (made when absent) and lists it in
    // place of one of the same name. A preset without a name gets uniqueName(); '/' and '\' in a
    // name become '_'. Throws "Could not save <path>" with the cause nested.
    void save(const ZnLib::SharedRef<ModulationPreset>& preset);
    // Gives the preset a new name and saves it under that name; its old file goes.
    void rename(const ZnLib::SharedRef<ModulationPreset>& preset, const std::string& name);
    // Deletes the preset's file and takes it off the list.
    void remove(const ModulationPreset* preset);
    // kStem, or kStem + " " + n with the smallest n from 2 that no listed preset has.
    std::string uniqueName() const;

private:
    void sort();

    std::string folder_;
    std::vector<ZnLib::SharedRef<ModulationPreset>> presets_;
};

}  // namespace MV
