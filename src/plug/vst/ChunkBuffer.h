#pragma once
#include <cstddef>
#include <functional>
#include <ostream>

namespace ZnPlug::Vst {

// The bytes handed to a host for effGetChunk. A state chunk may hold whole waves, so it is
// written to an anonymous file and mapped for reading instead of being built in memory; the
// mapping stays until the next chunk operation or the next resume.
class ChunkBuffer {
public:
    ChunkBuffer() = default;
    ~ChunkBuffer();
    ChunkBuffer(const ChunkBuffer&) = delete;
    ChunkBuffer& operator=(const ChunkBuffer&) = delete;

    // [ui-thread] Drops the previous bytes, runs `write` on a stream over a new anonymous file
    // named "chunk" and maps what it wrote. False when `write` returns false or wrote nothing;
    // throws "Could not write chunk" when the file fails.
    bool fill(const std::function<bool(std::ostream&)>& write);
    // [ui-thread] Unmaps the last chunk.
    void release() noexcept;

    const void* data() const noexcept { return data_; }
    std::size_t size() const noexcept { return size_; }

private:
    void* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace ZnPlug::Vst
