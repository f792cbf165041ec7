#pragma once
#include "model/LoadFilter.h"

namespace MV {

// The silent load filter, for state chunks and tests: nothing is at hand, so every item is
// loaded afresh. Called on the thread of the load [ui-thread] with no lock held.
class LoadedNothing : public LoadFilter {
public:
    ZnLib::SharedRef<ZnPlug::Wave> existingWave(const ZnLib::FS::File& file) override;
    ZnLib::SharedRef<Program> existingProgram(const ZnLib::FS::File& file) override;
    ZnLib::SharedRef<Performance> existingPerformance(const ZnLib::FS::File& file) override;
    ZnLib::SharedRef<WaveMatrix> existingMatrix(const ZnLib::FS::File& file) override;
};

}  // namespace MV
