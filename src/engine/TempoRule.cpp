#include "engine/TempoRule.h"

#include <algorithm>

#include "model/Names.h"

namespace MV {

static_assert(kNoteValueNames.size() == std::size_t(TempoRule::kDivisions));

namespace {
// "16/1": one cycle per 16 bars of four beats, over 60.
constexpr double kSlowest = 1.0 / 3840.0;
constexpr double kTriplet = 1.5;
}  // namespace

int TempoRule::division(float rate) noexcept {
    const int index = int(double(rate) * (kDivisions - 1) + 0.5);
    return std::clamp(index, 0, kDivisions - 1);
}

double TempoRule::factor(int division) noexcept {
    division = std::clamp(division, 0, kDivisions - 1);
    const double straight = kSlowest * double(1u << unsigned(division / 2));
    return division % 2 ? straight * kTriplet : straight;
}

}  // namespace MV
