#include "editor/RestoreFX.h"

namespace MV::Ui {

void RestoreEffect::swap(Editor& editor) {
    RestoreFX::swap(editor);
    FX::Effect& unit = *this->unit();
    std::swap(unit.output, output_);
    std::swap(unit.bypass, bypass_);
    std::swap(unit.mute, mute_);
}

bool RestoreEffect::differs() const {
    const FX::Effect& unit = *this->unit();
    return RestoreFX::differs() || unit.output != output_ || unit.bypass != bypass_ || unit.mute != mute_;
}

RestoreGroupSwitch::RestoreGroupSwitch(const ZnLib::SharedRef<Group>& group, Edit edit)
    : Snapshot(kKindSwitcher, group.get(), std::move(edit)) {
    if (group->switcher) copy_ = ZnLib::makeRef<Switcher>(*group->switcher);
}

void RestoreGroupSwitch::swap(Editor& editor) {
    (void)editor;
    std::swap(parent()->switcher, copy_);
}

bool RestoreGroupSwitch::differs() const {
    const ZnLib::SharedRef<Switcher>& live = parent()->switcher;
    if (!live || !copy_) return bool(live) != bool(copy_);
    return !(*live == *copy_);
}

}  // namespace MV::Ui
