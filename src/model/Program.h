#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/RefCounted.h"
#include "model/Group.h"
#include "model/GroupRangeParams.h"
#include "model/Icon.h"
#include "model/RoundRobin.h"
#include "plug/SoundItem.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

// An instrument: groups of splits over keys and velocities. May be shared by any number of slots.
class Program : public ZnPlug::SoundItem, public RoundRobin {
public:
    // "New Program".
    Program();
    explicit Program(std::string name);
    // Shares the groups; the round robin counter starts afresh.
    Program(const Program&) = default;
    Program& operator=(const Program&) = default;

    // The shared "<none>" program of empty slots; never modified, never listed in a bank.
    static Program* none();
    bool isNone() const noexcept { return this == none(); }

    void addGroup(ZnLib::SharedRef<Group> group) { groups.push_back(std::move(group)); }
    // Fills the program from the slices of `wave` from loop `from` on, one key per slice from
    // `low` to `high`, one group per run of keys. Returns the number of groups added.
    int addSlices(const ZnLib::SharedRef<ZnPlug::Wave>& wave, int low, int high, int from);
    // Joins neighbouring groups into one: sorted by low key, a group takes the splits of the first
    // later group that starts on the key above its high key at the same low velocity and sounds
    // alike (apart from name, range and fade). `dropDoubles` joins on keys and velocity alone, and
    // then drops each later group that doubles an earlier one but for the side of its pan (a
    // stereo pair), leaving the earlier one in the middle.
    void mergeGroups(bool dropDoubles) { mergeGroups(groups, dropDoubles); }
    static void mergeGroups(std::vector<ZnLib::SharedRef<Group>>& list, bool dropDoubles);

    bool modified() const override;
    void clearModified() override;
    // (path length + 60 + groups * 2 + name length) * 2 + the groups'.
    std::size_t memUsage() const override;

    KeyRange range;
    uint8_t interpolation = kInterpolationDefault;
    ZnLib::SharedRef<Icon> icon;  // empty when the program has none
    std::vector<ZnLib::SharedRef<Group>> groups;
};

}  // namespace MV
