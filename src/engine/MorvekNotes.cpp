#include "engine/Morvek.h"

#include <mutex>

// How notes and the fixed controllers reach voices.
namespace MV {

bool Morvek::noteOn(const ZnPlug::MidiEvent& event, bool isRelease) {
    (void)event;
    (void)isRelease;
    return false;
}

void Morvek::noteOff(const ZnPlug::MidiEvent& event) { noteOn(event, true); }

void Morvek::controller(const ZnPlug::MidiEvent& event) {
    channels_[event.channel()].storeController(event.data1, event.data2);
}

void Morvek::soundOff(uint8_t channel) {
    std::lock_guard lock(mainLock());
    killVoicesIf([&](const Voice& v) {
        return channel == Channel::kAllChannels || (v.channel && v.channel->number == channel);
    });
}

void Morvek::notesOff(uint8_t channel) {
    std::lock_guard lock(mainLock());
    ZnPlug::MidiEvent e;
    e.status = uint8_t(0xB0 | (channel & 0x0F));
    e.data1 = 123;
    controller(e);
}

void Morvek::releaseVoice(Voice& voice) { voice.kill(); }

Voice* Morvek::pickVoice(const Program& program, const Group& group, const ProgramSlot& slot) {
    (void)program;
    (void)group;
    (void)slot;
    return findFreeVoice();
}

Voice* Morvek::findFreeVoice() noexcept {
    for (int v = 0; v < pool_end_; ++v)
        if (voices_[std::size_t(v)].idle()) return &voices_[std::size_t(v)];
    return claimVoice();
}

}  // namespace MV
