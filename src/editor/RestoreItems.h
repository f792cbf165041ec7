#pragma once
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "editor/Snapshot.h"
#include "lib/RefCounted.h"
#include "model/Group.h"
#include "model/Program.h"
#include "model/ProgramSlot.h"
#include "model/WaveMatrix.h"
#include "plug/Wave.h"

namespace MV::Ui {

// The value part of an item: what a snapshot copies and swaps back. Identity, reference count and
// list position are not part of it; the modification count is. Each swap runs under the engine's
// lock and first silences the voices that read what it replaces.
template <typename T>
struct ItemValue;

// Sound and range parameters, mute and solo, splits and switcher. The insert is not: it changes
// through "Set insert" and the effect snapshots, which tell the voices.
template <>
struct ItemValue<Group> {
    struct Value {
        GroupSoundParams sound;
        GroupRangeParams range;
        ZnPlug::Soloable solo;
        std::vector<Split> splits;
        ZnLib::SharedRef<Switcher> switcher;
        uint32_t modCount = 0;
    };
    static Value take(const Group& group);
    static void swap(Editor& editor, Group& group, Value& value);
    static bool same(const Group& group, const Value& value);
};

// Root, range, loops, tempo and flags; not the samples (RestoreWaveData swaps those).
template <>
struct ItemValue<ZnPlug::Wave> {
    struct Value {
        ZnPlug::WaveInfo info;
        uint32_t modCount = 0;
    };
    static Value take(const ZnPlug::Wave& wave);
    static void swap(Editor& editor, ZnPlug::Wave& wave, Value& value);
    static bool same(const ZnPlug::Wave& wave, const Value& value);
};

// Key range, interpolation and icon; the group list is a RestoreSet of its own.
template <>
struct ItemValue<Program> {
    struct Value {
        KeyRange range;
        uint8_t interpolation = 0;
        ZnLib::SharedRef<Icon> icon;
        uint32_t modCount = 0;
    };
    static Value take(const Program& program);
    static void swap(Editor& editor, Program& program, Value& value);
    static bool same(const Program& program, const Value& value);
};

template <>
struct ItemValue<ProgramSlot> {
    using Value = ProgramSlot;
    static Value take(const ProgramSlot& slot) { return slot; }
    static void swap(Editor& editor, ProgramSlot& slot, Value& value);
    static bool same(const ProgramSlot& slot, const Value& value);
};

// The grid, its axes and thresholds.
template <>
struct ItemValue<WaveMatrix> {
    struct Value {
        WaveMatrix::Grid grid;
        WaveMatrix::Axis xAxis;
        WaveMatrix::Axis yAxis;
        std::vector<uint8_t> thresholds;
        uint32_t modCount = 0;
    };
    static Value take(const WaveMatrix& matrix);
    static void swap(Editor& editor, WaveMatrix& matrix, Value& value);
    static bool same(const WaveMatrix& matrix, const Value& value);
};

// The values of a selection of items of one kind: groups, waves, programs, program slots or wave
// matrices. `parent` is their owner (the program of the groups, the bank of the waves...), or
// null. Name "lullo".
template <typename T>
class RestoreItems : public Snapshot<ZnLib::ModCounted> {
public:
    RestoreItems(std::vector<ZnLib::SharedRef<T>> items, ZnLib::ModCounted* parent, int32_t kind, Edit edit = {})
        : Snapshot(kind, parent, std::move(edit)), items_(std::move(items)) {
        copies_.reserve(items_.size());
        for (const auto& item : items_) copies_.push_back(ItemValue<T>::take(*item));
    }

    std::string name() const override { return "lullo"; }
    const std::vector<ZnLib::SharedRef<T>>& items() const noexcept { return items_; }

protected:
    void swap(Editor& editor) override {
        for (std::size_t i = 0; i < items_.size(); ++i) ItemValue<T>::swap(editor, *items_[i], copies_[i]);
    }
    bool differs() const override {
        for (std::size_t i = 0; i < items_.size(); ++i)
            if (!ItemValue<T>::same(*items_[i], copies_[i])) return true;
        return false;
    }
    // Each item that differs from its copy.
    void markChanged() override {
        for (std::size_t i = 0; i < items_.size(); ++i)
            if (!ItemValue<T>::same(*items_[i], copies_[i])) items_[i]->touch();
    }

private:
    std::vector<ZnLib::SharedRef<T>> items_;
    std::vector<typename ItemValue<T>::Value> copies_;
};

}  // namespace MV::Ui
