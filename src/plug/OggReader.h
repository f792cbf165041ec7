#pragma once
#include "lib/ByteReader.h"

namespace ZnPlug {

class Wave;

// Decodes Ogg Vorbis. The frame count is not known ahead, so the decoded floats go to a
// temporary file first instead of a growing buffer.
class OggReader {
public:
    // `file` is the whole file. [ui-thread]
    static void read(ZnLib::ByteReader file, Wave& wave);
};

}  // namespace ZnPlug
