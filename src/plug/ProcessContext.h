#pragma once
#include <cstdint>

namespace ZnPlug {

// Everything that needs time takes this record by reference. Rates inside the engine are per
// sample at 44100 Hz and scaled by rate_ratio.
struct ProcessContext {
    int32_t block_size = 1024;
    double sample_rate = 44100.0;
    double inv_sample_rate = 1.0 / 44100.0;
    double rate_ratio = 1.0;  // 44100 / sample_rate
    double tempo = 120.0;     // beats per minute
    double sample_pos = 0;    // samples since transport zero
    double ppq_pos = 0;
    double bar_start = 0;
    double cycle_start = 0;
    double cycle_end = 0;
    int32_t sig_numerator = 4;
    int32_t sig_denominator = 4;
    bool playing = false;
    bool cycling = false;
    bool recording = false;
};

// A small timed MIDI event: status, two data bytes (7 bits each), sample offset inside the
// block, detune in cents.
struct MidiEvent {
    uint8_t status = 0;
    uint8_t data1 = 0;
    uint8_t data2 = 0;
    uint8_t spare = 0;
    int32_t offset = 0;
    int8_t detune = 0;

    uint8_t type() const noexcept { return status & 0xF0; }
    uint8_t channel() const noexcept { return status & 0x0F; }
};

}  // namespace ZnPlug
