// Feeds arbitrary bytes to the SoundFont importer as a file's content, and imports what opens.
// Whatever an import makes must hold together: ranges in order, splits present, loop indices
// inside their wave.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <vector>

#include "import/SoundFont.h"
#include "model/Bank.h"
#include "model/ModelDump.h"
#include "model/ProcessCallbacks.h"

namespace {

void check(const MV::Program& program) {
    for (const auto& g : program.groups) {
        if (g->splits.empty()) std::abort();
        if (g->range.lowKey < 0 || g->range.lowKey > g->range.highKey || g->range.lowVel > g->range.highVel) std::abort();
        for (const MV::Split& s : g->splits) {
            const int loops = int(s.wave()->loops.size());
            if (s.loop >= loops || s.release >= loops) std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MV::ProcessCallbacks quiet;
    ZnLib::SharedRef<MV::SoundFont> soundFont;
    try {
        soundFont = ZnLib::makeRef<MV::SoundFont>("/fuzz/input.sf2", std::vector<uint8_t>(data, data + size), quiet);
    } catch (const std::exception&) {
        return 0;
    }
    MV::Bank bank;
    for (std::size_t i = 0; i < soundFont->programCount(); ++i) {
        try {
            ZnLib::SharedRef<MV::Program> program = soundFont->importProgram(i, bank, quiet);
            check(*program);
            bank.addProgram(program);
        } catch (const std::exception&) {
        }
    }
    for (uint32_t index = 0; index < 4; ++index) {
        try {
            soundFont->importWave(index, "", bank, quiet);
        } catch (const std::exception&) {
        }
    }
    (void)MV::dumpBank(bank);
    return 0;
}
