#pragma once
#include <cstdint>

namespace MV {

// The values of the settings store that the engine reads once at construction. The settings
// file itself is read by the persistence layer; until it has run these are the defaults.
struct EngineSettings {
    uint8_t defaultInterpolation = 2;  // "Hermite"
    uint8_t offlineInterpolation = 0;  // 0: offline renders use the live choice
    uint8_t defaultVelocityCurve = 1;  // "Linear"
    int32_t programChangeMode = 0;     // "Performance"
    bool bankSelect = false;
    float globalTuneCents = 0;
};

}  // namespace MV
