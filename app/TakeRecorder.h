#pragma once
#include <optional>
#include <string>
#include <vector>

#include "RecordOptions.h"
#include "editor/Editor.h"
#include "engine/Sampler.h"
#include "lib/RefCounted.h"

namespace Cli {

struct RenderOptions;

// The sampler during a render, as the editor's panel would drive it: armed by a mode before the
// song starts, its takes collected whenever recording stops, and the last one at the end. Each
// take is one step of the editor's undo. With a key range the takes are laid out by their roots
// over the keys, in one group of a program of their own.
class TakeRecorder : public MV::TakeMapper {
public:
    // [ui-thread] Arms the sampler on `engine` (the mode's controller or key on any channel).
    TakeRecorder(MV::Morvek& engine, const RecordMode& mode, uint32_t channels, bool detectPitch,
                 std::optional<KeyRange> map);
    // Collects the takes after every audio call of the render.
    void attach(RenderOptions& options);
    // [ui-thread] Disarms the sampler and collects the last take; then writes OUT-take1.wav ...
    // beside `output` and, with a key range, OUT-takes.mvprog. Returns the files written.
    std::vector<std::string> finish(const std::string& output);
    // The line the command prints about what finish() wrote.
    std::string summary(const std::vector<std::string>& written) const;

    const std::vector<ZnLib::SharedRef<ZnPlug::Wave>>& takes() const noexcept { return takes_; }
    // The program of the takes; empty without a key range.
    const ZnLib::SharedRef<MV::Program>& program() const noexcept { return program_; }

    const MV::Ui::Editor& editor() const noexcept { return editor_; }

    void undoable(const std::function<void()>& steps) override;
    std::string map(const ZnLib::SharedRef<ZnPlug::Wave>& wave, uint8_t lowKey, uint8_t highKey) override;
    void add(MV::Morvek& engine, const ZnLib::SharedRef<ZnPlug::Wave>& wave) override;
    void taken(const ZnLib::SharedRef<ZnPlug::Wave>& wave) override;

private:
    void collect();

    MV::Morvek& engine_;
    MV::Ui::Editor editor_;
    MV::Sampler sampler_;
    MV::TakeOptions options_;
    std::vector<ZnLib::SharedRef<ZnPlug::Wave>> takes_;
    std::vector<ZnLib::SharedRef<ZnPlug::Wave>> mapped_;
    ZnLib::SharedRef<MV::Program> program_;
};

}  // namespace Cli
