#pragma once
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "editor/Snapshot.h"
#include "engine/Morvek.h"
#include "engine/UnitParams.h"
#include "lib/RefCounted.h"
#include "model/Effect.h"
#include "model/Group.h"
#include "model/Performance.h"
#include "model/Switcher.h"

namespace MV::Ui {

// The parameter values of an effect unit: a group's insert or a performance's send effect. The
// values are held in a unit of the same type, and undo and redo exchange them with the live
// unit's. A changed insert is handed to the voices of its group. Name "Edit FX".
template <typename Owner, typename Unit>
class RestoreFX : public Snapshot<Owner> {
public:
    using Edit = typename Snapshot<Owner>::Edit;

    RestoreFX(const ZnLib::SharedRef<Owner>& owner, const ZnLib::SharedRef<Unit>& unit, Edit edit = {})
        : Snapshot<Owner>(kKindEffect, owner.get(), std::move(edit)), unit_(unit), values_(unit->clone()) {}

    std::string name() const override { return "Edit FX"; }
    const ZnLib::SharedRef<Unit>& unit() const noexcept { return unit_; }

protected:
    void swap(Editor& editor) override {
        (void)editor;
        ZnLib::SharedRef<Unit> live = unit_->clone();
        FX::copyParams<Unit>(*values_, *unit_);
        values_ = std::move(live);
    }
    bool differs() const override {
        for (int i = 0; i < unit_->paramCount; ++i) {
            const ZnPlug::VParamBase& a = std::as_const(*unit_).param(i);
            const ZnPlug::VParamBase& b = std::as_const(*values_).param(i);
            if (a.normalized() != b.normalized() || a.automation() != b.automation()) return true;
        }
        return false;
    }
    void settle(Editor& editor) override {
        if constexpr (std::is_same_v<Owner, Group>) {
            Group& group = *this->parent();
            if (group.insert == unit_) editor.engine().setInsert(group, group.insert);
        } else {
            (void)editor;
        }
    }
    const ZnLib::SharedRef<Unit>& values() const noexcept { return values_; }

private:
    ZnLib::SharedRef<Unit> unit_;
    ZnLib::SharedRef<Unit> values_;
};

// A send effect's values with its routing, bypass and mute.
class RestoreEffect : public RestoreFX<Performance, FX::Effect> {
public:
    RestoreEffect(const ZnLib::SharedRef<Performance>& performance, const ZnLib::SharedRef<FX::Effect>& unit,
                  Edit edit = {})
        : RestoreFX(performance, unit, std::move(edit)),
          output_(unit->output),
          bypass_(unit->bypass),
          mute_(unit->mute) {}

protected:
    void swap(Editor& editor) override;
    bool differs() const override;

private:
    uint8_t output_;
    bool bypass_;
    bool mute_;
};

// The switching condition of a group. Name "Edit group switch parameters".
class RestoreGroupSwitch : public Snapshot<Group> {
public:
    explicit RestoreGroupSwitch(const ZnLib::SharedRef<Group>& group, Edit edit = {});

    std::string name() const override { return "Edit group switch parameters"; }

protected:
    void swap(Editor& editor) override;
    bool differs() const override;

private:
    ZnLib::SharedRef<Switcher> copy_;  // empty when the group had none
};

}  // namespace MV::Ui
