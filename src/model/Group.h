#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/ModCounted.h"
#include "lib/RefCounted.h"
#include "model/Effect.h"
#include "model/GroupRangeParams.h"
#include "model/GroupSoundParams.h"
#include "model/RoundRobin.h"
#include "model/Split.h"
#include "model/Switcher.h"
#include "plug/SoundItem.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

// A layer of a program: the sound shaping of its voices and the splits that map waves or wave
// matrices to keys. Belongs to exactly one program; has no file of its own.
class Group : public ZnLib::ModCounted,
              public ZnLib::_RefCounted<int, int>,
              public ZnPlug::Soloable,
              public GroupSoundParams,
              public GroupRangeParams,
              public ZnLib::MemUsage,
              public RoundRobin {
public:
    // "New Group" with one empty split.
    Group();
    explicit Group(std::string name);
    // Deep: parameters, a switcher and an insert of its own; the splits share their sounds.
    Group(const Group& o);
    Group& operator=(const Group& o);

    // The count, or any split's sound.
    bool modified() const override;
    // (name length + splits * 8) * 2 + 788.
    std::size_t memUsage() const override;

    void setInsert(ZnLib::SharedRef<FX::Insert> insert) { this->insert = std::move(insert); }
    void setSwitcher(ZnLib::SharedRef<Switcher> switcher) { this->switcher = std::move(switcher); }

    // Key and velocity edits; all keep the fade bounds inside the range and the first split at
    // the low key.
    void setLowKey(int key);
    void setHighKey(int key);
    void setLowVelocity(int velocity);
    void setHighVelocity(int velocity);
    // Moves keys (range, fade, splits) and velocities; an offset that would leave 0 to 127 is
    // not applied.
    void shift(int keyOffset, int velocityOffset);

    // Replaces the split at the same key, or sorts the new one in; the first split then starts at
    // the low key, and splits below it that could never play go. A lone empty split goes first.
    void addSplit(const Split& split);
    // The same without dropping a lone empty split: for lists read whole, where an empty split is
    // one the user left so.
    void placeSplit(const Split& split);
    // Removes the split that holds `key`; the last one leaves an empty split behind.
    void removeSplit(int key);
    // Drops the splits below `key` and makes it the low key.
    void splitsFrom(int key);
    // Drops the splits above `key` and makes it the high key.
    void splitsTo(int key);
    // Puts `wave` behind the last split, or alone over low..high when the group is empty.
    // False when it does not fit below `high`.
    bool placeWave(ZnLib::SharedRef<ZnPlug::Wave> wave, int low, int high);
    // The split that holds `key`: the last whose key is not above it (the first when none is).
    const Split& splitFor(int key) const noexcept;
    // Every split is empty.
    bool isEmpty() const noexcept;

    // The repair that every load and import runs on a finished group.
    void normalise();

    bool operator==(const Group& o) const;

    ZnLib::SharedRef<Switcher> switcher;  // empty when the group has none
    ZnLib::SharedRef<FX::Insert> insert;  // empty when none
    std::vector<Split> splits;            // sorted by key, never empty

private:
    void sortSplits();
};

}  // namespace MV
