#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lib/RefCounted.h"

namespace MV {

class Bank;
class FindMissing;
class Group;
class LoadFilter;
class Program;

// Reads an Akai program file ("AKP File", .akp) into one program: the program-wide chunks
// shape a group template, each keygroup ("kgrp") a copy of it, and each of the keygroup's up to
// four zones with a wave becomes a group of its own with one split over the keygroup's keys.
// Waves are the zone names with ".wav", found beside the program and through the places; a zone
// whose wave cannot be found plays the none wave, reported through the filter.
//
// Threads: the thread of the load [ui-thread], no lock held (the bank is a private one).
class AkpLoader {
public:
    AkpLoader(Bank& bank, LoadFilter& filter, FindMissing& findMissing, std::vector<std::string> places = {});

    // The program, named after the file; its waves are added to the bank, the program is not.
    // Throws "Not a valid RIFF file" and "Not a valid Akai program file" (std::invalid_argument),
    // "Address out of bounds", "All modulation slots used", "Could not open file ".
    ZnLib::SharedRef<Program> loadFile(const std::string& path);
    // The same over the file's bytes; `path` places the program and names it.
    ZnLib::SharedRef<Program> loadBytes(std::span<const uint8_t> bytes, const std::string& path);

private:
    Bank& bank_;
    LoadFilter& filter_;
    FindMissing& findMissing_;
    std::vector<std::string> places_;
};

}  // namespace MV
