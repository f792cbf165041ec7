#include "MapCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "InstrumentLoader.h"
#include "editor/AutoMapPreset.h"
#include "editor/AutoMapper.h"
#include "editor/Editor.h"
#include "editor/KeyboardMapper.h"
#include "editor/ModifySplits.h"
#include "engine/Morvek.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "model/Program.h"
#include "persist/MVSave.h"
#include "persist/SaveFilter.h"
#include "persist/Settings.h"
#include "plug/Wave.h"

namespace Cli {

using ZnLib::SharedRef;
using ZnLib::Text::format;
using ZnPlug::Wave;

namespace {

// What a folder contributes: the files that the wave readers take by their usual extensions.
bool isWaveName(const std::filesystem::path& path) {
    static const char* const kExtensions[] = {".wav",  ".wave", ".aif", ".aiff", ".aifc",
                                              ".flac", ".ogg",  ".rx2", ".rex"};
    const std::string ext = ZnLib::Text::toLower(path.extension().string());
    return std::any_of(std::begin(kExtensions), std::end(kExtensions), [&](const char* e) { return ext == e; });
}

// The files named, with each folder replaced by its wave files in name order.
std::vector<std::string> wavePaths(const std::vector<std::string>& inputs) {
    namespace fs = std::filesystem;
    std::vector<std::string> paths;
    for (const std::string& input : inputs) {
        std::error_code ec;
        if (!fs::is_directory(input, ec)) {
            paths.push_back(input);
            continue;
        }
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(input, ec))
            if (entry.is_regular_file(ec) && isWaveName(entry.path())) found.push_back(entry.path().string());
        if (found.empty()) throw std::runtime_error(input + " holds no wave files");
        std::sort(found.begin(), found.end());
        paths.insert(paths.end(), found.begin(), found.end());
    }
    return paths;
}

int parseKey(const std::string& option, const std::string& text, int octaveOffset, int fallback) {
    if (text.empty()) return fallback;
    const uint8_t key = ZnPlug::parseNote(text, octaveOffset);
    if (key == 255)
        throw std::runtime_error(option + " takes a key: a note name such as C4, or a number 0 to 127 (got \"" + text +
                                 "\")");
    return key;
}

std::vector<uint8_t> parseRoles(const std::string& text) {
    std::vector<uint8_t> roles;
    std::size_t from = 0;
    while (from <= text.size()) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        const std::string name(ZnLib::Text::trim(std::string_view(text).substr(from, comma - from)));
        const int role = MV::AutoMapper::parseRole(name);
        if (role < 0) {
            std::string known;
            for (const char* n : MV::AutoMapper::kRoleNames) known += (known.empty() ? "" : ", ") + std::string(n);
            throw std::runtime_error("--tokens: unknown role \"" + name + "\" (roles: " + known + ")");
        }
        roles.push_back(uint8_t(role));
        from = comma + 1;
    }
    return roles;
}

std::string keyText(int key, int octaveOffset) {
    return format("%s (%d)", ZnPlug::noteName(key, octaveOffset).c_str(), key);
}

}  // namespace

std::string keyMapTable(const MV::Program& program, int octaveOffset) {
    std::string table = format("%-20s %-7s %-10s %-3s %-16s %s\n", "keys", "vel", "root", "#", "group", "wave");
    for (std::size_t n = 0; n < program.groups.size(); ++n) {
        const SharedRef<MV::Group>& g = program.groups[n];
        for (std::size_t i = 0; i < g->splits.size(); ++i) {
            const MV::Split& s = g->splits[i];
            const int high = i + 1 < g->splits.size() ? g->splits[i + 1].key - 1 : g->range.highKey;
            const std::string keys = keyText(s.key, octaveOffset) + ".." + keyText(high, octaveOffset);
            const std::string vel = format("%d-%d", g->range.lowVel, g->range.highVel);
            const std::string root = s.root() == 255 ? std::string("-") : keyText(s.root(), octaveOffset);
            table += format("%-20s %-7s %-10s %-3zu %-16s %s\n", keys.c_str(), vel.c_str(), root.c_str(), n + 1,
                            g->name.c_str(), s.displayName().c_str());
        }
    }
    return table;
}

