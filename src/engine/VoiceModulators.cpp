#include <cstdint>

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

uint8_t Voice::sampledModulators() const noexcept {
    auto within = [](const void* p, const auto& record) {
        const auto at = reinterpret_cast<std::uintptr_t>(p);
        const auto begin = reinterpret_cast<std::uintptr_t>(&record);
        return at >= begin && at < begin + sizeof(record);
    };
    auto bitOf = [&](const void* p) -> uint8_t {
        if (!p) return 0;
        if (within(p, env1)) return kEnv1Bit;
        if (within(p, env2)) return kEnv2Bit;
        if (within(p, lfo1)) return kLfo1Bit;
        if (within(p, lfo2)) return kLfo2Bit;
        if (within(p, seq1)) return kSeq1Bit;
        if (within(p, seq2)) return kSeq2Bit;
        if (within(p, seq3)) return kSeq3Bit;
        return 0;
    };
    uint8_t bits = 0;
    for (int32_t i = 0; i < n_control; ++i) {
        const ModSlot& s = slots[std::size_t(i)];
        bits |= uint8_t(bitOf(s.source) | bitOf(s.via) | bitOf(s.dest));
    }
    return bits;
}

void Voice::advanceModulators(int32_t n, uint8_t which) noexcept {
    if (which & kEnv1Bit) env1.advance(n);
    if (which & kEnv2Bit) env2.advance(n);
    if (which & kLfo1Bit) lfo1.advance(n);
    if (which & kLfo2Bit) lfo2.advance(n);
    if (which & kSeq1Bit) seq1.advance(n);
    if (which & kSeq2Bit) seq2.advance(n);
    if (which & kSeq3Bit) seq3.advance(n);
}

}  // namespace MV
