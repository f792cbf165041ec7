#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>

#include "MidiFile.h"

// Any bytes: a song or an error, never a crash, a hang or a read out of bounds.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        const Cli::MidiFile song = Cli::MidiFile::parse(std::span<const uint8_t>(data, size));
        volatile double length = song.lengthSeconds();
        volatile double quarters = song.quartersAtSeconds(length * 0.5);
        (void)quarters;
    } catch (const std::exception&) {
    }
    return 0;
}
