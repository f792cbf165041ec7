#pragma once

namespace ZnPlug::Vst {

// [ui-thread] Installs the process-wide handler for faults (SIGSEGV, SIGBUS, SIGILL, SIGFPE,
// SIGABRT): it writes a backtrace report "Morvek-crash-<pid>.txt" beside the module, then hands
// the signal to whatever handled it before (the host's handler, or the default). Installing twice
// changes nothing. Returns false when the handler could not be installed.
bool installCrashHandler() noexcept;

// The report's path for this process, empty before installation.
const char* crashReportPath() noexcept;

}  // namespace ZnPlug::Vst
