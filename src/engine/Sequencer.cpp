#include "engine/Sequencer.h"

#include <cmath>
#include <stdexcept>

#include "model/GroupSoundParams.h"

namespace MV {

namespace {
constexpr std::size_t kCells = 256;
}  // namespace

bool Sequencer::validLength(std::size_t length) noexcept {
    switch (length) {
    case 0:
    case 8:
    case 16:
    case 32:
    case 64:
    case 128:
        return true;
    default:
        return false;
    }
}

void Sequencer::buildTable(const std::vector<int8_t>& steps, bool smooth, std::array<int8_t, 256>& table) {
    const std::size_t length = steps.size();
    if (!validLength(length)) throw std::logic_error("should not reach");
    if (length == 0) {
        table.fill(0);
        return;
    }
    const std::size_t cells = kCells / length;
    for (std::size_t k = 0; k < length; ++k) {
        const float from = float(steps[k]);
        const float to = float(steps[(k + 1) % length]);
        for (std::size_t j = 0; j < cells; ++j) {
            const float v = smooth ? from + (to - from) * float(j) / float(cells) : from;
            table[k * cells + j] = int8_t(std::trunc(v));
        }
    }
}

void Sequencer::setup(const Seq& params, const ZnPlug::ProcessContext& ctx) {
    const std::size_t length = params.values.size();
    if (validLength(length))
        buildTable(params.values, params.smooth, values);
    else
        values.fill(0);
    scale = (params.mode == kLfoModeTempo && params.stepsync && length > 0) ? 1.0f / float(length) : 1.0f;
    setupRate(params.rate, params.mode, params.fadein, params.amp, ctx);
}

void Sequencer::start(float pos, uint8_t sync, const ZnPlug::ProcessContext& ctx, const Sequencer* peer) noexcept {
    startPhase(pos, sync, ctx, peer);
    out = value() * FastMath::clamp01(amp_mod + amp) * fade * fade;
}

}  // namespace MV
