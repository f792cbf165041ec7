#include "plug/RexHandler.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "lib/Error.h"
#include "lib/Text.h"
#include "plug/Wave.h"

namespace ZnPlug::Rex2 {

namespace {

// The library's C interface, as its entry points take it.
using Handle = void*;
using Error = int32_t;

struct Info {
    int32_t channels;
    int32_t sampleRate;
    int32_t sliceCount;
    int32_t tempo;  // thousandths of a beat per minute
    int32_t originalTempo;
    int32_t ppqLength;
    int32_t timeSignatureNumerator;
    int32_t timeSignatureDenominator;
    int32_t bitDepth;
};
static_assert(sizeof(Info) == 36);

struct SliceInfo {
    int32_t ppqPosition;
    int32_t sampleLength;
};
static_assert(sizeof(SliceInfo) == 8);

// Ticks of a quarter note in the library's positions and lengths.
constexpr double kTicksPerQuarter = 15360.0;

using DeleteFn = void (*)(Handle*);
using CreateFn = Error (*)(Handle*, const char*, int32_t, void*, void*);
using GetInfoFn = Error (*)(Handle, int32_t, Info*);
using GetInfoFromBufferFn = Error (*)(int32_t, const char*, int32_t, Info*);
using GetCreatorInfoFn = Error (*)(Handle, int32_t, void*);
using GetSliceInfoFn = Error (*)(Handle, int32_t, int32_t, SliceInfo*);
using SetOutputSampleRateFn = Error (*)(Handle, int32_t);
using RenderSliceFn = Error (*)(Handle, int32_t, int32_t, float* [2]);
using PreviewFn = Error (*)(Handle);
using RenderPreviewBatchFn = Error (*)(Handle, int32_t, float* [2]);
using SetPreviewTempoFn = Error (*)(Handle, int32_t);
using OpenFn = char (*)();
using CloseFn = void (*)();

void check(Error code) {
    if (code == 1) return;
    static constexpr std::array<std::pair<Error, const char*>, 13> texts = {{
        {2, "Operator aborted by user"},
        {3, "No creator available"},
        {105, "Out of memory"},
        {106, "File corrupt"},
        {107, "Unsupported REX version"},
        {108, "Zero loop length"},
        {202, "Invalid handle"},
        {203, "Invalid size"},
        {204, "Invalid argument"},
        {205, "Invalid slice"},
        {206, "Invalid samplerate"},
        {207, "Buffer too small"},
        {210, "Invalid tempo"},
    }};
    for (const auto& [c, text] : texts)
        if (c == code) throw std::runtime_error(text);
    throw std::runtime_error("REX error");
}

// "1.6" of "/usr/lib/libREX.so.1.6.0"; false when the name holds no version.
bool versionOf(const std::string& path, int& major, int& minor) {
    const std::size_t so = path.rfind(".so.");
    if (so == std::string::npos) return false;
    const char* p = path.data() + so + 4;
    const char* end = path.data() + path.size();
    auto [afterMajor, ec1] = std::from_chars(p, end, major);
    if (ec1 != std::errc() || afterMajor == end || *afterMajor != '.') return false;
    auto [afterMinor, ec2] = std::from_chars(afterMajor + 1, end, minor);
    return ec2 == std::errc() && (afterMinor == end || *afterMinor == '.');
}

// The file the loader took for `handle`, with links followed.
std::string loadedPath(void* handle) {
    link_map* map = nullptr;
    if (::dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || !map || !map->l_name) return {};
    char* real = ::realpath(map->l_name, nullptr);
    if (!real) return map->l_name;
    std::string out(real);
    std::free(real);
    return out;
}

// Frames of `ppq` ticks at the loop's tempo and rate.
double ppqToFrames(int32_t ppq, const Info& info) {
    return double(ppq) * info.sampleRate * 60000.0 / (kTicksPerQuarter * info.tempo);
}

}  // namespace

struct RexHandler::Impl {
    void* library = nullptr;
    DeleteFn rexDelete = nullptr;
    CreateFn rexCreate = nullptr;
    GetInfoFn rexGetInfo = nullptr;
    GetInfoFromBufferFn rexGetInfoFromBuffer = nullptr;
    GetCreatorInfoFn rexGetCreatorInfo = nullptr;
    GetSliceInfoFn rexGetSliceInfo = nullptr;
    SetOutputSampleRateFn rexSetOutputSampleRate = nullptr;
    RenderSliceFn rexRenderSlice = nullptr;
    PreviewFn rexStartPreview = nullptr;
    PreviewFn rexStopPreview = nullptr;
    RenderPreviewBatchFn rexRenderPreviewBatch = nullptr;
    SetPreviewTempoFn rexSetPreviewTempo = nullptr;
    OpenFn open = nullptr;
    CloseFn close = nullptr;
    bool opened = false;

