#include "model/GroupSoundParams.h"

#include <stdexcept>

#include "plug/ValueLaws.h"

namespace MV {

// 1000 ms through the time law: 0.5775.
float defaultEnvelopeTime() {
    static const float value = float(ZnPlug::TimeLaw::fromMs(1000.0));
    return value;
}

// 0.5 Hz through the rate law: 0.2765053.
float defaultLfoRate() {
    static const float value = float(ZnPlug::RateLaw::fromHz(0.5));
    return value;
}

bool ModulationEntry::isFree() const noexcept {
    return !enabled || source == 0 || destination == 0 || (via == 0 && amount == 0) ||
           (amount == 0 && amountVia == 0);
}

bool ModulationEntry::isUnused() const noexcept {
    return source == 0 && via == 0 && destination == 0 && amount == 0 && amountVia == 0 && !frozen;
}

ModulationEntry& GroupSoundParams::addModulation(uint16_t source) {
    for (ModulationEntry& entry : modulation) {
        if (!entry.isFree()) continue;
        entry.source = source;
        entry.enabled = true;
        return entry;
    }
    throw std::runtime_error("All modulation slots used");
}

}  // namespace MV
