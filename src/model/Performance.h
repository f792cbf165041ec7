#pragma once
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "lib/RefCounted.h"
#include "model/Effect.h"
#include "model/ProgramSlot.h"
#include "plug/SoundItem.h"

namespace MV {

// Program slots over MIDI channels, and the six send effect buses "FX1" to "FX6".
class Performance : public ZnPlug::SoundItem {
public:
    static constexpr std::size_t kBuses = 6;

    // "New Performance".
    Performance();
    explicit Performance(std::string name);
    // Shares the slots and effects.
    Performance(const Performance&) = default;
    Performance& operator=(const Performance&) = default;
    // The editor's duplicate: clones each slot and effect, keeps sharing the programs.
    Performance(const Performance& o, const std::string& name);

    // The shared "<none>" performance; never modified, never listed in a bank.
    static Performance* none();
    bool isNone() const noexcept { return this == none(); }

    void addSlot(ZnLib::SharedRef<ProgramSlot> slot) { slots.push_back(std::move(slot)); }
    void removeSlot(const ProgramSlot* slot);
    // Drops all slots and sets an empty name.
    void clear();

    bool modified() const override;
    void clearModified() override;
    // (slots * 70 + path length + name length) * 2 + 128.
    std::size_t memUsage() const override;

    // File, name, the very same slots and effects.
    bool operator==(const Performance& o) const;

    std::vector<ZnLib::SharedRef<ProgramSlot>> slots;
    std::array<ZnLib::SharedRef<FX::Effect>, kBuses> fx;  // empty for a bus without effect
};

}  // namespace MV
