#include "editor/KeyboardMapper.h"

#include <algorithm>

#include "editor/Editor.h"
#include "editor/ModifySplits.h"
#include "engine/Morvek.h"
#include "model/Names.h"

namespace MV::Ui {

using ZnLib::SharedRef;
using ZnPlug::Wave;
using Waves = std::vector<SharedRef<Wave>>;

namespace {

// The first loop entry that is no slice, -1 when there is none.
int32_t firstPlainLoop(const Wave& wave) {
    for (std::size_t i = 0; i < wave.loops.size(); ++i)
        if (!wave.loops[i].isSlice()) return int32_t(i);
    return -1;
}

void addWaveSplit(Group& group, const SharedRef<Wave>& wave, int key) {
    Split split{int8_t(key)};
    split.setWave(wave);
    split.loop = split.release = firstPlainLoop(*wave);
    group.addSplit(split);
}

// A group over lowKey..highKey with one empty split, for a drop on free space.
SharedRef<Group> newGroup(const std::string& name, int lowKey, int highKey) {
    auto group = ZnLib::makeRef<Group>(name);
    group->range.lowKey = group->fade.lowKey = int8_t(lowKey);
    group->range.highKey = group->fade.highKey = int8_t(highKey);
    group->splits.assign(1, Split(int8_t(lowKey)));
    return group;
}

}  // namespace

KeyboardMapper::Place KeyboardMapper::placeFor(int key, Group* target) {
    key = std::clamp(key, 0, 127);
    Place place{key, 127, target};
    if (!target) return place;
    place.highKey = target->range.highKey;
    for (const Split& s : target->splits)
        if (s.key > key) {
            place.highKey = s.key;
            break;
        }
    return place;
}

void KeyboardMapper::drop(const Waves& waves, int lowKey, int highKey, int step, bool fixed, Group* target) {
    if (waves.empty()) return;
    lowKey = std::clamp(lowKey, 0, 127);
    highKey = std::clamp(highKey, 0, 127);
    step = std::max(step, 1);
    const bool slices = waves.size() == 1 && waves.front()->hasSlices() &&
                        editor_.confirm("Layout slices", "Layout slices?");
    Program& program = editor_.program();
    editor_.apply(ZnLib::makeRef<AssignWave>(editor_.programRef(), [&] {
        SharedRef<Group> made;
        Group* group = target;
        if (!group) {
            made = newGroup(waves.front()->name(), lowKey, highKey);
            group = made.get();
        }
        if (slices) layoutSlices(*group, waves.front(), lowKey, highKey, 0, 1);
        else mapWaves(*group, waves, lowKey, highKey, step, fixed);
        if (made && !made->isEmpty()) program.addGroup(made);
    }));
}

void KeyboardMapper::dropAt(const Waves& waves, int key, Group* target, int step) {
    const Place place = placeFor(key, target);
    drop(waves, place.lowKey, place.highKey, step, editor_.engine().store().forceFixedKeyMapping, place.group);
}

void KeyboardMapper::dropLayers(const Waves& waves, int lowKey, int highKey) {
    if (waves.empty()) return;
    lowKey = std::clamp(lowKey, 0, 127);
    highKey = std::clamp(highKey, 0, 127);
    if (highKey < lowKey) std::swap(lowKey, highKey);
    Program& program = editor_.program();
    editor_.apply(ZnLib::makeRef<AssignWave>(editor_.programRef(), [&] {
        const int n = int(std::min<std::size_t>(waves.size(), 128));
        for (int i = 0; i < n; ++i) {
            SharedRef<Group> group = newGroup(waves[std::size_t(i)]->name(), lowKey, highKey);
            addWaveSplit(*group, waves[std::size_t(i)], lowKey);
            group->range.lowVel = group->fade.lowVel = int8_t(i * 128 / n);
            group->range.highVel = group->fade.highVel = int8_t((i + 1) * 128 / n - 1);
            program.addGroup(group);
        }
    }));
}

void KeyboardMapper::mapWaves(Group& group, const Waves& waves, int lowKey, int highKey, int step, bool fixed) {
    if (waves.empty()) return;
    const bool byRoot = !fixed && group.tuning != kTuningFixed &&
                        std::any_of(waves.begin(), waves.end(), [](const SharedRef<Wave>& w) { return w->root < 255; });
    int key = lowKey;
    if (!byRoot) {
        for (const SharedRef<Wave>& w : waves) {
            if (key >= highKey) break;
            addWaveSplit(group, w, key);
            key += step;
        }
        return;
    }

    Waves sorted = waves;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const SharedRef<Wave>& a, const SharedRef<Wave>& b) { return a->root < b->root; });
    // Waves without a root sort last, yet the walk starts from the lowest: those at the front
    // take fixed places.
    std::size_t i = 0;
    for (; i < sorted.size() && sorted[i]->root == 255; ++i) {
        if (key < highKey) addWaveSplit(group, sorted[i], key);
        key += step;
    }
    while (i < sorted.size() && key <= highKey && key <= 127) {
        const int root = sorted[i]->root;
        std::size_t end = i;
        while (end < sorted.size() && sorted[end]->root == root) ++end;
        const int runs = int(end - i);
        int upper = highKey;
        if (end < sorted.size()) upper = std::max((root + sorted[end]->root) / 2, key + 1);
        const int width = std::max(1, (upper - key) / runs);
        for (; i < end; ++i) {
            if (key <= highKey && key <= 127) addWaveSplit(group, sorted[i], key);
            key += width;
        }
    }
}

int KeyboardMapper::layoutSlices(Group& group, const SharedRef<Wave>& wave, int lowKey, int highKey, int first,
                                 int step) {
    int key = lowKey;
    int notFitting = -1;
    for (std::size_t i = std::size_t(std::max(first, 0)); i < wave->loops.size(); ++i) {
        if (!wave->loops[i].isSlice()) continue;
        if (key > highKey) {
            notFitting = int(i);
            break;
        }
        Split split{int8_t(key)};
        split.setWave(wave);
        split.loop = split.release = int32_t(i);
        group.addSplit(split);
        key += step;
    }
    const int8_t k = int8_t(key - 1);
    group.setHighKey(k == 127 ? 127 : std::max<int>(k, group.splits.back().key));
    return notFitting;
}

}  // namespace MV::Ui
