#pragma once
#include <cstdint>
#include <string>

namespace ZnLib::FS {

// The identity of a file on disk: last write time, size and normalised path. Items are matched
// by it, and a change on disk is noticed by comparing it with the disk.
class File {
public:
    File() = default;
    // With time and size both zero, they are read from the file system (zero if no such file).
    explicit File(std::string path, uint64_t time = 0, uint64_t size = 0);

    const std::string& path() const noexcept { return path_; }
    uint64_t time() const noexcept { return time_; }
    uint64_t size() const noexcept { return size_; }
    bool empty() const noexcept { return path_.empty(); }

    // Replaces the path (normalised); time and size stay.
    void setPath(std::string path);
    // Reads time and size from the disk again.
    void refresh();
    // True when the path is empty, names no existing non-directory, or the time or size on disk
    // differ from the stored ones.
    bool changedOnDisk() const;

    bool operator==(const File&) const = default;

    // Last write time and size on disk; false when there is no such regular file.
    static bool stat(const std::string& path, uint64_t& time, uint64_t& size);

private:
    uint64_t time_ = 0;  // nanoseconds since the epoch
    uint64_t size_ = 0;
    std::string path_;
};

}  // namespace ZnLib::FS
