#include "persist/StateReader.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>

#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "model/ProcessCallbacks.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"
#include "persist/MVLoad.h"
#include "persist/StateChunkFormat.h"
#include "plug/Wave.h"

namespace MV {

using namespace StateChunkFormat;
using ZnLib::ByteReader;
using ZnLib::SharedRef;
using ZnPlug::Wave;
namespace stdfs = std::filesystem;

namespace {

constexpr uint32_t kUnknownIndex = 0xFFFFFFFFu;

[[noreturn]] void fail(const char* text) { throw std::runtime_error(text); }

// The wave info of a `winf` chunk: what a wave's own file does not say.
struct WaveRecord {
    uint8_t root = 255;
    int8_t fine = 0;
    uint32_t sampleRate = 0;
    uint32_t start = 0;
    uint32_t end = 0;
    uint32_t headTrim = 0;
    uint32_t tailTrim = 0;
    float tempo = 0;
    uint8_t flags = 0;
    std::vector<ZnPlug::Loop> loops;
};

WaveRecord readWaveRecord(ByteReader p, uint32_t version) {
    WaveRecord r;
    r.root = uint8_t(p.u32le());
    r.sampleRate = p.u32le();
    r.start = p.u32le();
    r.end = p.u32le();
    r.headTrim = p.u32le();
    r.tailTrim = p.u32le();
    if (version >= kNewWaveInfo) r.tempo = p.f32le();
    r.fine = p.i8();
    r.flags = p.u8();
    p.skip(version >= kNewWaveInfo ? 2 + 64 : 2);
    if (!std::isfinite(r.tempo) || r.tempo < 0) r.tempo = 0;
    const uint32_t count = p.u32le();
    for (uint32_t i = 0; i < count; ++i) {
        ZnPlug::Loop loop;
        loop.start = p.u32le();
        loop.end = p.u32le();
        const uint32_t mode = p.u32le();
        if (mode >= ZnPlug::kLoopModeNames.size()) fail("Malformed wave info");
        loop.mode = ZnPlug::LoopMode(mode);
        loop.setName(p.text(kLoopNameBytes));
        r.loops.push_back(loop);
    }
    return r;
}

// Keeps start..end of the data, as the editor's trim does: the trims grow, loops move along.
void trim(Wave& wave) {
    const uint32_t frames = wave.frames(), start = wave.start, end = wave.end, kept = end - start;
    if (kept == frames) return;
    ZnPlug::SampleBuffer buffer(kept, wave.channels());
    for (unsigned c = 0; c < wave.channels(); ++c)
        std::copy_n(wave.channelData(c) + start, kept, buffer.channel(c));
    wave.headTrim += start;
    wave.tailTrim += frames - end;
    for (ZnPlug::Loop& loop : wave.loops) {
        loop.start = std::clamp(loop.start, start, end) - start;
        loop.end = std::clamp(loop.end, loop.start + start, end) - start;
    }
    wave.start = 0;
    wave.end = kept;
    wave.setSamples(std::move(buffer));
    wave.flags |= ZnPlug::kWaveCropped;
}

// Whatever a record or an embedded file says, the play range and the loops stay inside the data.
void keepInside(Wave& wave) {
    const uint32_t frames = wave.frames();
    wave.end = std::min(wave.end, frames);
    wave.start = std::min(wave.start, wave.end);
    for (ZnPlug::Loop& loop : wave.loops) {
        loop.start = std::min(loop.start, frames);
        loop.end = std::clamp(loop.end, loop.start, frames);
    }
}

void apply(Wave& wave, const WaveRecord& r) {
    wave.root = r.root;
    wave.fine = r.fine;
    if (r.sampleRate) wave.sampleRate = r.sampleRate;
    wave.start = r.start;
    wave.end = r.end;
    wave.tempo = r.tempo;
    // Whether the tempo came from a file travels with the tempo.
    wave.flags = uint8_t((wave.flags & ~ZnPlug::kWaveTempoKnown) | (r.flags & ZnPlug::kWaveTempoKnown));
    wave.loops = r.loops;
    wave.headTrim = wave.tailTrim = 0;
    const uint32_t frames = wave.frames();
    if (r.flags & ZnPlug::kWaveCropped) {
        wave.start = std::min(r.headTrim, frames);
        wave.end = std::max(wave.start, std::min(r.end, frames - std::min(r.tailTrim, frames)));
        trim(wave);
    }
    if (r.flags & ZnPlug::kWaveNormalized) wave.normalizeRoot();
    keepInside(wave);
}

// A wave of an import source, waiting for its source to be opened.
struct PendingWave {
    WaveRecord record;
    std::string name;
    uint32_t index = kUnknownIndex;
};

class Reader {
public:
    Reader(bool programOnly, const StateOptions& options)
        : options_(options),
          progress_(options.progress ? *options.progress : silent_),
          places_(options.places),
          programOnly_(programOnly) {
        projectMode_ = !programOnly && !options.projectFolder.empty() && options.saveWavesInProject;
        // The project folder goes in front of the search, so that its copies are found first.
        if (!options.projectFolder.empty()) places_.insert(places_.begin(), options.projectFolder);
        setBase(projectMode_ ? withSlash(options.projectFolder) : ZnLib::FS::directory(options.bankPath));
    }

