#pragma once
#include <array>
#include <cstdint>

#include "engine/FastMath.h"

namespace MV {

struct Env;

// A modulation envelope of a voice (ENV1, ENV2): three linear segments between four levels.
// Segments 1 and 2 run at note start, the envelope then waits at level 2 for the note off, and
// segment 3 is the release. The running level is held to 0..1 and the output is its cube, so a
// straight segment sounds as a curve. Levels are stored from -1 to 1; below 0 they only bend the
// segment towards silence.
//
// Threads: [audio-thread] [main-lock], as part of the voice that owns it.
struct Envelope {
    // Rates and level steps from the group; what runs keeps running. Play modes "Oneshot" and
    // "Release" (2 and up) run through the release without waiting for the key.
    void setup(const Env& params, double rateRatio, int32_t playmode);
    // Static modulation gathered in the destination becomes part of the level once.
    void foldStatic() noexcept;
    // From level 0 into segment 1.
    void start() noexcept;
    // Note off: from wherever the level is towards `level3` in the release time; nothing for an
    // envelope that does not wait for the key.
    void release(float level3) noexcept;

    // One sample: the output of the level before the step, then the step.
    void tick() noexcept;
    // `n` samples at once, where nothing reads the output in between.
    void advance(int32_t n) noexcept;
    // `n` ticks while the modulation holds still, with the output before each one in `before`:
    // the same values as `n` ticks.
    void tickBlock(float* before, int32_t n) noexcept;
    // At the end of its last segment: level 2 until the note off, or level 3.
    bool holding() const noexcept { return segment >= 2 && (!no_release || segment >= 3); }
    // A sample's step of position and level, without the output.
    void move() noexcept;
    // At the end of a segment: the next one's slope, rate and position, or a hold.
    void endSegment(float& slope, float& rate, float& pos) noexcept;
    // The ticks of a moving segment from sample `i` on, until it ends (true) or `n`.
    bool runSegment(float* before, int32_t& i, int32_t n, float gain, float& o, float& lv, float& pos) const noexcept;

    // Modulation destination.
    float amp_mod = 0;
    float amp = 1;
    float out = 0;
    std::array<float, 3> seg_delta{};
    std::array<float, 3> seg_rate{};
    float level = 0;
    float seg_slope = 0;
    float seg_pos = 0;
    float seg_rate_now = 0;
    float level0 = 0;
    int32_t segment = 0;
    bool no_release = false;
};

inline void Envelope::move() noexcept {
    seg_pos += seg_rate_now;
    level = FastMath::clamp01(level + seg_slope * seg_rate_now);
    if (seg_pos >= 1.0f) endSegment(seg_slope, seg_rate_now, seg_pos);
}

MV_HOT_INLINE void Envelope::endSegment(float& slope, float& rate, float& pos) noexcept {
    if (holding()) {
        rate = 0;
    } else {
        const auto next = std::size_t(segment < 0 ? 0 : segment);
        slope = seg_delta[next];
        rate = seg_rate[next];
        pos = 0;
        ++segment;
    }
}

inline void Envelope::tick() noexcept {
    out = FastMath::clamp01(amp + amp_mod) * level * level * level;
    move();
}

}  // namespace MV
