#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "persist/DocumentReferences.h"

namespace ZnPlug {
class SoundItem;
class Wave;
}

namespace MV {

class SaveFilter;
class Settings;

// How a save treats the items a document refers to.
struct SaveOptions {
    // Root folders; an item kept in place under one of them is written relative to it.
    std::vector<std::string> places;
    bool usePlaces = true;
    // Every referenced item gets a fresh copy beside the document, instead of staying where it is
    // (the settings' bankSaveCopyContent and its three siblings).
    bool copyContent = false;
    // Where new waves go beside their document: 0 the document's folder, 1 "Samples/", 2 the
    // outermost document's name and "_Samples/".
    uint8_t sampleFolder = 1;

    // Places, usePlaces and sampleFolder from the settings; `copyContent` from the flag of the
    // kind being saved.
    static SaveOptions fromSettings(const Settings& settings, bool copyContent);
};

// A save context: the document in hand and its path, and for every item it refers to a nested
// context that decides where that item goes (its own file, or a new one beside the document)
// and what path the document holds. All contexts of one save share the set of items handled,
// so each item is written at most once.
//
// A document is written to a temporary file beside the target and renamed over it: a failed
// save leaves the previous file as it was and throws "Could not save " with the path (and " bank"
// for a bank), the cause nested.
//
// Threads: runs on the thread that calls it [ui-thread], no lock held; the items are renamed and
// marked saved, so the caller keeps the engine from changing them meanwhile.
class MVSave : public DocumentReferences {
public:
    // The top level: the document at `path`. `filter` answers whether files may be overwritten
    // and hears the progress; it must outlive the save.
    MVSave(const std::string& path, SaveFilter& filter, SaveOptions options = {});
    ~MVSave() override;
    MVSave(const MVSave&) = delete;
    MVSave& operator=(const MVSave&) = delete;

    // Writes the item with everything it refers to, if it needs writing and the filter allows.
    void save(Program& program);
    void save(Performance& performance);
    void save(WaveMatrix& matrix);
    void save(Bank& bank);
    // A wave as WAV, unless it is unchanged and its file may stay.
    void saveWave(ZnPlug::Wave& wave);

    // The target of this context, and the part of it that a referring document leaves out.
    const std::string& path() const noexcept { return path_; }
    std::size_t baseLength() const noexcept { return baseLength_; }
    std::string relativePath() const { return path_.substr(baseLength_); }
    // Files written by this save so far, documents and waves, in all contexts.
    std::size_t written() const noexcept;

    bool embedded() const override { return false; }
    std::string wave(ZnPlug::Wave& wave) override;
    std::string matrix(WaveMatrix& matrix) override;
    std::string program(Program& program) override;
    std::string performance(Performance& performance) override;
    std::string icon(Icon& icon) override;

private:
    struct Shared;

    // A nested context for `item` with the file type `extension`, under `subFolder` of this
    // document's folder when it gets a new file. With `test`, a file of another type is never
    // kept (nothing of another kind is overwritten by a document).
    MVSave(MVSave& parent, const ZnPlug::SoundItem& item, std::string_view extension, const std::string& subFolder,
           bool test);

    template <typename Item, typename Write>
    void saveDocument(Item& item, const char* suffix, Write write);
    bool needsWrite(const ZnPlug::SoundItem& item) const;
    bool mayWrite(ZnPlug::SoundItem& item);
    void writeFile(const std::string& text) const;
    // The part of `path` that a referring document leaves out: this document's folder, else a
    // place's root, else nothing.
    std::size_t baseFor(const std::string& path) const;
    std::string folder() const { return path_.substr(0, path_.rfind('/') + 1); }
    std::string waveSubFolder() const;
    const MVSave& outermost() const;
    bool needsWaveWrite(const ZnPlug::Wave& wave) const;

    std::string path_;
    std::size_t baseLength_ = 0;
    SaveFilter* filter_;
    MVSave* parent_ = nullptr;
    bool overwrite_ = false;
    std::shared_ptr<Shared> shared_;
};

}  // namespace MV
