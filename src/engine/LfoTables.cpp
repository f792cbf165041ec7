#include "engine/LfoTables.h"

#include <array>
#include <cmath>

#include "model/Names.h"

namespace MV {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kQuarter = LfoTables::kPoints / 4;
constexpr int kHalf = LfoTables::kPoints / 2;

struct Tables {
    std::array<float, LfoTables::kPoints> triangle{};
    // One point more than the others: the product has always carried it, though reads wrap.
    std::array<float, LfoTables::kPoints + 1> sinus{};
    std::array<float, LfoTables::kPoints> sawtooth{};
    std::array<float, LfoTables::kPoints> square{};
    std::array<float, LfoTables::kPoints> exponent{};

    Tables() {
        const double e = std::exp(1.0);
        // Rises from -1 at the ends to +1 in the middle along e^x.
        auto exponential = [e](int i) { return float(2.0 * (std::exp(double(i) / kHalf) - 1.0) / (e - 1.0) - 1.0); };
        for (int i = 0; i < LfoTables::kPoints; ++i) {
            const auto at = std::size_t(i);
            if (i < kQuarter)
                triangle[at] = float(i) / kQuarter;
            else if (i < kHalf)
                triangle[at] = 1.0f - float(i - kQuarter) / kQuarter;
            else if (i < 3 * kQuarter)
                triangle[at] = -float(i - kHalf) / kQuarter;
            else
                triangle[at] = float(i - 3 * kQuarter - kQuarter) / kQuarter;
            sawtooth[at] = float(2.0 * i / (LfoTables::kPoints - 1) - 1.0);
            square[at] = i < kHalf ? 1.0f : -1.0f;
            exponent[at] = i < kHalf ? exponential(i) : exponential(kHalf - (i - kHalf));
        }
        for (int i = 0; i <= LfoTables::kPoints; ++i)
            sinus[std::size_t(i)] = float(std::sin(2.0 * kPi * i / LfoTables::kPoints));
    }
};

const Tables kTables;

}  // namespace

const float* LfoTables::table(uint8_t type) noexcept {
    switch (type) {
    case kLfoTriangle:
        return kTables.triangle.data();
    case kLfoSawtooth:
        return kTables.sawtooth.data();
    case kLfoSquare:
        return kTables.square.data();
    case kLfoExponent:
        return kTables.exponent.data();
    default:
        return kTables.sinus.data();
    }
}

}  // namespace MV
