#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/ByteReader.h"
#include "lib/MappedFile.h"

namespace MV {

class ProcessCallbacks;

// The tables of an open SoundFont 2 file, read in place: nothing is copied at opening, and the
// sample data stays on disk (mapped) until a preset needs it.
//
// Threads: built and read on the thread of the import [ui-thread], no lock held.
class SoundFontFile {
public:
    // A view of one "pdta" table: its records in place. The last record is the terminator.
    class Table {
    public:
        Table() = default;
        Table(const uint8_t* base, std::size_t count, std::size_t recordSize)
            : base_(base), count_(count), recordSize_(recordSize) {}
        std::size_t count() const noexcept { return count_; }
        // All but the terminator.
        std::size_t entries() const noexcept { return count_ ? count_ - 1 : 0; }
        bool present() const noexcept { return base_ != nullptr; }
        // Record i; "Index out of range" when the table has no such record.
        ZnLib::ByteReader record(std::size_t i) const;

    private:
        const uint8_t* base_ = nullptr;
        std::size_t count_ = 0;
        std::size_t recordSize_ = 0;
    };

    struct PresetHeader {
        std::string name;
        uint16_t program = 0;
        uint16_t bank = 0;
        uint16_t bagIndex = 0;
    };
    struct Bag {
        uint16_t genIndex = 0;
        uint16_t modIndex = 0;
    };
    struct Generator {
        uint16_t number = 0;
        int16_t amount = 0;  // the raw value; ranges keep their low and high byte in it
    };
    struct InstrumentHeader {
        std::string name;
        uint16_t bagIndex = 0;
    };
    enum SampleType : uint16_t { kMono = 1, kRight = 2, kLeft = 4, kLinked = 8 };
    struct SampleHeader {
        std::string name;
        uint32_t start = 0;
        uint32_t end = 0;
        uint32_t loopStart = 0;
        uint32_t loopEnd = 0;
        uint32_t sampleRate = 0;
        uint8_t originalPitch = 0;
        int8_t pitchCorrection = 0;
        uint16_t sampleLink = 0;
        uint16_t sampleType = 0;
        // The frame count, 0 when the header's end lies before its start.
        uint32_t frames() const noexcept { return end > start ? end - start : 0; }
    };

    // Record sizes of the nine tables, in bytes.
    static constexpr std::size_t kPresetHeaderSize = 38;
    static constexpr std::size_t kBagSize = 4;
    static constexpr std::size_t kModulatorSize = 10;
    static constexpr std::size_t kGeneratorSize = 4;
    static constexpr std::size_t kInstrumentSize = 22;
    static constexpr std::size_t kSampleHeaderSize = 46;
    static constexpr std::size_t kNameSize = 20;

    // Maps the file and reads its tables. Throws "Not a RIFF file", "Not a Soundfont file",
    // "Invalid format (missing 'LIST')", "Bad sample list", "Invalid soundfont (missing chunks)",
    // "Invalid Soundfont (missing chunks)", or "Address out of bounds" for a chunk that claims
    // more than the file holds.
    SoundFontFile(const std::string& path, ProcessCallbacks& progress);
    // The same over bytes in memory (the fuzzer's and the tests' way in); `path` only names it.
    SoundFontFile(const std::string& path, std::vector<uint8_t> bytes, ProcessCallbacks& progress);
    SoundFontFile(const SoundFontFile&) = delete;
    SoundFontFile& operator=(const SoundFontFile&) = delete;

    const std::string& path() const noexcept { return path_; }

    PresetHeader presetHeader(std::size_t i) const;
    Bag presetBag(std::size_t i) const { return bag(presetBags_, i); }
    Generator presetGenerator(std::size_t i) const { return generator(presetGens_, i); }
    InstrumentHeader instrument(std::size_t i) const;
    Bag instrumentBag(std::size_t i) const { return bag(instrumentBags_, i); }
    Generator instrumentGenerator(std::size_t i) const { return generator(instrumentGens_, i); }
    SampleHeader sampleHeader(std::size_t i) const;
    // The 20 name bytes of sample header i as they stand, zeros included.
    std::string sampleNameBytes(std::size_t i) const;

    const Table& presetHeaders() const noexcept { return presets_; }
    const Table& instruments() const noexcept { return instruments_; }
    const Table& sampleHeaders() const noexcept { return samples_; }

    // The 16-bit sample data of `frames` frames from frame `start` on; "Address out of bounds"
    // when that passes the "smpl" chunk.
    ZnLib::ByteReader sampleData(uint32_t start, uint32_t frames) const;
    // Gives the pages of sample data that a wave has copied back to the system: the mapping
    // would otherwise keep them resident beside the wave's own floats. They read again from
    // the file if asked for once more.
    void releaseSampleData(const ZnLib::ByteReader& data) const noexcept;

private:
    void open(ProcessCallbacks& progress);
    void readTables(ZnLib::ByteReader list);
    static Bag bag(const Table& t, std::size_t i);
    static Generator generator(const Table& t, std::size_t i);

    std::string path_;
    ZnLib::MappedFile mapped_;
    std::vector<uint8_t> owned_;
    ZnLib::ByteReader bytes_;
    std::size_t sampleDataPos_ = 0;
    std::size_t sampleDataSize_ = 0;
    Table presets_, presetBags_, presetMods_, presetGens_;
    Table instruments_, instrumentBags_, instrumentMods_, instrumentGens_;
    Table samples_;
};

}  // namespace MV
