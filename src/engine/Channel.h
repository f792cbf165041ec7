#pragma once
#include <array>
#include <cstdint>

#include "lib/ModCounted.h"

namespace MV {

// What one MIDI channel has told the engine: controllers, pressure, pitch bend, external
// controllers and the key history. Record 16 is what every channel also writes into, so that a
// slot listening on all channels sees the union of them.
//
// Threads: [audio-thread] [main-lock] for everything that changes it.
class Channel : public ZnLib::ModCounted {
public:
    static constexpr uint8_t kAllChannels = 16;
    static constexpr uint8_t kNoKey = 255;
    // 1 / 127, the scale of a 7-bit value.
    static constexpr float kInv127 = 0.007874016f;

    enum Change : uint32_t {
        kChangeController = 2,
        kChangeBend = 4,
        kChangeChannelPressure = 8,
        kChangeKeyPressure = 16,
        kChangeExternal = 64,
        kChangeWheel = 128,
    };

    // One cell of the key history: a doubly linked list over the 128 keys in order of pressing.
    struct KeyCell {
        uint8_t velocity = 0;  // 0 when not held
        uint8_t pressure = 0;
        int8_t detune = 0;
        uint8_t prev = kNoKey;
        uint8_t next = kNoKey;
    };

    Channel() = default;
    Channel(uint8_t number, Channel* fallback) : number(number), fallback(fallback) {}

    // Controller `n` takes value `v` (7 bits): stores it here and in the fallback record.
    void storeController(uint8_t n, uint8_t v);
    // Polyphonic pressure of one key, here and in the fallback record.
    void storeKeyPressure(uint8_t key, uint8_t value);
    // Channel pressure: the byte and its value / 127, then the wheel function.
    void storeChannelPressure(uint8_t value);
    // Pitch bend from the two data bytes: ((msb - 64) * 128 + lsb) / 8192, here and in the
    // fallback record.
    void storeBend(uint8_t lsb, uint8_t msb);
    // Recomputes pressure_value and wheel; marks kChangeWheel when the wheel moved.
    void refreshWheel();
    // Drops the key history and the per-key note counts.
    void clearKeys();
    // Controller 121: controllers, external controllers and the wheel function go to 0.
    void resetControllers();
    // External controller `index` takes `value`, here and in the fallback record.
    void storeExternal(int index, float value);

    // A pressed key moves to the head of the history with its velocity and detune, here and in
    // the fallback record; a velocity above 0 also counts a note-on of the key.
    void pressKey(uint8_t key, uint8_t velocity, int8_t detune);
    // The key stays in the history but no longer counts as held, here and in the fallback
    // record. Returns the velocity it was held with on this record.
    uint8_t releaseKey(uint8_t key);
    bool held(uint8_t key) const noexcept { return keys[key].velocity != 0; }
    // The most recently pressed key within low..high that is still held; kNoKey when none is.
    uint8_t lastHeldKey(int low, int high) const noexcept;

    uint32_t changes = 0;
    std::array<uint8_t, 128> cc{};
    std::array<KeyCell, 128> keys{};
    uint8_t head = kNoKey;  // the most recent key
    uint8_t released_key = kNoKey;
    uint8_t number = 0;  // 0 to 15, 16 for the fallback record
    uint8_t pressure = 0;
    Channel* fallback = nullptr;  // record 16; null on that record itself
    float bend = 0;               // -1 to just below 1
    std::array<float, 16> external{};
    std::array<float, 128> cc_value{};
    std::array<uint8_t, 128> key_count{};
    float pressure_value = 0;
    float wheel = 0;

private:
    void moveToHead(uint8_t key) noexcept;
};

}  // namespace MV
