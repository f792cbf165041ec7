#pragma once
#include <string>

#include "model/ProcessCallbacks.h"

namespace ZnPlug {
class SoundItem;
}

namespace MV {

// What a save asks before it writes an item over a file that is there already.
// Called on the thread of the save [ui-thread] with no lock held.
class SaveFilter : public ProcessCallbacks {
public:
    // True if `item` may be written to `path`; may change `path` (a "Save As" answer).
    // `modifiedOnDisk`: the file changed on disk since the item was loaded from it.
    virtual bool askOverwrite(std::string& path, ZnPlug::SoundItem& item, bool modifiedOnDisk) = 0;
};

// Silent form: never overwrites.
class OverwriteNone : public SaveFilter {
public:
    bool askOverwrite(std::string& path, ZnPlug::SoundItem& item, bool modifiedOnDisk) override;
};

// Silent form: always overwrites.
class OverwriteAll : public SaveFilter {
public:
    bool askOverwrite(std::string& path, ZnPlug::SoundItem& item, bool modifiedOnDisk) override;
};

}  // namespace MV