    explicit Impl(const std::string& file) {
        library = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) throw std::runtime_error("Could not load REX library");
        try {
            int major = 0, minor = 0;
            if (!versionOf(loadedPath(library), major, minor))
                throw std::runtime_error("Could not query REX version info");
            if (major != kMajorVersion) throw std::runtime_error("Too old REX DLL");
            if (minor < kMinorVersion) throw std::runtime_error("Too old REX API");
            find(rexDelete, "REXDelete");
            find(rexCreate, "REXCreate");
            find(rexGetInfo, "REXGetInfo");
            find(rexGetInfoFromBuffer, "REXGetInfoFromBuffer");
            find(rexGetCreatorInfo, "REXGetCreatorInfo");
            find(rexGetSliceInfo, "REXGetSliceInfo");
            find(rexSetOutputSampleRate, "REXSetOutputSampleRate");
            find(rexRenderSlice, "REXRenderSlice");
            find(rexStartPreview, "REXStartPreview");
            // The stop slot has always been looked up under the start's name.
            find(rexStopPreview, "REXStartPreview");
            find(rexRenderPreviewBatch, "REXRenderPreviewBatch");
            find(rexSetPreviewTempo, "REXSetPreviewTempo");
            findEither(open, "Open", "REXInitializeDLL");
            findEither(close, "Close", "REXUninitializeDLL");
            if (!open()) throw std::runtime_error("REX init error");
            opened = true;
        } catch (...) {
            ::dlclose(library);
            throw;
        }
    }
    ~Impl() {
        if (opened) close();
        ::dlclose(library);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    template <typename Fn>
    void find(Fn& slot, const char* name) {
        void* symbol = ::dlsym(library, name);
        if (!symbol) throw std::runtime_error(std::string("Could not find procedure : ") + name);
        slot = reinterpret_cast<Fn>(symbol);
    }
    template <typename Fn>
    void findEither(Fn& slot, const char* name, const char* older) {
        try {
            find(slot, name);
        } catch (const std::runtime_error&) {
            find(slot, older);
        }
    }
};

RexHandler::RexHandler(const std::string& library) : impl_(std::make_shared<Impl>(library)) {}

RexHandler::~RexHandler() = default;

bool RexHandler::canLoad(ZnLib::ByteReader file) {
    if (file.remaining() < 12) return false;
    return file.fourcc() == ZnLib::fourcc("CAT ") && (file.skip(4), file.fourcc() == ZnLib::fourcc("REX2"));
}

void RexHandler::load(ZnLib::ByteReader file, Wave& wave) {
    Impl& rex = *impl_;
    if (file.size() > std::size_t(INT32_MAX)) check(203);
    Handle handle = nullptr;
    struct Release {
        Impl& rex;
        Handle& handle;
        ~Release() {
            if (handle) rex.rexDelete(&handle);
        }
    } release{rex, handle};

    check(rex.rexCreate(&handle, reinterpret_cast<const char*>(file.data()), int32_t(file.size()), nullptr, nullptr));
    Info info{};
    check(rex.rexGetInfo(handle, int32_t(sizeof info), &info));
    check(rex.rexSetOutputSampleRate(handle, info.sampleRate));
    if (info.tempo <= 0) check(210);
    if (info.sampleRate <= 0) check(206);
    if (info.channels < 1 || info.channels > 2 || info.sliceCount < 0 || info.ppqLength < 0) check(204);

    // Positions beyond what a wave can hold are no loop this program can play.
    auto frameOf = [&](double frames) {
        if (!(frames >= 0) || frames > double(INT32_MAX)) check(203);
        return uint32_t(frames);
    };
    uint32_t frames = frameOf(ppqToFrames(info.ppqLength, info));
    std::vector<Loop> slices;
    std::vector<int32_t> lengths;
    for (int32_t i = 0; i < info.sliceCount; ++i) {
        SliceInfo slice{};
        check(rex.rexGetSliceInfo(handle, i, int32_t(sizeof slice), &slice));
        if (slice.sampleLength < 0 || slice.ppqPosition < 0) check(205);
        const uint32_t start = frameOf(ppqToFrames(slice.ppqPosition, info));
        const uint32_t end = frameOf(double(start) + slice.sampleLength);
        slices.emplace_back(start, end, LoopMode::Slice, ZnLib::Text::format("Slc%u", unsigned(i + 1)));
        lengths.push_back(slice.sampleLength);
        frames = std::max(frames, end);
    }

    SampleBuffer buffer(frames, uint8_t(info.channels));
    for (int32_t i = 0; i < info.sliceCount; ++i) {
        const uint32_t start = slices[std::size_t(i)].start;
        float* channels[2] = {buffer.channel(0) + start, info.channels > 1 ? buffer.channel(1) + start : nullptr};
        check(rex.rexRenderSlice(handle, i, lengths[std::size_t(i)], channels));
    }

    const uint8_t bits = info.bitDepth == 8 ? 8 : info.bitDepth == 16 ? 16 : info.bitDepth == 24 ? 24 : 32;
    const uint8_t sampleType = bits == 8 ? 1 : bits == 32 ? 3 : 2;
    wave.setSamples(std::move(buffer));
    wave.sampleRate = uint32_t(info.sampleRate);
    wave.start = 0;
    wave.end = frames;
    wave.root = 255;
    wave.fine = 0;
    wave.tempo = float(info.tempo * 0.001);
    wave.flags = kWaveTempoKnown;
    wave.loops = std::move(slices);
    wave.bits = bits;
    wave.sampleType = sampleType;
    wave.format = kFormatRex;
}

std::shared_ptr<RexHandler> RexHandler::start(const std::string& library, int32_t& failed, std::string* error) {
    static std::mutex lock;
    static std::weak_ptr<RexHandler> live;
    std::lock_guard<std::mutex> guard(lock);
    if (auto handler = live.lock()) return handler;
    if (library.empty() || failed) return nullptr;
    try {
        auto handler = std::make_shared<RexHandler>(library);
        registerHandler(handler);
        live = handler;
        return handler;
    } catch (const std::exception& e) {
        failed = 1;
        if (error) *error = ZnLib::describe(e);
        return nullptr;
    }
}

}  // namespace ZnPlug::Rex2
