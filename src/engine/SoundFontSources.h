#pragma once
#include <map>
#include <string>

#include "import/SoundFont.h"
#include "persist/StateOptions.h"

namespace MV {

// The import sources a host state can name: SoundFont 2 files. Each file is opened once for the
// life of this object, so the waves of one state share it. [ui-thread] the thread of the state call.
class SoundFontSources : public ImportSources {
public:
    bool describe(const ZnPlug::Wave& wave, uint32_t& type, std::string& path) const override;
    // Throws "Unknown import source" for a type other than SoundFont 2, and the SoundFont's texts.
    ZnLib::SharedRef<ZnPlug::Wave> importWave(uint32_t type, const std::string& path, uint32_t index,
                                              const std::string& name, Bank& target,
                                              ProcessCallbacks& progress) override;

private:
    std::map<std::string, ZnLib::SharedRef<SoundFont>> open_;
};

}  // namespace MV
