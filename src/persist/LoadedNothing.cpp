#include "persist/LoadedNothing.h"

#include "model/Performance.h"
#include "model/Program.h"
#include "model/WaveMatrix.h"
#include "plug/Wave.h"

namespace MV {

ZnLib::SharedRef<ZnPlug::Wave> LoadedNothing::existingWave(const ZnLib::FS::File& file) {
    (void)file;
    return {};
}

ZnLib::SharedRef<Program> LoadedNothing::existingProgram(const ZnLib::FS::File& file) {
    (void)file;
    return {};
}

ZnLib::SharedRef<Performance> LoadedNothing::existingPerformance(const ZnLib::FS::File& file) {
    (void)file;
    return {};
}

ZnLib::SharedRef<WaveMatrix> LoadedNothing::existingMatrix(const ZnLib::FS::File& file) {
    (void)file;
    return {};
}

}  // namespace MV
