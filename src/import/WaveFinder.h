#pragma once
#include <string>
#include <vector>

#include "lib/File.h"
#include "lib/RefCounted.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Bank;
class FindMissing;
class LoadFilter;

// The waves of an instrument that names its samples by path: each path is searched for through
// the places and beside the instrument, then taken from the bank or the filter when they hold
// that file already, else loaded and added to the bank. Instruments that share samples thus
// share the waves.
//
// Threads: the thread of the load [ui-thread], no lock held (the bank is a private one).
class WaveFinder {
public:
    // `instrument` is the file whose folder relative paths and bare file names start from.
    WaveFinder(Bank& bank, LoadFilter& filter, FindMissing& findMissing, std::vector<std::string>& places,
               const std::string& instrument);

    // Throws "Could not find file " + path, or what loading the wave throws.
    ZnLib::SharedRef<ZnPlug::Wave> find(const std::string& path);

private:
    Bank& bank_;
    LoadFilter& filter_;
    FindMissing& findMissing_;
    std::vector<std::string>& places_;
    ZnLib::FS::File instrument_;
};

}  // namespace MV
