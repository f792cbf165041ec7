#pragma once
#include <array>
#include <cstdint>

#include "plug/fx/Effect.h"
#include "plug/fx/StateBuffer.h"

namespace ZnPlug::FX {

// An echo of up to three seconds, free or in note values of the host's tempo, in three modes:
// "Mono" (one line fed by the mono mix), "Stereo" (a line per channel, read `spread` apart) and
// "PingPong" (the input enters on the left line, crosses to the right and returns through the
// feedback). Two channels at most in "Stereo" and "PingPong".
class Delay : public Effect {
public:
    enum Sync : int32_t { None = 0, Tempo = 1 };
    enum Mode : int32_t { Mono = 0, Stereo = 1, PingPong = 2 };

    // The note values of the tempo sync, in cycles per second per beat per minute: a note lasts
    // 1 / (tempo x multiplier) seconds. Row 12, "1/4", is one beat.
    static constexpr int kNotes = 24;
    static const std::array<float, kNotes> kNoteMultipliers;

    Delay() noexcept = default;

    void prepare(const ProcessContext& context) override;
    void release() override;
    // [audio-thread]
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;

    // The delay in samples for `delay` and `sync` at the context's rate and tempo.
    int64_t delaySamples(const ProcessContext& context) const noexcept;

    Sync sync = None;
    Mode mode = Mono;
    float delay = 0.5f;     // v: v x v x 3 seconds, or with sync row (int)(v x 23 + 0.5) of the notes
    float feedback = 0.5f;
    float spread = 0.0f;    // -1 to 1

private:
    std::array<StateBuffer<float>, 2> lines;
    uint32_t writeCounter = 0;
};

}  // namespace ZnPlug::FX
