#pragma once
#include <cstdint>
#include <span>
#include <string>

#include "import/ProgramFileLoader.h"
#include "lib/RefCounted.h"

namespace MV {

class Group;
class Program;

// Reads an Akai program file ("AKP File", .akp) into one program: the program-wide chunks
// shape a group template, each keygroup ("kgrp") a copy of it, and each of the keygroup's up to
// four zones with a wave becomes a group of its own with one split over the keygroup's keys.
// Waves are the zone names with ".wav", found beside the program and through the places; a zone
// whose wave cannot be found plays the none wave, reported through the filter. Throws "Not a
// valid RIFF file" and "Not a valid Akai program file" (std::invalid_argument), "Address out of
// bounds", "All modulation slots used".
//
// Threads: the thread of the load [ui-thread], no lock held (the bank is a private one).
class AkpLoader : public ProgramFileLoader {
public:
    using ProgramFileLoader::ProgramFileLoader;

private:
    ZnLib::SharedRef<Program> read(std::span<const uint8_t> bytes, const std::string& path) override;
};

}  // namespace MV
