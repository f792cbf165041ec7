#pragma once
#include "lib/File.h"
#include "lib/RefCounted.h"
#include "model/ProcessCallbacks.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Program;
class Performance;
class WaveMatrix;

// What a load asks before it reads a file: is the item at this file at hand already? Each
// answer is the item with a new reference, or an empty reference to load it afresh.
class LoadFilter : public ProcessCallbacks {
public:
    virtual ZnLib::SharedRef<ZnPlug::Wave> existingWave(const ZnLib::FS::File& file) = 0;
    virtual ZnLib::SharedRef<Program> existingProgram(const ZnLib::FS::File& file) = 0;
    virtual ZnLib::SharedRef<Performance> existingPerformance(const ZnLib::FS::File& file) = 0;
    virtual ZnLib::SharedRef<WaveMatrix> existingMatrix(const ZnLib::FS::File& file) = 0;
};

}  // namespace MV
