#include "TakeRecorder.h"

#include <cmath>
#include <filesystem>
#include <mutex>

#include "SongRenderer.h"
#include "editor/KeyboardMapper.h"
#include "editor/ModifySplits.h"
#include "editor/RestoreSet.h"
#include "engine/Morvek.h"
#include "lib/Path.h"
#include "model/Group.h"
#include "model/Program.h"
#include "persist/MVSave.h"
#include "persist/SaveFilter.h"
#include "plug/Wave.h"

namespace Cli {

namespace {

// The controller or key of a mode is looked for on every MIDI channel: the record they all share.
constexpr uint8_t kAnyChannel = 16;

}  // namespace

TakeRecorder::TakeRecorder(MV::Morvek& engine, const RecordMode& mode, uint32_t channels, bool detectPitch,
                           std::optional<KeyRange> map)
    : engine_(engine), editor_(engine), sampler_(engine) {
    options_.detectPitch = detectPitch;
    if (map) {
        options_.autoMap = true;
        options_.lowKey = map->low;
        options_.highKey = map->high;
        program_ = ZnLib::makeRef<MV::Program>("Takes");
        {
            std::lock_guard lock(engine.mainLock());
            engine.addProgram(program_);
        }
        editor_.setProgram(program_);
    }
    sampler_.setChannels(channels);
    MV::Settings& settings = engine.store();
    switch (mode.kind) {
    case RecordMode::Kind::Off:
        break;
    case RecordMode::Kind::Button:
        sampler_.setRecord(true);
        break;
    case RecordMode::Kind::Transport:
        sampler_.setTransportArmed(true);
        break;
    case RecordMode::Kind::Threshold:
        sampler_.setThreshold(float(std::pow(10.0, double(mode.thresholdDb) / 20.0)));
        sampler_.setThresholdArmed(true);
        break;
    case RecordMode::Kind::Controller:
        // Only for this engine: the user's settings file keeps its own choice.
        settings.samplerMidiCC = mode.controller;
        settings.samplerMidiChannel = kAnyChannel;
        sampler_.setMidiCCArmed(true);
        break;
    case RecordMode::Kind::Key:
        settings.samplerMidiKey = int8_t(mode.key);
        settings.samplerMidiChannel = kAnyChannel;
        sampler_.setMidiKeyArmed(true);
        break;
    }
}

void TakeRecorder::attach(RenderOptions& options) {
    options.afterBlock = [this] { collect(); };
}

void TakeRecorder::collect() {
    if (sampler_.recording()) return;
    if (auto wave = sampler_.collectTake(options_, this)) takes_.push_back(std::move(wave));
}

void TakeRecorder::undoable(const std::function<void()>& steps) {
    editor_.beginGroup();
    try {
        steps();
    } catch (...) {
        editor_.endGroup();
        throw;
    }
    editor_.endGroup();
}

std::string TakeRecorder::map(const ZnLib::SharedRef<ZnPlug::Wave>& wave, uint8_t lowKey, uint8_t highKey) {
    std::vector<ZnLib::SharedRef<ZnPlug::Wave>> waves = mapped_;
    waves.push_back(wave);
    const std::string name = "Takes";
    // The takes so far and the new one, laid out anew by their roots over the keys.
    editor_.apply(ZnLib::makeRef<MV::Ui::AssignWave>(program_, [&] {
        auto group = ZnLib::makeRef<MV::Group>(name);
        group->range.lowKey = group->fade.lowKey = int8_t(lowKey);
        group->range.highKey = group->fade.highKey = int8_t(highKey);
        group->splits.assign(1, MV::Split(int8_t(lowKey)));
        MV::Ui::KeyboardMapper::mapWaves(*group, waves, lowKey, highKey, 1, false);
        program_->groups.assign(1, std::move(group));
    }));
    mapped_ = std::move(waves);
    return name;
}

void TakeRecorder::add(MV::Morvek& engine, const ZnLib::SharedRef<ZnPlug::Wave>& wave) {
    using Waves = std::vector<ZnLib::SharedRef<ZnPlug::Wave>>;
    editor_.apply(ZnLib::makeRef<MV::Ui::RestoreSet<Waves>>(engine, engine.waves, MV::Ui::kKindWaveList,
                                                             [&] { engine.addWave(wave); }));
}

void TakeRecorder::taken(const ZnLib::SharedRef<ZnPlug::Wave>& wave) { editor_.setWave(wave); }

std::vector<std::string> TakeRecorder::finish(const std::string& output) {
    for (int o = 0; o < MV::Sampler::kOptionCount; ++o) sampler_.setOption(MV::Sampler::Option(o), false);
    collect();

    std::vector<std::string> written;
    const std::filesystem::path out = std::filesystem::absolute(output).lexically_normal();
    const std::string base = (out.parent_path() / out.stem()).string();
    for (std::size_t i = 0; i < takes_.size(); ++i) {
        const std::string path = base + "-take" + std::to_string(i + 1) + ".wav";
        takes_[i]->saveAs(path);
        written.push_back(path);
    }
    if (program_ && !takes_.empty()) {
        const std::string path = base + "-takes.mvprog";
        MV::OverwriteAll filter;
        MV::SaveOptions saveOptions;
        saveOptions.usePlaces = false;
        MV::MVSave save(path, filter, saveOptions);
        save.save(*program_);
        written.push_back(path);
    }
    return written;
}

std::string TakeRecorder::summary(const std::vector<std::string>& written) const {
    if (takes_.empty()) return "Recorded no take: nothing triggered the sampler\n";
    std::string text = "Recorded " + std::to_string(takes_.size()) + (takes_.size() == 1 ? " take: " : " takes: ");
    for (std::size_t i = 0; i < written.size(); ++i) {
        const bool program = i == takes_.size();
        text += (i == 0 ? "" : program ? "; program " : ", ") + written[i];
    }
    return text + "\n";
}

}  // namespace Cli
