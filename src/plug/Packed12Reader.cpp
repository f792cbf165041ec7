#include "plug/Packed12Reader.h"

#include "plug/Wave.h"

namespace ZnPlug {

namespace {
constexpr std::size_t kHeaderBytes = 32;
constexpr std::size_t kMinimumBytes = 34;
constexpr uint8_t kLoopedFormat = 'I';
constexpr uint32_t kLoopFieldMask = 0x1FFFF;  // loop positions are 17-bit
// The 12-bit value sits in the top of a 16-bit word: scaled by 1 / 32768.
constexpr float kScale = 3.0517578e-5f;
}  // namespace

void Packed12Reader::read(ZnLib::ByteReader file, Wave& wave) {
    if (file.size() < kMinimumBytes) throw ZnLib::OutOfBounds();
    ZnLib::ByteReader head = file.view(22, 10);
    const bool looped = head.u8() == kLoopedFormat;
    const uint8_t rateCode = head.u8();
    const uint32_t a = head.u32le();
    const uint32_t b = head.u32le();

    uint32_t rate;
    switch (rateCode) {
        case 1:
            rate = 33333;
            break;
        case 2:
            rate = 50000;
            break;
        case 3:
            rate = 16667;
            break;
        default: {
            // Older files keep the rate in the spare high bits of the loop words.
            uint32_t k = ((a & 0xFE0000) | ((b >> 8) & 0xFE00)) >> 9;
            rate = k == 0x1000 ? 50000 : k == 0xF652 ? 16667 : 33333;
            break;
        }
    }

    const std::size_t packed = file.size() - kHeaderBytes;
    uint64_t frames64 = uint64_t(packed) * 2 / 3;
    if (frames64 & 1) ++frames64;
    const uint32_t frames = uint32_t(frames64);
    SampleBuffer buf(frames, 1);
    float* out = buf.channel(0);
    const uint8_t* in = file.data() + kHeaderBytes;
    // A byte that the last pair lacks counts as zero: the reader never passes the end of the file.
    auto byteAt = [&](std::size_t i) -> unsigned { return i < packed ? in[i] : 0u; };
    for (uint32_t pair = 0; pair < frames / 2; ++pair) {
        const std::size_t at = std::size_t(pair) * 3;
        const unsigned b0 = byteAt(at), b1 = byteAt(at + 1), b2 = byteAt(at + 2);
        out[2 * pair] = float(int16_t(uint16_t(b0 * 256 + (b1 & 0xF0)))) * kScale;
        out[2 * pair + 1] = float(int16_t(uint16_t((b2 * 16 + (b1 & 0x0F)) * 16))) * kScale;
    }
    out[frames] = 0;

    wave.setSamples(std::move(buf));
    wave.sampleRate = rate;
    wave.bits = 16;
    wave.sampleType = 2;
    wave.format = kFormatYamaha;
    wave.start = 0;
    wave.end = frames;
    if (looped) wave.loops.push_back(Loop(a & kLoopFieldMask, (b & kLoopFieldMask) + 1, LoopMode::Forward, "1"));
}

}  // namespace ZnPlug
