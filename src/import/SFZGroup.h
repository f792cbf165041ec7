#pragma once
#include <cstddef>
#include <cstdint>

#include "model/Group.h"

namespace MV {

// A group being built from an SFZ `<group>` or `<region>`: the group's fields, and what a region
// holds until it is finished (loop mode and bounds, root and fine of its split, filter velocity
// tracking). Its modulation table carries the SFZ routings, whose depth opcodes fill in amounts.
//
// Threads: built on the thread of the load [ui-thread], no lock held.
class SFZGroup : public Group {
public:
    enum LoopModeValue : uint32_t {
        kLoopUnset = 0,
        kLoopNone = 1,  // "no_loop"
        kLoopOneShot = 2,
        kLoopContinuous = 3,
        kLoopSustain = 4,
    };

    enum Row : std::size_t {
        kRowBend = 0,
        kRowPitchEnv = 1,
        kRowPitchLfo = 2,
        kRowFilterEnv = 3,
        kRowFilterLfo = 4,
        kRowFilterVelocity = 5,
        kRowPitchVelocity = 6,
        kRowAmpLfo = 7,
    };

    // "New Group", filter slope 12dB, the SFZ modulation table.
    SFZGroup();

    // Gives the region's root, fine and loops to its split and the cutoff velocity tracking to
    // its row. Loops named by loopstart and loopend are added to the wave (unless it is the none
    // wave or holds such a loop already).
    void finish();

    uint32_t loopMode = kLoopUnset;
    uint8_t root = 255;  // 255: the region gives none
    int8_t fine = 0;     // cents of the split; only when fineSet
    bool fineSet = false;
    uint32_t loopStart = 0;
    uint32_t loopEnd = 0;
    bool loopStartSet = false;
    bool loopEndSet = false;
    float filVeltrack = 0;  // cents
};

}  // namespace MV
