#include "editor/RestoreItems.h"

#include "engine/Morvek.h"

namespace MV::Ui {

using ZnPlug::Wave;

namespace {

bool sameSwitcher(const ZnLib::SharedRef<Switcher>& a, const ZnLib::SharedRef<Switcher>& b) {
    if (!a || !b) return !a && !b;
    return *a == *b;
}

void swapCount(ZnLib::ModCounted& item, uint32_t& stored) {
    const uint32_t live = item.modCount();
    item.setModCount(stored);
    stored = live;
}

}  // namespace

ItemValue<Group>::Value ItemValue<Group>::take(const Group& group) {
    Value v{group, group, group, group.splits, {}, group.modCount()};
    if (group.switcher) v.switcher = ZnLib::makeRef<Switcher>(*group.switcher);
    return v;
}

void ItemValue<Group>::swap(Editor& editor, Group& group, Value& value) {
    // Voices hold the sounds of their splits; other values they read as they go.
    if (group.splits != value.splits) editor.engine().killVoices(&group);
    std::swap(static_cast<GroupSoundParams&>(group), value.sound);
    std::swap(static_cast<GroupRangeParams&>(group), value.range);
    std::swap(static_cast<ZnPlug::Soloable&>(group), value.solo);
    std::swap(group.splits, value.splits);
    std::swap(group.switcher, value.switcher);
    swapCount(group, value.modCount);
}

bool ItemValue<Group>::same(const Group& group, const Value& value) {
    return static_cast<const GroupSoundParams&>(group) == value.sound &&
           static_cast<const GroupRangeParams&>(group) == value.range &&
           static_cast<const ZnPlug::Soloable&>(group) == value.solo && group.splits == value.splits &&
           sameSwitcher(group.switcher, value.switcher);
}

ItemValue<Wave>::Value ItemValue<Wave>::take(const Wave& wave) { return {wave.info(), wave.modCount()}; }

void ItemValue<Wave>::swap(Editor& editor, Wave& wave, Value& value) {
    // A voice walks the loops and the play range as it reads.
    if (wave.loops != value.info.loops || wave.start != value.info.start || wave.end != value.info.end)
        editor.engine().killVoices(&wave);
    std::swap(wave.info(), value.info);
    swapCount(wave, value.modCount);
}

bool ItemValue<Wave>::same(const Wave& wave, const Value& value) { return wave.info() == value.info; }

ItemValue<Program>::Value ItemValue<Program>::take(const Program& program) {
    return {program.range, program.interpolation, program.icon, program.modCount()};
}

void ItemValue<Program>::swap(Editor& editor, Program& program, Value& value) {
    (void)editor;
    std::swap(program.range, value.range);
    std::swap(program.interpolation, value.interpolation);
    std::swap(program.icon, value.icon);
    swapCount(program, value.modCount);
}

bool ItemValue<Program>::same(const Program& program, const Value& value) {
    return program.range == value.range && program.interpolation == value.interpolation && program.icon == value.icon;
}

void ItemValue<ProgramSlot>::swap(Editor& editor, ProgramSlot& slot, Value& value) {
    if (slot.program != value.program) editor.engine().killVoices(&slot);
    ProgramSlot live(slot);
    slot = value;
    value = live;
}

bool ItemValue<ProgramSlot>::same(const ProgramSlot& slot, const Value& value) {
    return slot == value && slot.poly == value.poly && slot.ampAutomation == value.ampAutomation &&
           slot.panAutomation == value.panAutomation && slot.transposeAutomation == value.transposeAutomation &&
           slot.detuneAutomation == value.detuneAutomation;
}

ItemValue<WaveMatrix>::Value ItemValue<WaveMatrix>::take(const WaveMatrix& matrix) {
    return {matrix, matrix.xAxis, matrix.yAxis, matrix.thresholds, matrix.modCount()};
}

void ItemValue<WaveMatrix>::swap(Editor& editor, WaveMatrix& matrix, Value& value) {
    editor.engine().killVoices(&matrix);
    std::swap(static_cast<WaveMatrix::Grid&>(matrix), value.grid);
    std::swap(matrix.xAxis, value.xAxis);
    std::swap(matrix.yAxis, value.yAxis);
    std::swap(matrix.thresholds, value.thresholds);
    swapCount(matrix, value.modCount);
}

bool ItemValue<WaveMatrix>::same(const WaveMatrix& matrix, const Value& value) {
    return static_cast<const WaveMatrix::Grid&>(matrix) == value.grid && matrix.xAxis == value.xAxis &&
           matrix.yAxis == value.yAxis && matrix.thresholds == value.thresholds;
}

}  // namespace MV::Ui
