#include "plug/fx/Flanger.h"

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

template <bool Modulated>
void Flanger::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                  int32_t channels, const float* par2) noexcept {
    float* const buf = buffer.data();
    const float wt = wet, dr = dry;
    const float inv = 1.0f / float(channels);
    // The LFO's output is 0 (amp 0, and no amplitude input here): one delay for the block, and
    // the phase, set again at every block, need not run.
    const float d = depthSamples * 0.5f + delaySamples;
    float fb = -FxMath::clamp01(feedback);
    for (int32_t i = start; i < start + frames; ++i) {
        if constexpr (Modulated) fb = -FxMath::clamp01(par2[i] + feedback);
        const int32_t w = writeCounter & kMask;
        writeCounter = int32_t(uint32_t(writeCounter) + 1u);
        buf[w] = 0.0f;
        const double p = double(float(w) - d);
        const int64_t ip = FxMath::truncInt64(p);
        const double fr = p - double(ip);
        const float tap = float((1.0 - fr) * buf[ip & kMask] + buf[(ip + 1) & kMask] * fr);
        for (int32_t c = 0; c < channels; ++c) {
            const float x = inputs[c][i];
            buf[w] += (tap * fb + x) * inv;
            outputs[c][i] = float(1 - 2 * c) * (tap * wt) + x * dr;
        }
    }
}

void Flanger::processModulated(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                               int32_t channels, const float* par1, const float* par2) {
    (void)par1;
    if (buffer.empty() || !context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    setUpBlock();
    run<true>(inputs, outputs, start, frames, channels, par2);
}

void Flanger::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                      int32_t channels) {
    if (buffer.empty() || !context_) return silence(outputs, start, frames, channels);
    FxMath::DenormalGuard guard;
    setUpBlock();
    run<false>(inputs, outputs, start, frames, channels, nullptr);
}

}  // namespace ZnPlug::FX
