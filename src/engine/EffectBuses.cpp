#include "engine/EffectBuses.h"

#include <algorithm>

#include "model/Performance.h"

namespace MV {

void EffectBuses::resize(int32_t blockSize) {
    const std::size_t n = std::size_t(std::max(blockSize, 0));
    pool_.assign(14 * n, 0.0f);
    for (std::size_t i = 0; i < kBuses; ++i) {
        buffers_[i][0] = pool_.data() + 2 * i * n;
        buffers_[i][1] = pool_.data() + (2 * i + 1) * n;
    }
    scratch_[0] = pool_.data() + 12 * n;
    scratch_[1] = pool_.data() + 13 * n;
    blockSize_ = blockSize;
}

void EffectBuses::clearInputs(const Performance& performance, int32_t from, int32_t to) noexcept {
    to = std::min(to, blockSize_);
    if (from >= to) return;
    for (std::size_t i = 0; i < kBuses; ++i) {
        if (!performance.fx[i]) continue;
        std::fill(buffers_[i][0] + from, buffers_[i][0] + to, 0.0f);
        std::fill(buffers_[i][1] + from, buffers_[i][1] + to, 0.0f);
    }
}

namespace {
bool audible(const FX::Effect* fx) { return fx && !fx->mute; }
}  // namespace

void EffectBuses::run(const Performance& performance, const RouteTable& routes,
                      const ZnPlug::AssignableAutomation& cells, int32_t segStart, int32_t segEnd,
                      int32_t count) noexcept {
    constexpr unsigned kAll = (1u << kBuses) - 1;
    count = std::min(count, blockSize_);
    segEnd = std::min(segEnd, count);
    unsigned done = 0, waiting = 0;
    // Two passes always suffice: after the first, every bus left is waiting, so any upstream bus
    // found in the second closes a cycle. The bound only guards that argument.
    for (int pass = 0; done != kAll && pass <= kBuses; ++pass) {
        for (int i = 0; i < kBuses; ++i) {
            const unsigned bit = 1u << i;
            if (done & bit) continue;
            FX::Effect* fx = performance.fx[std::size_t(i)].get();
            if (!audible(fx) || fx->output == 0) {
                done |= bit;
                continue;
            }
            int upstream = -1;
            for (int j = 0; j < kBuses && upstream < 0; ++j) {
                const FX::Effect* other = performance.fx[std::size_t(j)].get();
                if (j != i && !(done & (1u << j)) && audible(other) && other->output == i + 1) upstream = j;
            }
            if (upstream >= 0) {
                if (waiting & (1u << upstream)) done |= bit;  // a cycle: this one is dropped
                waiting |= bit;
                continue;
            }
            done |= bit;
            const RouteTable::Route& dest = routes[fx->output];
            if (dest.channels == 0) continue;
            const float* src[2];
            float gain;
            if (fx->bypass) {
                fx->follow(cells);
                gain = fx->parameter(1) * fx->parameter(2);
                src[0] = buffers_[std::size_t(i)][0];
                src[1] = buffers_[std::size_t(i)][1];
            } else {
                const float* in[2] = {buffers_[std::size_t(i)][0], buffers_[std::size_t(i)][1]};
                float* out[2] = {scratch_[0], scratch_[1]};
                fx->follow(cells);
                fx->process(in, out, 0, count, 2);
                gain = fx->parameter(2);
                src[0] = scratch_[0];
                src[1] = scratch_[1];
            }
            if (dest.channels >= 2) {
                for (int32_t k = segStart; k < segEnd; ++k) {
                    dest.channel[0][k] += src[0][k] * gain;
                    dest.channel[1][k] += src[1][k] * gain;
                }
            } else {
                const float half = gain * 0.5f;
                for (int32_t k = segStart; k < segEnd; ++k) dest.channel[0][k] += (src[0][k] + src[1][k]) * half;
            }
        }
    }
}

}  // namespace MV
