#include "editor/UiAction.h"

#include "editor/Editor.h"

namespace MV::Ui {

void UiAction::notify(Editor& editor) { editor.fireChanged(kind, this); }

}  // namespace MV::Ui
