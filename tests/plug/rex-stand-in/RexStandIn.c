/* A stand-in for the closed REX decoding library, with the same entry points, for the handler's
 * tests. It "decodes" a made-up file: "CAT ", a size, "REX2", then little-endian 32-bit numbers:
 * channels, sample rate, tempo (thousandths of a beat per minute), length in ticks, bit depth, an
 * error code that creating returns when not 0, the slice count, and a tick position and a frame
 * length per slice. Slice i renders the value (i + 1) / 10 + channel / 100 into every frame.
 *
 * Variants, by definition: REX_STAND_IN_OPEN_FAILS (opening says no), REX_STAND_IN_NO_RENDER
 * (no slice rendering), REX_STAND_IN_INIT_NAMES (the older names of opening and closing). */
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

enum { kOk = 1, kFileCorrupt = 106, kInvalidSize = 203, kInvalidSlice = 205 };

typedef struct {
    int32_t channels, sampleRate, sliceCount, tempo, originalTempo, ppqLength, numerator, denominator, bitDepth;
} Info;

typedef struct {
    int32_t ppqPosition, sampleLength;
} SliceInfo;

typedef struct {
    Info info;
    SliceInfo* slices;
} Loop;

static int openHandles = 0;
static int opened = 0;

static int32_t number(const unsigned char* p) {
    return (int32_t)((uint32_t)p[0] | ((uint32_t)p[1] << 8) | ((uint32_t)p[2] << 16) | ((uint32_t)p[3] << 24));
}

EXPORT int RexStandInOpenHandles(void) { return openHandles; }
EXPORT int RexStandInOpened(void) { return opened; }

EXPORT int32_t REXCreate(void** handle, const char* buffer, int32_t size, void* callback, void* user) {
    (void)callback;
    (void)user;
    const unsigned char* p = (const unsigned char*)buffer;
    *handle = NULL;
    if (size < 12 + 28 || memcmp(p, "CAT ", 4) != 0 || memcmp(p + 8, "REX2", 4) != 0) return kFileCorrupt;
    p += 12;
    if (number(p + 20) != 0) return number(p + 20);
    const int32_t count = number(p + 24);
    if (count < 0 || (size - 40) / 8 < count) return kFileCorrupt;
    Loop* loop = calloc(1, sizeof *loop);
    loop->info.channels = number(p);
    loop->info.sampleRate = number(p + 4);
    loop->info.tempo = number(p + 8);
    loop->info.originalTempo = loop->info.tempo;
    loop->info.ppqLength = number(p + 12);
    loop->info.bitDepth = number(p + 16);
    loop->info.numerator = loop->info.denominator = 4;
    loop->info.sliceCount = count;
    loop->slices = calloc((size_t)count + 1, sizeof(SliceInfo));
    for (int32_t i = 0; i < count; ++i) {
        loop->slices[i].ppqPosition = number(p + 28 + 8 * i);
        loop->slices[i].sampleLength = number(p + 32 + 8 * i);
    }
    *handle = loop;
    ++openHandles;
    return kOk;
}

EXPORT void REXDelete(void** handle) {
    Loop* loop = *handle;
    if (!loop) return;
    free(loop->slices);
    free(loop);
    *handle = NULL;
    --openHandles;
}

EXPORT int32_t REXGetInfo(void* handle, int32_t size, Info* info) {
    if (size != (int32_t)sizeof *info) return kInvalidSize;
    *info = ((Loop*)handle)->info;
    return kOk;
}

EXPORT int32_t REXGetInfoFromBuffer(int32_t size, const char* buffer, int32_t infoSize, Info* info) {
    (void)size;
    (void)buffer;
    (void)infoSize;
    (void)info;
    return kFileCorrupt;
}

EXPORT int32_t REXGetCreatorInfo(void* handle, int32_t size, void* info) {
    (void)handle;
    (void)size;
    (void)info;
    return 3;
}

EXPORT int32_t REXGetSliceInfo(void* handle, int32_t index, int32_t size, SliceInfo* slice) {
    const Loop* loop = handle;
    if (size != (int32_t)sizeof *slice) return kInvalidSize;
    if (index < 0 || index >= loop->info.sliceCount) return kInvalidSlice;
    *slice = loop->slices[index];
    return kOk;
}

EXPORT int32_t REXSetOutputSampleRate(void* handle, int32_t rate) {
    (void)handle;
    return rate > 0 ? kOk : 206;
}

#ifndef REX_STAND_IN_NO_RENDER
EXPORT int32_t REXRenderSlice(void* handle, int32_t index, int32_t frames, float* buffers[2]) {
    const Loop* loop = handle;
    if (index < 0 || index >= loop->info.sliceCount) return kInvalidSlice;
    if (frames != loop->slices[index].sampleLength) return 207;
    for (int32_t c = 0; c < loop->info.channels; ++c)
        for (int32_t k = 0; k < frames; ++k) buffers[c][k] = (float)(index + 1) / 10.0f + (float)c / 100.0f;
    return kOk;
}
#endif

EXPORT int32_t REXStartPreview(void* handle) {
    (void)handle;
    return kOk;
}

EXPORT int32_t REXRenderPreviewBatch(void* handle, int32_t frames, float* buffers[2]) {
    (void)handle;
    (void)frames;
    (void)buffers;
    return kOk;
}

EXPORT int32_t REXSetPreviewTempo(void* handle, int32_t tempo) {
    (void)handle;
    (void)tempo;
    return kOk;
}

#ifdef REX_STAND_IN_INIT_NAMES
#define OPEN REXInitializeDLL
#define CLOSE REXUninitializeDLL
#else
#define OPEN Open
#define CLOSE Close
#endif

EXPORT char OPEN(void) {
#ifdef REX_STAND_IN_OPEN_FAILS
    return 0;
#else
    ++opened;
    return 1;
#endif
}

EXPORT void CLOSE(void) { --opened; }
