#include "persist/StateWriter.h"

#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>

#include "lib/Error.h"
#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "model/Bank.h"
#include "persist/MVWriter.h"
#include "persist/StateChunkFormat.h"
#include "plug/RiffFileSink.h"
#include "plug/RiffSink.h"
#include "plug/Wave.h"

namespace MV {

using namespace StateChunkFormat;
using ZnLib::SharedRef;
using ZnPlug::Wave;
namespace stdfs = std::filesystem;

namespace {

// A wave's name as a file name: a separator in a name must not open a folder.
std::string fileSafe(std::string name) {
    for (char& c : name)
        if (c == '/' || c == '\\') c = '_';
    return name;
}

// "%08u-" in front of a name: a file this writer put into a project folder.
bool isOwnProjectWave(const std::string& name) {
    if (name.size() < 13 || ZnLib::Text::toLower(ZnLib::FS::extension(name)) != ".wav" || name[8] != '-') return false;
    for (int i = 0; i < 8; ++i)
        if (name[std::size_t(i)] < '0' || name[std::size_t(i)] > '9') return false;
    return true;
}

// Clears the waves of an earlier save before this one writes its own. In the instance's folder
// every WAVE file goes; in the project folder itself, which the host and the user share, only
// files that carry this writer's numbering.
void clearProjectWaves(const std::string& projectFolder, const std::string& instanceFolder) {
    std::error_code ec;
    auto sweep = [&](const std::string& folder, bool all) {
        if (folder.empty() || !stdfs::is_directory(folder, ec)) return;
        std::vector<stdfs::path> doomed;
        for (const auto& entry : stdfs::directory_iterator(folder, ec)) {
            const std::string name = entry.path().filename().string();
            if (!entry.is_regular_file(ec)) continue;
            if (all ? ZnLib::Text::toLower(ZnLib::FS::extension(name)) == ".wav" : isOwnProjectWave(name))
                doomed.push_back(entry.path());
        }
        for (const auto& path : doomed) stdfs::remove(path, ec);
    };
    sweep(instanceFolder, true);
    if (instanceFolder != projectFolder) sweep(projectFolder, false);
}

class Writer {
public:
    Writer(const Bank& source, bool programOnly, const StateOptions& options)
        : source_(source), programOnly_(programOnly), options_(options) {}

    void run(const Bank& engine) {
        projectMode_ = !programOnly_ && !options_.projectFolder.empty() && options_.saveWavesInProject;
        if (projectMode_) {
            baseFolder_ = withSlash(options_.projectFolder);
            if (!source_.empty()) {
                const std::string instanceFolder =
                    options_.instanceId.empty() ? baseFolder_ : withSlash(baseFolder_ + fileSafe(options_.instanceId));
                clearProjectWaves(baseFolder_, instanceFolder);
                baseFolder_ = instanceFolder;
            }
        } else {
            baseFolder_ = ZnLib::FS::directory(engine.file().path());
        }

        const std::size_t vers = out_.open(kVers);
        out_.u32(StateWriter::version());
        out_.close(vers);
        // An empty bank has nothing to find again in a project folder.
        if (!source_.empty()) {
            const std::size_t id = out_.open(kMvid);
            out_.narrowz(options_.instanceId);
            out_.close(id);
        }
        for (const auto& wave : source_.waves) writeWave(*wave);
        out_.close(out_.open(kUist));
        for (const auto& m : source_.matrixes) document(kMtrx, *m, MVWriter::chunkText(*m, source_));
        for (const auto& p : source_.programs) document(kPrgm, *p, MVWriter::chunkText(*p, source_));
        for (const auto& p : source_.performances) document(kPerf, *p, MVWriter::chunkText(*p, source_));
        if (!programOnly_) document(kBank, engine, MVWriter::chunkText(source_));
        writeIcons();
    }

    std::vector<uint8_t>& bytes() { return out_.data(); }

private:
    static std::string withSlash(std::string folder) {
        if (!folder.empty() && folder.back() != '/') folder += '/';
        return folder;
    }

    // Paths go relative to the project folder, where the host finds them again. Outside one
    // they stay whole: a fresh instance that reads the state knows no bank folder yet.
    std::string stored(const std::string& path) const {
        if (projectMode_ && !baseFolder_.empty() && path.compare(0, baseFolder_.size(), baseFolder_) == 0)
            return path.substr(baseFolder_.size());
        return path;
    }

    void writeWave(const Wave& wave) {
        uint32_t type = 0;
        std::string sourcePath;
        const bool imported = wave.container && options_.imports && options_.imports->describe(wave, type, sourcePath);
        // Data in a container that no one here can name again goes by content.
        const bool unnamed = wave.container && !imported;
        const bool byContent =
            options_.saveAllWavesInFXB || unnamed ||
            (wave.isModified() && ((wave.flags & (ZnPlug::kWaveCropped | ZnPlug::kWaveNormalized | ZnPlug::kWaveChanged)) ||
                                   (!imported && wave.file().changedOnDisk())));
        if (byContent) {
            previousSource_.reset();
            writeContent(wave);
            return;
        }
        if (imported && previousSource_ != sourcePath) {
            const std::size_t bimp = out_.open(kBimp);
            out_.u32(type);
            out_.utf16z(stored(sourcePath));
            out_.close(bimp);
        }
        previousSource_ = imported ? std::optional<std::string>(sourcePath) : std::nullopt;

        const std::size_t wref = out_.open(kWref);
        writeWaveInfo(wave);
        if (imported) {
            const std::size_t bwvx = out_.open(kBwvx);
            out_.u32(wave.containerIndex);
            out_.narrowz(wave.name());
            out_.close(bwvx);
        } else {
            const std::size_t path = out_.open(kPath);
            out_.utf16z(stored(wave.file().path()));
            out_.close(path);
        }
        out_.close(wref);
    }

