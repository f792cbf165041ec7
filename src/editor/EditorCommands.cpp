// The edit commands of the editor's pages: each makes one action, named as the interface shows it.
#include <algorithm>
#include <type_traits>

#include "editor/Editor.h"
#include "editor/KeyboardMapper.h"
#include "editor/ModifySplits.h"
#include "editor/RestoreItems.h"
#include "editor/RestoreSet.h"
#include "engine/Morvek.h"
#include "model/Names.h"

namespace MV::Ui {

using ZnLib::SharedRef;
using ZnPlug::Loop;
using ZnPlug::Wave;

namespace {

using Loops = std::vector<Loop>;

class AssignLoop final : public RestoreSet<Loops> {
public:
    using RestoreSet::RestoreSet;
    std::string name() const override { return "Assign loop"; }
};

class DeleteLoops final : public RestoreSet<Loops> {
public:
    using RestoreSet::RestoreSet;
    std::string name() const override { return "kossa"; }
};

class SwapSplits final : public ModifySplits {
public:
    SwapSplits(const SharedRef<Program>& program, Edit edit)
        : ModifySplits(program, kKindSwapSplits, std::move(edit)) {}
    std::string name() const override { return "Swap splits"; }
};

class Separate final : public ModifySplits {
public:
    Separate(const SharedRef<Program>& program, Edit edit) : ModifySplits(program, kKindSeparate, std::move(edit)) {}
    std::string name() const override { return "Separate"; }
};

class RedoLayout final : public ModifySplits {
public:
    RedoLayout(const SharedRef<Program>& program, Edit edit) : ModifySplits(program, kKindLayout, std::move(edit)) {}
    std::string name() const override { return "kossa"; }
};

template <typename T>
class BankList : public RestoreSet<std::vector<SharedRef<T>>> {
public:
    using RestoreSet<std::vector<SharedRef<T>>>::RestoreSet;
};

class AddPerformance final : public BankList<Performance> {
public:
    using BankList::BankList;
    std::string name() const override { return "Add performance"; }
};

class DeleteProgram final : public BankList<Program> {
public:
    using BankList::BankList;
    std::string name() const override { return "kossa"; }
};

class DeleteWaves final : public BankList<Wave> {
public:
    using BankList::BankList;
    std::string name() const override { return "Delete wave(s)"; }
};

class DeleteMatrixes final : public BankList<WaveMatrix> {
public:
    using BankList::BankList;
    std::string name() const override { return "Delete Wave Matrix(s)"; }
};

// A unit put in its place: both units are held, and undo and redo put the other one back.
template <typename Owner, typename Unit>
class SetUnit : public ModCountParentAction<Owner> {
public:
    SetUnit(int32_t kind, const SharedRef<Owner>& owner, SharedRef<Unit> unit, int bus = 0)
        : ModCountParentAction<Owner>(kind, owner.get()), other_(std::move(unit)), bus_(bus) {}
    void redo(Editor& editor) override {
        put(editor);
        if (!first_) return this->swapModCount();
        first_ = false;
        this->parent()->touch();
    }
    void undo(Editor& editor) override {
        put(editor);
        this->swapModCount();
    }
    bool changed() override { return current() != other_; }

private:
    SharedRef<Unit> current() const {
        if constexpr (std::is_same_v<Owner, Group>) return this->parent()->insert;
        else return this->parent()->fx[std::size_t(bus_)];
    }
    void put(Editor& editor) {
        SharedRef<Unit> previous = current();
        if constexpr (std::is_same_v<Owner, Group>) editor.engine().setInsert(*this->parent(), other_);
        else editor.engine().setSendEffect(*this->parent(), bus_, other_);
        other_ = std::move(previous);
    }

