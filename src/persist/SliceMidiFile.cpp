#include "persist/SliceMidiFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "model/Group.h"
#include "plug/RiffFileSink.h"
#include "plug/Wave.h"
#include "plug/WaveDetect.h"

namespace MV {

namespace {

constexpr int kFirstKey = 36;
constexpr int kLastKey = 127;
constexpr uint32_t kTrackLengthOffset = 18;
constexpr uint32_t kHeaderBytes = 22;
constexpr uint32_t kTempoCutoffHz = 5000;

struct Strike {
    uint8_t key;
    uint8_t status;
    uint32_t position;  // frames
};

// A name may hold a '/', which a file name can't.
std::string fileStem(const ZnPlug::Wave& wave, const Group* group) {
    std::string stem = wave.name() + "-" + (group ? group->name : std::string());
    std::replace(stem.begin(), stem.end(), '/', '_');
    return stem;
}

// The key and loop of every split that plays a slice, by the group or, without one, laid out as
// a new group would be: one key per slice entry from 36 up while keys last.
std::vector<std::pair<int, int32_t>> sliceKeys(const ZnPlug::Wave& wave, const Group* group) {
    std::vector<std::pair<int, int32_t>> keys;
    if (group) {
        for (const Split& s : group->splits) keys.emplace_back(s.key, s.loop);
        return keys;
    }
    int key = kFirstKey;
    for (std::size_t i = 0; i < wave.loops.size() && key <= kLastKey; ++i)
        if (wave.loops[i].isSlice()) keys.emplace_back(key++, int32_t(i));
    return keys;
}

void putBigEndian(ZnPlug::RiffSink& out, uint32_t v, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) out.u8(uint8_t(v >> shift));
}

void putVariableLength(ZnPlug::RiffSink& out, uint32_t v) {
    v = std::min<uint32_t>(v, 0x0FFFFFFF);
    uint8_t bytes[4];
    int n = 0;
    do {
        bytes[n++] = uint8_t(v & 0x7F);
        v >>= 7;
    } while (v);
    while (n-- > 0) out.u8(uint8_t(bytes[n] | (n ? 0x80 : 0)));
}

}  // namespace

SliceMidiFile::SliceMidiFile(ZnPlug::Wave& wave, const Group* group, int channel)
    : file_(fileStem(wave, group), ".mid") {
    const int fd = ::open(file_.path().c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0) throw std::runtime_error("Could not create temp file: " + file_.path());
    ZnPlug::RiffFileSink out(::dup(fd));
    out.write("MThd", 4);
    putBigEndian(out, 6, 4);
    putBigEndian(out, 1, 2);
    putBigEndian(out, 1, 2);
    putBigEndian(out, kTicksPerQuarter, 2);
    out.write("MTrk", 4);
    putBigEndian(out, 0, 4);

    const Group scratch;
    const Group& velocities = group ? *group : scratch;
    if (wave.tempo == 0) {
        const auto onsets = ZnPlug::detectOnsets(wave, wave.sampleRate / 10, kTempoCutoffHz, 0);
        const auto tempos = ZnPlug::detectTempos(wave, onsets);
        if (!tempos.empty()) wave.tempo = tempos.front();
    }
    const uint8_t ch = uint8_t(channel == 16 ? 0 : channel & 15);
    const int span = velocities.range.highVel - velocities.range.lowVel;
    const auto velocity = uint8_t(std::clamp(velocities.range.lowVel + int(std::max(1.0, span * 0.8)), 0, 127));
    const double ticksPerFrame =
        (wave.tempo != 0 ? double(wave.tempo) : 120.0) * kTicksPerQuarter / (60.0 * double(wave.sampleRate));

    std::vector<Strike> strikes;
    for (const auto& [key, loop] : sliceKeys(wave, group)) {
        if (loop < 0 || std::size_t(loop) >= wave.loops.size() || !wave.loops[std::size_t(loop)].isSlice()) continue;
        const ZnPlug::Loop& l = wave.loops[std::size_t(loop)];
        strikes.push_back({uint8_t(key), uint8_t(0x90 | ch), l.start});
        strikes.push_back({uint8_t(key), uint8_t(0x80 | ch), l.end});
    }
    // At one position a note-off goes first, so that touching slices strike again.
    std::stable_sort(strikes.begin(), strikes.end(), [](const Strike& a, const Strike& b) {
        return a.position != b.position ? a.position < b.position : (a.status & 0xF0) < (b.status & 0xF0);
    });
    uint32_t last = 0;
    for (const Strike& s : strikes) {
        putVariableLength(out, uint32_t((double(s.position) - double(last)) * ticksPerFrame));
        last = s.position;
        out.u8(s.status);
        out.u8(s.key);
        out.u8(velocity);
    }
    const uint8_t endOfTrack[] = {0x00, 0xFF, 0x2F, 0x00};
    out.write(endOfTrack, sizeof endOfTrack);
    out.close();

    const off_t size = ::lseek(fd, 0, SEEK_END);
    const uint32_t length = uint32_t(size) - kHeaderBytes;
    const uint8_t lengthBytes[4] = {uint8_t(length >> 24), uint8_t(length >> 16), uint8_t(length >> 8),
                                    uint8_t(length)};
    const bool written = size >= off_t(kHeaderBytes) &&
                         ::pwrite(fd, lengthBytes, 4, kTrackLengthOffset) == 4;
    if (::close(fd) != 0 || !written) throw std::runtime_error("Could not write to file");
}

}  // namespace MV
