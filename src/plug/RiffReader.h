#pragma once
#include <cstdint>

#include "lib/ByteReader.h"

namespace ZnPlug {

class Wave;

// Reads a RIFF WAVE image: PCM of any byte width, float, extensible, A-law and mu-law, with the
// root ("inst", "smpl"), loops ("smpl" with labels from "list"/"adtl"), play range (cue points
// labelled "mv:start" and "mv:end") and tempo ("acid") that the writer stores.
class RiffReader {
public:
    // `file` is the whole image from "RIFF" on; chunks are read from byte 12. Sets samples, rate,
    // bits, sampleType, format, start, end and whatever the chunks hold; leaves fileInfo alone.
    // [ui-thread]
    static void read(ZnLib::ByteReader file, Wave& wave);

    // G.711 expansions to 16-bit linear, shared with the AIFF reader.
    static int16_t alawToLinear(uint8_t a) noexcept;
    static int16_t ulawToLinear(uint8_t u) noexcept;
};

}  // namespace ZnPlug
