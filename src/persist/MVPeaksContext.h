#pragma once
#include <cstdint>
#include <string>

#include "plug/Peaks.h"

namespace MV {

class Settings;

// Where the program keeps peak caches, by the settings `peaksInFolder` ("Never", "If wave
// folder / peak file is write protected", "Always") and `peaksFolder`.
class MVPeaksContext : public ZnPlug::PeaksContext {
public:
    enum Mode : uint8_t { kNever = 0, kIfWriteProtected = 1, kAlways = 2 };

    MVPeaksContext(uint8_t peaksInFolder, std::string peaksFolder);
    explicit MVPeaksContext(const Settings& settings);

    // [ui-thread]
    std::string peakFile(const std::string& wavePath, bool forWriting) const override;

private:
    // The name in the cache folder when it exists; else beside the wave.
    std::string inCacheFolder(const std::string& wavePath, bool forWriting) const;

    uint8_t mode_;
    std::string folder_;
};

}  // namespace MV
