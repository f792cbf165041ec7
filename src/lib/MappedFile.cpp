#include "lib/MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "lib/Error.h"

namespace ZnLib {

namespace {
[[noreturn]] void fail(const std::string& path, int err) {
    try {
        throw std::runtime_error(std::strerror(err));
    } catch (...) {
        throwWrapped("Could not open file " + path);
    }
}
}  // namespace

MappedFile::MappedFile(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) fail(path, errno);
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        int err = S_ISDIR(st.st_mode) ? EISDIR : errno;
        ::close(fd);
        fail(path, err);
    }
    size_ = std::size_t(st.st_size);
    if (size_ > 0) {
        void* p = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, fd, 0);
        if (p == MAP_FAILED) {
            int err = errno;
            ::close(fd);
            size_ = 0;
            fail(path, err);
        }
        data_ = static_cast<const uint8_t*>(p);
    }
    ::close(fd);
}

MappedFile::~MappedFile() { unmap(); }

MappedFile::MappedFile(MappedFile&& o) noexcept
    : data_(std::exchange(o.data_, nullptr)), size_(std::exchange(o.size_, 0)) {}

MappedFile& MappedFile::operator=(MappedFile&& o) noexcept {
    if (this != &o) {
        unmap();
        data_ = std::exchange(o.data_, nullptr);
        size_ = std::exchange(o.size_, 0);
    }
    return *this;
}

void MappedFile::unmap() noexcept {
    if (data_) ::munmap(const_cast<uint8_t*>(data_), size_);
    data_ = nullptr;
    size_ = 0;
}

}  // namespace ZnLib
