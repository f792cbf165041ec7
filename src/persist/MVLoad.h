#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lib/File.h"
#include "lib/RefCounted.h"
#include "model/Bank.h"
#include "model/LoadFilter.h"
#include "model/ProcessCallbacks.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class FindMissing;
class MVHandler;

// Turns documents into sound items of a target bank. Files referred to are found through the
// file search with `places`; each item is asked for at the target and at the filter first, so
// that nothing met once is read twice. A nested document is read by a copy of this context with
// the nested file. Mode 1 reads documents of a state chunk, whose paths are indexes into the
// target's lists.
//
// Threads: a load runs on the thread that calls it [ui-thread] (or a worker of the editor, or
// the host's thread for a state chunk), with no lock held; the target is private to it.
class MVLoad {
public:
    static constexpr int kFileMode = 0;
    static constexpr int kChunkMode = 1;

    // `places` may grow during the load and is shared by all nested documents. `base` is what
    // paths of documents in memory are relative to (a state chunk's project file), if anything.
    MVLoad(Bank& target, LoadFilter& filter, FindMissing& findMissing, ProcessCallbacks& process,
           std::vector<std::string>& places, int mode = kFileMode, ZnLib::FS::File base = {});

    // The file search from the document in hand. A file found under a place added during this
    // load sets placesGrew. Throws "Could not find file " with the path.
    ZnLib::FS::File resolve(const std::string& path);

    // Resolve, then load that kind of document (or the wave) unless the target or the filter
    // holds it already. Each returns the item, which is also in the target's list; a failure
    // is "Could not load " + path with the cause nested.
    ZnLib::SharedRef<ZnPlug::Wave> loadWave(const std::string& path);
    ZnLib::SharedRef<WaveMatrix> loadMatrix(const std::string& path);
    ZnLib::SharedRef<Program> loadProgram(const std::string& path);
    ZnLib::SharedRef<Performance> loadPerformance(const std::string& path);
    // Fills the target with the bank document's settings and items.
    void loadBank(const std::string& path);

    // The same over a document in memory (UTF-16 with byte order mark, or UTF-8), as a state
    // chunk holds it; `file` is the time, size and path that the item takes, if any.
    ZnLib::SharedRef<WaveMatrix> loadMatrixText(std::span<const uint8_t> text, const ZnLib::FS::File& file = {});
    ZnLib::SharedRef<Program> loadProgramText(std::span<const uint8_t> text, const ZnLib::FS::File& file = {});
    ZnLib::SharedRef<Performance> loadPerformanceText(std::span<const uint8_t> text, const ZnLib::FS::File& file = {});
    void loadBankText(std::span<const uint8_t> text, const ZnLib::FS::File& file = {});

    // The reference rule of the handlers: in mode 0 `path` is loaded as above; in mode 1 it is
    // an index into the target's list ("-1", any value with its low 32 bits set, counts as 0).
    // An index past the list throws "Wave reference out of range: " and the index (and the
    // like for the other kinds), except for waves of documents created by a version below
    // 906, which get the none wave.
    ZnLib::SharedRef<ZnPlug::Wave> waveReference(const std::string& path, uint32_t createdBy);
    ZnLib::SharedRef<WaveMatrix> matrixReference(const std::string& path);
    ZnLib::SharedRef<Program> programReference(const std::string& path);
    ZnLib::SharedRef<Performance> performanceReference(const std::string& path);

    Bank& target() const noexcept { return *target_; }
    int mode() const noexcept { return mode_; }
    // The document in hand; empty for a document in memory.
    const ZnLib::FS::File& file() const noexcept { return file_; }
    // A file of this document was found in a place added during this load: its stored paths no
    // longer say where the files are.
    bool placesGrew() const noexcept { return placesGrew_; }

private:
    // A copy for the nested document `file`.
    MVLoad(const MVLoad& parent, ZnLib::FS::File file);

    // Steps 1 and 2 of every load of a file: the target's own item of that path (not in mode 1),
    // else the filter's, which joins the target with all it uses. Empty when neither has it.
    template <typename Item>
    ZnLib::SharedRef<Item> alreadyLoaded(ZnLib::SharedRef<Item> (LoadFilter::*existing)(const ZnLib::FS::File&));
    // The loads of the document in hand: from its file when `text` is null, else from memory.
    ZnLib::SharedRef<ZnPlug::Wave> loadWaveFile();
    ZnLib::SharedRef<WaveMatrix> loadMatrixDocument(const std::span<const uint8_t>* text);
    ZnLib::SharedRef<Program> loadProgramDocument(const std::span<const uint8_t>* text);
    ZnLib::SharedRef<Performance> loadPerformanceDocument(const std::span<const uint8_t>* text);
    void loadBankDocument(const std::span<const uint8_t>* text);
    // Runs the handler over the document and returns what it made, `item`, which must not be
    // empty ("The document holds no " + kind). A file's failure is wrapped in "Could not load ".
    template <typename Item>
    ZnLib::SharedRef<Item> parse(MVHandler& handler, const ZnLib::SharedRef<Item>& item, const char* kind,
                                 const std::span<const uint8_t>* text);
    // The item takes the document's identity and is marked clean, or changed when files were
    // found in new places.
    void finish(ZnPlug::SoundItem& item);
    // The document in progress reports: its path, or "[patch data]".
    std::string displayName() const;

    Bank* target_;
    LoadFilter* filter_;
    FindMissing* findMissing_;
    ProcessCallbacks* process_;
    std::vector<std::string>* places_;
    int mode_;
    std::size_t rootCount_;
    ZnLib::FS::File file_;      // the document, or for one in memory what its paths start from
    ZnLib::FS::File identity_;  // the time, size and path a document in memory hands its item
    bool inMemory_ = false;
    bool placesGrew_ = false;
};

}  // namespace MV
