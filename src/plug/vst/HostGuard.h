#pragma once
#include <cstddef>
#include <exception>

namespace ZnPlug::Vst {

// Nothing thrown inside the plug-in may unwind into a host: every entry from the host runs its
// body through guarded(), which logs the reason and answers with the fallback.

// [any-thread] Writes "Morvek ERROR <where>: <reason>" to the log (stderr), the reason being the
// exception being handled with its nested causes. MORVEK_LOG=NONE silences it.
void logFailure(const char* where) noexcept;

template <typename R, typename F>
R guarded(const char* where, R fallback, F&& body) noexcept {
    try {
        return body();
    } catch (...) {
        logFailure(where);
        return fallback;
    }
}

template <typename F>
void guarded(const char* where, F&& body) noexcept {
    try {
        body();
    } catch (...) {
        logFailure(where);
    }
}

// [ui-thread] Copies `size` bytes of host memory without faulting: false when any of it cannot be
// read, so a bad pointer from a host fails the call instead of the process.
bool copyFromHost(void* dst, const void* src, std::size_t size) noexcept;

}  // namespace ZnPlug::Vst
