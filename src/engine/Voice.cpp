#include "engine/Voice.h"

namespace MV {

void Voice::render(Morvek& engine, int32_t offset, int32_t count) {
    (void)engine;
    (void)offset;
    (void)count;
}

void Voice::kill() noexcept {
    state = kIdle;
    flags &= 0xF0;
    key = kNoKey;
    smooth_left = 0;
    auto_sources = 0;
    channel = nullptr;
    group = nullptr;
}

}  // namespace MV
