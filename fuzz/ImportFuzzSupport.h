// What the importer fuzz targets share: a scratch folder with two small looped waves for the
// instruments to find, and the checks that whatever a reader makes holds together.
#pragma once
#include <stdlib.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <tuple>

#include "model/Bank.h"
#include "model/ModelDump.h"
#include "plug/Wave.h"

namespace FuzzSupport {

// A new folder named after `tag` with "a.wav" (root 60) and "b.wav" (root 72), removed at exit;
// its path ends with '/'.
inline std::string makeScratch(const char* tag) {
    static std::string scratch;
    std::string pattern = std::filesystem::temp_directory_path().string() + "/morvek-" + tag + "-fuzz-XXXXXX";
    if (!::mkdtemp(pattern.data())) std::abort();
    scratch = pattern + "/";
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(scratch, ignored);
    });
    for (auto [name, frames, root] : {std::tuple{"a.wav", 200u, uint8_t(60)}, std::tuple{"b.wav", 120u, uint8_t(72)}}) {
        ZnPlug::SampleBuffer buffer(frames, 1);
        for (uint32_t i = 0; i < frames; ++i) buffer.channel(0)[i] = float(i % 50) / 50.0f;
        ZnPlug::Wave wave(std::move(buffer), 44100, 16, 2, ZnPlug::kFormatWave, root);
        wave.loops.emplace_back(10, 90, ZnPlug::LoopMode::Forward, "0");
        wave.saveAs(scratch + name);
    }
    return scratch;
}

// Ranges in order, splits present, loop indices inside their wave; then the program joins the
// bank and the whole bank is dumped.
inline void checkProgram(MV::Bank& bank, const ZnLib::SharedRef<MV::Program>& program) {
    for (const auto& g : program->groups) {
        if (g->splits.empty() || g->range.lowKey > g->range.highKey || g->range.lowVel > g->range.highVel)
            std::abort();
        for (const MV::Split& s : g->splits)
            if (s.loop >= int(s.wave()->loops.size()) || s.release >= int(s.wave()->loops.size())) std::abort();
    }
    bank.addProgram(program);
    (void)MV::dumpBank(bank);
}

}  // namespace FuzzSupport
