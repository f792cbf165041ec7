#include "import/ProgramFileLoader.h"

#include <filesystem>

#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "model/Program.h"

namespace MV {

ProgramFileLoader::ProgramFileLoader(Bank& bank, LoadFilter& filter, FindMissing& findMissing,
                                     std::vector<std::string> places)
    : bank_(bank), filter_(filter), findMissing_(findMissing), places_(std::move(places)) {}

ZnLib::SharedRef<Program> ProgramFileLoader::loadFile(const std::string& path) {
    const ZnLib::MappedFile file(path);
    return loadBytes(file.bytes(), path);
}

ZnLib::SharedRef<Program> ProgramFileLoader::loadBytes(std::span<const uint8_t> bytes, const std::string& path) {
    // Samples are found from the instrument's folder, which must be known even for a path given
    // relative to the working folder.
    std::error_code ec;
    const std::filesystem::path absolute = std::filesystem::absolute(path, ec);
    return read(bytes, ZnLib::FS::normalise(ec ? path : absolute.lexically_normal().string()));
}

}  // namespace MV
