// Feeds arbitrary bytes to the AKP reader as a program file's content, in a scratch folder that
// holds two small waves for its zones to find. Whatever it makes must hold together:
// ranges in order, splits present, loop indices inside their wave.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <string>

#include "ImportFuzzSupport.h"
#include "import/AkpLoader.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"

namespace {
std::string scratch;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    scratch = FuzzSupport::makeScratch("akp");
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
        FuzzSupport::checkProgram(bank, program);
    } catch (const std::exception&) {
    }
    return 0;
}
