#pragma once
#include <string>
#include <vector>

#include "editor/UiAction.h"
#include "lib/RefCounted.h"

namespace MV::Ui {

// The actions of one composed edit (Editor::beginGroup to endGroup), undone and redone as one.
// Its name is its first action's.
class RestoreMultiple : public UiAction {
public:
    explicit RestoreMultiple(std::vector<ZnLib::SharedRef<UiAction>> actions)
        : UiAction(kKindMultiple), actions_(std::move(actions)) {}

    // First to last, each followed by its notify; a failing action stops the walk.
    void redo(Editor& editor) override;
    // Last to first, each followed by its notify.
    void undo(Editor& editor) override;
    // Never asked: a composed edit enters the queue through perform only. Throws "should not reach".
    bool changed() override;
    std::string name() const override;
    void done(Editor& editor) override;

    const std::vector<ZnLib::SharedRef<UiAction>>& actions() const noexcept { return actions_; }

private:
    std::vector<ZnLib::SharedRef<UiAction>> actions_;
};

}  // namespace MV::Ui
