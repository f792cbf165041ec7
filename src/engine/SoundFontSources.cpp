#include "engine/SoundFontSources.h"

#include <stdexcept>

#include "plug/Wave.h"

namespace MV {

bool SoundFontSources::describe(const ZnPlug::Wave& wave, uint32_t& type, std::string& path) const {
    const auto* source = dynamic_cast<const ImportBank*>(wave.container.get());
    if (!source) return false;
    type = source->sourceType();
    path = source->path();
    return true;
}

ZnLib::SharedRef<ZnPlug::Wave> SoundFontSources::importWave(uint32_t type, const std::string& path, uint32_t index,
                                                            const std::string& name, Bank& target,
                                                            ProcessCallbacks& progress) {
    if (type != SoundFont::kTag) throw std::runtime_error("Unknown import source");
    ZnLib::SharedRef<SoundFont>& source = open_[path];
    if (!source) source = ZnLib::makeRef<SoundFont>(path, progress);
    return source->importWave(index, name, target, progress);
}

}  // namespace MV
