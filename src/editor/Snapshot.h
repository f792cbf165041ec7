#pragma once
#include <functional>
#include <mutex>
#include <utility>

#include "editor/Editor.h"
#include "editor/UiAction.h"

namespace MV::Ui {

// What every snapshot shares. It copies what it guards when it is made; its first redo runs the
// edit that it was given (none: the edit is made by other means, before the action is queued
// with Editor::perform); from then on undo and redo swap the copy with the live values and the
// owner's count with the stored one, each under the engine's lock.
template <typename T>
class Snapshot : public ModCountParentAction<T> {
public:
    using Edit = std::function<void()>;

    void redo(Editor& editor) override {
        std::lock_guard lock(editor.engineLock());
        if (first_) {
            first_ = false;
            if (edit_) edit_();
        } else {
            swap(editor);
            this->swapModCount();
        }
        settle(editor);
    }
    void undo(Editor& editor) override {
        std::lock_guard lock(editor.engineLock());
        swap(editor);
        this->swapModCount();
        settle(editor);
    }
    // Whether the live values differ from the copy; the first time they do, what changed is
    // touched, so that it counts as modified.
    bool changed() override {
        if (!differs()) return false;
        if (!touched_) {
            touched_ = true;
            markChanged();
        }
        return true;
    }
    // An edit made by other means is marked here, when it enters the queue.
    void done(Editor& editor) override {
        first_ = false;
        changed();
        UiAction::done(editor);
    }

protected:
    Snapshot(int32_t kind, T* parent, Edit edit) : ModCountParentAction<T>(kind, parent), edit_(std::move(edit)) {}

    // Exchanges the copy and the live values. [main-lock]
    virtual void swap(Editor& editor) = 0;
    virtual bool differs() const = 0;
    // Touches what the edit changed: the owner, unless the snapshot knows better.
    virtual void markChanged() {
        if (this->parent()) this->parent()->touch();
    }
    // After the edit or a swap, what the engine must learn of it. [main-lock]
    virtual void settle(Editor& editor) { (void)editor; }

private:
    Edit edit_;
    bool first_ = true;
    bool touched_ = false;
};

}  // namespace MV::Ui
