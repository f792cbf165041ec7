#include "engine/Morvek.h"
#include "engine/Voice.h"
#include "model/Group.h"

// The voice's part in its modulators: their setups from the group, their starts on a fresh note,
// the tempo they follow, and their bulk advance where nothing reads them sample by sample.
namespace MV {

void Voice::setupModulators(Morvek& engine) {
    const ZnPlug::ProcessContext& ctx = engine.context();
    env1.setup(group->env1, ctx.rate_ratio, group->playmode);
    env2.setup(group->env2, ctx.rate_ratio, group->playmode);
    lfo1.setup(group->lfo1, ctx);
    lfo2.setup(group->lfo2, ctx);
    seq1.setup(group->seq1, ctx);
    seq2.setup(group->seq2, ctx);
    seq3.setup(group->seq3, ctx);
    filter.setup(group->filter);
}

const Voice* Voice::syncPeer(Morvek& engine, uint8_t sync) const noexcept {
    if (sync != kSyncGroup && sync != kSyncVoice) return nullptr;
    for (int i = 0; i < engine.poolEnd(); ++i) {
        const Voice& other = engine.voice(i);
        if (&other == this || other.idle()) continue;
        if (sync == kSyncGroup ? other.group == group : other.program == program) return &other;
    }
    return nullptr;
}

void Voice::startModulators(Morvek& engine) {
    const ZnPlug::ProcessContext& ctx = engine.context();
    aeg.start(state);
    env1.start();
    env2.start();
    // Each LFO and sequencer finds its peer by its own sync mode and takes the peer's phase of
    // the same modulator.
    auto startOne = [&](auto Voice::*member, const auto& params) {
        const Voice* other = syncPeer(engine, params.sync);
        (this->*member).start(params.pos, params.sync, ctx, other ? &(other->*member) : nullptr);
    };
    startOne(&Voice::lfo1, group->lfo1);
    startOne(&Voice::lfo2, group->lfo2);
    startOne(&Voice::seq1, group->seq1);
    startOne(&Voice::seq2, group->seq2);
    startOne(&Voice::seq3, group->seq3);
}

void Voice::followTempo(Morvek& engine) {
    const ZnPlug::ProcessContext& ctx = engine.context();
    lfo1.followTempo(ctx);
    lfo2.followTempo(ctx);
    seq1.followTempo(ctx);
    seq2.followTempo(ctx);
    seq3.followTempo(ctx);
}

void Voice::advanceModulators(int32_t n) noexcept {
    env1.advance(n);
    env2.advance(n);
    lfo1.advance(n);
    lfo2.advance(n);
    seq1.advance(n);
    seq2.advance(n);
    seq3.advance(n);
}

}  // namespace MV
