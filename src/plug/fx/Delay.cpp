#include "plug/fx/Delay.h"

#include <algorithm>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

// 1/3840 for "16/1", doubling every two rows; the triplet rows are 1.5 times the row above.
const std::array<float, Delay::kNotes> Delay::kNoteMultipliers = {
    1.0f / 3840, 1.0f / 2560, 1.0f / 1920, 1.0f / 1280, 1.0f / 960, 1.0f / 640, 1.0f / 480, 1.0f / 320,
    1.0f / 240,  1.0f / 160,  1.0f / 120,  1.0f / 80,   1.0f / 60,  1.0f / 40,  1.0f / 30,  1.0f / 20,
    1.0f / 15,   1.0f / 10,   1.0f / 7.5f, 1.0f / 5,    1.0f / 3.75f, 1.0f / 2.5f, 1.0f / 1.875f, 1.0f / 1.25f,
};

namespace {

// Positions are unsigned 32-bit sums reduced modulo the line length. Within a run in which no sum
// passes 2^32 they advance by one and wrap at the length, so the remainder is taken once a run.
template <int N>
struct Cursors {
    uint32_t base[N];  // the sums at frame 0
    uint32_t at[N];    // their remainders at the current frame

    // Frames from `frame` (at most `left`) before one of the sums wraps at 2^32; the remainders
    // for `frame` are set.
    int32_t startRun(uint32_t frame, uint32_t length, int32_t left) noexcept {
        uint64_t run = uint64_t(left);
        for (int k = 0; k < N; ++k) {
            const uint32_t sum = base[k] + frame;
            at[k] = sum % length;
            run = std::min<uint64_t>(run, (uint64_t(1) << 32) - sum);
        }
        return int32_t(run);
    }
    void next(uint32_t length) noexcept {
        for (int k = 0; k < N; ++k)
            if (++at[k] == length) at[k] = 0;
    }
};

}  // namespace

void Delay::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    const auto length = std::size_t(std::max(1, 3 * FxMath::truncInt32(context.sample_rate)));
    for (StateBuffer<float>& line : lines) line.allocate(length);
    writeCounter = 0;
}

void Delay::release() {
    for (StateBuffer<float>& line : lines) line.reset();
    Effect::release();
}

int64_t Delay::delaySamples(const ProcessContext& context) const noexcept {
    const float rate = float(context.sample_rate);
    if (sync == None) return FxMath::truncInt64(delay * delay * 3.0f * rate);
    const int32_t row = std::clamp(FxMath::truncInt32(delay * 23.0f + 0.5f), 0, kNotes - 1);
    return FxMath::truncInt64(rate / (float(context.tempo) * kNoteMultipliers[std::size_t(row)]));
}

void Delay::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                    int32_t channels) {
    if (lines[0].empty() || !context_) return silence(outputs, start, frames, channels);
    if (channels <= 0) return;
    FxMath::DenormalGuard guard;
    const int64_t D = delaySamples(*context_);
    const int32_t s = FxMath::truncInt32(float(D) * 0.5f * spread);
    const float inv = 1.0f / float(channels);
    const float fb = feedback, wt = wet, dr = dry;
    const auto L = uint32_t(lines[0].size());
    float* const line0 = lines[0].data();
    float* const line1 = lines[1].data();
    // Read sums relative to the write counter: the offset of each channel minus the delay.
    const uint32_t back = 0u - uint32_t(uint64_t(D));
    const uint32_t off0 = uint32_t(s) + back, off1 = 0u - uint32_t(s) + back;
    const int32_t n = std::min(channels, 2);

    int32_t i = start;
    const int32_t end = start + frames;
    if (mode == Mono) {
        Cursors<2> cur{{writeCounter, writeCounter + back}, {}};
        while (i < end) {
            const int32_t run = cur.startRun(uint32_t(i - start), L, end - i);
            for (const int32_t stop = i + run; i < stop; ++i, cur.next(L)) {
                float m = 0;
                for (int32_t c = 0; c < channels; ++c) m += inputs[c][i];
                m *= inv;
                const float r = line0[cur.at[1]];
                line0[cur.at[0]] = r * fb + m;
                const float y = r * wt + m * dr;
                for (int32_t c = 0; c < channels; ++c) outputs[c][i] = y;
            }
        }
    } else if (mode == Stereo) {
        Cursors<3> cur{{writeCounter, writeCounter + off0, writeCounter + off1}, {}};
        float* const line[2] = {line0, line1};
        while (i < end) {
            const int32_t run = cur.startRun(uint32_t(i - start), L, end - i);
            for (const int32_t stop = i + run; i < stop; ++i, cur.next(L)) {
                for (int32_t c = 0; c < n; ++c) {
                    const float x = inputs[c][i];
                    const float r = line[c][cur.at[1 + c]];
                    line[c][cur.at[0]] = r * fb + x;
                    outputs[c][i] = r * wt + x * dr;
                }
            }
        }
    } else {
        // Both taps are read and both lines written whatever the channel count.
        Cursors<3> cur{{writeCounter, writeCounter + off0, writeCounter + off1}, {}};
        while (i < end) {
            const int32_t run = cur.startRun(uint32_t(i - start), L, end - i);
            for (const int32_t stop = i + run; i < stop; ++i, cur.next(L)) {
                const float tap[2] = {line0[cur.at[1]], line1[cur.at[2]]};
                float m = 0;
                for (int32_t c = 0; c < channels; ++c) m += inputs[c][i];
                m *= inv;
                line0[cur.at[0]] = tap[1] * fb + m;
                line1[cur.at[0]] = tap[0];
                for (int32_t c = 0; c < n; ++c) outputs[c][i] = tap[c] * wt + inputs[c][i] * dr;
            }
        }
    }
    writeCounter += uint32_t(frames);
}

}  // namespace ZnPlug::FX
