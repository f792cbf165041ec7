#include "engine/SincKernel.h"

namespace MV {

namespace {
constexpr double kPi = 3.14159265358979323846;
constexpr double kInvPi = 1.0 / kPi;
// The rotation runs from an exact seed at every multiple of this, so that its rounding cannot
// build up over the 128 steps.
constexpr int kSeedEvery = 32;

SincWindow makeWindow(int halfWidth) {
    SincWindow w;
    w.halfWidth = halfWidth;
    for (int k = -halfWidth; k <= halfWidth; ++k) {
        const double a = kPi * double(k) / double(halfWidth);
        w.cosTab[std::size_t(k + halfWidth)] = 0.5 * std::cos(a);
        w.sinTab[std::size_t(k + halfWidth)] = 0.5 * std::sin(a);
    }
    return w;
}

const SincWindow kWindow32 = makeWindow(32);
const SincWindow kWindow64 = makeWindow(64);
const SincWindow kWindow128 = makeWindow(128);
}  // namespace

const SincWindow& SincWindow::forHalfWidth(int halfWidth) noexcept {
    return halfWidth <= 32 ? kWindow32 : halfWidth <= 64 ? kWindow64 : kWindow128;
}

void SincCache::rebuild(double c) noexcept {
    cutoff = c;
    double* s = sinTab.data() + kMaxHalfWidth;
    double* co = cosTab.data() + kMaxHalfWidth;
    if (c == 1.0) {
        // The full band is exact: sin(pi k) = 0, cos(pi k) = (-1)^k.
        for (int k = 0; k <= kMaxHalfWidth; ++k) {
            s[k] = s[-k] = 0.0;
            co[k] = co[-k] = (k & 1) ? -kInvPi : kInvPi;
        }
        return;
    }
    // sin and cos of c pi k by angle addition, one step of c pi at a time.
    const double step = c * kPi;
    const double sd = std::sin(step), cd = std::cos(step);
    double sk = 0, ck = 1;
    for (int k = 0; k <= kMaxHalfWidth; ++k) {
        if (k % kSeedEvery == 0) {
            sk = std::sin(step * double(k));
            ck = std::cos(step * double(k));
        }
        s[k] = sk * kInvPi;
        s[-k] = -sk * kInvPi;
        co[k] = co[-k] = ck * kInvPi;
        const double next = sk * cd + ck * sd;
        ck = ck * cd - sk * sd;
        sk = next;
    }
}

}  // namespace MV
