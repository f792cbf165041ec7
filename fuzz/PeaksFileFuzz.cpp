// Feeds arbitrary bytes to the peak cache reader as a ".reapeaks" file. The first four bytes are
// the wave's frame count; the wave's rate, channels, time and size are taken from the file's own
// header, so that the checks of its shape and of its data are what decides.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "lib/ByteReader.h"
#include "plug/Peaks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZnLib::ByteReader input(data, size);
    ZnPlug::Peaks::Identity id;
    try {
        id.frames = input.u32le();
        ZnLib::ByteReader header = input.view(input.position(), input.remaining());
        header.skip(4);
        id.channels = header.u8();
        header.skip(1);
        id.sampleRate = header.u32le();
        id.fileTime = header.u32le();
        id.fileSize = header.u32le();
    } catch (const ZnLib::OutOfBounds&) {
        id.sampleRate = 44100;
    }
    const ZnLib::ByteReader file(data + input.position(), size - input.position());
    const auto peaks = ZnPlug::Peaks::parse(file, id);
    if (!peaks) return 0;
    if (peaks->size() != file.size() || peaks->channels() != id.channels) std::abort();
    // Every entry of every level lies inside the bytes (their values are whatever the file says).
    volatile long sum = 0;
    for (unsigned l = 0; l < ZnPlug::Peaks::kLevels; ++l)
        for (uint32_t i = 0; i < peaks->level(l).entries; ++i)
            for (unsigned c = 0; c < peaks->channels(); ++c)
                sum = sum + peaks->entry(l, i, c).max - peaks->entry(l, i, c).min;
    return 0;
}
