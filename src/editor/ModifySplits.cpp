#include "editor/ModifySplits.h"

#include "editor/RestoreSet.h"

namespace MV::Ui {

ModifySplits::ModifySplits(const ZnLib::SharedRef<Program>& program, int32_t kind, Edit edit)
    : Snapshot(kind, program.get(), std::move(edit)), list_(program->groups), groups_(program->groups) {
    values_.reserve(groups_.size());
    for (const auto& g : groups_) values_.push_back(ItemValue<Group>::take(*g));
}

void ModifySplits::swap(Editor& editor) {
    SetOwner<std::vector<ZnLib::SharedRef<Group>>>::swap(editor, *parent(), parent()->groups, list_);
    for (std::size_t i = 0; i < groups_.size(); ++i) ItemValue<Group>::swap(editor, *groups_[i], values_[i]);
}

bool ModifySplits::differs() const {
    if (parent()->groups != list_) return true;
    for (std::size_t i = 0; i < groups_.size(); ++i)
        if (!ItemValue<Group>::same(*groups_[i], values_[i])) return true;
    return false;
}

void ModifySplits::markChanged() {
    if (parent()->groups != list_) parent()->touch();
    for (std::size_t i = 0; i < groups_.size(); ++i)
        if (!ItemValue<Group>::same(*groups_[i], values_[i])) groups_[i]->touch();
}

}  // namespace MV::Ui
