#include "MidiFile.h"

#include <algorithm>
#include <stdexcept>

#include "lib/ByteReader.h"
#include "lib/Error.h"
#include "lib/MappedFile.h"

namespace Cli {

namespace {

constexpr uint32_t kHeader = ZnLib::fourcc("MThd");
constexpr uint32_t kTrack = ZnLib::fourcc("MTrk");
// More than this many events is not a song but a broken or hostile file.
constexpr std::size_t kMaxEvents = 20'000'000;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what); }

// A variable-length quantity: at most four bytes of seven bits.
uint32_t readVarLen(ZnLib::ByteReader& r) {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        const uint8_t b = r.u8();
        value = (value << 7) | (b & 0x7F);
        if (!(b & 0x80)) return value;
    }
    fail("Invalid variable-length number");
}

int dataBytes(uint8_t status) { return (status & 0xF0) == 0xC0 || (status & 0xF0) == 0xD0 ? 1 : 2; }

}  // namespace

MidiFile MidiFile::read(const std::string& path) {
    try {
        ZnLib::MappedFile file(path);
        return parse(file.bytes());
    } catch (...) {
        ZnLib::throwWrapped("Could not load " + path);
    }
}

MidiFile MidiFile::parse(std::span<const uint8_t> bytes) {
    MidiFile song;
    ZnLib::ByteReader r(bytes);
    try {
        if (r.size() < 14 || r.fourcc() != kHeader) fail("Not a Standard MIDI File");
        const uint32_t headerLength = r.u32be();
        if (headerLength < 6) fail("Invalid MIDI file header");
        ZnLib::ByteReader header = r.sub(headerLength);
        song.format_ = header.u16be();
        song.tracks_ = header.u16be();
        const uint16_t division = header.u16be();
        if (song.format_ > 1) fail("Unsupported MIDI file format " + std::to_string(song.format_));
        if (division & 0x8000) {
            // SMPTE: frames per second (negative) and ticks per frame; 29 means 29.97.
            const int fps = -int8_t(division >> 8);
            const int ticksPerFrame = division & 0xFF;
            if (fps <= 0 || ticksPerFrame == 0) fail("Invalid MIDI time division");
            const double frameRate = fps == 29 ? 29.97 : double(fps);
            song.secondsPerTickFixed_ = 1.0 / (frameRate * ticksPerFrame);
        } else {
            if (division == 0) fail("Invalid MIDI time division");
            song.ticksPerQuarter_ = division;
        }
        uint16_t track = 0;
        while (track < song.tracks_ && r.remaining() >= 8) {
            const uint32_t id = r.fourcc();
            const uint32_t length = r.u32be();
            if (length > r.remaining()) fail("Truncated MIDI track " + std::to_string(track + 1));
            auto chunk = r.bytes(length);
            if (id != kTrack) continue;  // unknown chunks are skipped
            song.parseTrack(chunk, track++);
        }
        if (track == 0) fail("MIDI file has no tracks");
    } catch (const ZnLib::OutOfBounds&) {
        ZnLib::throwWrapped("Truncated MIDI file");
    }
    song.finish();
    return song;
}

void MidiFile::parseTrack(std::span<const uint8_t> bytes, uint16_t track) {
    ZnLib::ByteReader r(bytes);
    uint64_t tick = 0;
    uint8_t running = 0;
    try {
        while (!r.atEnd()) {
            tick += readVarLen(r);
            uint8_t status = r.u8();
            if (status < 0x80) {
                if (!running) fail("Data byte without a status in MIDI track " + std::to_string(track + 1));
                status = running;
                r.seek(r.position() - 1);
            }
            if (status == 0xFF) {
                running = 0;
                const uint8_t type = r.u8();
                const uint32_t length = readVarLen(r);
                ZnLib::ByteReader data = r.sub(length);
                if (type == 0x2F) {
                    endTick_ = std::max(endTick_, tick);
                    return;
                }
                if (type == 0x51 && length >= 3) {
                    const uint32_t us = (uint32_t(data.u8()) << 16) | (uint32_t(data.u8()) << 8) | data.u8();
                    if (us > 0) tempos_.push_back({tick, us, 0});
                } else if (type == 0x58 && length >= 2 && tick == 0) {
                    sigNumerator_ = data.u8();
                    sigDenominator_ = 1 << std::min<int>(data.u8(), 6);
                } else if (type == 0x03 && name_.empty() && track == 0) {
                    name_ = data.text(length);
                }
            } else if (status == 0xF0 || status == 0xF7) {
                running = 0;
                r.skip(readVarLen(r));
            } else if (status >= 0xF0) {
                fail("Invalid status byte in MIDI track " + std::to_string(track + 1));
            } else {
                running = status;
                Event e;
                e.tick = tick;
                e.status = status;
                e.data1 = r.u8() & 0x7F;
                if (dataBytes(status) == 2) e.data2 = r.u8() & 0x7F;
                e.track = track;
                if (events_.size() >= kMaxEvents) fail("Too many events in MIDI file");
                events_.push_back(e);
            }
            endTick_ = std::max(endTick_, tick);
        }
    } catch (const ZnLib::OutOfBounds&) {
        ZnLib::throwWrapped("Truncated MIDI track " + std::to_string(track + 1));
    }
}

void MidiFile::finish() {
    // Tracks are merged by time; at one tick, earlier tracks first, each in file order.
    std::stable_sort(events_.begin(), events_.end(), [](const Event& a, const Event& b) { return a.tick < b.tick; });
    std::stable_sort(tempos_.begin(), tempos_.end(), [](const Tempo& a, const Tempo& b) { return a.tick < b.tick; });
    if (tempos_.empty() || tempos_.front().tick != 0) tempos_.insert(tempos_.begin(), Tempo{});
    for (std::size_t i = 1; i < tempos_.size(); ++i) {
        const Tempo& prev = tempos_[i - 1];
        tempos_[i].seconds = prev.seconds + double(tempos_[i].tick - prev.tick) * prev.microsPerQuarter * 1e-6 /
                                                ticksPerQuarter_;
    }
}

const MidiFile::Tempo& MidiFile::tempoAtTick(uint64_t tick) const noexcept {
    auto it = std::upper_bound(tempos_.begin(), tempos_.end(), tick,
                               [](uint64_t t, const Tempo& tempo) { return t < tempo.tick; });
    return *(it == tempos_.begin() ? it : it - 1);
}

const MidiFile::Tempo& MidiFile::tempoAtTime(double seconds) const noexcept {
    auto it = std::upper_bound(tempos_.begin(), tempos_.end(), seconds,
                               [](double s, const Tempo& tempo) { return s < tempo.seconds; });
    return *(it == tempos_.begin() ? it : it - 1);
}

double MidiFile::secondsAt(uint64_t tick) const noexcept {
    if (secondsPerTickFixed_ > 0) return double(tick) * secondsPerTickFixed_;
    const Tempo& t = tempoAtTick(tick);
    return t.seconds + double(tick - t.tick) * t.microsPerQuarter * 1e-6 / ticksPerQuarter_;
}

double MidiFile::quartersAtSeconds(double seconds) const noexcept {
    if (secondsPerTickFixed_ > 0) return seconds * 2.0;  // 120 beats per minute
    const Tempo& t = tempoAtTime(seconds);
    return double(t.tick) / ticksPerQuarter_ + (seconds - t.seconds) / (t.microsPerQuarter * 1e-6);
}

double MidiFile::tempoAtSeconds(double seconds) const noexcept {
    if (secondsPerTickFixed_ > 0) return 120.0;
    return 60e6 / tempoAtTime(seconds).microsPerQuarter;
}

}  // namespace Cli
