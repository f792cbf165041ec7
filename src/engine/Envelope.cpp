#include "engine/Envelope.h"

#include "engine/Aeg.h"
#include "model/GroupSoundParams.h"

namespace MV {

void Envelope::setup(const Env& params, double rateRatio, int32_t playmode) {
    const std::array<float, 4> levels = {params.level0, params.level1, params.level2, params.level3};
    const std::array<float, 3> times = {params.time1, params.time2, params.time3};
    for (std::size_t i = 0; i < 3; ++i) {
        seg_delta[i] = levels[i + 1] - levels[i];
        seg_rate[i] = float(Aeg::rate(times[i], rateRatio));
    }
    level0 = params.level0;
    amp = params.amp;
    amp_mod = 0;
    no_release = playmode >= 2;
}

void Envelope::foldStatic() noexcept {
    amp += amp_mod;
    amp_mod = 0;
}

void Envelope::start() noexcept {
    level = level0;
    seg_slope = seg_delta[0];
    seg_rate_now = seg_rate[0];
    seg_pos = 0;
    segment = 1;
    out = FastMath::clamp01(amp + amp_mod) * level * level * level;
}

void Envelope::release(float level3) noexcept {
    if (no_release) return;
    seg_slope = level3 - level;
    seg_pos = 0;
    segment = 3;
    seg_rate_now = seg_rate[2];
}

void Envelope::advance(int32_t n) noexcept {
    for (int32_t left = n; left > 0; --left) {
        if (seg_rate_now == 0 && holding()) {
            // Held: the next sample settles the level into 0..1 and every one after it puts out
            // the same.
            tick();
            if (left > 1) tick();
            return;
        }
        // Only the last sample's output is read.
        if (left == 1)
            tick();
        else
            move();
    }
}

}  // namespace MV
