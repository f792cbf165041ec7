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

void Channel::resetControllers() {
    cc = {};
    external = {};
    cc_value = {};
    pressure_value = 0;
    wheel = 0;
}

void Channel::storeExternal(int index, float value) {
    for (Channel* c = this; c; c = c->fallback) {
        c->external[std::size_t(index)] = value;
        c->changes |= kChangeExternal;
    }
}

void Channel::pressKey(uint8_t key, uint8_t velocity, int8_t detune) {
    for (Channel* c = this; c; c = c->fallback) {
        if (velocity > 0) ++c->key_count[key];
        c->keys[key].velocity = velocity;
        c->keys[key].detune = detune;
        c->moveToHead(key);
    }
}

uint8_t Channel::releaseKey(uint8_t key) {
    const uint8_t velocity = keys[key].velocity;
    for (Channel* c = this; c; c = c->fallback) {
        c->keys[key].velocity = 0;
        c->released_key = key;
    }
    return velocity;
}

uint8_t Channel::lastHeldKey(int low, int high) const noexcept {
    // The list holds each key at most once, so 128 steps bound the walk even on a damaged list.
    uint8_t k = head;
    for (int steps = 0; k != kNoKey && steps < 128; ++steps, k = keys[k].next)
        if (keys[k].velocity != 0 && k >= low && k <= high) return k;
    return kNoKey;
}

void Channel::moveToHead(uint8_t key) noexcept {
    if (head == key) return;
    // A key outside the list has no neighbours and is not the head, so unlinking it is a no-op.
    KeyCell& cell = keys[key];
    if (cell.prev != kNoKey) keys[cell.prev].next = cell.next;
    if (cell.next != kNoKey) keys[cell.next].prev = cell.prev;
    cell.prev = kNoKey;
    cell.next = head;
    if (head != kNoKey) keys[head].prev = key;
    head = key;
}

}  // namespace MV
