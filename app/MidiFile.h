#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Cli {

// A Standard MIDI File (formats 0 and 1) read into one time-ordered list of channel events and
// a tempo map. Meta and system exclusive events are consumed; only the tempo, time signature
// and track name are kept.
class MidiFile {
public:
    struct Event {
        uint64_t tick = 0;
        uint8_t status = 0;  // 0x80 to 0xEF
        uint8_t data1 = 0;
        uint8_t data2 = 0;
        uint16_t track = 0;
    };
    struct Tempo {
        uint64_t tick = 0;
        uint32_t microsPerQuarter = 500000;  // 120 beats per minute
        double seconds = 0;                  // when it takes effect
    };

    // Reads and parses a file; failures read "Could not load <path>" with the cause nested.
    static MidiFile read(const std::string& path);
    // Parses the bytes of a file; throws a runtime_error with the reason.
    static MidiFile parse(std::span<const uint8_t> bytes);

    uint16_t format() const noexcept { return format_; }
    uint16_t trackCount() const noexcept { return tracks_; }
    uint16_t ticksPerQuarter() const noexcept { return ticksPerQuarter_; }
    const std::vector<Event>& events() const noexcept { return events_; }
    const std::vector<Tempo>& tempos() const noexcept { return tempos_; }
    const std::string& name() const noexcept { return name_; }
    int timeSigNumerator() const noexcept { return sigNumerator_; }
    int timeSigDenominator() const noexcept { return sigDenominator_; }
    // The last tick of any track, end-of-track events included.
    uint64_t endTick() const noexcept { return endTick_; }

    double secondsAt(uint64_t tick) const noexcept;
    // Quarter notes since the start at a time in seconds (the inverse of the tempo map).
    double quartersAtSeconds(double seconds) const noexcept;
    double tempoAtSeconds(double seconds) const noexcept;
    double lengthSeconds() const noexcept { return secondsAt(endTick_); }

private:
    void parseTrack(std::span<const uint8_t> bytes, uint16_t track);
    void finish();
    const Tempo& tempoAtTick(uint64_t tick) const noexcept;
    const Tempo& tempoAtTime(double seconds) const noexcept;

    uint16_t format_ = 0;
    uint16_t tracks_ = 0;
    uint16_t ticksPerQuarter_ = 480;
    double secondsPerTickFixed_ = 0;  // SMPTE time division: a fixed tick length
    std::vector<Event> events_;
    std::vector<Tempo> tempos_;
    std::string name_;
    int sigNumerator_ = 4;
    int sigDenominator_ = 4;
    uint64_t endTick_ = 0;
};

}  // namespace Cli
