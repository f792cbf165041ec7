// The module a host loads: registers the engine as the plug-in and exports the entry points.
// Everything else in Morvek.so stays hidden (see Morvek.version).
#include "engine/Morvek.h"
#include "plug/vst/CrashReport.h"
#include "plug/vst/VSTInit.h"

namespace {
ZnPlug::VSTInit<MV::Morvek> registration;
}

#define MORVEK_EXPORT extern "C" __attribute__((visibility("default")))

// [ui-thread] The host's entry point: a new instance for every call.
MORVEK_EXPORT ZnPlug::Vst::AEffect* VSTPluginMain(ZnPlug::Vst::HostCallback host) {
    return ZnPlug::vstPluginMain(host);
}

// The same function under the name older hosts look for. C++ reserves `main` for the program's
// entry, so the symbol is an assembler-level alias of VSTPluginMain.
MORVEK_EXPORT ZnPlug::Vst::AEffect* morvekMainAlias(ZnPlug::Vst::HostCallback host) __asm__("main")
    __attribute__((alias("VSTPluginMain")));

// [ui-thread] Installs the fault handler that writes a crash report beside the module.
MORVEK_EXPORT void ZNPSetExceptionHandler() { ZnPlug::Vst::installCrashHandler(); }
