#pragma once
#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "editor/Snapshot.h"
#include "engine/Morvek.h"
#include "lib/RefCounted.h"
#include "model/Group.h"
#include "plug/Wave.h"

namespace MV::Ui {

namespace Detail {
// Voices hold the sounds of a group's splits: they stop before a split changes.
template <typename Owner, typename T>
void beforeSubSwap(Editor& editor, Owner& owner) {
    if constexpr (std::is_same_v<Owner, Group> && std::is_same_v<T, Split>) editor.engine().killVoices(&owner);
    else (void)editor, (void)owner;
}
}  // namespace Detail

// One part of an item: a member (one group's modulation table) or one element of a list member
// (a split of a group, by its place). Name "lullo".
template <typename Owner, typename T>
class RestoreSubItem : public Snapshot<Owner> {
public:
    using Edit = typename Snapshot<Owner>::Edit;

    RestoreSubItem(const ZnLib::SharedRef<Owner>& owner, T Owner::*member, int32_t kind, Edit edit = {})
        : Snapshot<Owner>(kind, owner.get(), std::move(edit)), member_(member), copy_(owner.get()->*member) {}
    RestoreSubItem(const ZnLib::SharedRef<Owner>& owner, std::vector<T> Owner::*list, std::size_t index, int32_t kind,
                   Edit edit = {})
        : Snapshot<Owner>(kind, owner.get(), std::move(edit)), list_(list), index_(index),
          copy_((owner.get()->*list).at(index)) {}

    std::string name() const override { return "lullo"; }

protected:
    void swap(Editor& editor) override {
        T* live = find();
        if (!live) return;
        Detail::beforeSubSwap<Owner, T>(editor, *this->parent());
        std::swap(*live, copy_);
    }
    bool differs() const override {
        const T* live = const_cast<RestoreSubItem*>(this)->find();
        return live && !(*live == copy_);
    }

private:
    T* find() {
        Owner& owner = *this->parent();
        if (member_) return &(owner.*member_);
        std::vector<T>& list = owner.*list_;
        return index_ < list.size() ? &list[index_] : nullptr;
    }

    T Owner::*member_ = nullptr;
    std::vector<T> Owner::*list_ = nullptr;
    std::size_t index_ = 0;
    T copy_;
};

// Several elements of one list member, by their places (splits of a group). Name "lullo".
template <typename Owner, typename T>
class RestoreSubItems : public Snapshot<Owner> {
public:
    using Edit = typename Snapshot<Owner>::Edit;

    RestoreSubItems(const ZnLib::SharedRef<Owner>& owner, std::vector<T> Owner::*list, std::vector<std::size_t> indexes,
                    int32_t kind, Edit edit = {})
        : Snapshot<Owner>(kind, owner.get(), std::move(edit)), list_(list), indexes_(std::move(indexes)) {
        for (std::size_t i : indexes_) copies_.push_back((owner.get()->*list).at(i));
    }

    std::string name() const override { return "lullo"; }

protected:
    void swap(Editor& editor) override {
        std::vector<T>& list = this->parent()->*list_;
        Detail::beforeSubSwap<Owner, T>(editor, *this->parent());
        for (std::size_t k = 0; k < indexes_.size(); ++k)
            if (indexes_[k] < list.size()) std::swap(list[indexes_[k]], copies_[k]);
    }
    bool differs() const override {
        const std::vector<T>& list = this->parent()->*list_;
        for (std::size_t k = 0; k < indexes_.size(); ++k)
            if (indexes_[k] < list.size() && !(list[indexes_[k]] == copies_[k])) return true;
        return false;
    }

private:
    std::vector<T> Owner::*list_;
    std::vector<std::size_t> indexes_;
    std::vector<T> copies_;
};

// One value V inside an item T, a member by default; kinds of value that are no single member
// give their own swap and comparison. Name "Edit apa".
template <typename T, typename V>
class RestorePartial : public Snapshot<T> {
public:
    using Edit = typename Snapshot<T>::Edit;

    RestorePartial(const ZnLib::SharedRef<T>& item, V T::*member, int32_t kind, Edit edit = {})
        : Snapshot<T>(kind, item.get(), std::move(edit)), member_(member), copy_(item.get()->*member) {}

    std::string name() const override { return "Edit apa"; }

protected:
    RestorePartial(T& item, V copy, int32_t kind, Edit edit)
        : Snapshot<T>(kind, &item, std::move(edit)), copy_(std::move(copy)) {}

    virtual void swapValue(Editor& editor, T& item, V& copy) {
        (void)editor;
        std::swap(item.*member_, copy);
    }
    virtual bool sameValue(const T& item, const V& copy) const { return item.*member_ == copy; }

    void swap(Editor& editor) override { swapValue(editor, *this->parent(), copy_); }
    bool differs() const override { return !sameValue(*this->parent(), copy_); }

private:
    V T::*member_ = nullptr;
    V copy_;
};

// The samples of a wave with the info that an edit of them moves (range, loops, flags).
struct WaveData {
    ZnPlug::SampleBuffer samples;
    ZnPlug::WaveInfo info;
    bool operator==(const WaveData&) const = default;
};

// The sample data of a wave, for the sample editor's tools (normalize, cut, crop, reverse...):
// made before the tool runs, or given the tool as its edit. The wave's voices stop before the
// data changes places.
class RestoreWaveData : public RestorePartial<ZnPlug::Wave, WaveData> {
public:
    explicit RestoreWaveData(const ZnLib::SharedRef<ZnPlug::Wave>& wave, Edit edit = {});

protected:
    void swapValue(Editor& editor, ZnPlug::Wave& wave, WaveData& copy) override;
    bool sameValue(const ZnPlug::Wave& wave, const WaveData& copy) const override;
};

}  // namespace MV::Ui
