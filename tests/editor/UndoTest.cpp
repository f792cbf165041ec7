// Actions and the undo queue: every snapshot kind puts the model back exactly, modified marks
// included, and the queue keeps its order, its size and its groups.
#include <gtest/gtest.h>

#include <stdexcept>

#include "EditorFixture.h"
#include "editor/ModifySplits.h"
#include "editor/RestoreFX.h"
#include "editor/RestoreItems.h"
#include "editor/RestoreMultiple.h"
#include "editor/RestorePartial.h"
#include "editor/RestoreSet.h"
#include "engine/EffectUnits.h"
#include "engine/InsertUnits.h"

namespace MV::Ui::Test {
namespace {

using ZnLib::makeRef;
using ZnLib::SharedRef;

SharedRef<Group> groupOf(Program& program) { return program.groups.front(); }

// Applies `action`, then checks that undo gives back `before` and the count, and redo `after`.
template <typename T>
void roundTrip(Editor& editor, const SharedRef<UiAction>& action, const T& live, const T& before) {
    const uint32_t count = live.modCount();
    editor.apply(action);
    ASSERT_EQ(editor.queueSize(), 1u);
    const T after = live;
    EXPECT_FALSE(after == before);
    editor.undo();
    EXPECT_TRUE(live == before);
    EXPECT_EQ(live.modCount(), count) << "the modified mark comes back with the value";
    editor.redo();
    EXPECT_TRUE(live == after);
    EXPECT_GT(live.modCount(), count);
}

TEST_F(EditorTest, ItemSnapshotsRestoreValuesAndMarks) {
    SharedRef<Group> g = groupOf(program);
    g->clearModified();
    const Group before = *g;
    roundTrip(editor, makeRef<RestoreItems<Group>>(std::vector{g}, &program, kKindGroup, [&] {
        g->amp = 0.9f;
        g->setLowKey(40);
        g->setMute(1);
    }), *g, before);
    editor.undo();
    EXPECT_FALSE(g->modified());
}

TEST_F(EditorTest, ItemSnapshotsOfSlotsMatricesProgramsAndWaves) {
    SharedRef<ProgramSlot> slot = engine.performance().slots.front();
    const ProgramSlot slotBefore = *slot;
    editor.apply(makeRef<RestoreItems<ProgramSlot>>(std::vector{slot}, nullptr, kKindProgramSlot, [&] {
        slot->amp = 0.25f;
        slot->program = SharedRef<Program>(Program::none());
    }));
    auto matrix = makeRef<WaveMatrix>("m");
    editor.apply(makeRef<RestoreItems<WaveMatrix>>(std::vector{matrix}, nullptr, kKindMatrix,
                                                   [&] { matrix->addColumn(64); }));
    const KeyRange programBefore = program.range;
    editor.apply(makeRef<RestoreItems<Program>>(std::vector{editor.programRef()}, nullptr, kKindProgram,
                                                [&] { program.range.highKey = 90; }));
    auto wave = rampWave("w");
    wave->takeFileInfo();
    editor.apply(makeRef<RestoreItems<ZnPlug::Wave>>(std::vector{wave}, nullptr, kKindWave, [&] {
        wave->root = 61;
        wave->loops.emplace_back(4, 40, ZnPlug::LoopMode::Forward);
    }));
    ASSERT_EQ(editor.queueSize(), 4u);
    for (int i = 0; i < 4; ++i) editor.undo();
    EXPECT_TRUE(*slot == slotBefore);
    EXPECT_TRUE(*matrix == WaveMatrix("m"));
    EXPECT_EQ(program.range, programBefore);
    EXPECT_EQ(wave->root, 255);
    EXPECT_TRUE(wave->loops.empty());
}

TEST_F(EditorTest, SetSnapshotsRestoreListsAndTheOwnersMark) {
    auto wave = rampWave("w");
    wave->loops.emplace_back(0, 10, ZnPlug::LoopMode::Forward);
    const auto loops = wave->loops;
    editor.apply(makeRef<RestoreSet<std::vector<ZnPlug::Loop>>>(*wave, wave->loops, kKindLoops, [&] {
        wave->loops.emplace_back(10, 20, ZnPlug::LoopMode::Slice);
        std::swap(wave->loops[0], wave->loops[1]);
    }));
    const uint32_t count = program.modCount();
    const auto groups = program.groups;
    editor.apply(makeRef<RestoreSet<std::vector<SharedRef<Group>>>>(program, program.groups, kKindGroupList,
                                                                    [&] { program.addGroup(makeRef<Group>("b")); }));
    EXPECT_EQ(program.modCount(), count + 1);
    editor.undo();
    EXPECT_EQ(program.groups, groups);
    EXPECT_EQ(program.modCount(), count);
    editor.undo();
    EXPECT_EQ(wave->loops, loops);
    editor.redo();
    EXPECT_EQ(wave->loops.size(), 2u);
}

TEST_F(EditorTest, PartsOfItemsRestore) {
    SharedRef<Group> g = groupOf(program);
    g->placeSplit(Split(int8_t(50)));
    const Group before = *g;
    editor.beginGroup();
    editor.apply(makeRef<RestoreSubItem<Group, decltype(Group::modulation)>>(g, &Group::modulation, kKindModulation,
                                                                             [&] { g->addModulation(3).amount = 1; }));
    editor.apply(makeRef<RestoreSubItem<Group, Split>>(g, &Group::splits, 1, kKindSplit,
                                                       [&] { g->splits[1].setRoot(70); }));
    editor.apply(makeRef<RestoreSubItems<Group, Split>>(g, &Group::splits, std::vector<std::size_t>{0, 1}, kKindSplit,
                                                        [&] { g->splits[0].loop = 2; }));
    editor.apply(makeRef<RestorePartial<Group, float>>(g, &Group::amp, kKindGroup, [&] { g->amp = 0.1f; }));
    editor.apply(makeRef<RestoreGroupSwitch>(g, [&] { g->setSwitcher(makeRef<Switcher>()); }));
    editor.endGroup();
    ASSERT_EQ(editor.queueSize(), 1u) << "a group of edits is one step";
    EXPECT_EQ(editor.undoName(), "lullo");
    editor.undo();
    EXPECT_TRUE(*g == before);
    editor.redo();
    EXPECT_FLOAT_EQ(g->amp, 0.1f);
    EXPECT_TRUE(g->switcher);
    EXPECT_EQ(g->splits[1].root(), 70);
}

TEST_F(EditorTest, WaveEditsUndoBitForBit) {
    auto wave = rampWave("w", 1000);
    wave->loops.emplace_back(600, 900, ZnPlug::LoopMode::Forward);
    auto copy = makeRef<ZnPlug::Wave>(*wave);
    editor.apply(makeRef<RestoreWaveData>(wave, [&] { wave->normalize(); }));
    // A tool's edit made first, the snapshot built before it and queued after.
    auto action = makeRef<RestoreWaveData>(wave);
    wave->start = 100;
    wave->end = 300;
    wave->cut();
    editor.perform(action);
    EXPECT_EQ(wave->frames(), 800u);
    editor.undo();
    editor.undo();
    EXPECT_TRUE(wave->samples() == copy->samples());
    EXPECT_EQ(wave->info(), copy->info());
    editor.redo();
    editor.redo();
    EXPECT_EQ(wave->frames(), 800u);
    EXPECT_EQ(wave->loops.front().start, 400u);
}

TEST_F(EditorTest, EffectEditsUndoValuesBypassAndMute) {
    SharedRef<Performance> perf(&engine.performance());
    SharedRef<FX::Effect> delay = FX::createEffectUnit(int32_t(FX::EffectType::Delay));
    editor.setSendFx(perf, 0, delay);
    ASSERT_EQ(perf->fx[0], delay);
    const SharedRef<FX::Effect> before = delay->clone();
    editor.apply(makeRef<RestoreEffect>(perf, delay, [&] {
        delay->param(0).setNormalized(0.25f);
        delay->param(3).setNormalized(0.75f);
        delay->bypass = delay->mute = true;
    }));
    EXPECT_EQ(editor.undoName(), "Edit FX");
    editor.undo();
    for (int i = 0; i < delay->paramCount; ++i) EXPECT_EQ(delay->param(i).text(), before->param(i).text()) << i;
    EXPECT_FALSE(delay->bypass || delay->mute);
    editor.redo();
    EXPECT_FLOAT_EQ(delay->param(3).normalized(), 0.75f);
    EXPECT_TRUE(delay->bypass && delay->mute);
    editor.undo();
    editor.undo();
    EXPECT_FALSE(perf->fx[0]) << "Set send fx undone";

    SharedRef<Group> g = groupOf(program);
    editor.setInsert(g, FX::createInsertUnit(int32_t(FX::InsertType::Distortion)));
    const std::string text = g->insert->param(0).text();
    editor.apply(makeRef<RestoreFX<Group, FX::Insert>>(g, g->insert, [&] { g->insert->param(0).setNormalized(0.9f); }));
    editor.undo();
    EXPECT_EQ(g->insert->param(0).text(), text);
}

struct CountingAction : UiAction {
    explicit CountingAction(bool alters = true) : UiAction(kKindGroup), alters(alters) {}
    void redo(Editor&) override { ++redos; }
    void undo(Editor&) override { ++undos; }
    bool changed() override { return alters; }
    std::string name() const override { return "count"; }
    void done(Editor&) override { ++dones; }
    bool alters;
    int redos = 0, undos = 0, dones = 0;
};

TEST_F(EditorTest, QueueKeepsItsSizeAndCutsTheRedoBranch) {
    engine.store().undoQueueSize = 0;
    auto a = makeRef<CountingAction>();
    editor.apply(a);
    EXPECT_EQ(editor.queueSize(), 0u);
    EXPECT_EQ(a->dones, 1) << "done still runs";

    engine.store().undoQueueSize = 1;
    auto b = makeRef<CountingAction>(), c = makeRef<CountingAction>();
    editor.apply(b);
    editor.apply(c);
    ASSERT_EQ(editor.queueSize(), 1u);
    editor.undo();
    EXPECT_EQ(c->undos, 1);
    EXPECT_EQ(b->undos, 0);

    engine.store().undoQueueSize = 50;
    editor.redo();
    editor.apply(makeRef<CountingAction>());
    editor.apply(makeRef<CountingAction>());
    editor.undo();
    editor.undo();
    EXPECT_EQ(editor.cursor(), 1u);
    editor.apply(makeRef<CountingAction>(false));
    EXPECT_EQ(editor.queueSize(), 3u) << "an unchanged action leaves the redo branch";
    editor.apply(makeRef<CountingAction>());
    EXPECT_EQ(editor.queueSize(), 2u);
    EXPECT_FALSE(editor.canRedo());

    engine.store().undoQueueSize = 1;
    editor.apply(makeRef<CountingAction>());
    EXPECT_EQ(editor.queueSize(), 1u) << "a lower size takes effect at the next perform";

    editor.beginGroup();
    editor.undo();
    EXPECT_EQ(editor.cursor(), 1u) << "undo does nothing inside a group";
    editor.endGroup();
    EXPECT_THROW(RestoreMultiple({}).changed(), std::runtime_error);
}

TEST_F(EditorTest, NamedCommandsUndoInOneStep) {
    SharedRef<Group> g = groupOf(program);
    g->placeSplit(Split(int8_t(60)));
    editor.assignWave(g, 1, rampWave("a"));
    editor.separate(g, 1);
    ASSERT_EQ(program.groups.size(), 2u);
    EXPECT_EQ(program.groups[1]->range.lowKey, 60);
    EXPECT_EQ(editor.undoName(), "Separate");
    editor.undo();
    editor.undo();
    EXPECT_EQ(program.groups.size(), 1u);
    EXPECT_TRUE(g->splits[1].isEmpty());

    SharedRef<Program> prog = editor.programRef();
    editor.deleteProgram(prog);
    EXPECT_FALSE(engine.hasProgram(prog.get()));
    EXPECT_TRUE(engine.performance().slots.front()->program->isNone());
    editor.undo();
    EXPECT_TRUE(engine.hasProgram(prog.get()));
    EXPECT_EQ(engine.performance().slots.front()->program, prog);
}

}  // namespace
}  // namespace MV::Ui::Test
