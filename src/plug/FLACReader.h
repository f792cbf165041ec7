#pragma once
#include <FLAC++/decoder.h>

#include <cstdint>
#include <exception>

#include "lib/ByteReader.h"
#include "plug/Wave.h"

namespace ZnPlug {

// Decodes FLAC from memory: the stream info sizes the buffer, each block is copied in at the
// running position, scaled to floats.
class FLACReader : public FLAC::Decoder::Stream {
public:
    // `file` is the whole file. Throws "Could not decode FLAC". [ui-thread]
    static void read(ZnLib::ByteReader file, Wave& wave);

protected:
    ::FLAC__StreamDecoderReadStatus read_callback(FLAC__byte buffer[], size_t* bytes) override;
    ::FLAC__StreamDecoderWriteStatus write_callback(const ::FLAC__Frame* frame,
                                                    const FLAC__int32* const buffer[]) override;
    void metadata_callback(const ::FLAC__StreamMetadata* metadata) override;
    void error_callback(::FLAC__StreamDecoderErrorStatus status) override;

private:
    explicit FLACReader(ZnLib::ByteReader file) : file_(file) {}

    ZnLib::ByteReader file_;
    SampleBuffer samples_;
    uint32_t rate_ = 0;
    unsigned bits_ = 0;
    uint32_t position_ = 0;
    // A failure inside a callback (out of memory) waits here: exceptions must not cross the C decoder.
    std::exception_ptr failure_;
};

}  // namespace ZnPlug
