#include "plug/RiffFileSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace ZnPlug {

namespace {
[[noreturn]] void writeFailed() { throw std::runtime_error("Could not write to file"); }
}  // namespace

RiffFileSink::RiffFileSink(const std::string& path)
    : fd_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
    if (fd_ < 0) writeFailed();
}

RiffFileSink::~RiffFileSink() {
    if (fd_ >= 0) ::close(fd_);
}

void RiffFileSink::write(const void* data, std::size_t n) {
    if (fd_ < 0) writeFailed();
    const auto* p = static_cast<const uint8_t*>(data);
    while (n > 0) {
        if (used_ == buffer_.size()) flush();
        std::size_t k = std::min(n, buffer_.size() - used_);
        std::copy_n(p, k, buffer_.data() + used_);
        used_ += k;
        p += k;
        n -= k;
    }
}

void RiffFileSink::flush() {
    std::size_t done = 0;
    while (done < used_) {
        ssize_t w = ::write(fd_, buffer_.data() + done, used_ - done);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) writeFailed();
        done += std::size_t(w);
    }
    used_ = 0;
}

void RiffFileSink::close() {
    if (fd_ < 0) writeFailed();
    flush();
    int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) writeFailed();
}

}  // namespace ZnPlug
