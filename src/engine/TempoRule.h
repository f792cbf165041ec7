#pragma once
#include <cstdint>

namespace MV {

// LFO and sequencer rates in mode "Tempo": the stored rate picks one of 24 note values, "16/1"
// to "1/128T", and the host's tempo turns it into cycles per second.
class TempoRule {
public:
    static constexpr int kDivisions = 24;

    // The row of a stored rate (index / 23), rounded to the nearest and kept inside the table.
    static int division(float rate) noexcept;
    // Cycles per beat of a row, over 60: 1/3840 for "16/1", doubling every two rows, with the
    // triplet rows ("...T") 1.5 times the row above; "1/4" is 1/60, one cycle per beat.
    static double factor(int division) noexcept;
};

}  // namespace MV
