#include "import/SoundFontFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "model/ProcessCallbacks.h"

namespace MV {

using ZnLib::ByteReader;
using ZnLib::fourcc;

namespace {

constexpr std::size_t kChunkHeader = 8;  // tag and size

[[noreturn]] void indexOutOfRange() { throw std::out_of_range("Index out of range"); }

std::size_t alignEven(std::size_t pos) { return pos + (pos & 1); }

}  // namespace

ByteReader SoundFontFile::Table::record(std::size_t i) const {
    if (i >= count_) indexOutOfRange();
    return ByteReader(base_ + i * recordSize_, recordSize_);
}

SoundFontFile::SoundFontFile(const std::string& path, ProcessCallbacks& progress)
    : path_(path), mapped_(path), bytes_(mapped_.reader()) {
    open(progress);
}

SoundFontFile::SoundFontFile(const std::string& path, std::vector<uint8_t> bytes, ProcessCallbacks& progress)
    : path_(path), owned_(std::move(bytes)), bytes_(owned_.data(), owned_.size()) {
    open(progress);
}

void SoundFontFile::open(ProcessCallbacks& progress) {
    ByteReader file = bytes_;
    if (file.size() < 4 || file.fourcc() != fourcc("RIFF")) throw std::runtime_error("Not a RIFF file");
    if (file.size() < 12) throw std::runtime_error("Not a Soundfont file");
    const uint32_t riffSize = file.u32le();
    if (file.fourcc() != fourcc("sfbk")) throw std::runtime_error("Not a Soundfont file");

    // A RIFF size that claims more than the file holds is taken as the file's end.
    const std::size_t end = std::min<std::size_t>(file.size(), std::size_t(riffSize) + kChunkHeader);
    std::size_t pdtaPos = 0, pdtaSize = 0;
    bool havePdta = false, haveSdta = false;
    std::size_t pos = file.position();
    while (end - pos >= kChunkHeader) {
        ByteReader chunk = bytes_.view(pos, end - pos);
        if (chunk.fourcc() != fourcc("LIST")) throw std::runtime_error("Invalid format (missing 'LIST')");
        const uint32_t size = chunk.u32le();
        ByteReader list = chunk.sub(size);
        const uint32_t type = size >= 4 ? list.fourcc() : 0;
        if (type == fourcc("pdta")) {
            pdtaPos = pos + kChunkHeader + 4;
            pdtaSize = size - 4;
            havePdta = true;
        } else if (type == fourcc("sdta")) {
            if (list.remaining() < kChunkHeader || list.fourcc() != fourcc("smpl"))
                throw std::runtime_error("Bad sample list");
            const uint32_t dataSize = list.u32le();
            sampleDataPos_ = pos + kChunkHeader + 4 + kChunkHeader;
            sampleDataSize_ = std::min<std::size_t>(dataSize, list.remaining());
            haveSdta = true;
        }
        pos = alignEven(pos + kChunkHeader + size);
    }
    if (!havePdta || !haveSdta) throw std::runtime_error("Invalid soundfont (missing chunks)");

    progress.process("program chunk", path_);
    readTables(bytes_.view(pdtaPos, pdtaSize));
    progress.process("sample headers", path_);
}

void SoundFontFile::readTables(ByteReader list) {
    struct Slot {
        uint32_t tag;
        Table* table;
        std::size_t recordSize;
    };
    const Slot slots[] = {
        {fourcc("phdr"), &presets_, kPresetHeaderSize},   {fourcc("pbag"), &presetBags_, kBagSize},
        {fourcc("pmod"), &presetMods_, kModulatorSize},   {fourcc("pgen"), &presetGens_, kGeneratorSize},
        {fourcc("inst"), &instruments_, kInstrumentSize}, {fourcc("ibag"), &instrumentBags_, kBagSize},
        {fourcc("imod"), &instrumentMods_, kModulatorSize}, {fourcc("igen"), &instrumentGens_, kGeneratorSize},
        {fourcc("shdr"), &samples_, kSampleHeaderSize},
    };
    while (list.remaining() >= kChunkHeader) {
        const uint32_t tag = list.fourcc();
        const uint32_t size = list.u32le();
        ByteReader body = list.sub(size);
        if ((size & 1) != 0 && !list.atEnd()) list.skip(1);
        for (const Slot& slot : slots)
            if (slot.tag == tag) *slot.table = Table(body.data(), size / slot.recordSize, slot.recordSize);
    }
    // The modulator tables may be absent: modulators play no part in an import.
    for (const Slot& slot : slots)
        if (!slot.table->present() && slot.table != &presetMods_ && slot.table != &instrumentMods_)
            throw std::runtime_error("Invalid Soundfont (missing chunks)");
}

SoundFontFile::PresetHeader SoundFontFile::presetHeader(std::size_t i) const {
    ByteReader r = presets_.record(i);
    PresetHeader h;
    h.name = r.text(kNameSize);
    h.program = r.u16le();
    h.bank = r.u16le();
    h.bagIndex = r.u16le();
    return h;
}

SoundFontFile::InstrumentHeader SoundFontFile::instrument(std::size_t i) const {
    ByteReader r = instruments_.record(i);
    InstrumentHeader h;
    h.name = r.text(kNameSize);
    h.bagIndex = r.u16le();
    return h;
}

SoundFontFile::SampleHeader SoundFontFile::sampleHeader(std::size_t i) const {
    ByteReader r = samples_.record(i);
    SampleHeader h;
    h.name = r.text(kNameSize);
    h.start = r.u32le();
    h.end = r.u32le();
    h.loopStart = r.u32le();
    h.loopEnd = r.u32le();
    h.sampleRate = r.u32le();
    h.originalPitch = r.u8();
    h.pitchCorrection = r.i8();
    h.sampleLink = r.u16le();
    h.sampleType = r.u16le();
    return h;
}

std::string SoundFontFile::sampleNameBytes(std::size_t i) const {
    ByteReader r = samples_.record(i);
    auto name = r.bytes(kNameSize);
    return std::string(reinterpret_cast<const char*>(name.data()), name.size());
}

SoundFontFile::Bag SoundFontFile::bag(const Table& t, std::size_t i) {
    ByteReader r = t.record(i);
    Bag b;
    b.genIndex = r.u16le();
    b.modIndex = r.u16le();
    return b;
}

SoundFontFile::Generator SoundFontFile::generator(const Table& t, std::size_t i) {
    ByteReader r = t.record(i);
    Generator g;
    g.number = r.u16le();
    g.amount = r.i16le();
    return g;
}

ByteReader SoundFontFile::sampleData(uint32_t start, uint32_t frames) const {
    const std::size_t offset = std::size_t(start) * 2, size = std::size_t(frames) * 2;
    ByteReader data = bytes_.view(sampleDataPos_, sampleDataSize_);
    return data.view(offset, size);
}

void SoundFontFile::releaseSampleData(const ByteReader& data) const noexcept {
    // Only a mapping may be dropped: bytes in memory would be lost.
    if (!owned_.empty() || data.size() == 0) return;
    const auto page = uintptr_t(::sysconf(_SC_PAGESIZE));
    const auto first = (uintptr_t(data.data()) + page - 1) & ~(page - 1);
    const auto last = (uintptr_t(data.data()) + data.size()) & ~(page - 1);
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_DONTNEED);
}

}  // namespace MV
