#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "plug/AssignableAutomation.h"
#include "plug/Unparsable.h"

namespace ZnPlug {

// A Param (or EnumParam) that may be bound to one of the engine's automation cells; -1 means
// not bound. Files carry the binding as the `automation` attribute, "Param NN".
template <typename P>
class AssignableParam : public P {
public:
    using P::P;
    using P::operator=;

    int32_t automation() const noexcept { return automation_; }
    bool automated() const noexcept { return automation_ >= 0; }
    // -1 or an index of 0 to 127; anything else is "Illegal value".
    void setAutomation(int32_t index) {
        if (index < -1 || index >= AssignableAutomation::kCount) throw std::invalid_argument("Illegal value");
        automation_ = index;
    }
    std::string automationText() const { return automated() ? AssignableAutomation::name(automation_) : ""; }
    // "Param %d"; Unparsable otherwise.
    void setAutomationText(std::string_view text) {
        int32_t index = -1;
        if (!AssignableAutomation::parseName(text, index)) throw Unparsable("automation", text);
        automation_ = index;
    }

    bool operator==(const AssignableParam& o) const noexcept {
        return P::operator==(o) && automation_ == o.automation_;
    }

private:
    int32_t automation_ = -1;
};

}  // namespace ZnPlug
