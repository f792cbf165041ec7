#pragma once
#include <cstdint>
#include <tuple>

#include "lib/RefCounted.h"
#include "model/Names.h"

namespace MV {

// A group's optional condition: the group sounds only when the note passes it. A key field of
// -1 is "not set" (the files write "no"); every key field is unset by default, so that a switcher
// that asks only for a random range or a round robin step has no key test to fail.
class Switcher : public ZnLib::_RefCounted<int, int> {
public:
    Switcher() = default;
    Switcher(const Switcher&) = default;
    Switcher& operator=(const Switcher&) = default;

    bool operator==(const Switcher& o) const noexcept;
    // All fields as a new switcher has them: such a switcher is dropped on normalising.
    bool isDefault() const noexcept { return *this == Switcher(); }

    uint16_t source = 0;  // modulation source, 0 none
    uint8_t rangeLow = 0;  // 7 bit
    uint8_t rangeHigh = 0;
    float randLow = 0;
    float randHigh = 0;
    float bpmLow = 0;
    float bpmHigh = 0;
    int32_t seqLength = 0;
    int32_t seqPos = 0;
    int8_t keyLow = -1;
    int8_t keyHigh = -1;
    int8_t keyDown = -1;
    int8_t keyUp = -1;
    int8_t keyLast = -1;
    int8_t keyPrev = -1;
    bool enabled = true;
    int32_t roundRobinSource = kRoundRobinDefault;

private:
    auto fields() const noexcept {
        return std::tie(source, rangeLow, rangeHigh, randLow, randHigh, bpmLow, bpmHigh, seqLength, seqPos, keyLow,
                        keyHigh, keyDown, keyUp, keyLast, keyPrev, enabled, roundRobinSource);
    }
};

inline bool Switcher::operator==(const Switcher& o) const noexcept { return fields() == o.fields(); }

}  // namespace MV
