#pragma once
#include <string>
#include <utility>
#include <vector>

#include "editor/Snapshot.h"
#include "lib/RefCounted.h"
#include "model/Bank.h"
#include "model/Program.h"
#include "plug/Wave.h"

namespace MV::Ui {

// The owner of a container that a RestoreSet guards, and what the engine must do around a swap.
template <typename Set>
struct SetOwner;

// A wave's loops (and slices): the wave's voices stop before the lists change places.
template <>
struct SetOwner<std::vector<ZnPlug::Loop>> {
    using Owner = ZnPlug::Wave;
    static void swap(Editor& editor, Owner& wave, std::vector<ZnPlug::Loop>& live, std::vector<ZnPlug::Loop>& copy);
};

// A program's groups: the groups that leave stop sounding, and the inserts are made ready again.
template <>
struct SetOwner<std::vector<ZnLib::SharedRef<Group>>> {
    using Owner = Program;
    static void swap(Editor& editor, Owner& program, std::vector<ZnLib::SharedRef<Group>>& live,
                     std::vector<ZnLib::SharedRef<Group>>& copy);
};

// The bank's lists: what leaves stops sounding; a performance that leaves while it plays hands
// over to the first one left.
template <>
struct SetOwner<std::vector<ZnLib::SharedRef<Program>>> {
    using Owner = Bank;
    static void swap(Editor& editor, Owner& bank, std::vector<ZnLib::SharedRef<Program>>& live,
                     std::vector<ZnLib::SharedRef<Program>>& copy);
};
template <>
struct SetOwner<std::vector<ZnLib::SharedRef<Performance>>> {
    using Owner = Bank;
    static void swap(Editor& editor, Owner& bank, std::vector<ZnLib::SharedRef<Performance>>& live,
                     std::vector<ZnLib::SharedRef<Performance>>& copy);
};
template <>
struct SetOwner<std::vector<ZnLib::SharedRef<ZnPlug::Wave>>> {
    using Owner = Bank;
    static void swap(Editor& editor, Owner& bank, std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& live,
                     std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& copy);
};
template <>
struct SetOwner<std::vector<ZnLib::SharedRef<WaveMatrix>>> {
    using Owner = Bank;
    static void swap(Editor& editor, Owner& bank, std::vector<ZnLib::SharedRef<WaveMatrix>>& live,
                     std::vector<ZnLib::SharedRef<WaveMatrix>>& copy);
};

// A copy of a whole container, for edits of the container itself: adding, removing and
// reordering loops, slices, groups, or the items of the bank's lists. `live` is a member of
// `owner`. Name "lullo".
template <typename Set>
class RestoreSet : public Snapshot<typename SetOwner<Set>::Owner> {
public:
    using Owner = typename SetOwner<Set>::Owner;
    using Edit = typename Snapshot<Owner>::Edit;

    RestoreSet(Owner& owner, Set& live, int32_t kind, Edit edit = {})
        : Snapshot<Owner>(kind, &owner, std::move(edit)), live_(live), copy_(live) {}

    std::string name() const override { return "lullo"; }

protected:
    void swap(Editor& editor) override { SetOwner<Set>::swap(editor, *this->parent(), live_, copy_); }
    bool differs() const override { return !(live_ == copy_); }

private:
    Set& live_;
    Set copy_;
};

}  // namespace MV::Ui
