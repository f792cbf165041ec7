#include "plug/fx/Reverb.h"

#include <algorithm>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

const std::array<int32_t, Reverb::kCombs> Reverb::kCombTuning = {1116, 1188, 1277, 1356, 1422,
                                                                 1491, 1557, 1617, 1685, 1748};
const std::array<int32_t, Reverb::kAllPasses> Reverb::kAllPassTuning = {556, 441, 341, 225, 180, 153};

namespace {

// Frames before either of two lines wraps, at most `left`.
int32_t runLength(const uint32_t length[2], const uint32_t pos[2], int32_t left) noexcept {
    return int32_t(std::min<uint32_t>({length[0] - pos[0], length[1] - pos[1], uint32_t(left)}));
}

}  // namespace

Reverb::Reverb() noexcept {
    // The band-pass before the combs: the middle band alone, wet.
    band.lowGain = 0.0f;
    band.midGain = 1.0f;
    band.highGain = 0.0f;
    band.wet = 1.0f;
    band.dry = 0.0f;
}

Reverb::Reverb(const Reverb& other) noexcept
    : Effect(other), roomsize(other.roomsize), damp(other.damp), width(other.width), lowCut(other.lowCut),
      highCut(other.highCut), band(other.band) {}

Reverb& Reverb::operator=(const Reverb& other) noexcept {
    if (this == &other) return *this;
    release();
    Effect::operator=(other);
    roomsize = other.roomsize;
    damp = other.damp;
    width = other.width;
    lowCut = other.lowCut;
    highCut = other.highCut;
    return *this;
}

uint32_t Reverb::lineLength(int32_t tuning, int channel, double rateRatio) noexcept {
    const float samples = float(tuning + kStereoSpread * channel) * float(rateRatio);
    return uint32_t(std::clamp<int64_t>(FxMath::truncInt64(samples), 1, int64_t(1) << 24));
}

void Reverb::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    uint32_t total = 0;
    auto place = [&](Line& line, int32_t tuning, int c) {
        line = Line{};
        line.offset = total;
        line.length = lineLength(tuning, c, context.rate_ratio);
        total += line.length;
    };
    for (int c = 0; c < 2; ++c) {
        for (int k = 0; k < kCombs; ++k) place(combs[std::size_t(k)][std::size_t(c)], kCombTuning[std::size_t(k)], c);
        for (int k = 0; k < kAllPasses; ++k)
            place(allPasses[std::size_t(k)][std::size_t(c)], kAllPassTuning[std::size_t(k)], c);
    }
    scratchOffset = total;
    scratchFrames = std::max(context.block_size, 64);
    pool.allocate(std::size_t(total) + 2 * std::size_t(scratchFrames));
    band.lowCut = lowCut;
    band.highCut = highCut;
    band.prepare(context);
}

void Reverb::release() {
    pool.reset();
    band.release();
    Effect::release();
}

void Reverb::runChannel(int c, const float* x, float* out, int32_t frames, float d, float fb) noexcept {
    float* const base = pool.data();
    const float keep = 1.0f - d;
    // The combs in pairs, each pair over all frames, its two values added into the output.
    for (int k = 0; k < kCombs; k += 2) {
        Line& A = combs[std::size_t(k)][std::size_t(c)];
        Line& B = combs[std::size_t(k + 1)][std::size_t(c)];
        float* const la = base + A.offset;
        float* const lb = base + B.offset;
        const uint32_t length[2] = {A.length, B.length};
        uint32_t pos[2] = {A.pos, B.pos};
        float sa = A.store, sb = B.store;
        for (int32_t i = 0; i < frames;) {
            for (const int32_t stop = i + runLength(length, pos, frames - i); i < stop; ++i) {
                const float in = x[i] * 0.015f;
                const float va = la[pos[0]];
                sa = keep * va + d * sa;
                la[pos[0]++] = sa * fb + in;
                const float vb = lb[pos[1]];
                sb = keep * vb + d * sb;
                lb[pos[1]++] = sb * fb + in;
                out[i] += va + vb;
            }
            for (int j = 0; j < 2; ++j)
                if (pos[j] == length[j]) pos[j] = 0;
        }
        A.pos = pos[0];
        B.pos = pos[1];
        A.store = sa;
        B.store = sb;
    }
    // The all-passes in pairs, in series.
    for (int k = 0; k < kAllPasses; k += 2) {
        Line& A = allPasses[std::size_t(k)][std::size_t(c)];
        Line& B = allPasses[std::size_t(k + 1)][std::size_t(c)];
        float* const la = base + A.offset;
        float* const lb = base + B.offset;
        const uint32_t length[2] = {A.length, B.length};
        uint32_t pos[2] = {A.pos, B.pos};
        for (int32_t i = 0; i < frames;) {
            for (const int32_t stop = i + runLength(length, pos, frames - i); i < stop; ++i) {
                const float v = out[i];
                const float a = la[pos[0]];
                la[pos[0]++] = a * 0.5f + v;
                const float y = a - v;
                const float b = lb[pos[1]];
                lb[pos[1]++] = b * 0.5f + y;
                out[i] = b - y;
            }
            for (int j = 0; j < 2; ++j)
                if (pos[j] == length[j]) pos[j] = 0;
        }
        A.pos = pos[0];
        B.pos = pos[1];
    }
}

void Reverb::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels) {
    if (pool.empty() || !context_) return silence(outputs, start, frames, channels);
    const int32_t n = std::min(channels, 2);
    if (n <= 0) return;
    FxMath::DenormalGuard guard;
    band.lowCut = lowCut;
    band.highCut = highCut;
    const float d = damp * damp;
    const float fb = FxMath::clamp01(roomsize) * 0.99f;
    // The output is cleared from the base of the buffer whatever `start` is.
    for (int32_t c = 0; c < n; ++c) std::fill_n(outputs[c], frames, 0.0f);
    float* scratch[2] = {pool.data() + scratchOffset, pool.data() + scratchOffset + scratchFrames};
    for (int32_t done = 0; done < frames;) {
        const int32_t count = std::min(frames - done, scratchFrames);
        const int32_t at = start + done;
        const float* in[2] = {inputs[0] + at, n > 1 ? inputs[1] + at : nullptr};
        band.process(in, scratch, 0, count, n);
        for (int32_t c = 0; c < n; ++c) runChannel(c, scratch[c], outputs[c] + at, count, d, fb);
        done += count;
    }
    if (n >= 2) {
        const float g = width >= 0 ? width + 0.5f : width - 0.5f;
        float* L = outputs[0];
        float* R = outputs[1];
        if (g >= 0) {
            for (int32_t i = start; i < start + frames; ++i) {
                const float l = L[i], r = R[i];
                L[i] = g * l + (1.0f - g) * r;
                R[i] = (1.0f - g) * l + g * r;
            }
        } else {
            const float a = -g;
            for (int32_t i = start; i < start + frames; ++i) {
                const float l = L[i], r = R[i];
                L[i] = (1.0f - a) * l + a * r;
                R[i] = (1.0f - a) * r + a * l;
            }
        }
    }
    mixDry(inputs, outputs, start, frames, n);
}

}  // namespace ZnPlug::FX