    LoadedState run(std::span<const uint8_t> data) {
        ByteReader list(data);
        while (!list.atEnd()) {
            Chunk chunk = nextChunk(list);
            switch (chunk.tag) {
                case kVers: state_.version = chunk.payload.u32le(); break;
                case kMvid: instanceId(chunk.payload); break;
                case kBimp: importSource(chunk.payload); break;
                case kWref: waveByReference(chunk.payload); break;
                case kWave: waveByContent(chunk.payload); break;
                case kUist: {
                    const auto bytes = chunk.payload.bytes(chunk.payload.size());
                    state_.uiState.assign(bytes.begin(), bytes.end());
                    break;
                }
                case kMtrx:
                case kPrgm:
                case kPerf:
                case kBank: document(chunk.tag, chunk.payload); break;
                case kIcon: icon(chunk.payload); break;
                default: break;  // a later writer's chunk
            }
        }
        flush();
        bank_->removeNoneWave();
        // A program state brings its performance to the fore.
        if (programOnly_ && !bank_->performances.empty()) bank_->currentPerformance = bank_->performances.front().get();
        state_.bank = bank_;
        return std::move(state_);
    }

private:
    static std::string withSlash(std::string folder) {
        if (!folder.empty() && folder.back() != '/') folder += '/';
        return folder;
    }

    void setBase(const std::string& folder) {
        baseFolder_ = folder;
        load_.emplace(*bank_, filter_, find_, progress_, places_, MVLoad::kChunkMode, ZnLib::FS::File(folder));
    }

    // A path of the state as a whole path: relative ones start at the base.
    std::string whole(const std::string& path) const {
        if (path.empty() || ZnLib::FS::isAbsolute(path) || baseFolder_.empty()) return ZnLib::FS::normalise(path);
        return ZnLib::FS::join(baseFolder_, ZnLib::FS::normalise(path));
    }

    ZnLib::FS::File identity(const std::string& path, uint64_t time, uint64_t size) const {
        if (path.empty()) return {};
        return ZnLib::FS::File(whole(path), time, size);
    }

    void instanceId(ByteReader payload) {
        state_.instanceId = readNarrowz(payload);
        if (options_.projectFolder.empty() || state_.instanceId.empty()) return;
        // The waves of a project state lie in the instance's folder.
        const std::string folder = withSlash(options_.projectFolder) + state_.instanceId;
        if (std::find(places_.begin(), places_.end(), folder) == places_.end())
            places_.insert(places_.begin() + 1, folder);
        if (projectMode_) setBase(withSlash(folder));
    }

    void importSource(ByteReader payload) {
        flush();
        sourceType_ = payload.u32le();
        sourcePath_ = readPath(payload.sub(payload.remaining()));
    }

    void waveByReference(ByteReader payload) {
        if (peekTag(payload) != kWinf) fail("Malformed wave info");
        const WaveRecord record = readWaveRecord(nextChunk(payload).payload, state_.version);
        if (payload.atEnd()) fail("Malformed 'wref' data chunk");
        Chunk data = nextChunk(payload);
        switch (data.tag) {
            case kBwav: pending_.push_back({record, readNarrowz(data.payload), kUnknownIndex}); break;
            case kBwvx: {
                const uint32_t index = data.payload.u32le();
                pending_.push_back({record, readNarrowz(data.payload), index});
                break;
            }
            case kPath: {
                const std::string path = readPath(data.payload);
                flush();
                SharedRef<Wave> wave = load_->loadWave(path);
                apply(*wave, record);
                break;
            }
            default: fail("Malformed 'wref' data chunk");
        }
    }

    void waveByContent(ByteReader payload) {
        flush();
        if (peekTag(payload) != kWfip) fail("Malformed 'wave' chunk");
        ByteReader info = nextChunk(payload).payload;
        const std::size_t n = info.size();
        if (n < kMinPathInfo || info.data()[n - 1] != 0 || info.data()[n - 2] != 0) fail("Malformed path info");
        const uint64_t time = info.u64le();
        const uint64_t size = info.u64le();
        const std::string path = readUtf16z(info);
        const std::string name = ZnLib::FS::stem(path);

        SharedRef<Wave> wave;
        const uint32_t next = peekTag(payload);
        if (next == kRiff) {
            wave = ZnLib::makeRef<Wave>(name, payload.sub(payload.remaining()));
            wave->setFile(identity(path, time, size));
        } else if (next == kPath) {
            const std::string copy = readPath(nextChunk(payload).payload);
            const ZnLib::FS::File found = load_->resolve(copy);
            const ZnLib::MappedFile mapped(found.path());
            wave = ZnLib::makeRef<Wave>(name, mapped.reader());
            wave->setFile(path.empty() ? found : identity(path, time, size));
        } else {
            fail("Bad RIFF chunk");
        }
        keepInside(*wave);
        bank_->addWave(wave);
    }

