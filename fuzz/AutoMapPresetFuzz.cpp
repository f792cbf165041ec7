// Feeds arbitrary bytes to the reader of ".automap" preset files, as a file in a scratch folder:
// a preset it takes holds no more roles than allowed, each a role the mapper knows.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "editor/AutoMapPreset.h"

namespace {
std::string file;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/morvek-automap-fuzz-XXXXXX";
    if (!::mkdtemp(pattern.data())) std::abort();
    static const std::string folder = pattern;
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    });
    file = folder + "/input.automap";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::ofstream(file, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), std::streamsize(size));
    MV::AutoMapPreset preset;
    try {
        preset.load(file);
    } catch (const std::exception&) {
        return 0;
    }
    if (preset.tokens.size() > std::size_t(MV::AutoMapPreset::kMaxTokens)) std::abort();
    for (uint8_t role : preset.tokens)
        if (role >= MV::AutoMapper::kRoles) std::abort();
    return 0;
}
