#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "lib/RefCounted.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Bank;
class ProcessCallbacks;

// The foreign bank formats that waves may come from. They sit above persistence, so a host state
// reaches them through this: the writer asks where an imported wave came from, the reader asks
// for waves again by their index in that source. [ui-thread] the thread of the state call.
class ImportSources {
public:
    virtual ~ImportSources() = default;
    // The type tag and the file of the source that `wave` was imported from; false when the wave
    // holds no container of a known source.
    virtual bool describe(const ZnPlug::Wave& wave, uint32_t& type, std::string& path) const = 0;
    // Wave `index` of the source of `type` at `path` (by `name` when the index is all ones), added
    // to `target` unless it holds it already. Throws the source's texts.
    virtual ZnLib::SharedRef<ZnPlug::Wave> importWave(uint32_t type, const std::string& path, uint32_t index,
                                                      const std::string& name, Bank& target,
                                                      ProcessCallbacks& progress) = 0;
};

// What steers a host state besides the bank itself.
struct StateOptions {
    // Every wave goes by content (the setting of that name).
    bool saveAllWavesInFXB = false;
    // A bank state keeps its waves as files in the project folder (the setting of that name).
    bool saveWavesInProject = false;
    // The host's project folder, or empty when the host does not tell it.
    std::string projectFolder;
    // The instance's identifier: names its subfolder of the project folder.
    std::string instanceId;
    // The path of the engine's own bank, the base of paths outside a project folder.
    std::string bankPath;
    // The root folders of the file search (the settings' places).
    std::vector<std::string> places;
    // The importers, or none: then imported waves go by content, and a state that names an
    // import source cannot be read.
    ImportSources* imports = nullptr;
    // Progress of the reads and writes; silent when null.
    ProcessCallbacks* progress = nullptr;
    // The reader writes icon files that a state carries and the disk lacks.
    bool restoreIcons = true;
};

}  // namespace MV
