#pragma once
#include <cstdint>
#include <span>
#include <string>

#include "import/ProgramFileLoader.h"
#include "lib/RefCounted.h"

namespace MV {

class Program;

// Reads an EXS instrument ("EXS File", .exs) into one program. The file is a walk of records,
// each in its own byte order: zones become groups with one split each, samples become waves
// loaded from the paths they name (searched through the places and beside the instrument), and
// the last parameter record is the template that every group starts from. Throws "Invalid
// chunk", "Address out of bounds", "Unexpected parameter count", "Could not load wave" (with the
// cause nested, unless `findMissing` says to go on: the zone then plays nothing).
//
// Threads: the thread of the load [ui-thread], no lock held (the bank is a private one).
class ExsLoader : public ProgramFileLoader {
public:
    using ProgramFileLoader::ProgramFileLoader;

private:
    ZnLib::SharedRef<Program> read(std::span<const uint8_t> bytes, const std::string& path) override;
};

}  // namespace MV
