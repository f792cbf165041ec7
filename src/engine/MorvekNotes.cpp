#include <cmath>
#include <mutex>

#include "engine/Morvek.h"
#include "engine/SwitcherProbe.h"
#include "model/ModulationTables.h"

// How notes and the fixed controllers reach voices: the walk through slots and groups, the voice
// choice, releases with their pedals and mono returns, and the all-notes and all-sound resets.
namespace MV {

namespace {
constexpr uint8_t kSustainPedal = 64;
constexpr uint8_t kSostenutoPedal = 66;
constexpr uint8_t kPedalDown = 64;  // a pedal value of 64 or more holds
constexpr uint8_t kSoundOff = 120;
constexpr uint8_t kResetControllers = 121;
constexpr uint8_t kNotesOff = 123;

bool active(const Voice& v) noexcept { return !v.idle(); }

// A voice answers to a channel when the two are the same, or either side is "all channels".
bool onChannel(const Voice& v, uint8_t channel) noexcept {
    if (channel == Channel::kAllChannels) return true;
    return v.channel && (v.channel->number == channel || v.channel->number == Channel::kAllChannels);
}

// The group's range holds the (transposed) key and the velocity, and a split there has a sound.
bool groupTakes(const Group& group, uint8_t key, uint8_t velocity) noexcept {
    const KeyRange& r = group.range;
    if (key < r.lowKey || key > r.highKey || velocity < r.lowVel || velocity > r.highVel) return false;
    return !group.splitFor(key).isEmpty();
}

// log2(host tempo / wave tempo) of the wave the split plays; 0 when either tempo is unknown or the
// split holds a matrix, whose cell is not chosen yet.
float bpmRatio(const Morvek& engine, const Group& group, uint8_t key) {
    const Split& split = group.splitFor(key);
    const double hostTempo = engine.context().tempo;
    if (split.isMatrix() || hostTempo <= 0) return 0.0f;
    const float waveTempo = split.wave()->tempo;
    return waveTempo > 0 ? float(std::log2(hostTempo / double(waveTempo))) : 0.0f;
}

// The key with the slot's transpose, as an 8-bit value: a result above 127 plays nothing.
uint8_t transposed(const ProgramSlot& slot, uint8_t key) noexcept { return uint8_t(slot.transpose + key); }

// The group's switcher, if it has an enabled one, lets this note sound.
bool switcherAllows(Morvek& engine, Channel& channel, const ProgramSlot& slot, const Program& program,
                    const Group& group, uint8_t key, uint8_t playedKey, uint8_t velocity) {
    if (!group.switcher || !group.switcher->enabled) return true;
    const Switcher& sw = *group.switcher;
    NoteContext note;
    // Only a modulator as the source needs the note's modulators started, on the voice that
    // never sounds; every other condition reads the channel and the counters.
    if (sw.source >= 1 && sw.source <= kSourceLastModulator) {
        Voice& probe = engine.probeVoice();
        probe.start(engine, channel, slot, group, program, playedKey, velocity, 0, 0, true);
        note.modulators = &probe;
    }
    note.channel = &channel;
    note.program = &program;
    note.group = &group;
    note.key = key;
    note.velocity = velocity;
    note.bpmRatio = bpmRatio(engine, group, key);
    note.playedKey = playedKey;
    return switcherPasses(engine, sw, note);
}

void resetRoundRobin(Program& program) {
    program.resetRoundRobin();
    for (const auto& group : program.groups) {
        group->resetRoundRobin();
        for (const Split& split : group->splits)
            if (split.isMatrix()) split.matrix()->resetRoundRobin();
    }
}

// Controller 123: the channel's voices enter their release, its key history goes, and the round
// robin counters of every slot listening on it start again.
void allNotesOff(Morvek& engine, uint8_t channel) {
    for (int i = 0; i < engine.poolEnd(); ++i) {
        Voice& v = engine.voice(i);
        if (active(v) && onChannel(v, channel)) engine.releaseVoice(v);
    }
    if (channel == Channel::kAllChannels) {
        for (int c = 0; c < Morvek::kChannels; ++c) engine.channel(c).clearKeys();
    } else {
        for (Channel* c = &engine.channel(channel); c; c = c->fallback) c->clearKeys();
    }
    for (const auto& slot : engine.performance().slots) {
        const bool listens = channel == Channel::kAllChannels || slot->channel == channel ||
                             slot->channel == ProgramSlot::kAllChannels;
        if (listens && slot->program) resetRoundRobin(*slot->program);
    }
}

// Controller 120: the channel's voices stop dead.
void allSoundOff(Morvek& engine, uint8_t channel) {
    for (int i = 0; i < engine.poolEnd(); ++i) {
        Voice& v = engine.voice(i);
        if (active(v) && onChannel(v, channel)) v.kill();
    }
}
}  // namespace

// ---- notes ----

bool Morvek::noteOn(const ZnPlug::MidiEvent& event, bool isRelease) {
    const uint8_t key = event.data1;
    const uint8_t velocity = event.data2;
    if (key > 127 || velocity > 127) return false;
    const uint8_t c = event.channel();
    // The dispatcher draws for a key press; a release trigger is a note event of its own.
    if (isRelease)
        drawRandom();
    else
        channels_[c].pressKey(key, velocity, event.detune);

    bool played = false;
    for (const auto& slot : currentPerformance->slots)
        if (slot->channel == ProgramSlot::kAllChannels || slot->channel == c)
            played = slotNoteOn(*slot, event, isRelease) || played;
    return played;
}

bool Morvek::slotNoteOn(ProgramSlot& slot, const ZnPlug::MidiEvent& event, bool isRelease) {
    const uint8_t key = event.data1;
    const uint8_t velocity = event.data2;
    const uint8_t t = transposed(slot, key);
    if (!slot.program || slot.program->isNone() || t > 127) return false;
    Program& program = *slot.program;
    if (!isRelease) ++program.rr_count;
    // A slot on all channels reads the record that all of them write into.
    Channel& channel = channels_[slot.channel];

    bool played = false;
    for (const auto& groupRef : program.groups) {
        Group& group = *groupRef;
        if (group.muted()) continue;
        if ((group.playmode == kPlayRelease) != isRelease) continue;
        if (!groupTakes(group, t, velocity)) continue;
        ++group.rr_count;
        if (!switcherAllows(*this, channel, slot, program, group, t, key, velocity)) continue;

        if (group.playmode == kPlayToggle) {
            // The second press of a toggled key ends its sound and starts nothing.
            Voice* playing = nullptr;
            for (int i = 0; i < pool_end_ && !playing; ++i) {
                Voice& v = voices_[std::size_t(i)];
                if (active(v) && v.state != Voice::kRelease && !(v.flags & Voice::kKeyReleased) &&
                    v.group == &group && v.key == key)
                    playing = &v;
            }
            if (playing) {
                releaseVoice(*playing);
                continue;
            }
        }

        Voice* voice = pickVoice(program, group, slot);
        if (!voice) continue;
        if (voice->start(*this, channel, slot, group, program, key, velocity, event.detune, nextNoteNumber(), false))
            played = true;
    }
    return played;
}

void Morvek::noteOff(const ZnPlug::MidiEvent& event) {
    const uint8_t key = event.data1;
    if (key > 127) return;
    const uint8_t c = event.channel();
    const uint8_t stored = channels_[c].releaseKey(key);

    for (int i = 0; i < pool_end_; ++i) {
        Voice& v = voices_[std::size_t(i)];
        if (!active(v) || v.key != key || v.state == Voice::kRelease || !onChannel(v, c)) continue;
        // A toggled note ignores its key going up; the next press ends it.
        if (!v.group || v.group->playmode == kPlayToggle) continue;
        releaseVoice(v);
    }

    // Release groups sound with the velocity the key went down with.
    ZnPlug::MidiEvent release = event;
    release.data2 = stored;
    noteOn(release, true);
}

void Morvek::releaseVoice(Voice& voice) {
    voice.flags |= Voice::kKeyReleased;
    if (voice.state == Voice::kRelease || voice.idle()) return;
    if (voice.group && voice.group->polymode != kPolyPoly && returnToHeldKey(voice)) return;
    if (voice.flags & Voice::kHeldBySostenuto) return;
    if (voice.channel && voice.channel->cc[kSustainPedal] >= kPedalDown)
        voice.flags |= Voice::kHeldBySustain;
    else
        voice.enterRelease(*this);
}

bool Morvek::returnToHeldKey(Voice& voice) {
    if (!voice.channel || !voice.slot || !voice.group || !voice.program) return false;
    // The voice's fields change when it restarts; the model and the channel stay.
    Channel& channel = *voice.channel;
    const ProgramSlot& slot = *voice.slot;
    const Group& group = *voice.group;
    const Program& program = *voice.program;

    auto tryKey = [&](uint8_t key) {
        const Channel::KeyCell cell = channel.keys[key];
        const uint8_t t = transposed(slot, key);
        if (cell.velocity == 0 || t > 127 || !groupTakes(group, t, cell.velocity)) return false;
        if (!switcherAllows(*this, channel, slot, program, group, t, key, cell.velocity)) return false;
        voice.start(*this, channel, slot, group, program, key, cell.velocity, cell.detune, nextNoteNumber(), false);
        return true;
    };

    switch (group.noteprio) {
    case kNotePrioLowest:
        for (int k = 0; k < 128; ++k)
            if (tryKey(uint8_t(k))) return true;
        return false;
    case kNotePrioHighest:
        for (int k = 127; k >= 0; --k)
            if (tryKey(uint8_t(k))) return true;
        return false;
    default: {
        // The history holds each key once, so 128 steps end the walk whatever its state.
        uint8_t k = channel.head;
        for (int steps = 0; k != Channel::kNoKey && steps < 128; ++steps, k = channel.keys[k].next)
            if (tryKey(k)) return true;
        return false;
    }
    }
}

// ---- the voice pool ----

Voice* Morvek::pickVoice(const Program& program, const Group& group, const ProgramSlot& slot) {
    const int32_t mode = group.polymode;
    const uint8_t choke = group.chokeGroup;
    const int32_t limit = slot.poly;
    constexpr uint32_t kNone = ~uint32_t(0);

    Voice* steal = nullptr;
    uint32_t oldest = kNone;
    int32_t slotCount = 0;
    Voice* reuse = nullptr;
    uint32_t newest = 0;

    for (int i = 0; i < pool_end_; ++i) {
        Voice& v = voices_[std::size_t(i)];
        if (v.idle() && choke == 0 && limit == 0 && mode == kPolyPoly) return &v;
        const bool ofSlot = v.slot == &slot;
        if ((v.note_number < oldest || oldest == kNone) && (limit == 0 || ofSlot)) {
            steal = &v;
            oldest = v.note_number;
        }
        if (ofSlot) ++slotCount;

        const bool sameMono = mode != kPolyPoly && ofSlot && v.group == &group && v.note_number >= newest;
        const bool sameChoke = choke != 0 && v.program == &program && v.group && v.group->chokeGroup == choke;
        if (!sameMono && !sameChoke) continue;

        if (mode != kPolyLegato) {
            // Mono and choke take over the related voice at once, unless it is dying.
            if (active(v) && !(v.flags & Voice::kDead)) return &v;
            reuse = &v;
        } else if (active(v) && v.state != Voice::kRelease) {
            // Legato: the newest held voice of the group carries on.
            reuse = &v;
        }
        newest = v.note_number;
    }

    if (reuse) return reuse;
    if (pool_end_ < kVoices && (limit == 0 || slotCount < limit)) return claimVoice();
    return steal;
}

Voice* Morvek::findFreeVoice() noexcept {
    for (int v = 0; v < pool_end_; ++v)
        if (voices_[std::size_t(v)].idle()) return &voices_[std::size_t(v)];
    return claimVoice();
}

// ---- key names ----

bool Morvek::midiKeyName(int32_t channelIndex, uint8_t key, std::string& name) {
    name.clear();
    const auto& slots = currentPerformance->slots;
    if (channelIndex < 0 || std::size_t(channelIndex) >= slots.size()) return false;
    const Program& program = *slots[std::size_t(channelIndex)]->program;
    bool belowAll = !program.groups.empty();
    for (const auto& group : program.groups) {
        const KeyRange& r = group->range;
        if (key < r.lowKey) continue;
        belowAll = false;
        if (key > r.highKey) continue;
        const Split& split = group->splitFor(key);
        const auto next = std::size_t(&split - group->splits.data()) + 1;
        const int high = next < group->splits.size() ? group->splits[next].key - 1 : r.highKey;
        if (high < key) continue;
        name = split.displayName();
        return true;
    }
    // A key below every group has no name but counts as known.
    return belowAll;
}

// ---- controllers ----

void Morvek::controller(const ZnPlug::MidiEvent& event) {
    const uint8_t n = event.data1;
    const uint8_t value = event.data2;
    if (n > 127) return;
    const uint8_t c = event.channel();
    Channel& channel = channels_[c];
    channel.storeController(n, value);

    switch (n) {
    case 1:
        for (Channel* ch = &channel; ch; ch = ch->fallback)
            if (ch->changes & (Channel::kChangeController | Channel::kChangeChannelPressure)) ch->refreshWheel();
        break;
    case kSustainPedal:
        // Pedal up lets go of every voice it held, whatever its channel.
        if (channel.cc[kSustainPedal] >= kPedalDown) break;
        for (int i = 0; i < pool_end_; ++i) {
            Voice& v = voices_[std::size_t(i)];
            if (!active(v)) continue;
            v.flags &= uint8_t(~Voice::kHeldBySustain);
            if (v.flags & Voice::kKeyReleased) releaseVoice(v);
        }
        break;
    case kSostenutoPedal: {
        const bool down = channel.cc[kSostenutoPedal] >= kPedalDown;
        for (int i = 0; i < pool_end_; ++i) {
            Voice& v = voices_[std::size_t(i)];
            if (!active(v)) continue;
            const bool was = (v.flags & Voice::kHeldBySostenuto) != 0;
            v.flags = down ? uint8_t(v.flags | Voice::kHeldBySostenuto) : uint8_t(v.flags & ~Voice::kHeldBySostenuto);
            if (was && !down && (v.flags & Voice::kKeyReleased)) releaseVoice(v);
        }
        break;
    }
    case kSoundOff:
        allSoundOff(*this, c);
        break;
    case kResetControllers:
        for (Channel* ch = &channel; ch; ch = ch->fallback) ch->resetControllers();
        break;
    case kNotesOff:
        allNotesOff(*this, c);
        break;
    default:
        break;
    }

    // External controllers: centre c maps c..127 (or 0..c) onto 0..1, and below c onto negative.
    for (std::size_t i = 0; i < externalController.size(); ++i) {
        const ExternalController& ext = externalController[i];
        if (ext.ctrl != n) continue;
        const int32_t centre = ext.offset;
        const int32_t width = centre < 64 ? 127 - centre : centre;
        channel.storeExternal(int(i), float(int32_t(value) - centre) / float(width));
    }
}

void Morvek::soundOff(uint8_t channel) {
    if (channel >= kChannels) return;
    std::lock_guard lock(mainLock());
    allSoundOff(*this, channel);
}

void Morvek::notesOff(uint8_t channel) {
    if (channel >= kChannels) return;
    std::lock_guard lock(mainLock());
    allNotesOff(*this, channel);
}

}  // namespace MV
