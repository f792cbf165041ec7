#include "engine/NoteSources.h"

#include <cmath>

namespace MV {

float noteSourceValue(Morvek& engine, const NoteContext& note, uint16_t source, bool& bipolar) {
    (void)engine;
    (void)note;
    (void)source;
    bipolar = false;
    return 0.0f;
}

int noteSourceStep(float value, bool bipolar) {
    const float x = bipolar ? (value + 1.0f) * 127.0f * 0.5f : value * 127.0f;
    return int(std::round(x));
}

}  // namespace MV
