#include "persist/SaveFilter.h"

namespace MV {

bool OverwriteNone::askOverwrite(std::string& path, ZnPlug::SoundItem& item, bool modifiedOnDisk) {
    (void)path;
    (void)item;
    (void)modifiedOnDisk;
    return false;
}

bool OverwriteAll::askOverwrite(std::string& path, ZnPlug::SoundItem& item, bool modifiedOnDisk) {
    (void)path;
    (void)item;
    (void)modifiedOnDisk;
    return true;
}

}  // namespace MV
