#include "lib/TempFile.h"

#include <stdlib.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

#include "lib/Path.h"

namespace ZnLib {

std::string TempFile::folder() {
    const char* dir = ::getenv("TMPDIR");
    return (dir && *dir) ? std::string(dir) : std::string("/tmp");
}

TempFile::TempFile(const std::string& stem, const std::string& suffix) {
    std::string pattern = FS::join(folder(), stem + "-XXXXXX" + suffix);
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    int fd = ::mkstemps(buf.data(), int(suffix.size()));
    if (fd < 0) throw std::runtime_error("Could not create temp file: " + pattern);
    ::close(fd);
    path_.assign(buf.data());
}

TempFile::~TempFile() {
    if (!keep_) ::unlink(path_.c_str());
}

}  // namespace ZnLib
