// Small one-track songs for render tests: 480 ticks per quarter at 120 beats per minute, so 960
// ticks are one second.
#pragma once
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "MidiFile.h"

namespace Cli::Test {

class TestSong {
public:
    // A message `delta` ticks after the previous one (below 16384).
    TestSong& at(uint32_t delta, std::initializer_list<uint8_t> message) {
        if (delta >= 128) track_.push_back(uint8_t(0x80 | (delta >> 7)));
        track_.push_back(uint8_t(delta & 0x7F));
        track_.insert(track_.end(), message);
        return *this;
    }
    MidiFile song() const {
        std::vector<uint8_t> track = track_;
        track.insert(track.end(), {0x00, 0xFF, 0x2F, 0x00});
        std::vector<uint8_t> file = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0x01, 0xE0, 'M', 'T', 'r', 'k',
                                     0, 0, uint8_t(track.size() >> 8), uint8_t(track.size())};
        file.insert(file.end(), track.begin(), track.end());
        return MidiFile::parse(file);
    }

private:
    std::vector<uint8_t> track_;
};

// The mean absolute level of `s` (44.1 kHz) between two times.
inline double meanLevel(const std::vector<float>& s, double fromSeconds, double toSeconds) {
    const auto a = std::size_t(fromSeconds * 44100), b = std::size_t(toSeconds * 44100);
    double sum = 0;
    for (std::size_t i = a; i < b; ++i) sum += std::fabs(s[i]);
    return sum / double(b - a);
}

}  // namespace Cli::Test
