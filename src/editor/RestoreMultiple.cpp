#include "editor/RestoreMultiple.h"

#include <stdexcept>

namespace MV::Ui {

void RestoreMultiple::redo(Editor& editor) {
    for (const auto& action : actions_) {
        action->redo(editor);
        action->notify(editor);
    }
}

void RestoreMultiple::undo(Editor& editor) {
    for (auto it = actions_.rbegin(); it != actions_.rend(); ++it) {
        (*it)->undo(editor);
        (*it)->notify(editor);
    }
}

bool RestoreMultiple::changed() { throw std::runtime_error("should not reach"); }

std::string RestoreMultiple::name() const { return actions_.empty() ? std::string() : actions_.front()->name(); }

void RestoreMultiple::done(Editor& editor) {
    for (const auto& action : actions_) action->done(editor);
}

}  // namespace MV::Ui
