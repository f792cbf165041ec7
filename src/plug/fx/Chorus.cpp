#include "plug/fx/Chorus.h"

#include <cmath>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

void Chorus::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    buffer.allocate(kBufferSize);
    writeCounter = 0;
    lfo = EffectLfo();
    depthSamples = 0;
    delaySamples = 0;
}

void Chorus::release() {
    buffer.reset();
    Effect::release();
}

void Chorus::setUpBlock() noexcept {
    const ProcessContext& ctx = *context_;
    const double hz = 0.1 + 1.1 * (std::pow(10.0, double(rate)) - 1.0);
    const float x = float(std::sqrt(0.18856166 * std::log(1.0 + std::fabs(hz))));
    lfo.configure(hz < 0 ? -x : x, ctx);
    lfo.reposition(ctx.sample_pos);
    lfo.value = lfo.compute();
    depthSamples = float(ctx.sample_rate * 0.05 * double(width));
    delaySamples = float(std::pow(10.0, 2.0 * double(delay)) * ctx.sample_rate * 0.001);
}

template <bool Modulated>
void Chorus::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels, const float* par1, const float* par2) noexcept {
    float* const buf = buffer.data();
    const float h = depthSamples * 0.5f;
    const double wt = wet;
    const float dr = dry;
    const float inv = 1.0f / float(channels);
    // Without an amplitude input the LFO's output is 0 (its amp is 0) and its phase is set again
    // at the next block, so the delay rests at one length and the LFO need not run.
    const float rest = h + delaySamples;
    for (int32_t i = start; i < start + frames; ++i) {
        float d = rest;
        if constexpr (Modulated) {
            lfo.rateMod = par1[i];
            lfo.ampMod = par2[i];
            d = (lfo.step() + 1.0f) * h + delaySamples;
        }
        const int32_t w = writeCounter & kMask;
        writeCounter = int32_t(uint32_t(writeCounter) + 1u);
        buf[w] = 0.0f;
        // The fraction goes negative for a read position below zero; that is how it reads.
        const double p = double(float(w) - d);
        const int64_t ip = FxMath::truncInt64(p);
        const double fr = p - double(ip);
        const float t = float(((1.0 - fr) * buf[ip & kMask] + buf[(ip + 1) & kMask] * fr) * wt);
        for (int32_t c = 0; c < channels; ++c) {
            const float x = inputs[c][i];
            buf[w] += x * inv;
            outputs[c][i] = float(1 - 2 * c) * t + x * dr;
        }
    }
}

void Chorus::processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                              int32_t channels, const float* par1, const float* par2) {
    if (buffer.empty() || !context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    setUpBlock();
    run<true>(inputs, outputs, start, frames, channels, par1, par2);
}

void Chorus::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels) {
    if (buffer.empty() || !context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    setUpBlock();
    run<false>(inputs, outputs, start, frames, channels, nullptr, nullptr);
}

}  // namespace ZnPlug::FX
