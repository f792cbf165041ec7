#include "plug/vst/CrashReport.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>

#include "MorvekVersion.h"

namespace ZnPlug::Vst {

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr std::size_t kNumSignals = sizeof kSignals / sizeof kSignals[0];

// Everything the handler needs is prepared at installation: inside it only async-signal-safe
// calls run.
char g_reportPath[4096];
struct sigaction g_previous[kNumSignals];
std::atomic<bool> g_installed{false};
std::atomic<bool> g_reporting{false};

void put(int fd, const char* text) noexcept {
    std::size_t n = std::strlen(text);
    while (n) {
        const ssize_t w = write(fd, text, n);
        if (w <= 0) return;
        text += w;
        n -= std::size_t(w);
    }
}

void putHex(int fd, uintptr_t value) noexcept {
    char buf[2 + 16 + 1];
    char* p = buf + sizeof buf - 1;
    *p = 0;
    do {
        *--p = "0123456789abcdef"[value & 15];
        value >>= 4;
    } while (value);
    *--p = 'x';
    *--p = '0';
    put(fd, p);
}

void putDecimal(char* out, std::size_t capacity, long value) noexcept {
    char buf[24];
    int n = 0;
    do {
        buf[n++] = char('0' + value % 10);
        value /= 10;
    } while (value && n < 23);
    std::size_t i = 0;
    while (n && i + 1 < capacity) out[i++] = buf[--n];
    out[i] = 0;
}

void onFault(int sig, siginfo_t* info, void* context) {
    std::size_t slot = 0;
    while (slot < kNumSignals && kSignals[slot] != sig) ++slot;
    if (!g_reporting.exchange(true)) {
        const int fd = open(g_reportPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd >= 0) {
            uintptr_t ip = 0, sp = 0;
#if defined(__x86_64__)
            if (context) {
                const auto* uc = static_cast<const ucontext_t*>(context);
                ip = uintptr_t(uc->uc_mcontext.gregs[REG_RIP]);
                sp = uintptr_t(uc->uc_mcontext.gregs[REG_RSP]);
            }
#endif
            put(fd, "Unhandled exception\n");
            put(fd, Version::ProductName);
            put(fd, " built ");
            put(fd, Version::BuildTime);
            put(fd, "\nException ");
            putHex(fd, uintptr_t(sig));
            put(fd, "@");
            putHex(fd, uintptr_t(info ? info->si_addr : nullptr));
            put(fd, " ip=");
            putHex(fd, ip);
            put(fd, ", sp=");
            putHex(fd, sp);
            put(fd, ".\nBacktrace:\n");
            void* frames[64];
            const int n = backtrace(frames, 64);
            backtrace_symbols_fd(frames, n, fd);
            close(fd);
        }
    }
    // Hand the fault on: the previous handler (the host's) or the default action.
    if (slot < kNumSignals) sigaction(sig, &g_previous[slot], nullptr);
    // A fault raised by the faulting instruction comes back when it re-runs; one sent by
    // raise() or kill() has to be sent again.
    if (!info || info->si_code <= 0) raise(sig);
}

}  // namespace

bool installCrashHandler() noexcept {
    if (g_installed.exchange(true)) return true;
    Dl_info module{};
    const char* file = dladdr(reinterpret_cast<void*>(&installCrashHandler), &module) ? module.dli_fname : nullptr;
    // The report goes beside the module (or into the working folder when that is unknown).
    std::size_t dirLen = 0;
    if (file) {
        const char* slash = std::strrchr(file, '/');
        dirLen = slash ? std::size_t(slash - file + 1) : 0;
    }
    char pid[24];
    putDecimal(pid, sizeof pid, long(getpid()));
    const char* stem = "Morvek-crash-";
    if (dirLen + std::strlen(stem) + std::strlen(pid) + 5 >= sizeof g_reportPath) dirLen = 0;
    std::memcpy(g_reportPath, file, dirLen);
    g_reportPath[dirLen] = 0;
    std::strcat(g_reportPath, stem);
    std::strcat(g_reportPath, pid);
    std::strcat(g_reportPath, ".txt");

    // The first backtrace() loads the unwinder, which is not safe inside a handler.
    void* warmUp[2];
    backtrace(warmUp, 2);

    struct sigaction action {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    bool ok = true;
    for (std::size_t i = 0; i < kNumSignals; ++i) ok = sigaction(kSignals[i], &action, &g_previous[i]) == 0 && ok;
    return ok;
}

const char* crashReportPath() noexcept { return g_reportPath; }

}  // namespace ZnPlug::Vst
