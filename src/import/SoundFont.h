#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "import/ImportBank.h"
#include "lib/File.h"

namespace MV {

class ProcessCallbacks;

// A SoundFont 2 file opened for import. Opening reads only the tables; the sample data of a
// wave is fetched when a preset that plays it is imported. Presets are listed sorted by bank,
// then program. Waves are one per sample, or one per stereo pair of a left and a right sample.
// Make it with ZnLib::makeRef: every wave it makes holds it as its `container`, so the file
// stays open while any of them lives.
//
// Threads: opened and used on the thread of the load [ui-thread], no lock held.
class SoundFont : public ImportBank {
public:
    // The identity tag "SF2 ", also the source type of a state chunk's import record.
    static constexpr uint32_t kTag = 0x53463220;

    // Reports "program chunk" and "sample headers" through `progress` as it reads. Throws the
    // texts of SoundFontFile, "Could not open file " for a file that cannot be read.
    SoundFont(const std::string& path, ProcessCallbacks& progress);
    // Over bytes in memory; `path` names the file for the waves' paths and identity.
    SoundFont(const std::string& path, std::vector<uint8_t> bytes, ProcessCallbacks& progress);
    ~SoundFont() override;

    uint32_t sourceType() const override { return kTag; }
    const std::string& path() const override;
    bool sameSource(const ZnLib::RefCounted* container) const override;

    std::size_t programCount() const override;
    ImportProgramInfo programInfo(std::size_t index) const override;
    ZnLib::SharedRef<Program> importProgram(std::size_t index, Bank& target, ProcessCallbacks& progress) override;

    ZnLib::SharedRef<ZnPlug::Wave> importWave(uint32_t index, const std::string& name, Bank& target,
                                              ProcessCallbacks& progress) override;
    void importWaves(Bank& target, ImportFilter& filter, ProcessCallbacks& progress) override;

    // One wave to be made: a sample, or a left and a right sample of equal length.
    struct WaveEntry {
        std::string name;
        uint8_t channels = 1;
        uint32_t sizeBytes = 0;
        uint32_t left = 0;        // sample index; the wave's containerIndex
        uint32_t right = 0xFFFF;  // 0xFFFF when mono
    };
    // The waves the file offers, in the order of their first sample.
    const std::vector<WaveEntry>& waveEntries() const;

    // The file's identity: its path, time and size, and the tag.
    struct Identity {
        ZnLib::FS::File file;
        uint32_t tag = kTag;
        bool operator==(const Identity&) const = default;
    };
    const Identity& identity() const;

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace MV
