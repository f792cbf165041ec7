#pragma once
#include <cstdint>

#include "lib/ByteReader.h"

namespace ZnPlug {

class Wave;

// Reads AIFF and AIFC (uncompressed, mu-law, A-law, 32/64-bit float, DWVW), with the root from
// "INST" and its sustain and release loops through "MARK".
class AiffReader {
public:
    // `file` is the whole image from "FORM" on. [ui-thread]
    static void read(ZnLib::ByteReader file, Wave& wave);

    // An 80-bit IEEE extended number (big-endian), as "COMM" holds the sample rate.
    static double extendedToDouble(const uint8_t* p) noexcept;
};

}  // namespace ZnPlug
