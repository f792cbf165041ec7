#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ratio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include "plug/ParamTraits.h"
#include "plug/Unparsable.h"

namespace ZnPlug {

// A compile-time bound of a Param: an integer or a fraction (Bound{1, 10}, or std::ratio<1, 10>{}).
// Integer members only, so that it is a template argument for every C++20 compiler we build with.
struct Bound {
    long long num;
    long long den = 1;
    constexpr Bound(long long n, long long d = 1) : num(n), den(d) {}
    template <std::intmax_t N, std::intmax_t D>
    constexpr Bound(std::ratio<N, D>) : num(N), den(D) {}
    constexpr double value() const { return double(num) / double(den); }
};

enum ParamFlags : unsigned {
    kParamDefault = 0,
    // A text whose value lies outside the bounds is clamped instead of refused.
    kParamClampText = 1,
};

// A typed value kept inside [Min, Max]; Traits supplies its text. The value is a plain field
// that the signal path reads directly; the interface thread writes it with single stores.
template <typename T, Bound Min, Bound Max, typename Traits = ParamTraits<T>, unsigned Flags = kParamDefault>
class Param {
public:
    using value_type = T;
    using traits_type = Traits;
    static constexpr T kMin = T(Min.value());
    static constexpr T kMax = T(Max.value());
    static_assert(Min.value() < Max.value(), "empty range");

    constexpr Param() noexcept : value_(clamp(T(0))) {}
    constexpr Param(T value) noexcept : value_(clamp(value)) {}

    T get() const noexcept { return value_; }
    operator T() const noexcept { return value_; }
    // Out-of-range values are clamped; NaN becomes the minimum.
    void set(T value) noexcept { value_ = clamp(value); }
    Param& operator=(T value) noexcept {
        set(value);
        return *this;
    }

    // The value on 0 to 1 over the bounds, as hosts and knobs see it.
    float normalized() const noexcept { return float((double(value_) - Min.value()) / (Max.value() - Min.value())); }
    void setNormalized(float n) noexcept {
        const double v = Min.value() + double(n) * (Max.value() - Min.value());
        if constexpr (std::is_integral_v<T>) set(T(std::lround(v)));
        else set(T(v));
    }
    // Steps a host offers: every integer, else 100.
    static constexpr int32_t steps() noexcept {
        if constexpr (std::is_integral_v<T>) return int32_t(kMax - kMin);
        else return 100;
    }

    std::string text() const { return Traits::text(typename Traits::value_type(value_)); }
    // Unparsable (named by `name` when given) for an unreadable text, "Illegal value" for a
    // value outside the bounds.
    void setText(std::string_view text, std::string_view name = {}) {
        typename Traits::value_type v{};
        if (!Traits::parse(text, v)) {
            if (name.empty()) throw Unparsable(text);
            throw Unparsable(name, text);
        }
        set(checked(double(v)));
    }

    bool operator==(const Param& o) const noexcept { return value_ == o.value_; }

private:
    static constexpr T clamp(T v) noexcept {
        if constexpr (std::is_floating_point_v<T>) {
            if (!(v >= kMin)) return kMin;  // also NaN
        } else {
            if (v < kMin) return kMin;
        }
        return v > kMax ? kMax : v;
    }

    // Text that lands a rounding error outside the range still counts as inside.
    static T checked(double v) {
        const double lo = Min.value(), hi = Max.value();
        const double slack = (hi - lo) * 1e-6;
        if (!(Flags & kParamClampText) && (v < lo - slack || v > hi + slack))
            throw std::invalid_argument("Illegal value");
        if constexpr (std::is_integral_v<T>) return T(std::llround(std::clamp(v, lo, hi)));
        else return T(std::clamp(v, lo, hi));
    }

    T value_;
};

}  // namespace ZnPlug
