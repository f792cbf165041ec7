#include "persist/MVPeaksContext.h"

#include <sys/stat.h>
#include <unistd.h>

#include "lib/Path.h"
#include "persist/Settings.h"

namespace MV {

namespace {

bool isFolder(const std::string& path) {
    struct stat st;
    return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Whether `path` could be opened for writing: the file's own rights when it is there, else its
// folder's. Asked without creating anything.
bool writable(const std::string& path) {
    if (ZnLib::FS::exists(path)) return ::access(path.c_str(), W_OK) == 0;
    const std::string folder = ZnLib::FS::directory(path);
    return ::access(folder.empty() ? "." : folder.c_str(), W_OK) == 0;
}

}  // namespace

MVPeaksContext::MVPeaksContext(uint8_t peaksInFolder, std::string peaksFolder)
    : mode_(peaksInFolder), folder_(std::move(peaksFolder)) {}

MVPeaksContext::MVPeaksContext(const Settings& settings)
    : MVPeaksContext(settings.peaksInFolder, settings.peaksFolder) {}

std::string MVPeaksContext::peakFile(const std::string& wavePath, bool forWriting) const {
    const std::string beside = besideWave(wavePath);
    switch (mode_) {
        case kNever:
            return beside;
        case kIfWriteProtected:
            if (forWriting && writable(beside)) return beside;
            return inCacheFolder(wavePath, forWriting);
        default:
            return inCacheFolder(wavePath, forWriting);
    }
}

std::string MVPeaksContext::inCacheFolder(const std::string& wavePath, bool forWriting) const {
    const std::string beside = besideWave(wavePath);
    if (!isFolder(folder_)) return beside;
    const std::string cached = inFolder(folder_, wavePath);
    if (!forWriting && !ZnLib::FS::exists(cached)) return beside;
    return cached;
}

}  // namespace MV
