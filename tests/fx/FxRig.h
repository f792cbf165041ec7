#pragma once
#include <algorithm>
#include <cstdint>
#include <vector>

#include "plug/ProcessContext.h"
#include "plug/fx/Effect.h"

// Runs an effect over whole signals in blocks, as a bus or a voice would, moving the transport.
struct FxRig {
    using Signal = std::vector<std::vector<float>>;

    explicit FxRig(double rate = 44100.0, int32_t block = 256) {
        context.block_size = block;
        context.sample_rate = rate;
        context.inv_sample_rate = 1.0 / rate;
        context.rate_ratio = 44100.0 / rate;
    }

    // Out of place, or in place with `par1`/`par2` through processModulated when given.
    Signal run(ZnPlug::FX::Effect& fx, const Signal& in, const std::vector<float>* par1 = nullptr,
               const std::vector<float>* par2 = nullptr) {
        const auto channels = int32_t(in.size());
        const auto frames = int32_t(in[0].size());
        Signal out = par1 ? in : Signal(in.size(), std::vector<float>(in[0].size()));
        for (int32_t at = 0; at < frames; at += context.block_size) {
            const int32_t n = std::min(context.block_size, frames - at);
            std::vector<const float*> src;
            std::vector<float*> dst;
            for (int32_t c = 0; c < channels; ++c) {
                src.push_back((par1 ? out : in)[std::size_t(c)].data() + at);
                dst.push_back(out[std::size_t(c)].data() + at);
            }
            if (par1)
                fx.processModulated(src.data(), dst.data(), 0, n, channels, par1->data() + at, par2->data() + at);
            else
                fx.process(src.data(), dst.data(), 0, n, channels);
            context.sample_pos += n;
        }
        return out;
    }

    static Signal impulse(int32_t channels, int32_t frames, int32_t at, float value = 1.0f) {
        Signal s(std::size_t(channels), std::vector<float>(std::size_t(frames), 0.0f));
        for (auto& ch : s) ch[std::size_t(at)] = value;
        return s;
    }

    ZnPlug::ProcessContext context;
};
