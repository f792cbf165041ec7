#pragma once
#include <cstdint>

namespace MV {

class Settings;

// The values of the settings store that the engine reads once at construction.
struct EngineSettings {
    uint8_t defaultInterpolation = 0;  // 0 falls back to "Draft"
    uint8_t offlineInterpolation = 0;  // 0: offline renders use the live choice
    uint8_t defaultVelocityCurve = 1;  // "Linear"
    int32_t programChangeMode = 0;     // "Performance"
    bool bankSelect = true;
    float globalTuneCents = 0;

    static EngineSettings from(const Settings& store);
};

}  // namespace MV