    void writeWaveInfo(const Wave& wave) {
        const std::size_t winf = out_.open(kWinf);
        out_.u32(wave.root);
        out_.u32(wave.sampleRate);
        out_.u32(wave.start);
        out_.u32(wave.end);
        out_.u32(wave.headTrim);
        out_.u32(wave.tailTrim);
        out_.f32(wave.tempo);
        out_.u8(uint8_t(wave.fine));
        out_.u8(wave.flags);
        out_.zeros(2 + 64);
        out_.u32(uint32_t(wave.loops.size()));
        for (const ZnPlug::Loop& loop : wave.loops) {
            out_.u32(loop.start);
            out_.u32(loop.end);
            out_.u32(uint32_t(loop.mode));
            const std::string name = loop.nameText();
            out_.bytes(name.data(), name.size());
            out_.zeros(kLoopNameBytes - name.size());
        }
        out_.close(winf);
    }

    void writeContent(const Wave& wave) {
        const std::size_t chunk = out_.open(kWave);
        const std::size_t wfip = out_.open(kWfip);
        const std::size_t timeAt = out_.size();
        out_.u64(wave.file().time());
        out_.u64(wave.file().size());
        // The name travels as the file name the wave would get beside the base.
        out_.utf16z(fileSafe(wave.name()) + ".wav");
        out_.close(wfip);
        if (!projectMode_) {
            ZnPlug::RiffMemorySink sink;
            wave.writeRiff(sink);
            out_.bytes(sink.bytes.data(), sink.bytes.size());
        } else {
            const std::string fileName = ZnLib::Text::format("%08u-%s", contentIndex_++, fileSafe(wave.name()).c_str()) + ".wav";
            const std::string path = baseFolder_ + fileName;
            uint64_t time = 0, size = 0;
            try {
                std::error_code ec;
                stdfs::create_directories(baseFolder_, ec);
                ZnPlug::RiffFileSink sink(path);
                wave.writeRiff(sink);
                sink.close();
                ZnLib::FS::File::stat(path, time, size);
            } catch (...) {
                ZnLib::throwWrapped("Could not store " + wave.name() + " in bank.");
            }
            out_.patchU64(timeAt, time);
            out_.patchU64(timeAt + 8, size);
            const std::size_t pathChunk = out_.open(kPath);
            out_.utf16z(fileName);
            out_.close(pathChunk);
        }
        out_.close(chunk);
    }

    void document(uint32_t tag, const ZnPlug::SoundItem& item, const std::vector<uint8_t>& text) {
        const std::size_t chunk = out_.open(tag);
        out_.u64(item.file().time());
        out_.u64(item.file().size());
        out_.utf16z(stored(item.file().path()));
        // The texts come with a byte order mark, which the chunk leaves out.
        const std::size_t skip = text.size() >= 2 && text[0] == 0xFF && text[1] == 0xFE ? 2 : 0;
        out_.bytes(text.data() + skip, text.size() - skip);
        out_.zeros(2);
        out_.close(chunk);
    }

    void writeIcons() {
        std::set<std::string> written;
        for (const auto& program : source_.programs) {
            const Icon* icon = program->icon.get();
            if (!icon || icon->builtIn || icon->file().empty()) continue;
            const std::string& path = icon->file().path();
            if (!written.insert(path).second) continue;
            std::vector<uint8_t> image;
            try {
                ZnLib::MappedFile file(path);
                image.assign(file.bytes().begin(), file.bytes().end());
            } catch (const std::exception&) {
                if (icon->image) image = *icon->image;
            }
            if (image.empty()) continue;
            const std::size_t chunk = out_.open(kIcon);
            const std::size_t pathChunk = out_.open(kPath);
            out_.utf16z(path);
            out_.close(pathChunk);
            out_.bytes(image.data(), image.size());
            out_.close(chunk);
        }
    }

    const Bank& source_;
    bool programOnly_;
    const StateOptions& options_;
    bool projectMode_ = false;
    std::string baseFolder_;
    uint32_t contentIndex_ = 0;
    std::optional<std::string> previousSource_;
    ChunkWriter out_;
};

}  // namespace

uint32_t StateWriter::version() { return MVWriter::createdBy(); }

bool StateWriter::write(const Bank& engine, bool programOnly, const StateOptions& options, std::vector<uint8_t>& out) {
    std::vector<uint8_t> bytes;
    if (programOnly) {
        Performance* current = engine.currentPerformance;
        if (!current || current->isNone()) return false;
        // The current performance alone, with all it uses, in a bank of its own.
        auto source = ZnLib::makeRef<Bank>();
        source->addDeep(SharedRef<Performance>(current));
        source->currentPerformance = current;
        Writer writer(*source, true, options);
        writer.run(engine);
        bytes = std::move(writer.bytes());
    } else {
        Writer writer(engine, false, options);
        writer.run(engine);
        bytes = std::move(writer.bytes());
    }
    out.insert(out.end(), bytes.begin(), bytes.end());
    return true;
}

}  // namespace MV
