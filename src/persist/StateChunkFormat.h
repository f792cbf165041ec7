#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lib/ByteReader.h"

namespace MV::StateChunkFormat {

// The tags of a host state: a flat list of chunks (tag, u32 size, payload, a pad byte after an
// odd payload), with no RIFF header around it. All numbers are little endian.
constexpr uint32_t kVers = ZnLib::fourcc("vers");
constexpr uint32_t kMvid = ZnLib::fourcc("mvid");
constexpr uint32_t kBimp = ZnLib::fourcc("bimp");
constexpr uint32_t kWref = ZnLib::fourcc("wref");
constexpr uint32_t kWinf = ZnLib::fourcc("winf");
constexpr uint32_t kPath = ZnLib::fourcc("path");
constexpr uint32_t kBwvx = ZnLib::fourcc("bwvx");
constexpr uint32_t kBwav = ZnLib::fourcc("bwav");
constexpr uint32_t kWave = ZnLib::fourcc("wave");
constexpr uint32_t kWfip = ZnLib::fourcc("wfip");
constexpr uint32_t kRiff = ZnLib::fourcc("RIFF");
constexpr uint32_t kUist = ZnLib::fourcc("uist");
constexpr uint32_t kMtrx = ZnLib::fourcc("mtrx");
constexpr uint32_t kPrgm = ZnLib::fourcc("prgm");
constexpr uint32_t kPerf = ZnLib::fourcc("perf");
constexpr uint32_t kBank = ZnLib::fourcc("bank");
constexpr uint32_t kIcon = ZnLib::fourcc("icon");

// Writers below this version wrote the 32-byte wave info.
constexpr uint32_t kNewWaveInfo = 907;
constexpr std::size_t kOldWaveInfoSize = 32;
constexpr std::size_t kWaveInfoHead = 96;
constexpr std::size_t kLoopRecord = 24;
constexpr std::size_t kLoopNameBytes = 12;
// Time, size and at least the terminating zero of the path.
constexpr std::size_t kMinPathInfo = 18;

// Builds a chunk list in memory. A chunk is opened with a zero size, and closing it goes back to
// fill the size in, so chunks nest freely.
class ChunkWriter {
public:
    // Returns where the size field stands, for close().
    std::size_t open(uint32_t tag);
    // Fills in the size of the chunk opened at `sizeAt` and adds the pad byte of an odd size.
    // Throws "State too large" past 4 GiB.
    void close(std::size_t sizeAt);

    void bytes(const void* data, std::size_t n);
    void tag(uint32_t tag);
    void u8(uint8_t v) { bytes(&v, 1); }
    void u32(uint32_t v);
    void u64(uint64_t v);
    void f32(float v);
    void zeros(std::size_t n) { out_.insert(out_.end(), n, 0); }
    // UTF-16 little endian without byte order mark, then a zero unit.
    void utf16z(std::string_view utf8);
    // The bytes as they are, then a zero byte.
    void narrowz(std::string_view text);
    // Overwrites eight bytes at `at` (a time or size written before it was known).
    void patchU64(std::size_t at, uint64_t v);

    std::size_t size() const noexcept { return out_.size(); }
    std::vector<uint8_t>& data() noexcept { return out_; }

private:
    std::vector<uint8_t> out_;
};

// One chunk of a list: its tag and a reader over exactly its payload.
struct Chunk {
    uint32_t tag = 0;
    ZnLib::ByteReader payload;
};

// The chunk at the cursor; the cursor moves behind its pad byte (a missing pad at the very end
// of the data is forgiven). A size past the end raises the buffer reader's error.
Chunk nextChunk(ZnLib::ByteReader& list);

// The next four bytes as a tag, without moving; 0 when fewer than four remain.
uint32_t peekTag(const ZnLib::ByteReader& reader);

// True when the payload is whole 16-bit units and its last unit is zero.
bool endsInZeroUnit(const ZnLib::ByteReader& payload);
// UTF-16 units up to the first zero unit (or the end), as UTF-8; the reader moves past the zero.
// A lone surrogate becomes U+FFFD.
std::string readUtf16z(ZnLib::ByteReader& reader);
// A whole `path` payload, which must end in a zero unit: "Malformed path" otherwise.
std::string readPath(ZnLib::ByteReader payload);
// Narrow text up to the first zero byte (or the end); the reader moves past the zero.
std::string readNarrowz(ZnLib::ByteReader& reader);

}  // namespace MV::StateChunkFormat