MapCommand::MapCommand(CLI::App& app) {
    map_ = app.add_subcommand(
        "map", "Make a program of wave files: by their roots, in a fixed layout, as velocity layers, as the slices of "
               "one wave, or by the tokens of their names");
    map_->add_option("WAVES", inputs_, "Wave files, or folders whose wave files are all taken (in name order)")
        ->required();
    map_->add_option("-o,--output", out_, "The .mvprog document to write; replaced only when the save succeeds")
        ->required();
    map_->add_option("--name", name_, "The program's name (default: the document's)");
    map_->add_option("--tokens", tokens_,
                     "ROLE,ROLE,...: map by the tokens of the wave names (split at _, - and blanks), a role per token "
                     "from the left: ignore, root, single-key, low-key, high-key, low-vel, high-vel, group-name");
    map_->add_option("--preset", preset_, "FILE.automap: the roles and choices of a saved mapping");
    map_->add_option("--save-preset", savePreset_, "FILE.automap: keep this mapping's roles and choices");
    map_->add_flag("--no-wave-root", noWaveRoot_,
                   "With --tokens: a wave without a root token plays untransposed at its lowest key");
    map_->add_option("--low", low_, "Lowest key of the drop (note name or number; default 0)");
    map_->add_option("--high", high_, "Highest key of the drop (default 127)");
    map_->add_option("--step", step_, "Keys between waves of a fixed layout (default 1)")->check(CLI::Range(1, 127));
    map_->add_flag("--fixed", fixed_, "A fixed layout in the order given, whatever the roots say");
    map_->add_flag("--layers", layers_, "Velocity layers: a group per wave over the same keys, the first the softest");
    map_->add_flag("--slices", slices_, "Lay the slices of one sliced wave over the keys, one key each");
    map_->add_flag("--merge", merge_, "Join neighbouring groups that sound alike into one");
}

bool MapCommand::parsed() const { return map_->parsed(); }

int MapCommand::run() {
    if (ZnLib::FS::extension(out_) != ".mvprog") throw std::runtime_error("The output must be a .mvprog document");
    const bool byTokens = !tokens_.empty() || !preset_.empty();
    if (int(byTokens) + int(layers_) + int(slices_) > 1)
        throw std::runtime_error("Choose one of --tokens (or --preset), --layers and --slices");

    MV::Settings settings;
    const int octave = settings.octaveOffset;
    const int low = parseKey("--low", low_, octave, 0);
    const int high = parseKey("--high", high_, octave, 127);

    // Every wave first: an unreadable one stops the command before anything is written.
    std::vector<SharedRef<Wave>> waves;
    for (const std::string& path : wavePaths(inputs_)) waves.push_back(loadWaveFile(path));
    if (slices_ && (waves.size() != 1 || !waves.front()->hasSlices()))
        throw std::runtime_error("--slices takes one wave with slices (make them with morvek wave slice)");

    MV::AutoMapper::Options options = MV::AutoMapper::Options::fromSettings(settings);
    if (!preset_.empty()) {
        MV::AutoMapPreset preset;
        preset.load(preset_);
        options.tokens = preset.tokens;
        options.useWaveRoot = preset.useWaveRoot;
        options.mergeGroups = preset.mergeGroups;
    }
    if (!tokens_.empty()) options.tokens = parseRoles(tokens_);
    if (noWaveRoot_) options.useWaveRoot = false;
    if (merge_) options.mergeGroups = true;

    MV::Morvek engine;
    MV::Ui::Editor editor(engine);
    auto program = ZnLib::makeRef<MV::Program>(name_.empty() ? ZnLib::FS::stem(out_) : name_);
    editor.setProgram(program);
    // Without a window: a sliced wave in a drop maps as a plain one, and a slice layout may overlap.
    editor.ask = [](const std::string& title, const std::string&) { return title != "Layout slices"; };
    MV::Ui::KeyboardMapper mapper(editor);

    if (byTokens) {
        std::vector<SharedRef<MV::Group>> sources;
        for (const SharedRef<Wave>& w : waves) {
            auto group = ZnLib::makeRef<MV::Group>(program->name());
            group->splits.front().setWave(w);
            sources.push_back(std::move(group));
        }
        editor.apply(ZnLib::makeRef<MV::Ui::AssignWave>(
            program, [&] { program->groups = MV::AutoMapper::map(options, sources); }));
    } else if (slices_) {
        editor.setWave(waves.front());
        editor.layoutSlices(low, high);
    } else if (layers_) {
        mapper.dropLayers(waves, low, high);
    } else {
        mapper.drop(waves, low, high, step_, fixed_);
    }
    if (merge_ && !byTokens)
        editor.apply(ZnLib::makeRef<MV::Ui::AssignWave>(program, [&] { program->mergeGroups(false); }));
    if (program->groups.empty()) throw std::runtime_error("No wave found a place between the keys given");

    if (!savePreset_.empty()) {
        MV::AutoMapPreset preset;
        static_cast<MV::AutoMapper::Options&>(preset) = options;
        preset.save(savePreset_);
    }

    std::fputs(keyMapTable(*program, octave).c_str(), stdout);
    MV::OverwriteAll overwrite;
    const std::string target = std::filesystem::absolute(out_).lexically_normal().string();
    MV::MVSave(target, overwrite, MV::SaveOptions::fromSettings(settings, false)).save(*program);
    return 0;
}

}  // namespace Cli
