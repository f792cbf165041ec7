#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "persist/StateOptions.h"

namespace MV {

class Bank;

// Writes the host's state of an engine's bank as one block: the version and the instance's
// identifier, the waves (by reference, embedded as WAVE files, or as files in the project folder),
// an interface state, then the documents in the order matrices, programs, performances and bank,
// which refer to the waves and to each other by list position, and last the program icons.
//
// A program state holds the current performance with everything it uses, and no bank document.
//
// Threads: the host's thread of the state call [ui-thread]; the engine's lists are only read, so
// the caller keeps them from changing meanwhile.
class StateWriter {
public:
    // The version this writer puts into `vers`.
    static uint32_t version();

    // Appends the state to `out`. False, with nothing written, for a program state when there is
    // no current performance. Throws "Could not store <name> in bank." when a wave cannot be
    // written to the project folder, and the writers' texts.
    static bool write(const Bank& engine, bool programOnly, const StateOptions& options, std::vector<uint8_t>& out);
};

}  // namespace MV
