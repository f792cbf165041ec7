#include "plug/OggReader.h"

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "lib/MappedFile.h"
#include "lib/TempFile.h"
#include "plug/RiffFileSink.h"
#include "plug/Wave.h"

namespace ZnPlug {

namespace {

constexpr std::size_t kFeedBytes = 4096;

[[noreturn]] void fail(const char* text) { throw std::runtime_error(text); }

// The decoder's state, cleared in reverse order of setting up whatever happens.
class VorbisStream {
public:
    explicit VorbisStream(ZnLib::ByteReader file) : file_(file) {
        ogg_sync_init(&sync);
        vorbis_info_init(&info);
        vorbis_comment_init(&comment);
    }
    ~VorbisStream() {
        if (blockReady) vorbis_block_clear(&block);
        if (dspReady) vorbis_dsp_clear(&dsp);
        if (streamReady) ogg_stream_clear(&stream);
        vorbis_comment_clear(&comment);
        vorbis_info_clear(&info);
        ogg_sync_clear(&sync);
    }
    VorbisStream(const VorbisStream&) = delete;
    VorbisStream& operator=(const VorbisStream&) = delete;

    // Hands the next block of at most 4096 bytes to the sync layer; false at the end of the data.
    bool feed() {
        std::size_t n = std::min(kFeedBytes, file_.remaining());
        if (n == 0) return false;
        char* dst = ogg_sync_buffer(&sync, long(n));
        if (!dst) fail("bad ogg stream");
        file_.read(dst, n);
        ogg_sync_wrote(&sync, long(n));
        return true;
    }

    ogg_sync_state sync;
    ogg_stream_state stream;
    vorbis_info info;
    vorbis_comment comment;
    vorbis_dsp_state dsp;
    vorbis_block block;
    bool streamReady = false, dspReady = false, blockReady = false;

private:
    ZnLib::ByteReader file_;
};

void readHeaders(VorbisStream& v) {
    ogg_page page;
    ogg_packet packet;
    for (;;) {
        int r = ogg_sync_pageout(&v.sync, &page);
        if (r == 1) break;
        if (r < 0) fail("bad ogg stream");
        if (!v.feed()) fail("way to short ogg");
    }
    if (ogg_stream_init(&v.stream, ogg_page_serialno(&page)) != 0) fail("stream pagein failed");
    v.streamReady = true;
    if (ogg_stream_pagein(&v.stream, &page) < 0) fail("stream pagein failed");
    if (ogg_stream_packetout(&v.stream, &packet) != 1) fail("stream packetout failed");
    if (vorbis_synthesis_headerin(&v.info, &v.comment, &packet) < 0)
        fail("Ogg bitstream does not contain Vorbis audio data");

    int headers = 0;
    while (headers < 2) {
        int r = ogg_sync_pageout(&v.sync, &page);
        if (r == 0) {
            if (!v.feed()) fail("Corrupt secondary header");
            continue;
        }
        if (r < 0) continue;
        if (ogg_stream_pagein(&v.stream, &page) < 0) fail("stream pagein failed");
        while (headers < 2) {
            int p = ogg_stream_packetout(&v.stream, &packet);
            if (p == 0) break;
            if (p < 0 || vorbis_synthesis_headerin(&v.info, &v.comment, &packet) < 0)
                fail("Corrupt secondary header");
            ++headers;
        }
    }
}

// Decodes the audio packets into interleaved floats; returns the frame count.
uint64_t decode(VorbisStream& v, RiffFileSink& out) {
    if (vorbis_synthesis_init(&v.dsp, &v.info) != 0) fail("Ogg bitstream does not contain Vorbis audio data");
    v.dspReady = true;
    if (vorbis_block_init(&v.dsp, &v.block) != 0) fail("Ogg bitstream does not contain Vorbis audio data");
    v.blockReady = true;

    const int channels = v.info.channels;
    uint64_t frames = 0;
    std::vector<float> frame(std::size_t(channels), 0.0f);
    ogg_page page;
    ogg_packet packet;
    bool endOfStream = false;
    while (!endOfStream) {
        int r = ogg_sync_pageout(&v.sync, &page);
        if (r == 0) {
            if (!v.feed()) break;
            continue;
        }
        if (r < 0) continue;  // a gap in the data: the sync layer finds the next page
        if (ogg_stream_pagein(&v.stream, &page) < 0) continue;  // a page of another stream
        for (;;) {
            int p = ogg_stream_packetout(&v.stream, &packet);
            if (p == 0) break;
            if (p < 0) continue;
            if (vorbis_synthesis(&v.block, &packet) == 0) vorbis_synthesis_blockin(&v.dsp, &v.block);
            float** pcm;
            int n;
            while ((n = vorbis_synthesis_pcmout(&v.dsp, &pcm)) > 0) {
                for (int i = 0; i < n; ++i) {
                    for (int c = 0; c < channels; ++c) frame[std::size_t(c)] = pcm[c][i];
                    out.write(frame.data(), frame.size() * sizeof(float));
                }
                frames += uint64_t(n);
                vorbis_synthesis_read(&v.dsp, n);
            }
        }
        if (ogg_page_eos(&page)) endOfStream = true;
    }
    return frames;
}

}  // namespace

void OggReader::read(ZnLib::ByteReader file, Wave& wave) {
    VorbisStream v(file);
    readHeaders(v);
    const int channels = v.info.channels;
    if (channels < 1 || channels > 255) fail("Ogg bitstream does not contain Vorbis audio data");

    ZnLib::TempFile temp("_mv_oggdecode", ".raw");
    RiffFileSink sink(temp.path());
    uint64_t frames = decode(v, sink);
    sink.close();

    ZnLib::MappedFile decoded(temp.path());
    if (frames > 0xFFFFFFFFu || decoded.size() < frames * std::size_t(channels) * sizeof(float))
        fail("Could not write to file");
    SampleBuffer buf{uint32_t(frames), uint8_t(channels)};
    const uint8_t* in = decoded.bytes().data();
    for (uint32_t f = 0; f < buf.frames(); ++f)
        for (int c = 0; c < channels; ++c, in += sizeof(float)) std::memcpy(&buf.channel(unsigned(c))[f], in, 4);

    wave.setSamples(std::move(buf));
    wave.sampleRate = uint32_t(std::clamp<long>(v.info.rate, 0, 0x7FFFFFFF));
    wave.bits = 32;
    wave.sampleType = 3;
    wave.format = kFormatOgg;
    wave.start = 0;
    wave.end = uint32_t(frames);
}

}  // namespace ZnPlug
