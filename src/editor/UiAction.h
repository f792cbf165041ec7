#pragma once
#include <cstdint>
#include <string>
#include <type_traits>

#include "lib/ModCounted.h"
#include "lib/RefCounted.h"

namespace MV::Ui {

class Editor;

// What sort of object an action changed, so that listeners can tell which views to renew. The
// numbers are stable; kinds below kActionKinds are what a group of edits collects.
enum ActionKind : int32_t {
    kKindBank = 0,
    kKindPerformance = 1,
    kKindPerformanceList = 2,
    kKindProgramSlot = 3,
    kKindProgram = 4,
    kKindProgramList = 5,
    kKindGroup = 6,
    kKindGroupList = 7,
    kKindSplit = 8,
    kKindModulation = 9,
    kKindWave = 10,
    kKindWaveList = 11,
    kKindWaveData = 12,
    kKindLoops = 13,
    kKindMatrix = 14,
    kKindMatrixList = 15,
    kKindAssignWave = 16,
    kKindSwapSplits = 17,
    kKindSeparate = 18,
    kKindAssignLoop = 19,
    kKindLayout = 20,
    kKindKeymap = 21,
    kKindSwitcher = 22,
    kKindSendFx = 24,
    kKindInsert = 25,
    kKindIcon = 26,
    kKindEffect = 27,
    kKindSettings = 28,
    kKindMultiple = 29,
};
inline constexpr int32_t kActionKinds = 29;

// One edit of the model that can be undone. The first execution of an action is its redo; the
// editor queues it, and undo and redo run it back and forth from then on. Each action takes the
// engine's lock itself, only for the moment of its swap.
//
// Threads: the interface thread only [ui-thread].
class UiAction : public ZnLib::_RefCounted<int, int> {
public:
    explicit UiAction(int32_t kind) noexcept : kind(kind) {}
    ~UiAction() override = default;

    virtual void redo(Editor& editor) = 0;
    virtual void undo(Editor& editor) = 0;
    // Whether the action really altered anything; an action that did not never enters the queue.
    virtual bool changed() { return true; }
    virtual std::string name() const = 0;
    // Tells every listener of the editor, with `kind` and the action itself as payload.
    virtual void notify(Editor& editor);
    // Called when the action enters the queue.
    virtual void done(Editor& editor) { notify(editor); }
    // Whether `other`, queued behind this action inside a group, has been absorbed into it.
    virtual bool merge(UiAction& other) {
        (void)other;
        return false;
    }

    int32_t kind;
};

// The base of the snapshots: holds the owning object and its modification count as it stood when
// the action was made. Undo and redo swap the stored count with the owner's, so that an edit that
// is undone leaves the owner's "modified" state as it was. The action's own count is the store.
template <typename T>
class ModCountParentAction : public UiAction, public ZnLib::ModCounted {
public:
    ModCountParentAction(int32_t kind, T* parent) noexcept : UiAction(kind), parent_(parent) {
        if (!parent_) return;
        setModCount(parent_->modCount());
        // The owner lives as long as the action can still swap into it.
        if constexpr (std::is_convertible_v<T*, const ZnLib::RefCounted*>)
            keep_ = ZnLib::SharedRef<const ZnLib::RefCounted>(parent_);
    }

    T* parent() const noexcept { return parent_; }

protected:
    void swapModCount() noexcept {
        if (!parent_) return;
        const uint32_t live = parent_->modCount();
        parent_->setModCount(modCount());
        setModCount(live);
    }

private:
    T* parent_;
    ZnLib::SharedRef<const ZnLib::RefCounted> keep_;
};

}  // namespace MV::Ui
