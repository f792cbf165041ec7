#pragma once
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "editor/UiAction.h"
#include "lib/RefCounted.h"
#include "model/Effect.h"
#include "model/Group.h"
#include "model/Performance.h"
#include "model/Program.h"
#include "model/WaveMatrix.h"
#include "plug/Wave.h"

namespace MV {
class Morvek;
}  // namespace MV

namespace MV::Ui {

// The editor's model side: one linear queue of actions with a cursor (actions before it are done,
// those from it on undone), the program and wave that the pages work on, and the edit commands
// that the pages call. It needs no window; views only call it and listen.
//
// How to make an undoable edit, for code outside the editor pages (a live take, a tool):
//   editor.apply(ZnLib::makeRef<AssignWave>(program, [&] { program->addGroup(take); }));
// The action copies what it guards when it is made, runs the edit under the engine's lock, and
// enters the queue if something changed. An edit already made by other means is queued with
// perform(), with the snapshot built before the edit:
//   auto action = ZnLib::makeRef<RestoreWaveData>(wave);  wave->normalize();  editor.perform(action);
// beginGroup() / endGroup() around several edits makes them one step of undo; a recorded take, for
// example, enters the bank's wave list through a RestoreSet of bank.waves (kKindWaveList) and the
// program through AssignWave, both applied inside one group.
//
// Threads: the interface thread only [ui-thread]. The engine's lock is taken inside the actions,
// for the moment of each swap, never across a call of perform.
class Editor {
public:
    // Told of what actions do. kind is an ActionKind; the action is null when an ended group
    // reports the kinds that it touched.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void willChange(Editor& editor, int32_t kind) {
            (void)editor;
            (void)kind;
        }
        virtual void changed(Editor& editor, int32_t kind, UiAction* action) = 0;
        // The queue or the cursor moved (the undo button's state).
        virtual void queueChanged(Editor& editor) { (void)editor; }
    };

    // A question to the user, with its title; true for yes. Without one every answer is yes.
    using Ask = std::function<bool(const std::string& title, const std::string& text)>;

    // Works on the program of the engine's first program slot.
    explicit Editor(Morvek& engine);
    ~Editor();
    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;

    Morvek& engine() noexcept { return engine_; }
    std::recursive_mutex& engineLock() noexcept;

    // ---- the queue ----
    // Runs the action's edit (its first redo) and queues it when changed() says it altered
    // something; otherwise it is dropped, queue and cursor untouched.
    void apply(const ZnLib::SharedRef<UiAction>& action);
    // Queues an action whose edit is done already: cuts the redo branch, appends, trims the queue
    // to undoQueueSize from the front, then calls its done(). Inside a group the action joins the
    // group instead (or merges into its last action).
    void perform(const ZnLib::SharedRef<UiAction>& action);
    // Nothing happens at the end of the queue, inside a group, or while an action runs.
    void undo();
    void redo();
    void beginGroup() noexcept { ++groupDepth_; }
    // The outermost end wraps the group's actions in one RestoreMultiple and performs it.
    void endGroup();
    void notifyAll();
    // Drops every action: what they alone held is freed.
    void clearQueue();

    // The setting "Max undo queue size", read at each perform.
    int32_t undoQueueSize() const;
    std::size_t queueSize() const noexcept { return queue_.size(); }
    std::size_t cursor() const noexcept { return cursor_; }
    bool canUndo() const noexcept { return cursor_ > 0; }
    bool canRedo() const noexcept { return cursor_ < queue_.size(); }
    std::string undoName() const;
    std::string redoName() const;
    bool busy() const noexcept { return busy_; }
    int32_t groupDepth() const noexcept { return groupDepth_; }
    // The interface's mark that the sound changed since it was saved; undo and redo set it.
    bool changedMark() const noexcept { return changedMark_; }
    void setChangedMark(bool on) noexcept { changedMark_ = on; }

    void addListener(Listener* listener);
    void removeListener(Listener* listener);
    // Tells every listener.
    void fireChanged(int32_t kind, UiAction* action);

    // ---- what the pages work on ----
    Program& program() const noexcept { return *program_; }
    const ZnLib::SharedRef<Program>& programRef() const noexcept { return program_; }
    void setProgram(ZnLib::SharedRef<Program> program);
    // The sample editor's wave; may be empty.
    const ZnLib::SharedRef<ZnPlug::Wave>& wave() const noexcept { return wave_; }
    void setWave(ZnLib::SharedRef<ZnPlug::Wave> wave) { wave_ = std::move(wave); }
    Ask ask;
    bool confirm(const std::string& title, const std::string& text) const { return !ask || ask(title, text); }

    // ---- edit commands, each one step of undo (EditorCommands.cpp) ----
    // "Assign loop": the wave's loops become `loops`.
    void assignLoop(const ZnLib::SharedRef<ZnPlug::Wave>& wave, std::vector<ZnPlug::Loop> loops);
    // Removes the loops at the given places.
    void deleteLoops(const ZnLib::SharedRef<ZnPlug::Wave>& wave, std::vector<std::size_t> indexes);
    // "Assign wave": the split at `splitIndex` of a group of the program plays `wave` / `matrix`.
    void assignWave(const ZnLib::SharedRef<Group>& group, std::size_t splitIndex,
                    const ZnLib::SharedRef<ZnPlug::Wave>& wave);
    void assignMatrix(const ZnLib::SharedRef<Group>& group, std::size_t splitIndex,
                      const ZnLib::SharedRef<WaveMatrix>& matrix);
    // "Swap splits": two splits of a group exchange sound and loops; their keys stay.
    void swapSplits(const ZnLib::SharedRef<Group>& group, std::size_t a, std::size_t b);
    // "Separate": the split leaves its group for a group of its own, a copy of the group over the
    // split's keys, placed behind it.
    void separate(const ZnLib::SharedRef<Group>& group, std::size_t splitIndex);
    // "Add performance" to the engine's bank.
    void addPerformance(const ZnLib::SharedRef<Performance>& performance);
    // Takes the program off the bank's list; the slots that held it hold the none program.
    void deleteProgram(const ZnLib::SharedRef<Program>& program);
    // "Delete wave(s)", "Delete Wave Matrix(s)": off the bank's lists.
    void deleteWaves(const std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& waves);
    void deleteMatrixes(const std::vector<ZnLib::SharedRef<WaveMatrix>>& matrixes);
    // "Set send fx", "Set insert": the unit (or nothing) in its place.
    void setSendFx(const ZnLib::SharedRef<Performance>& performance, int bus, ZnLib::SharedRef<FX::Effect> unit);
    void setInsert(const ZnLib::SharedRef<Group>& group, ZnLib::SharedRef<FX::Insert> unit);
    // The sample editor's slice layout of the current wave into the program: a group already laid
    // out from it is laid out anew in place; else a new group in slice mode at the first free
    // keys from `lowKey` (moved up to a C when it had to move). A negative lowKey is 0, a
    // negative highKey 127.
    void layoutSlices(int lowKey, int highKey);

private:
    // Sets busy for a scope and clears it however the scope is left.
    class BusyScope;

    void fireWillChange(int32_t kind);
    void fireQueueChanged();

    Morvek& engine_;
    std::vector<ZnLib::SharedRef<UiAction>> queue_;
    std::size_t cursor_ = 0;
    bool busy_ = false;
    int32_t groupDepth_ = 0;
    std::vector<ZnLib::SharedRef<UiAction>> groupActions_;
    std::bitset<kActionKinds> groupKinds_;
    bool changedMark_ = false;
    std::vector<Listener*> listeners_;
    ZnLib::SharedRef<Program> program_;
    ZnLib::SharedRef<ZnPlug::Wave> wave_;
};

}  // namespace MV::Ui
