#include "persist/LoadDocument.h"

#include <filesystem>
#include <stdexcept>

#include "lib/Error.h"
#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "persist/LoadedNothing.h"
#include "persist/MVLoad.h"
#include "persist/XmlParser.h"

namespace MV {

namespace {

// The root element that a document of this path holds: by its extension, else by a look at it.
std::string rootOf(const std::string& path) {
    const std::string ext = ZnLib::Text::toLower(ZnLib::FS::extension(path));
    if (ext == ".mvbank") return "bank";
    if (ext == ".mvprog") return "program";
    if (ext == ".mvperf") return "performance";
    if (ext == ".mvmatrix") return "wavematrix";
    try {
        ZnLib::MappedFile file(path);
        return XmlParser::rootElement(file.bytes());
    } catch (...) {
        ZnLib::throwWrapped("Could not load " + path);
    }
}

}  // namespace

ZnLib::SharedRef<Bank> loadDocument(const std::string& givenPath, std::vector<std::string>& places,
                                    LoadFilter* filter, FindMissing* findMissing, ProcessCallbacks* process) {
    // References inside a document are found from its folder, so the folder must be known even
    // when the path was given relative to the working folder.
    std::error_code ec;
    const std::filesystem::path absolute = std::filesystem::absolute(givenPath, ec);
    const std::string path = ec ? givenPath : absolute.lexically_normal().string();
    LoadedNothing nothingLoaded;
    FindNothing findNothing;
    ProcessCallbacks silent;
    auto bank = ZnLib::makeRef<Bank>();
    MVLoad load(*bank, filter ? *filter : nothingLoaded, findMissing ? *findMissing : findNothing,
                process ? *process : silent, places);
    if (!ZnLib::FS::isRegularFile(path)) {
        try {
            throw std::runtime_error("Could not find file " + path);
        } catch (...) {
            ZnLib::throwWrapped("Could not load " + path);
        }
    }
    const std::string root = rootOf(path);
    if (root == "bank") {
        load.loadBank(path);
    } else if (root == "program") {
        load.loadProgram(path);
    } else if (root == "performance") {
        load.loadPerformance(path);
    } else if (root == "wavematrix") {
        load.loadMatrix(path);
    } else {
        try {
            throw std::runtime_error("Not a Morvek document");
        } catch (...) {
            ZnLib::throwWrapped("Could not load " + path);
        }
    }
    return bank;
}

ZnLib::SharedRef<Bank> loadDocument(const std::string& path) {
    std::vector<std::string> places;
    return loadDocument(path, places);
}

}  // namespace MV
