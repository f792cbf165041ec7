#pragma once
#include <string>

#include "lib/TempFile.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Group;

// A temporary Standard MIDI File that strikes each slice of a sliced wave at the slice's time,
// so that the wave, mapped over keys, plays back as the loop it came from. The file lives as long
// as the object.
class SliceMidiFile {
public:
    // [ui-thread] Writes "<wave>-<group>-XXXXXX.mid" in the temporary folder. `group` lays the
    // slices over keys; without one they go over keys 36 to 127. `channel` is 0 to 15, or 16 for
    // all. A wave without tempo gets the one detected, if any. Throws "Could not create temp
    // file: " with the path, or "Could not write to file".
    SliceMidiFile(ZnPlug::Wave& wave, const Group* group, int channel);

    const std::string& path() const noexcept { return file_.path(); }

    static constexpr int kTicksPerQuarter = 960;

private:
    ZnLib::TempFile file_;
};

}  // namespace MV
