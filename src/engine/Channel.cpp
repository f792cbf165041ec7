#include "engine/Channel.h"

namespace MV {

void Channel::storeController(uint8_t n, uint8_t v) {
    for (Channel* c = this; c; c = c->fallback) {
        c->cc[n] = v;
        c->changes |= kChangeController;
        c->cc_value[n] = float(v) * kInv127;
    }
}

void Channel::storeKeyPressure(uint8_t key, uint8_t value) {
    for (Channel* c = this; c; c = c->fallback) {
        c->keys[key].pressure = value;
        c->changes |= kChangeKeyPressure;
    }
}

void Channel::storeChannelPressure(uint8_t value) {
    for (Channel* c = this; c; c = c->fallback) {
        c->pressure = value;
        c->changes |= kChangeChannelPressure;
        c->refreshWheel();
    }
}

void Channel::storeBend(uint8_t lsb, uint8_t msb) {
    const float value = float((int(msb) - 64) * 128 + int(lsb)) * (1.0f / 8192.0f);
    for (Channel* c = this; c; c = c->fallback) {
        c->bend = value;
        c->changes |= kChangeBend;
        c->refreshWheel();
    }
}

void Channel::refreshWheel() {
    pressure_value = float(pressure) * kInv127;
    const float w = float(cc[1]) * kInv127;
    if (w != wheel) changes |= kChangeWheel;
    wheel = w;
}

void Channel::clearKeys() {
    keys = {};
    head = kNoKey;
    key_count = {};
}

}  // namespace MV
