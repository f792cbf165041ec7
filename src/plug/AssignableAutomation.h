#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace ZnPlug {

// Where an assignable parameter finds the automation cell it is bound to. The engine owns the
// 128 cells and implements this; parameters hold only the index.
class AssignableAutomation {
public:
    static constexpr int32_t kCount = 128;

    virtual ~AssignableAutomation() = default;
    // [any-thread][lock-free] The cell's normalised value, and its move away from the default
    // (0 at the default).
    virtual float automationValue(int32_t index) const = 0;
    virtual float automationDelta(int32_t index) const = 0;

    // "Param %02d": the name by which files and lists refer to an automation index.
    static std::string name(int32_t index);
    // Reads "Param %d" with an index of 0 to 127; false otherwise.
    static bool parseName(std::string_view text, int32_t& index);
};

}  // namespace ZnPlug
