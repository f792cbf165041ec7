#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lib/RefCounted.h"
#include "model/Bank.h"
#include "persist/StateOptions.h"

namespace MV {

// What a host state held, read into a bank of its own that the engine has not seen yet.
struct LoadedState {
    ZnLib::SharedRef<Bank> bank;
    // The writer's identifier of its instance; empty when the state held none.
    std::string instanceId;
    // The interface's opaque state.
    std::vector<uint8_t> uiState;
    uint32_t version = 0;
};

// Reads a host state as StateWriter writes it, and the older forms: tags in any order, unknown
// tags skipped, the 32-byte wave info of writers before version 907, document texts with or
// without a byte order mark. Every failure is an exception with the product's text ("Malformed
// wave info", "Bad RIFF chunk", the buffer reader's error for a block cut short, the loaders'
// texts); nothing outside the new bank is touched then, but for icon files the state restores.
//
// Threads: the host's thread of the state call [ui-thread], no lock held: the bank is private
// until the caller hands it over.
class StateReader {
public:
    static LoadedState read(std::span<const uint8_t> data, bool programOnly, const StateOptions& options);
};

}  // namespace MV
