#include "persist/StateChunkFormat.h"

#include <cstring>
#include <stdexcept>

#include "lib/Text.h"
#include "persist/XmlOut.h"

namespace MV::StateChunkFormat {

std::size_t ChunkWriter::open(uint32_t t) {
    tag(t);
    const std::size_t at = out_.size();
    u32(0);
    return at;
}

void ChunkWriter::close(std::size_t sizeAt) {
    const std::size_t size = out_.size() - sizeAt - 4;
    if (size > 0xFFFFFFFFu) throw std::runtime_error("State too large");
    for (int i = 0; i < 4; ++i) out_[sizeAt + std::size_t(i)] = uint8_t(size >> (8 * i));
    if (size & 1) out_.push_back(0);
}

void ChunkWriter::bytes(const void* data, std::size_t n) {
    const auto* p = static_cast<const uint8_t*>(data);
    out_.insert(out_.end(), p, p + n);
}

void ChunkWriter::tag(uint32_t t) {
    for (int i = 3; i >= 0; --i) out_.push_back(uint8_t(t >> (8 * i)));
}

void ChunkWriter::u32(uint32_t v) {
    for (int i = 0; i < 4; ++i) out_.push_back(uint8_t(v >> (8 * i)));
}

void ChunkWriter::u64(uint64_t v) {
    for (int i = 0; i < 8; ++i) out_.push_back(uint8_t(v >> (8 * i)));
}

void ChunkWriter::f32(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    u32(bits);
}

void ChunkWriter::utf16z(std::string_view utf8) {
    const std::vector<uint8_t> units = XmlOut::utf16(utf8);
    out_.insert(out_.end(), units.begin() + 2, units.end());  // without the byte order mark
    zeros(2);
}

void ChunkWriter::narrowz(std::string_view text) {
    bytes(text.data(), text.size());
    u8(0);
}

void ChunkWriter::patchU64(std::size_t at, uint64_t v) {
    for (int i = 0; i < 8; ++i) out_.at(at + std::size_t(i)) = uint8_t(v >> (8 * i));
}

Chunk nextChunk(ZnLib::ByteReader& list) {
    Chunk chunk;
    chunk.tag = list.fourcc();
    const uint32_t size = list.u32le();
    chunk.payload = list.sub(size);
    if ((size & 1) && !list.atEnd()) list.skip(1);
    return chunk;
}

uint32_t peekTag(const ZnLib::ByteReader& reader) {
    if (reader.remaining() < 4) return 0;
    ZnLib::ByteReader ahead = reader.view(reader.position(), 4);
    return ahead.fourcc();
}

bool endsInZeroUnit(const ZnLib::ByteReader& payload) {
    const std::size_t n = payload.size();
    return n >= 2 && n % 2 == 0 && payload.data()[n - 1] == 0 && payload.data()[n - 2] == 0;
}

std::string readUtf16z(ZnLib::ByteReader& reader) {
    std::string out;
    while (reader.remaining() >= 2) {
        uint32_t unit = reader.u16le();
        if (unit == 0) break;
        if (unit >= 0xD800 && unit < 0xDC00 && reader.remaining() >= 2) {
            ZnLib::ByteReader ahead = reader.view(reader.position(), 2);
            const uint32_t low = ahead.u16le();
            if (low >= 0xDC00 && low < 0xE000) {
                reader.skip(2);
                ZnLib::Text::appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
                continue;
            }
        }
        if (unit >= 0xD800 && unit < 0xE000) unit = 0xFFFD;
        ZnLib::Text::appendUtf8(out, unit);
    }
    return out;
}

std::string readPath(ZnLib::ByteReader payload) {
    if (!endsInZeroUnit(payload)) throw std::runtime_error("Malformed path");
    return readUtf16z(payload);
}

std::string readNarrowz(ZnLib::ByteReader& reader) {
    std::string out;
    while (!reader.atEnd()) {
        const char c = char(reader.u8());
        if (c == 0) break;
        out += c;
    }
    return out;
}

}  // namespace MV::StateChunkFormat
