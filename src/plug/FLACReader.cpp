#include "plug/FLACReader.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace ZnPlug {

::FLAC__StreamDecoderReadStatus FLACReader::read_callback(FLAC__byte buffer[], size_t* bytes) {
    std::size_t n = std::min(*bytes, file_.remaining());
    *bytes = n;
    if (n == 0) return FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
    file_.read(buffer, n);
    return FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
}

void FLACReader::metadata_callback(const ::FLAC__StreamMetadata* metadata) {
    if (metadata->type != FLAC__METADATA_TYPE_STREAMINFO) return;
    const auto& info = metadata->data.stream_info;
    rate_ = info.sample_rate;
    bits_ = info.bits_per_sample;
    position_ = 0;
    try {
        if (info.total_samples > 0xFFFFFFFFu || info.channels == 0 || info.channels > 255) throw std::bad_alloc();
        samples_ = SampleBuffer(uint32_t(info.total_samples), uint8_t(info.channels));
    } catch (...) {
        failure_ = std::current_exception();
    }
}

::FLAC__StreamDecoderWriteStatus FLACReader::write_callback(const ::FLAC__Frame* frame,
                                                            const FLAC__int32* const buffer[]) {
    const uint32_t blockSize = frame->header.blocksize;
    if (failure_ || bits_ == 0 || frame->header.channels != samples_.channels() ||
        uint64_t(position_) + blockSize > samples_.frames())
        return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    const float scale = float(std::ldexp(1.0, -int(bits_ - 1)));
    for (unsigned c = 0; c < samples_.channels(); ++c) {
        float* out = samples_.channel(c) + position_;
        for (uint32_t i = 0; i < blockSize; ++i) out[i] = float(buffer[c][i]) * scale;
    }
    position_ += blockSize;
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void FLACReader::error_callback(::FLAC__StreamDecoderErrorStatus) {}

void FLACReader::read(ZnLib::ByteReader file, Wave& wave) {
    FLACReader decoder(file);
    bool ok = decoder.init() == FLAC__STREAM_DECODER_INIT_STATUS_OK && decoder.process_until_end_of_stream();
    decoder.finish();
    if (decoder.failure_) std::rethrow_exception(decoder.failure_);
    if (!ok) throw std::runtime_error("Could not decode FLAC");

    const uint32_t frames = decoder.samples_.frames();
    wave.setSamples(std::move(decoder.samples_));
    wave.sampleRate = decoder.rate_;
    wave.bits = 32;
    wave.sampleType = 3;
    wave.format = kFormatFlac;
    wave.start = 0;
    wave.end = frames;
}

}  // namespace ZnPlug
