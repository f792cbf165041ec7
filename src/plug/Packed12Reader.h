#pragma once
#include "lib/ByteReader.h"

namespace ZnPlug {

class Wave;

// Reads the 12-bit files of a hardware sampler ("LM8953" header): mono, two samples packed into
// three bytes, with an optional forward loop.
class Packed12Reader {
public:
    // `file` is the whole file. [ui-thread]
    static void read(ZnLib::ByteReader file, Wave& wave);
};

}  // namespace ZnPlug