    void document(uint32_t tag, ByteReader payload) {
        flush();
        const uint64_t time = payload.u64le();
        const uint64_t size = payload.u64le();
        bool terminated = false;
        for (std::size_t at = payload.position(); at + 1 < payload.size() && !terminated; at += 2)
            terminated = payload.data()[at] == 0 && payload.data()[at + 1] == 0;
        if (!terminated) fail("Malformed path info");
        const ZnLib::FS::File file = identity(readUtf16z(payload), time, size);

        auto rest = payload.bytes(payload.remaining());
        std::size_t length = rest.size();
        if (length >= 2 && rest[length - 1] == 0 && rest[length - 2] == 0)
            length -= 2;
        else if (length >= 1 && rest[length - 1] == 0)
            length -= 1;
        std::vector<uint8_t> text;
        // The parser tells UTF-16 by its byte order mark, which the writer leaves out.
        if (length >= 2 && rest[0] == '<' && rest[1] == 0) text = {0xFF, 0xFE};
        text.insert(text.end(), rest.begin(), rest.begin() + std::ptrdiff_t(length));

        switch (tag) {
            case kMtrx: load_->loadMatrixText(text, file); break;
            case kPrgm: load_->loadProgramText(text, file); break;
            case kPerf: load_->loadPerformanceText(text, file); break;
            default: load_->loadBankText(text, file); break;
        }
    }

    void icon(ByteReader payload) {
        if (peekTag(payload) != kPath) fail("Malformed path");
        const std::string path = whole(readPath(nextChunk(payload).payload));
        if (payload.atEnd()) return;
        const auto bytes = payload.bytes(payload.remaining());
        auto image = std::make_shared<std::vector<uint8_t>>(bytes.begin(), bytes.end());
        for (const auto& program : bank_->programs)
            if (program->icon && !program->icon->builtIn && program->icon->file().path() == path) program->icon->image = image;
        if (options_.restoreIcons) restoreIcon(path, *image);
    }

    // Only a whole path into an existing folder is written, and never over a file.
    static void restoreIcon(const std::string& path, const std::vector<uint8_t>& image) {
        if (!ZnLib::FS::isAbsolute(path) || path[0] != '/' || path.find("/../") != std::string::npos) return;
        std::error_code ec;
        if (stdfs::exists(path, ec) || !stdfs::is_directory(ZnLib::FS::directory(path), ec)) return;
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(image.data()), std::streamsize(image.size()));
    }

    void flush() {
        if (pending_.empty()) return;
        std::vector<PendingWave> pending;
        pending.swap(pending_);
        if (!options_.imports) fail("Unknown import source");
        const ZnLib::FS::File source = load_->resolve(sourcePath_);
        std::vector<SharedRef<Wave>> made;
        for (const PendingWave& entry : pending) {
            SharedRef<Wave> wave;
            if (entry.name.empty() && entry.index != kUnknownIndex)
                for (std::size_t i = 0; i < made.size() && !wave; ++i)
                    if (pending[i].index == entry.index) wave = ZnLib::makeRef<Wave>(*made[i]);
            if (!wave) {
                const std::size_t before = bank_->waves.size();
                wave = options_.imports->importWave(sourceType_, source.path(), entry.index, entry.name, *bank_, progress_);
                // A wave the bank held already is a second use of the same data: it gets a list
                // place of its own, so that the documents' positions still hold.
                if (bank_->waves.size() == before) wave = ZnLib::makeRef<Wave>(*wave);
            }
            bank_->addWave(wave);
            apply(*wave, entry.record);
            made.push_back(wave);
        }
    }

    const StateOptions& options_;
    ProcessCallbacks silent_;
    ProcessCallbacks& progress_;
    std::vector<std::string> places_;
    bool programOnly_;
    SharedRef<Bank> bank_ = ZnLib::makeRef<Bank>();
    LoadedNothing filter_;
    FindNothing find_;
    std::optional<MVLoad> load_;
    bool projectMode_ = false;
    std::string baseFolder_;
    LoadedState state_;
    uint32_t sourceType_ = 0;
    std::string sourcePath_;
    std::vector<PendingWave> pending_;
};

}  // namespace

LoadedState StateReader::read(std::span<const uint8_t> data, bool programOnly, const StateOptions& options) {
    return Reader(programOnly, options).run(data);
}

}  // namespace MV
