#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lib/RefCounted.h"

namespace MV {

class Bank;
class FindMissing;
class LoadFilter;
class Program;

// A reader of an instrument file that makes one program, whose waves it finds through the places
// and beside the file. Threads: the thread of the load [ui-thread], no lock held (the bank is a
// private one).
class ProgramFileLoader {
public:
    ProgramFileLoader(Bank& bank, LoadFilter& filter, FindMissing& findMissing, std::vector<std::string> places = {});
    virtual ~ProgramFileLoader() = default;

    // The program, named after the file; its waves are added to the bank, the program is not.
    // Throws the reader's texts, and "Could not open file " for a file that cannot be read.
    ZnLib::SharedRef<Program> loadFile(const std::string& path);
    // The same over the file's bytes; `path` places the instrument and names the program.
    ZnLib::SharedRef<Program> loadBytes(std::span<const uint8_t> bytes, const std::string& path);

protected:
    // Reads the bytes of the file at `path`, an absolute path (samples are found from its folder).
    virtual ZnLib::SharedRef<Program> read(std::span<const uint8_t> bytes, const std::string& path) = 0;

    Bank& bank_;
    LoadFilter& filter_;
    FindMissing& findMissing_;
    std::vector<std::string> places_;
};

}  // namespace MV
