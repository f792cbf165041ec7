// Feeds arbitrary bytes to the AKP reader as a program file's content, in a scratch folder that
// holds two small waves for its zones to find. Whatever it makes must hold together:
// ranges in order, splits present, loop indices inside their wave.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <span>
#include <string>

#include "import/AkpLoader.h"
#include "model/Bank.h"
#include "model/ModelDump.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"
#include "plug/Wave.h"

namespace {

std::string scratch;

void writeWave(const std::string& path, uint32_t frames, uint8_t root) {
    ZnPlug::SampleBuffer buffer(frames, 1);
    for (uint32_t i = 0; i < frames; ++i) buffer.channel(0)[i] = float(i % 50) / 50.0f;
    ZnPlug::Wave wave(std::move(buffer), 44100, 16, 2, ZnPlug::kFormatWave, root);
    wave.loops.emplace_back(10, 90, ZnPlug::LoopMode::Forward, "0");
    wave.saveAs(path);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/morvek-akp-fuzz-XXXXXX";
    if (!::mkdtemp(pattern.data())) std::abort();
    scratch = pattern + "/";
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(scratch, ignored);
    });
    writeWave(scratch + "a.wav", 200, 60);
    writeWave(scratch + "b.wav", 120, 72);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MV::Bank bank;
    MV::LoadedNothing filter;
    MV::FindNothing findNothing;
    MV::AkpLoader loader(bank, filter, findNothing, {scratch});
    try {
        ZnLib::SharedRef<MV::Program> program = loader.loadBytes(std::span<const uint8_t>(data, size),
                                                                 scratch + "input.akp");
        for (const auto& g : program->groups) {
            if (g->splits.empty() || g->range.lowKey > g->range.highKey || g->range.lowVel > g->range.highVel)
                std::abort();
            for (const MV::Split& s : g->splits)
                if (s.loop >= int(s.wave()->loops.size()) || s.release >= int(s.wave()->loops.size())) std::abort();
        }
        bank.addProgram(program);
    } catch (const std::exception&) {
        return 0;
    }
    (void)MV::dumpBank(bank);
    return 0;
}
