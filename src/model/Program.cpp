#include "model/Program.h"

#include <algorithm>
#include <cmath>

#include "plug/Wave.h"

namespace MV {

using ZnLib::SharedRef;
using ZnPlug::Wave;

Program::Program() : SoundItem("New Program") {}

Program::Program(std::string name) : SoundItem(std::move(name)) {}

Program* Program::none() {
    // Built on first use and never destroyed: holders may outlive every other static.
    static Program* const noneProgram = new Program("<none>");
    return noneProgram;
}

int Program::addSlices(const SharedRef<Wave>& wave, int low, int high, int from) {
    if (!wave) return 0;
    std::vector<int32_t> slices;
    for (std::size_t i = std::size_t(std::max(from, 0)); i < wave->loops.size(); ++i)
        if (wave->loops[i].isSlice()) slices.push_back(int32_t(i));
    low = std::clamp(low, 0, 127);
    high = std::clamp(high, 0, 127);
    if (low > high) std::swap(low, high);

    int added = 0;
    std::size_t next = 0;
    while (next < slices.size()) {
        auto group = ZnLib::makeRef<Group>(wave->name());
        group->tuning = kTuningFixed;
        group->splits.clear();
        int key = low;
        for (; next < slices.size() && key <= high; ++key, ++next) {
            Split split{int8_t(key)};
            split.setWave(wave);
            split.loop = split.release = slices[next];
            group->splits.push_back(std::move(split));
        }
        group->range.lowKey = group->fade.lowKey = int8_t(low);
        group->range.highKey = group->fade.highKey = int8_t(key - 1);
        // Slices sit best from C1 up, where a drum pad's keys usually start.
        for (int offset : {36, 24, 12}) {
            if (low + offset < 128 && key - 1 + offset < 128) {
                group->shift(offset, 0);
                break;
            }
        }
        addGroup(std::move(group));
        ++added;
    }
    return added;
}

namespace {

bool canJoin(const Group& g, const Group& n, bool loose) {
    if (g.range.highKey + 1 != n.range.lowKey || g.range.lowVel != n.range.lowVel) return false;
    if (loose) return true;
    if (g.fade.highKey != g.range.highKey || n.fade.lowKey != n.range.lowKey) return false;
    if (g.fade.lowVel != n.fade.lowVel || g.fade.highVel != n.fade.highVel) return false;
    GroupRangeParams a = g, b = n;
    a.name = b.name;
    a.range = b.range;
    a.fade = b.fade;
    return a == b && static_cast<const GroupSoundParams&>(g) == static_cast<const GroupSoundParams&>(n);
}

// The same keys, range and fade, and the same parameters but for pan, whose size must match too.
bool isStereoDouble(const Group& g, const Group& n) {
    if (std::fabs(g.pan) != std::fabs(n.pan) || g.splits.size() != n.splits.size()) return false;
    for (std::size_t i = 0; i < g.splits.size(); ++i)
        if (g.splits[i].key != n.splits[i].key) return false;
    GroupSoundParams a = g, b = n;
    a.pan = b.pan;
    return static_cast<const GroupRangeParams&>(g) == static_cast<const GroupRangeParams&>(n) && a == b;
}

}  // namespace

void Program::mergeGroups(std::vector<SharedRef<Group>>& list, bool dropDoubles) {
    std::stable_sort(list.begin(), list.end(), [](const SharedRef<Group>& a, const SharedRef<Group>& b) {
        return a->range.lowKey < b->range.lowKey;
    });
    for (std::size_t i = 0; i < list.size(); ++i) {
        Group& g = *list[i];
        for (std::size_t j = i + 1; j < list.size();) {
            if (!canJoin(g, *list[j], dropDoubles)) {
                ++j;
                continue;
            }
            const Group& n = *list[j];
            g.splits.insert(g.splits.end(), n.splits.begin(), n.splits.end());
            g.setHighKey(n.range.highKey);
            list.erase(list.begin() + std::ptrdiff_t(j));
            j = i + 1;
        }
    }
    if (!dropDoubles) return;
    for (std::size_t i = 0; i < list.size(); ++i) {
        for (std::size_t j = i + 1; j < list.size(); ++j) {
            if (!isStereoDouble(*list[i], *list[j])) continue;
            list.erase(list.begin() + std::ptrdiff_t(j));
            list[i]->pan = 0;
            break;
        }
    }
}

bool Program::modified() const {
    if (isNone()) return false;
    if (selfModified()) return true;
    return std::any_of(groups.begin(), groups.end(), [](const SharedRef<Group>& g) { return g->modified(); });
}

void Program::clearModified() {
    ModCounted::clearModified();
    for (const SharedRef<Group>& g : groups) g->clearModified();
}

std::size_t Program::memUsage() const {
    std::size_t total = (file().path().size() + 60 + groups.size() * 2 + name().size()) * 2;
    for (const SharedRef<Group>& g : groups) total += g->memUsage();
    return total;
}

}  // namespace MV
