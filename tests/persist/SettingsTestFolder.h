#pragma once
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "lib/Path.h"
#include "lib/TempFile.h"

namespace MV::Test {

// A fresh folder under the temporary folder, removed with everything in it when the object goes.
// With `asHome`, MORVEK_HOME points to it for the object's life, so nothing reaches the real
// settings of the user.
class TestFolder {
public:
    explicit TestFolder(bool asHome = false) {
        std::string pattern = ZnLib::FS::join(ZnLib::TempFile::folder(), "morvek-test-XXXXXX");
        path_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
        if (asHome) {
            const char* old = ::getenv("MORVEK_HOME");
            hadHome_ = old != nullptr;
            oldHome_ = old ? old : "";
            ::setenv("MORVEK_HOME", path_.c_str(), 1);
            isHome_ = true;
        }
    }
    ~TestFolder() {
        if (isHome_) {
            if (hadHome_) ::setenv("MORVEK_HOME", oldHome_.c_str(), 1);
            else ::unsetenv("MORVEK_HOME");
        }
        std::error_code ec;
        if (!path_.empty()) std::filesystem::remove_all(path_, ec);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& relative) const { return ZnLib::FS::join(path_, relative); }

    // Writes a file (and the folders on its way) with `content`; returns its path.
    std::string put(const std::string& relative, const std::string& content = "data") const {
        const std::string full = *this / relative;
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream(full, std::ios::binary) << content;
        return full;
    }

private:
    std::string path_;
    std::string oldHome_;
    bool hadHome_ = false;
    bool isHome_ = false;
};

inline std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace MV::Test
