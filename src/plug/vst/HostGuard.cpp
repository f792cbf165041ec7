#include "plug/vst/HostGuard.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/Error.h"

namespace ZnPlug::Vst {

void logFailure(const char* where) noexcept {
    try {
        const char* level = std::getenv("MORVEK_LOG");
        if (level && std::strcmp(level, "NONE") == 0) return;
        const std::string reason = ZnLib::describeCurrent();
        std::fprintf(stderr, "Morvek ERROR %s: %s\n", where, reason.c_str());
    } catch (...) {
        std::fprintf(stderr, "Morvek ERROR %s\n", where);
    }
}

namespace {
// The kernel copies through the page tables and reports EFAULT instead of raising a signal.
bool copyThroughPipe(void* dst, const void* src, std::size_t size) noexcept {
    int fds[2];
    if (pipe(fds) != 0) return false;
    auto* out = static_cast<char*>(dst);
    const auto* in = static_cast<const char*>(src);
    bool ok = true;
    while (ok && size) {
        const std::size_t n = size < 4096 ? size : 4096;
        ok = write(fds[1], in, n) == ssize_t(n) && read(fds[0], out, n) == ssize_t(n);
        in += n;
        out += n;
        size -= n;
    }
    close(fds[0]);
    close(fds[1]);
    return ok;
}
}  // namespace

bool copyFromHost(void* dst, const void* src, std::size_t size) noexcept {
    if (!size) return true;
    if (!src) return false;
    iovec local{dst, size};
    iovec remote{const_cast<void*>(src), size};
    const ssize_t got = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    if (got == ssize_t(size)) return true;
    if (got < 0 && errno == EFAULT) return false;
    // Some sandboxes forbid process_vm_readv; a pipe gives the same protection.
    return copyThroughPipe(dst, src, size);
}

}  // namespace ZnPlug::Vst