    SharedRef<Unit> other_;
    int bus_;
    bool first_ = true;
};

class SetSendFx final : public SetUnit<Performance, FX::Effect> {
public:
    using SetUnit::SetUnit;
    std::string name() const override { return "Set send fx"; }
};

class SetInsert final : public SetUnit<Group, FX::Insert> {
public:
    using SetUnit::SetUnit;
    std::string name() const override { return "Set insert"; }
};

// The groups of `program` that a slot layout made from `wave`: every split plays the wave and
// holds a loop index, rising from split to split.
Group* layoutOf(const Program& program, const Wave* wave) {
    for (const SharedRef<Group>& g : program.groups) {
        bool fits = g->tuning == kTuningFixed && !g->splits.empty();
        int32_t last = -1;
        for (const Split& s : g->splits) {
            if (!fits) break;
            fits = s.wave() == wave && s.loop > last && s.loop == s.release;
            last = s.loop;
        }
        if (fits) return g.get();
    }
    return nullptr;
}

}  // namespace

void Editor::assignLoop(const SharedRef<Wave>& wave, std::vector<Loop> loops) {
    apply(ZnLib::makeRef<AssignLoop>(*wave, wave->loops, kKindAssignLoop,
                                     [w = wave.get(), l = std::move(loops)] { w->loops = l; }));
}

void Editor::deleteLoops(const SharedRef<Wave>& wave, std::vector<std::size_t> indexes) {
    std::sort(indexes.rbegin(), indexes.rend());
    apply(ZnLib::makeRef<DeleteLoops>(*wave, wave->loops, kKindLoops, [w = wave.get(), indexes] {
        for (std::size_t i : indexes)
            if (i < w->loops.size()) w->loops.erase(w->loops.begin() + std::ptrdiff_t(i));
    }));
}

void Editor::assignWave(const SharedRef<Group>& group, std::size_t splitIndex, const SharedRef<Wave>& wave) {
    if (splitIndex >= group->splits.size()) return;
    apply(ZnLib::makeRef<AssignWave>(programRef(), [&] { group->splits[splitIndex].setWave(wave); }));
}

void Editor::assignMatrix(const SharedRef<Group>& group, std::size_t splitIndex, const SharedRef<WaveMatrix>& matrix) {
    if (splitIndex >= group->splits.size()) return;
    apply(ZnLib::makeRef<AssignMatrix>(programRef(), [&] { group->splits[splitIndex].setMatrix(matrix); }));
}

void Editor::swapSplits(const SharedRef<Group>& group, std::size_t a, std::size_t b) {
    if (a >= group->splits.size() || b >= group->splits.size() || a == b) return;
    apply(ZnLib::makeRef<SwapSplits>(programRef(), [&] {
        Split& x = group->splits[a];
        Split& y = group->splits[b];
        std::swap(x.key, y.key);
        std::swap(x, y);
    }));
}

void Editor::separate(const SharedRef<Group>& group, std::size_t splitIndex) {
    if (splitIndex >= group->splits.size() || group->splits.size() < 2) return;
    apply(ZnLib::makeRef<Separate>(programRef(), [&] {
        std::vector<Split>& splits = group->splits;
        const int low = splits[splitIndex].key;
        const int high = splitIndex + 1 < splits.size() ? splits[splitIndex + 1].key - 1 : group->range.highKey;
        auto alone = ZnLib::makeRef<Group>(*group);
        alone->splits.assign(1, splits[splitIndex]);
        alone->range.lowKey = alone->fade.lowKey = int8_t(low);
        alone->range.highKey = alone->fade.highKey = int8_t(high);
        // What the split leaves behind goes to its lower neighbour, or, for the first, to the next.
        splits.erase(splits.begin() + std::ptrdiff_t(splitIndex));
        if (splitIndex == 0) splits.front().key = group->range.lowKey;
        auto& groups = program().groups;
        auto at = std::find(groups.begin(), groups.end(), group);
        groups.insert(at == groups.end() ? at : at + 1, alone);
    }));
}

void Editor::addPerformance(const SharedRef<Performance>& performance) {
    Bank& bank = engine_;
    apply(ZnLib::makeRef<AddPerformance>(bank, bank.performances, kKindPerformanceList,
                                         [&bank, performance] { bank.addPerformance(performance); }));
}

void Editor::deleteProgram(const SharedRef<Program>& program) {
    Bank& bank = engine_;
    std::vector<SharedRef<ProgramSlot>> slots;
    for (const auto& performance : bank.performances)
        for (const auto& slot : performance->slots)
            if (slot->program == program) slots.push_back(slot);
    beginGroup();
    try {
        apply(ZnLib::makeRef<DeleteProgram>(bank, bank.programs, kKindProgramList,
                                            [&bank, program] { bank.removeProgram(program.get()); }));
        if (!slots.empty())
            apply(ZnLib::makeRef<RestoreItems<ProgramSlot>>(slots, nullptr, kKindProgramSlot, [&] {
                engine_.killVoices(program.get());
                for (const auto& slot : slots) slot->program = SharedRef<Program>(Program::none());
            }));
    } catch (...) {
        endGroup();
        throw;
    }
    endGroup();
    if (program_ == program) setProgram({});
}

void Editor::deleteWaves(const std::vector<SharedRef<Wave>>& waves) {
    Bank& bank = engine_;
    apply(ZnLib::makeRef<DeleteWaves>(bank, bank.waves, kKindWaveList, [&] {
        for (const auto& w : waves) {
            engine_.killVoices(w.get());
            bank.removeWave(w.get());
        }
    }));
}

void Editor::deleteMatrixes(const std::vector<SharedRef<WaveMatrix>>& matrixes) {
    Bank& bank = engine_;
    apply(ZnLib::makeRef<DeleteMatrixes>(bank, bank.matrixes, kKindMatrixList, [&] {
        for (const auto& m : matrixes) {
            engine_.killVoices(m.get());
            bank.removeMatrix(m.get());
        }
    }));
}

void Editor::setSendFx(const SharedRef<Performance>& performance, int bus, SharedRef<FX::Effect> unit) {
    if (bus < 0 || bus >= int(Performance::kBuses)) return;
    apply(ZnLib::makeRef<SetSendFx>(kKindSendFx, performance, std::move(unit), bus));
}

void Editor::setInsert(const SharedRef<Group>& group, SharedRef<FX::Insert> unit) {
    apply(ZnLib::makeRef<SetInsert>(kKindInsert, group, std::move(unit)));
}

void Editor::layoutSlices(int lowKey, int highKey) {
    const SharedRef<Wave> wave = wave_;
    if (!wave || program_->isNone()) return;
    if (lowKey < 0) lowKey = 0;
    if (highKey < 0) highKey = 127;
    lowKey = std::min(lowKey, 127);
    highKey = std::min(highKey, 127);
    if (highKey < lowKey) std::swap(lowKey, highKey);

    Program& program = *program_;
    if (Group* laidOut = layoutOf(program, wave.get())) {
        apply(ZnLib::makeRef<RedoLayout>(program_, [laidOut, wave] {
            laidOut->splits.assign(1, Split(laidOut->range.lowKey));
            KeyboardMapper::layoutSlices(*laidOut, wave, laidOut->range.lowKey, 127, 0, 1);
        }));
        return;
    }

    const int count =
        int(std::count_if(wave->loops.begin(), wave->loops.end(), [](const Loop& l) { return l.isSlice(); }));
    int start = lowKey;
    for (const SharedRef<Group>& g : program.groups) {
        if (start >= 127) break;
        if (g->range.highKey >= start && start + count >= g->range.lowKey) start = g->range.highKey + 1;
    }
    if (start != lowKey && start % 12 != 0) start += 12 - start % 12;
    if (count > highKey - start) {
        const int octave = engine_.store().octaveOffset;
        const std::string text = "Not enough free space available in the keyboard range " +
                                 ZnPlug::noteName(lowKey, octave) + "-" + ZnPlug::noteName(highKey, octave) +
                                 ". Create overlapping mapping?";
        if (!confirm("No room for slice layout", text)) return;
        start = lowKey;
    }
    apply(ZnLib::makeRef<RedoLayout>(program_, [&program, wave, start, highKey] {
        auto group = ZnLib::makeRef<Group>(wave->name());
        group->tuning = kTuningFixed;
        group->splits.assign(1, Split(int8_t(0)));
        group->setHighKey(127);
        group->setLowKey(start);
        KeyboardMapper::layoutSlices(*group, wave, start, highKey, 0, 1);
        program.addGroup(group);
    }));
}

}  // namespace MV::Ui
