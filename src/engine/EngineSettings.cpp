#include "engine/EngineSettings.h"

#include "persist/Settings.h"

namespace MV {

EngineSettings EngineSettings::from(const Settings& store) {
    EngineSettings s;
    s.defaultInterpolation = store.interpolation;
    s.offlineInterpolation = store.renderInterpolation;
    s.defaultVelocityCurve = store.velocityCurve;
    s.programChangeMode = store.programChangeMode;
    s.bankSelect = store.useBankSelect;
    s.globalTuneCents = store.globalTune;
    return s;
}

}  // namespace MV
