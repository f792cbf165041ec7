#include "plug/fx/Bitcrusher.h"

#include <algorithm>

#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

namespace {

// 2^(bits - 1) as a signed 32-bit value: 32 bits give -2^31.
float scaleOf(int64_t bits) noexcept {
    const auto shift = uint32_t(std::clamp<int64_t>(bits, 1, 32) - 1) % 32u;
    return float(int32_t(uint32_t(1) << shift));
}

}  // namespace

void Bitcrusher::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    phase = 1.0f;
    held = {};
}

template <bool Modulated>
void Bitcrusher::run(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                     int32_t channels, const float* par1, const float* par2) noexcept {
    const int32_t n = std::min(channels, 2);
    float scale = scaleOf(bits);
    float r = FxMath::clamp01(rate);
    float ph = phase;
    for (int32_t i = start; i < start + frames; ++i) {
        if constexpr (Modulated) {
            scale = scaleOf(int64_t(FxMath::truncInt32(par1[i])) + bits);
            r = FxMath::clamp01(rate + par2[i]);
        }
        ph += r;
        const bool take = ph >= 1.0f;
        for (int32_t c = 0; c < n; ++c) {
            if (take) held[std::size_t(c)] = float(FxMath::truncInt64(inputs[c][i] * scale)) / scale;
            outputs[c][i] = held[std::size_t(c)];
        }
        if (take) ph -= 1.0f;
    }
    phase = ph;
}

void Bitcrusher::processModulated(const float* const* inputs, float* const* outputs, int32_t start,
                                  int32_t frames, int32_t channels, const float* par1, const float* par2) {
    run<true>(inputs, outputs, start, frames, channels, par1, par2);
}

void Bitcrusher::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                         int32_t channels) {
    run<false>(inputs, outputs, start, frames, channels, nullptr, nullptr);
}

}  // namespace ZnPlug::FX
