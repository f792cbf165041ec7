#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "lib/File.h"
#include "lib/ModCounted.h"
#include "lib/RefCounted.h"

namespace ZnPlug {

// Base of everything that can be a file of its own: banks, programs, performances, waves,
// wave matrices, icons and presets.
class SoundItem : public ZnLib::ModCounted, public ZnLib::_RefCounted<int, int>, public ZnLib::MemUsage {
public:
    SoundItem() = default;
    explicit SoundItem(std::string name) : name_(std::move(name)) {}
    SoundItem(const SoundItem&) = default;
    SoundItem& operator=(const SoundItem&) = default;

    const std::string& name() const noexcept { return name_; }
    const ZnLib::FS::File& file() const noexcept { return file_; }
    ZnLib::FS::File& file() noexcept { return file_; }
    void setFile(ZnLib::FS::File f) { file_ = std::move(f); }

    // Stores the name and makes the path's last component the bare name, without extension:
    // the save flows add the extension back. Time and size stay.
    virtual void setName(const std::string& name);

    // The count is not zero, or the file counts as changed (an item never saved is modified).
    bool modified() const override;
    // (path length + name length) * 2.
    std::size_t memUsage() const override;

protected:
    // The count or the file: what every composite item tests before its children.
    bool selfModified() const;

private:
    std::string name_;
    ZnLib::FS::File file_;
};

// Mute and solo state of a slot or group: bits 0-1 mute (0 no, 1 muted, 2 muted by solo),
// bit 2 solo.
class Soloable {
public:
    enum Mute : uint8_t { NotMuted = 0, Muted = 1, MutedBySolo = 2 };
    uint8_t mute() const noexcept { return bits_ & 3; }
    void setMute(uint8_t m) noexcept { bits_ = uint8_t((bits_ & ~3) | (m & 3)); }
    bool solo() const noexcept { return (bits_ & 4) != 0; }
    void setSolo(bool s) noexcept { bits_ = uint8_t(s ? (bits_ | 4) : (bits_ & ~4)); }
    bool muted() const noexcept { return mute() != NotMuted; }
    uint8_t soloBits() const noexcept { return bits_; }
    bool operator==(const Soloable&) const = default;

private:
    uint8_t bits_ = 0;
};

}  // namespace ZnPlug
