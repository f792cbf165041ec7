#include "model/Program.h"

#include <algorithm>

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
