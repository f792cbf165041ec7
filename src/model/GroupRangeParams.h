#pragma once
#include <cstdint>
#include <string>

#include "model/Names.h"

namespace MV {

// Key and velocity bounds, in this order; all 0 to 127.
struct KeyRange {
    int8_t lowKey = 0;
    int8_t highKey = 127;
    int8_t lowVel = 0;
    int8_t highVel = 127;
    bool operator==(const KeyRange&) const = default;
};

// How a group is reached and sounded: name, tuning, play mode, polyphony, key and velocity ranges.
class GroupRangeParams {
public:
    GroupRangeParams() = default;
    explicit GroupRangeParams(std::string name) : name(std::move(name)) {}
    GroupRangeParams(const GroupRangeParams&) = default;
    GroupRangeParams& operator=(const GroupRangeParams&) = default;
    virtual ~GroupRangeParams() = default;

    // Copies all fields.
    virtual void assign(const GroupRangeParams& other) { *this = other; }

    bool operator==(const GroupRangeParams&) const = default;

    std::string name;
    int8_t coarse = 0;                   // semitones, -127 to 127
    int8_t fine = 0;                     // cents, -50 to 50
    int32_t tuning = kTuningNormal;      // keyboard tracking
    int32_t playmode = kPlayNormal;
    int32_t polymode = kPolyPoly;
    uint8_t noteprio = kNotePrioLast;
    uint8_t chokeGroup = 0;              // 0 none, 1 to 8
    uint8_t output = kOutputFromChannel; // index into kOutputNames; 12 uses the slot's output
    int8_t interpolation = kInterpolationDefault;
    KeyRange range;
    KeyRange fade;                       // inner bounds: full level between them, fading out to `range`
};

}  // namespace MV
