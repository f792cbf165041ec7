#pragma once
#include <vector>

#include "lib/RefCounted.h"
#include "model/Group.h"
#include "plug/Wave.h"

namespace MV::Ui {

class Editor;

// What decides where dropped waves land on the keys of the editor's program. Every drop is one
// action ("Assign wave"), so that it undoes in one step. The map view (later) only computes the
// place of a drop and calls in here.
//
// Threads: the interface thread only [ui-thread].
class KeyboardMapper {
public:
    // Where a drop at a key lands: the keys it may fill, and the group it fills (null: a new group
    // on free space, reaching up to key 127).
    struct Place {
        int lowKey = 0;
        int highKey = 127;
        Group* group = nullptr;
    };

    explicit KeyboardMapper(Editor& editor) : editor_(editor) {}

    // The place of a drop at `key` over `target` (a group of the program, or null): inside a group
    // the keys reach to the start of the next split above `key`, else to the group's high key.
    static Place placeFor(int key, Group* target);

    // A drop: one wave with slices is laid out slice by slice when the user says yes to "Layout
    // slices?"; otherwise the waves are mapped by their roots, or in a fixed layout `step` keys
    // apart when `fixed` (the setting "Force fixed keyboard mapping") or when none has a root.
    // `target` null makes a new group named after the first wave; it is added only when it holds
    // something.
    void drop(const std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& waves, int lowKey, int highKey, int step, bool fixed,
              Group* target = nullptr);
    // The same at the place of `key`, with `fixed` from the settings.
    void dropAt(const std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& waves, int key, Group* target, int step = 1);
    // Velocity layers: one new group per wave over lowKey to highKey, the velocities shared out
    // evenly in list order, the first wave the softest.
    void dropLayers(const std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& waves, int lowKey, int highKey);

    // Adds a split per wave from `lowKey`, below `highKey`: by root when `fixed` is false, the group
    // is not in slice mode and some wave has a root; else `step` keys apart in list order. Waves
    // that do not fit are left out.
    static void mapWaves(Group& group, const std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& waves, int lowKey,
                         int highKey, int step, bool fixed);
    // A split per slice of `wave` from loop entry `first` on, `step` keys apart from `lowKey` up
    // to `highKey`; the group's high key follows the last. Returns the place of the first slice
    // that did not fit, or -1.
    static int layoutSlices(Group& group, const ZnLib::SharedRef<ZnPlug::Wave>& wave, int lowKey, int highKey,
                            int first, int step);

private:
    Editor& editor_;
};

}  // namespace MV::Ui
