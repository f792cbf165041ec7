// Feeds arbitrary bytes to the SFZ reader as a file's content, in a scratch folder that holds
// two small waves for its samples to find.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <fstream>
#include <span>
#include <string>

#include "ImportFuzzSupport.h"
#include "import/SfzLoader.h"
#include "import/UnicodeText.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"

namespace {
std::string scratch;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    scratch = FuzzSupport::makeScratch("sfz");
    std::ofstream(scratch + "input.sfz") << "";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = MV::UnicodeText::decode(std::span<const uint8_t>(data, size));
    MV::Bank bank;
    MV::LoadedNothing filter;
    MV::FindNothing findNothing;
    MV::SfzLoader loader(bank, filter, findNothing);
    try {
        ZnLib::SharedRef<MV::Program> program = loader.loadText(text, scratch + "input.sfz");
        FuzzSupport::checkProgram(bank, program);
    } catch (const std::exception&) {
    }
    return 0;
}
