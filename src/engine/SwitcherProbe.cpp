#include "engine/SwitcherProbe.h"

#include "engine/Channel.h"
#include "engine/Morvek.h"
#include "model/Group.h"
#include "model/Program.h"
#include "model/Switcher.h"

namespace MV {

namespace {
// The round robin count a sequence step is measured by; 8 bit like the counters themselves.
uint8_t sequenceCount(const Switcher& sw, const NoteContext& note) noexcept {
    switch (sw.roundRobinSource) {
    case kRoundRobinProgram:
        return note.program ? note.program->rr_count : 0;
    case kRoundRobinMidi:
        return note.channel ? note.channel->key_count[note.channelKey() & 0x7F] : 0;
    default:
        return note.group ? note.group->rr_count : 0;
    }
}

bool within(int key, int low, int high) noexcept { return key >= low && key <= high; }

bool held(const Channel* ch, int key) noexcept { return ch && key >= 0 && key < 128 && ch->held(uint8_t(key)); }

// Key switches: a range of keys that must (key-down) or must not (key-up) be held, and the key of
// that range pressed last.
bool keysPass(const Switcher& sw, const Channel* ch) noexcept {
    if (sw.keyLow < 0 || sw.keyHigh < 0) return true;
    if (within(sw.keyUp, sw.keyLow, sw.keyHigh) && !held(ch, sw.keyUp)) return false;
    if (within(sw.keyDown, sw.keyLow, sw.keyHigh) && held(ch, sw.keyDown)) return false;
    if (within(sw.keyLast, sw.keyLow, sw.keyHigh)) {
        const uint8_t last = ch ? ch->lastHeldKey(sw.keyLow, sw.keyHigh) : Channel::kNoKey;
        if (last != uint8_t(sw.keyLast)) return false;
    }
    return true;
}
}  // namespace

bool switcherPasses(Morvek& engine, const Switcher& sw, const NoteContext& note) {
    const float random = engine.lastRandom();
    if (sw.randLow < sw.randHigh && (random < sw.randLow || random >= sw.randHigh)) return false;

    if (sw.seqLength > 0 && sw.seqPos > 0) {
        const uint8_t step = uint8_t(sequenceCount(sw, note) - 1);
        if (int32_t(step) % sw.seqLength != sw.seqPos - 1) return false;
    }

    const double tempo = engine.context().tempo;
    if (sw.bpmLow < sw.bpmHigh && (tempo < sw.bpmLow || tempo >= sw.bpmHigh)) return false;

    if (!keysPass(sw, note.channel)) return false;

    if (sw.keyPrev >= 0 && (!note.channel || note.channel->head != uint8_t(sw.keyPrev))) return false;

    if (sw.source == 0) return true;
    bool bipolar = false;
    const float value = noteSourceValue(engine, note, sw.source, bipolar);
    const int x = noteSourceStep(value, bipolar);
    return x >= sw.rangeLow && x <= sw.rangeHigh;
}

}  // namespace MV
