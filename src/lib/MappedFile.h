#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "lib/ByteReader.h"

namespace ZnLib {

// A whole file mapped read-only. Readers decode straight from the mapping, without a second
// copy of the bytes. An empty file maps to an empty span.
class MappedFile {
public:
    MappedFile() = default;
    // Throws "Could not open file " + path (with the system's reason nested) on failure.
    explicit MappedFile(const std::string& path);
    ~MappedFile();
    MappedFile(MappedFile&& o) noexcept;
    MappedFile& operator=(MappedFile&& o) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::span<const uint8_t> bytes() const noexcept { return {data_, size_}; }
    std::size_t size() const noexcept { return size_; }
    ByteReader reader() const noexcept { return ByteReader(data_, size_); }

private:
    void unmap() noexcept;
    const uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace ZnLib
