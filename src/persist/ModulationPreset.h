#pragma once
#include <array>
#include <string>

#include "model/GroupSoundParams.h"
#include "plug/SoundItem.h"

namespace MV {

// A named modulation table of 16 entries, to be put into a group's table. Its file is an ini
// file "<name>.modulation" with section "Global" and, for i from 0 to 15, "Source" + i, "Via" +
// i, "Dest" + i (the texts of the documents), "Scale" + i and "ScaleTo" + i (amount and via
// amount in the text form of the destination) and "Frozen" + i.
//
// Threads: built, read and written on the UI thread [ui-thread]; no lock.
class ModulationPreset : public ZnPlug::SoundItem {
public:
    static constexpr const char* kExtension = ".modulation";

    ModulationPreset() = default;
    explicit ModulationPreset(std::string name) : SoundItem(std::move(name)) {}

    // Replaces the entries with the file's, the name with the file's stem, and takes the file
    // as the preset's. A missing key leaves that part of its entry at the default. Throws
    // "Could not load <path>" with the cause nested ("Illegal value" for an unknown source or
    // destination, "Illegal argument for Scale3: ..." for an amount that cannot be read).
    void load(const std::string& path);
    // Writes every entry into the file at `path` (made when absent) and takes it as the preset's
    // file. Throws "Could not save <path>" with the cause nested.
    void save(const std::string& path);

    std::array<ModulationEntry, kModulationSlots> entries{};
};

}  // namespace MV
