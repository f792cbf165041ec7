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

// Reads an EXS instrument ("EXS File", .exs) into one program. The file is a walk of records,
// each in its own byte order: zones become groups with one split each, samples become waves
// loaded from the paths they name (searched through the places and beside the instrument), and
// the last parameter record is the template that every group starts from.
//
// Threads: the thread of the load [ui-thread], no lock held (the bank is a private one).
class ExsLoader {
public:
    ExsLoader(Bank& bank, LoadFilter& filter, FindMissing& findMissing, std::vector<std::string> places = {});

    // The program, named after the file; its waves are added to the bank, the program is not.
    // Throws "Invalid chunk", "Address out of bounds", "Unexpected parameter count", "Could not
    // load wave" (with the cause nested, unless `findMissing` says to go on: the zone then plays
    // nothing), "Could not open file ".
    ZnLib::SharedRef<Program> loadFile(const std::string& path);
    // The same over the file's bytes; `path` places the instrument and names the program.
    ZnLib::SharedRef<Program> loadBytes(std::span<const uint8_t> bytes, const std::string& path);

private:
    Bank& bank_;
    LoadFilter& filter_;
    FindMissing& findMissing_;
    std::vector<std::string> places_;
};

}  // namespace MV
