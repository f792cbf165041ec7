#include "editor/Editor.h"

#include <algorithm>

#include "editor/RestoreMultiple.h"
#include "engine/Morvek.h"

namespace MV::Ui {

using ZnLib::SharedRef;

class Editor::BusyScope {
public:
    explicit BusyScope(Editor& editor) noexcept : editor_(editor) { editor_.busy_ = true; }
    ~BusyScope() { editor_.busy_ = false; }
    BusyScope(const BusyScope&) = delete;
    BusyScope& operator=(const BusyScope&) = delete;

private:
    Editor& editor_;
};

Editor::Editor(Morvek& engine) : engine_(engine) {
    const Performance& performance = engine.performance();
    program_ = !performance.slots.empty() && performance.slots.front()->program
                   ? performance.slots.front()->program
                   : SharedRef<Program>(Program::none());
}

Editor::~Editor() = default;

std::recursive_mutex& Editor::engineLock() noexcept { return engine_.mainLock(); }

int32_t Editor::undoQueueSize() const { return std::max<int32_t>(0, engine_.store().undoQueueSize); }

void Editor::setProgram(SharedRef<Program> program) {
    program_ = program ? std::move(program) : SharedRef<Program>(Program::none());
}

void Editor::apply(const SharedRef<UiAction>& action) {
    BusyScope busy(*this);
    fireWillChange(action->kind);
    action->redo(*this);
    if (action->changed()) perform(action);
}

void Editor::perform(const SharedRef<UiAction>& action) {
    if (groupDepth_ != 0) {
        if (action->kind >= 0 && action->kind < kActionKinds) groupKinds_.set(std::size_t(action->kind));
        if (!groupActions_.empty() && groupActions_.back()->merge(*action)) return;
        groupActions_.push_back(action);
        return;
    }
    const bool wasBusy = busy_;
    busy_ = true;
    try {
        queue_.erase(queue_.begin() + std::ptrdiff_t(cursor_), queue_.end());
        queue_.push_back(action);
        const std::size_t limit = std::size_t(undoQueueSize());
        if (queue_.size() > limit) queue_.erase(queue_.begin(), queue_.end() - std::ptrdiff_t(limit));
        cursor_ = queue_.size();
        fireQueueChanged();
        action->done(*this);
    } catch (...) {
        busy_ = wasBusy;
        throw;
    }
    busy_ = wasBusy;
}

void Editor::undo() {
    if (cursor_ == 0 || groupDepth_ != 0 || busy_) return;
    BusyScope busy(*this);
    SharedRef<UiAction> action = queue_[--cursor_];
    action->undo(*this);
    action->notify(*this);
    changedMark_ = true;
    fireQueueChanged();
}

void Editor::redo() {
    if (cursor_ >= queue_.size() || groupDepth_ != 0 || busy_) return;
    BusyScope busy(*this);
    SharedRef<UiAction> action = queue_[cursor_++];
    action->redo(*this);
    action->notify(*this);
    changedMark_ = true;
    fireQueueChanged();
}

void Editor::endGroup() {
    if (groupDepth_ == 0 || --groupDepth_ != 0) return;
    std::vector<SharedRef<UiAction>> actions;
    actions.swap(groupActions_);
    const std::bitset<kActionKinds> kinds = groupKinds_;
    groupKinds_.reset();
    for (std::size_t k = 0; k < kinds.size(); ++k)
        if (kinds.test(k)) fireChanged(int32_t(k), nullptr);
    if (!actions.empty()) perform(ZnLib::makeRef<RestoreMultiple>(std::move(actions)));
}

void Editor::notifyAll() {
    BusyScope busy(*this);
    for (const SharedRef<UiAction>& action : groupActions_) action->notify(*this);
}

void Editor::clearQueue() {
    queue_.clear();
    cursor_ = 0;
    fireQueueChanged();
}

std::string Editor::undoName() const { return canUndo() ? queue_[cursor_ - 1]->name() : std::string(); }
std::string Editor::redoName() const { return canRedo() ? queue_[cursor_]->name() : std::string(); }

void Editor::addListener(Listener* listener) { listeners_.push_back(listener); }
void Editor::removeListener(Listener* listener) { std::erase(listeners_, listener); }

void Editor::fireChanged(int32_t kind, UiAction* action) {
    // A copy: a listener may leave while it is told.
    const std::vector<Listener*> listeners = listeners_;
    for (Listener* l : listeners) l->changed(*this, kind, action);
}

void Editor::fireWillChange(int32_t kind) {
    const std::vector<Listener*> listeners = listeners_;
    for (Listener* l : listeners) l->willChange(*this, kind);
}

void Editor::fireQueueChanged() {
    const std::vector<Listener*> listeners = listeners_;
    for (Listener* l : listeners) l->queueChanged(*this);
}

}  // namespace MV::Ui
