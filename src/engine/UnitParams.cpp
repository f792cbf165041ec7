#include "engine/UnitParams.h"

#include <algorithm>
#include <cmath>

#include "model/Names.h"
#include "plug/Unparsable.h"
#include "plug/ValueLaws.h"

namespace MV::FX {

namespace {
float clamp01(float v) { return (std::fabs(v) + 1.0f - std::fabs(v - 1.0f)) * 0.5f; }
}  // namespace

const std::string& DelayTime::key() const {
    static const std::string k = "delay";
    return k;
}

const std::string& DelayTime::label() const {
    static const std::string none;
    return none;
}

std::string DelayTime::text() const {
    if (sync_.value() == Sync::Tempo) return kNoteValueNames[std::size_t(int(value_ * 23.0f + 0.5f))];
    return ZnPlug::timeText(double(value_) * value_ * 3.0 * 1000.0);
}

void DelayTime::setText(std::string_view text) {
    if (sync_.value() == Sync::Tempo) {
        const auto it = std::find(kNoteValueNames.begin(), kNoteValueNames.end(), text);
        if (it == kNoteValueNames.end()) throw ZnPlug::Unparsable(key(), text);
        value_ = clamp01(float(it - kNoteValueNames.begin()) / 23.0f);
        return;
    }
    double ms = 0;
    if (!ZnPlug::parseTime(text, ms)) throw ZnPlug::Unparsable(key(), text);
    value_ = clamp01(float(std::sqrt(std::max(ms, 0.0) * 0.00033333333)));
}

bool DelayTime::copyFrom(const ZnPlug::VParamBase& other) {
    if (other.type() != typeid(DelayTime)) return false;
    value_ = static_cast<const DelayTime&>(other).value_;
    automation_ = other.automation();
    return true;
}

void DelayTime::setAutomation(int32_t index) {
    if (index < -1 || index >= ZnPlug::AssignableAutomation::kCount) throw std::invalid_argument("Illegal value");
    automation_ = index;
}

void DelayTime::set(float value) { value_ = value >= 0.0f ? std::min(value, 1.0f) : 0.0f; }

}  // namespace MV::FX
