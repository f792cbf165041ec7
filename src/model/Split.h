#pragma once
#include <cstdint>
#include <string>

#include "lib/RefCounted.h"
#include "plug/SoundItem.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class WaveMatrix;

// One key zone of a group: maps a wave or a wave matrix to the keys from `key` up to the key
// below the next split's (the last one reaches the group's high key). A plain value.
class Split {
public:
    // Bits 0-1 of `flags`: what `sound` is.
    static constexpr uint8_t kSoundMask = 3;
    static constexpr uint8_t kSoundWave = 0;
    static constexpr uint8_t kSoundMatrix = 1;
    // Bits 2-3 of `flags` hold 1 when the split overrides root and fine.
    static constexpr uint8_t kOverrideShift = 2;

    // An empty split: the none wave at key 0, no loops, no override.
    Split();
    explicit Split(int8_t key);

    // `sound` when it is a wave, else the none wave.
    ZnPlug::Wave* wave() const noexcept;
    // `sound` when it is a matrix, else the none matrix.
    WaveMatrix* matrix() const noexcept;
    bool isMatrix() const noexcept { return (flags & kSoundMask) == kSoundMatrix; }
    // Holds neither a wave nor a matrix (the none objects count as nothing).
    bool isEmpty() const noexcept;

    // Takes `wave`; a wave other than the present one resets the loops to its first loop, or
    // to none when it has no loops.
    void setWave(ZnLib::SharedRef<ZnPlug::Wave> wave);
    void setMatrix(ZnLib::SharedRef<WaveMatrix> matrix);

    bool hasOverride() const noexcept { return ((flags >> kOverrideShift) & 3) == 1; }
    // The effective root and fine: the override, else the wave's, else the matrix selection's.
    uint8_t root() const noexcept;
    int8_t fine() const noexcept;
    // Sets one value of the override, taking the other from the effective one; an override
    // that equals the wave's own root and fine is dropped.
    void setRoot(uint8_t value);
    void setFine(int8_t value);
    // Stores both values as an override as they stand (what a reader does before normalising).
    void setOverride(uint8_t root, int8_t fine);
    void clearOverride() noexcept;

    // The sound's name, with " #" and the loop's name when the split plays a slice.
    std::string displayName() const;

    // Cuts the loops to the wave's, moves whole hundreds of cents of the override into the
    // root, and tests the override again.
    void normalise();

    bool operator==(const Split& o) const noexcept;

    int32_t loop = -1;     // sustain loop index into the wave's loops, -1 none
    int32_t release = -1;  // release loop index, -1 none
    int8_t key = 0;        // lowest key of the split
    uint8_t flags = 0;
    uint8_t rootOverride = 255;  // 255: plays untransposed
    int8_t fineOverride = 0;     // cents
    ZnLib::SharedRef<ZnPlug::SoundItem> sound;

private:
    void setOverrideFlag(bool on) noexcept;
    // Drops the override of a wave split when it says what the wave says.
    void testOverride() noexcept;
};

}  // namespace MV
