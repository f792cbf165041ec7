// Feeds arbitrary bytes to the EXS reader as an instrument's content, in a scratch folder that
// holds two small waves for its sample records to find. Whatever it makes must hold together:
// ranges in order, splits present, loop indices inside their wave.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <string>

#include "ImportFuzzSupport.h"
#include "import/ExsLoader.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"

namespace {

std::string scratch;

// Finds nothing, and goes on past a sample that does not load, so that zones behind it are read.
class GoOn : public MV::FindMissing {
public:
    bool find(std::string&) override { return false; }
    bool error(const std::string&) override { return true; }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    scratch = FuzzSupport::makeScratch("exs");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MV::Bank bank;
    MV::LoadedNothing filter;
    GoOn goOn;
    MV::ExsLoader loader(bank, filter, goOn, {scratch});
    try {
        ZnLib::SharedRef<MV::Program> program = loader.loadBytes(std::span<const uint8_t>(data, size),
                                                                 scratch + "input.exs");
        FuzzSupport::checkProgram(bank, program);
    } catch (const std::exception&) {
    }
    return 0;
}
