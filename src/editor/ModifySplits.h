#pragma once
#include <string>
#include <vector>

#include "editor/RestoreItems.h"
#include "editor/Snapshot.h"
#include "lib/RefCounted.h"
#include "model/Program.h"

namespace MV::Ui {

// A program's group list with the value of every group in it: for edits that lay waves out over
// the keys, which change splits and ranges and may add or take away groups. Groups added by the
// edit leave the list on undo and come back as they were on redo.
class ModifySplits : public Snapshot<Program> {
public:
    ModifySplits(const ZnLib::SharedRef<Program>& program, int32_t kind, Edit edit = {});

protected:
    void swap(Editor& editor) override;
    bool differs() const override;
    void markChanged() override;

private:
    std::vector<ZnLib::SharedRef<Group>> list_;
    std::vector<ZnLib::SharedRef<Group>> groups_;
    std::vector<ItemValue<Group>::Value> values_;
};

// "Assign wave": waves (or wave matrices) laid onto splits, by the keyboard mapper, the auto
// mapper or a command. Also the action for code that adds groups of new waves to a program:
//   editor.apply(ZnLib::makeRef<AssignWave>(program, [&] { program->addGroup(group); }));
class AssignWave : public ModifySplits {
public:
    explicit AssignWave(const ZnLib::SharedRef<Program>& program, Edit edit = {})
        : ModifySplits(program, kKindAssignWave, std::move(edit)) {}
    std::string name() const override { return "Assign wave"; }
};

class AssignMatrix : public ModifySplits {
public:
    explicit AssignMatrix(const ZnLib::SharedRef<Program>& program, Edit edit = {})
        : ModifySplits(program, kKindAssignWave, std::move(edit)) {}
    std::string name() const override { return "Assign wave"; }
};

}  // namespace MV::Ui
