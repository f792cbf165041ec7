#pragma once
#include <memory>
#include <string>

namespace ZnPlug {
class WaveFormatHandler;
}

namespace MV {

class Settings;

// The key of "settings.ini" that names the REX library.
inline constexpr const char* kRexLibraryKey = "RexLibrary";

// REX loops, offered while the returned handler lives. The library's file name is the value of
// "RexLibrary" in section "Settings" of "settings.ini" (a path, or a name the dynamic loader
// finds); without one, or once a load has failed (`rexDLLFailed`), nothing is tried. A failed
// load sets `rexDLLFailed` in `settings` and in the file, and its text goes into `error`.
// [ui-thread]
std::shared_ptr<ZnPlug::WaveFormatHandler> startRexSupport(Settings& settings, std::string* error = nullptr);

}  // namespace MV
