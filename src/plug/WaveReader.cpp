#include "plug/WaveReader.h"

#include <cstring>
#include <stdexcept>

#include "lib/Error.h"
#include "lib/MappedFile.h"
#include "plug/AiffReader.h"
#include "plug/FLACReader.h"
#include "plug/OggReader.h"
#include "plug/Packed12Reader.h"
#include "plug/RiffReader.h"
#include "plug/Wave.h"
#include "plug/WaveFormatHandler.h"

namespace ZnPlug {

namespace {
bool startsWith(const ZnLib::ByteReader& file, std::size_t at, const char* text, std::size_t n) {
    return file.size() >= at + n && std::memcmp(file.data() + at, text, n) == 0;
}

// A reader fills a scratch wave that starts from the target's info without its loops; only a
// complete read replaces what the target holds.
Wave scratchFor(const Wave& wave) {
    Wave scratch;
    static_cast<WaveInfoBase&>(scratch) = wave.info();
    return scratch;
}

void takeFrom(Wave& wave, Wave&& scratch) {
    wave.setSamples(std::move(scratch.samples()));
    wave.info() = std::move(scratch.info());
    wave.bits = scratch.bits;
    wave.sampleType = scratch.sampleType;
    wave.format = scratch.format;
}
}  // namespace

void WaveReader::read(ZnLib::ByteReader file, Wave& wave) {
    const std::size_t n = file.size();
    Wave scratch = scratchFor(wave);
    wave.format = kFormatUnknown;
    if (n > 12 && startsWith(file, 0, "RIFF", 4) && startsWith(file, 8, "WAVE", 4)) {
        RiffReader::read(file, scratch);
    } else if (n > 8 && startsWith(file, 0, "FORM", 4) &&
               (startsWith(file, 8, "AIFF", 4) || startsWith(file, 8, "AIFC", 4))) {
        AiffReader::read(file, scratch);
    } else if (startsWith(file, 0, "LM8953\0", 7)) {
        Packed12Reader::read(file, scratch);
    } else if (startsWith(file, 0, "OggS", 4)) {
        OggReader::read(file, scratch);
    } else if (startsWith(file, 0, "fLaC\0", 5)) {
        // The fifth byte is the header of the first metadata block: a stream whose info block
        // is also its last has 0x80 there and is not taken.
        FLACReader::read(file, scratch);
    } else if (auto handler = WaveFormatHandler::find(file)) {
        Wave loaded;
        handler->load(file, loaded);
        scratch.setSamples(std::move(loaded.samples()));
        scratch.info() = std::move(loaded.info());
        scratch.bits = loaded.bits;
        scratch.sampleType = loaded.sampleType;
        scratch.format = loaded.format;
    }
    if (scratch.format == kFormatUnknown) throw std::runtime_error("Unsupported format");
    takeFrom(wave, std::move(scratch));
}

void WaveReader::load(Wave& wave) {
    const std::string path = wave.file().path();
    wave.format = kFormatUnknown;
    try {
        ZnLib::MappedFile mapped(path);
        if (uint64_t(mapped.size()) >= (uint64_t(1) << 32)) throw std::invalid_argument("Wave data to large");
        read(mapped.reader(), wave);
    } catch (...) {
        ZnLib::throwWrapped("Could not load " + path);
    }
    wave.normalizeRoot();
    wave.takeFileInfo();
}

}  // namespace ZnPlug
