// Feeds arbitrary bytes to the wave readers, as a file's content. Whatever reads must be
// writable again, and what is written must read back with the same shape.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>

#include "plug/RiffSink.h"
#include "plug/Wave.h"
#include "plug/WaveReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZnPlug::Wave wave;
    try {
        ZnPlug::WaveReader::read(ZnLib::ByteReader(data, size), wave);
    } catch (const std::exception&) {
        return 0;
    }
    wave.normalizeRoot();
    if (wave.fine < -99 || wave.fine > 99 || (wave.root != 255 && wave.root > 127)) std::abort();

    // Headers may size the buffer far beyond what the input holds (a FLAC stream's total, for
    // one): writing such a wave out again only measures memory.
    constexpr uint64_t kRoundTripSamples = uint64_t(1) << 20;
    if (uint64_t(wave.frames()) * wave.channels() > kRoundTripSamples) return 0;
    ZnPlug::RiffMemorySink sink;
    wave.writeRiff(sink);
    ZnPlug::Wave back("fuzz", ZnLib::ByteReader(sink.bytes.data(), sink.bytes.size()));
    if (back.frames() != wave.frames() || back.channels() != wave.channels() || back.loops.size() != wave.loops.size() ||
        back.start != wave.start || back.end != wave.end)
        std::abort();
    // A loop's end is written as at least its start: only start, mode and name must survive.
    for (std::size_t i = 0; i < wave.loops.size(); ++i) {
        const ZnPlug::Loop &a = wave.loops[i], &b = back.loops[i];
        if (a.start != b.start || a.mode != b.mode || a.nameText() != b.nameText()) std::abort();
    }
    return 0;
}
