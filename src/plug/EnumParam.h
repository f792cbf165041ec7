#pragma once
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "plug/Param.h"

namespace ZnPlug {

// The names of an enumeration as text: an index reads and writes its entry of `Names`.
template <const auto& Names>
struct EnumTraits {
    using value_type = int;
    static constexpr int kCount = int(std::size(Names));
    static std::string text(int index) { return index >= 0 && index < kCount ? std::string(Names[index]) : ""; }
    static bool parse(std::string_view text, int& index) {
        for (int i = 0; i < kCount; ++i) {
            if (text == Names[i]) {
                index = i;
                return true;
            }
        }
        return false;
    }
};

// An enumerator held as its index in a fixed table of names (a namespace-scope array of
// `const char*`, e.g. `inline constexpr std::array<const char*, 3> kModeNames{...}`).
template <typename E, const auto& Names>
class EnumParam : public Param<int, 0, Bound(std::size(Names) - 1), EnumTraits<Names>> {
    using Base = Param<int, 0, Bound(std::size(Names) - 1), EnumTraits<Names>>;

public:
    constexpr EnumParam() noexcept = default;
    constexpr EnumParam(E value) noexcept : Base(int(value)) {}

    E value() const noexcept { return E(this->get()); }
    void setValue(E value) noexcept { this->set(int(value)); }

    // A name not in the table is "Illegal value".
    void setText(std::string_view text, std::string_view = {}) {
        int index = 0;
        if (!EnumTraits<Names>::parse(text, index)) throw std::invalid_argument("Illegal value");
        this->set(index);
    }
};

}  // namespace ZnPlug
