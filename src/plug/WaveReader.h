#pragma once
#include "lib/ByteReader.h"

namespace ZnPlug {

class Wave;

// Chooses the reader of a wave file by its content alone: RIFF WAVE, AIFF/AIFC, the 12-bit
// sampler format, Ogg Vorbis, FLAC, then the registered format handlers.
class WaveReader {
public:
    // Maps the file named by the wave's path and reads it; then normalizeRoot and the file info
    // taken. Every failure is "Could not load " + path with the cause nested, leaving the wave
    // as it was but for format "UNKN". [ui-thread]
    static void load(Wave& wave);

    // Reads the bytes of a whole file into `wave` (samples, info, loops, bits, sampleType,
    // format) without normalizing or taking the file info. Name, path and identity stay.
    // Throws the reader's own failure, or "Unsupported format". [ui-thread]
    static void read(ZnLib::ByteReader file, Wave& wave);
};

}  // namespace ZnPlug
