// Feeds arbitrary bytes to the host state reader (inside a host preset file when they start as
// one), as a bank state and as a program state, with the SoundFont importer behind it and no
// project folder. Whatever fails must fail by an exception. Whatever loads must keep the waves'
// rules (play range and loops inside the data), and what the writer makes of it must read again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "engine/SoundFontSources.h"
#include "model/Bank.h"
#include "persist/PresetFile.h"
#include "persist/StateReader.h"
#include "persist/StateWriter.h"
#include "plug/Wave.h"

namespace {

void check(bool rule) {
    if (!rule) std::abort();
}

void checkWaves(const MV::Bank& bank) {
    for (const auto& wave : bank.waves) {
        check(wave && !wave->isNone());
        if (wave->start > wave->end || wave->end > wave->frames()) {
            std::fprintf(stderr, "wave %s: range %u..%u of %u frames\n", wave->name().c_str(), wave->start, wave->end,
                         wave->frames());
            std::abort();
        }
        for (const ZnPlug::Loop& loop : wave->loops)
            if (loop.start > loop.end || loop.end > wave->frames()) {
                std::fprintf(stderr, "wave %s: loop %u..%u of %u frames\n", wave->name().c_str(), loop.start, loop.end,
                             wave->frames());
                std::abort();
            }
    }
}

void run(std::span<const uint8_t> data, bool programOnly) {
    MV::SoundFontSources imports;
    MV::StateOptions options;
    options.imports = &imports;
    options.restoreIcons = false;  // a fuzzed state must not write files
    MV::LoadedState state;
    try {
        state = MV::StateReader::read(data, programOnly, options);
    } catch (const std::exception&) {
        return;
    }
    checkWaves(*state.bank);

    // Everything by content, so that the second read needs no file.
    options.saveAllWavesInFXB = true;
    std::vector<uint8_t> again;
    try {
        if (!MV::StateWriter::write(*state.bank, programOnly, options, again)) return;
    } catch (const std::exception&) {
        return;  // an item the writer cannot name (a wave outside the lists)
    }
    MV::LoadedState second = MV::StateReader::read(again, programOnly, options);
    checkWaves(*second.bank);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> bytes(data, size);
    // Bytes in a host's preset container go through its reader first, as `morvek` reads them.
    if (size >= 4 && data[0] == 'C' && data[1] == 'c' && data[2] == 'n' && data[3] == 'K') {
        MV::PresetFile file;
        try {
            file = MV::PresetFile::read(bytes, 0x4D72766B);
        } catch (const std::exception&) {
            return 0;
        }
        run(file.chunk, !file.isBank);
        return 0;
    }
    run(bytes, false);
    run(bytes, true);
    return 0;
}
