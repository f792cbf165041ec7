#include "plug/vst/ChunkBuffer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include "lib/TempFile.h"

namespace ZnPlug::Vst {

namespace {

[[noreturn]] void fail() { throw std::runtime_error(std::string("Could not write chunk: ") + std::strerror(errno)); }

// A file descriptor that closes itself.
struct Fd {
    int fd = -1;
    ~Fd() {
        if (fd >= 0) close(fd);
    }
};

int anonymousFile() {
    int fd = memfd_create("chunk", MFD_CLOEXEC);
    if (fd >= 0) return fd;
    // Kernels without memfd: an unnamed file in the temporary folder.
    fd = open(ZnLib::TempFile::folder().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd < 0) fail();
    return fd;
}

// Buffered writes into a file descriptor.
class FdStreamBuf : public std::streambuf {
public:
    explicit FdStreamBuf(int fd) : fd_(fd) { setp(buffer_.data(), buffer_.data() + buffer_.size()); }

protected:
    int_type overflow(int_type ch) override {
        if (!flush()) return traits_type::eof();
        if (!traits_type::eq_int_type(ch, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(ch);
            pbump(1);
        }
        return traits_type::not_eof(ch);
    }
    int sync() override { return flush() ? 0 : -1; }

private:
    bool flush() {
        const char* p = pbase();
        while (p < pptr()) {
            const ssize_t n = write(fd_, p, std::size_t(pptr() - p));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            p += n;
        }
        setp(buffer_.data(), buffer_.data() + buffer_.size());
        return true;
    }

    int fd_;
    std::vector<char> buffer_ = std::vector<char>(std::size_t(1) << 16);
};

}  // namespace

ChunkBuffer::~ChunkBuffer() { release(); }

void ChunkBuffer::release() noexcept {
    if (data_) munmap(data_, size_);
    data_ = nullptr;
    size_ = 0;
}

bool ChunkBuffer::fill(const std::function<bool(std::ostream&)>& write) {
    release();
    Fd file{anonymousFile()};
    FdStreamBuf buf(file.fd);
    std::ostream out(&buf);
    if (!write(out)) return false;
    out.flush();
    if (!out) fail();
    struct stat st {};
    if (fstat(file.fd, &st) != 0) fail();
    if (st.st_size <= 0) return false;
    void* p = mmap(nullptr, std::size_t(st.st_size), PROT_READ, MAP_PRIVATE, file.fd, 0);
    if (p == MAP_FAILED) fail();
    data_ = p;
    size_ = std::size_t(st.st_size);
    return true;
}

}  // namespace ZnPlug::Vst
