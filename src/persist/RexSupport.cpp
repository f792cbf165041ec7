#include "persist/RexSupport.h"

#include "lib/IniFile.h"
#include "persist/Settings.h"
#include "plug/RexHandler.h"

namespace MV {

std::shared_ptr<ZnPlug::WaveFormatHandler> startRexSupport(Settings& settings, std::string* error) {
    const ZnLib::IniFile ini(settings.filePath());
    const std::string library = ini.read("Settings", kRexLibraryKey);
    int32_t failed = settings.rexDLLFailed;
    auto handler = ZnPlug::Rex2::RexHandler::start(library, failed, error);
    if (failed != settings.rexDLLFailed) {
        settings.rexDLLFailed = failed;
        // Only this key: the user's other settings stay as the file holds them.
        try {
            ZnLib::IniFile(settings.filePath()).writeInt("Settings", "RexDLLFailed", failed);
        } catch (const std::exception&) {
        }
    }
    return handler;
}

}  // namespace MV
