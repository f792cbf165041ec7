#include "lib/File.h"

#include <sys/stat.h>

#include "lib/Path.h"

namespace ZnLib::FS {

File::File(std::string path, uint64_t time, uint64_t size)
    : time_(time), size_(size), path_(normalise(path)) {
    if (time_ == 0 && size_ == 0) refresh();
}

void File::setPath(std::string path) { path_ = normalise(path); }

void File::refresh() {
    if (!stat(path_, time_, size_)) time_ = size_ = 0;
}

bool File::changedOnDisk() const {
    if (path_.empty()) return true;
    uint64_t t = 0, s = 0;
    if (!stat(path_, t, s)) return true;
    return t != time_ || s != size_;
}

bool File::stat(const std::string& path, uint64_t& time, uint64_t& size) {
    struct ::stat st;
    if (path.empty() || ::stat(path.c_str(), &st) != 0 || S_ISDIR(st.st_mode)) return false;
    time = uint64_t(st.st_mtim.tv_sec) * 1000000000ull + uint64_t(st.st_mtim.tv_nsec);
    size = uint64_t(st.st_size);
    return true;
}

}  // namespace ZnLib::FS
