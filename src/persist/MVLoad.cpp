#include "persist/MVLoad.h"

#include <stdexcept>

#include "lib/Error.h"
#include "lib/Path.h"
#include "persist/BankHandler.h"
#include "persist/FileResolver.h"
#include "persist/MatrixHandler.h"
#include "persist/PerfHandler.h"
#include "persist/ProgHandler.h"
#include "persist/WireForm.h"
#include "persist/XmlParser.h"
#include "plug/Wave.h"

namespace MV {

using ZnLib::SharedRef;
using ZnLib::FS::File;
using ZnPlug::Wave;

namespace {

// The name of a document in memory, for the parser's messages.
constexpr const char* kTextName = "prg";
constexpr const char* kPatchData = "[patch data]";
// Old states may hold wave indexes that point nowhere; from this version on they are errors.
constexpr uint32_t kDanglingWavesRefused = 906;

void addToTarget(Bank& bank, const SharedRef<Wave>& wave) { bank.addWave(wave); }
template <typename Item>
void addToTarget(Bank& bank, const SharedRef<Item>& item) {
    bank.addDeep(item);
}

// An index of a state chunk's document: all ones in the low 32 bits stand for 0.
uint64_t chunkIndex(const std::string& path) {
    uint64_t index = WireForm::parseIndex(path);
    if ((index & 0xFFFFFFFFull) == 0xFFFFFFFFull) index = 0;
    return index;
}

template <typename Item>
SharedRef<Item> byIndex(const std::vector<SharedRef<Item>>& list, const std::string& path, const char* what) {
    const uint64_t index = chunkIndex(path);
    if (index >= list.size())
        throw std::runtime_error(std::string(what) + " reference out of range: " + std::to_string(index));
    return list[std::size_t(index)];
}

// What a handler made, or the failure of a document whose root is of another kind.
template <typename Item>
const SharedRef<Item>& made(const SharedRef<Item>& item, const char* kind) {
    if (!item) throw std::runtime_error(std::string("The document holds no ") + kind);
    return item;
}

}  // namespace

MVLoad::MVLoad(Bank& target, LoadFilter& filter, FindMissing& findMissing, ProcessCallbacks& process,
               std::vector<std::string>& places, int mode, File base)
    : target_(&target),
      filter_(&filter),
      findMissing_(&findMissing),
      process_(&process),
      places_(&places),
      mode_(mode),
      rootCount_(places.size()),
      file_(std::move(base)) {}

MVLoad::MVLoad(const MVLoad& parent, File file) : MVLoad(parent) {
    file_ = std::move(file);
    identity_ = {};
    inMemory_ = false;
    placesGrew_ = false;
}

File MVLoad::resolve(const std::string& path) {
    int placeIndex = -1;
    File found = MV::resolve(*places_, file_, path, *findMissing_, placeIndex);
    if (placeIndex >= 0 && std::size_t(placeIndex) >= rootCount_) placesGrew_ = true;
    return found;
}

SharedRef<Wave> MVLoad::loadWave(const std::string& path) { return MVLoad(*this, resolve(path)).loadWaveFile(); }

SharedRef<WaveMatrix> MVLoad::loadMatrix(const std::string& path) {
    return MVLoad(*this, resolve(path)).loadMatrixDocument(nullptr);
}

SharedRef<Program> MVLoad::loadProgram(const std::string& path) {
    return MVLoad(*this, resolve(path)).loadProgramDocument(nullptr);
}

SharedRef<Performance> MVLoad::loadPerformance(const std::string& path) {
    return MVLoad(*this, resolve(path)).loadPerformanceDocument(nullptr);
}

void MVLoad::loadBank(const std::string& path) { MVLoad(*this, resolve(path)).loadBankDocument(nullptr); }

SharedRef<WaveMatrix> MVLoad::loadMatrixText(std::span<const uint8_t> text, const File& file) {
    MVLoad nested(*this, file.empty() ? file_ : file);
    nested.inMemory_ = true;
    nested.identity_ = file;
    return nested.loadMatrixDocument(&text);
}

SharedRef<Program> MVLoad::loadProgramText(std::span<const uint8_t> text, const File& file) {
    MVLoad nested(*this, file.empty() ? file_ : file);
    nested.inMemory_ = true;
    nested.identity_ = file;
    return nested.loadProgramDocument(&text);
}

SharedRef<Performance> MVLoad::loadPerformanceText(std::span<const uint8_t> text, const File& file) {
    MVLoad nested(*this, file.empty() ? file_ : file);
    nested.inMemory_ = true;
    nested.identity_ = file;
    return nested.loadPerformanceDocument(&text);
}

void MVLoad::loadBankText(std::span<const uint8_t> text, const File& file) {
    MVLoad nested(*this, file.empty() ? file_ : file);
    nested.inMemory_ = true;
    nested.identity_ = file;
    nested.loadBankDocument(&text);
}

SharedRef<Wave> MVLoad::waveReference(const std::string& path, uint32_t createdBy) {
    if (mode_ != kChunkMode) return loadWave(path);
    if (createdBy < kDanglingWavesRefused && chunkIndex(path) >= target_->waves.size())
        return SharedRef<Wave>(Wave::none());
    return byIndex(target_->waves, path, "Wave");
}

SharedRef<WaveMatrix> MVLoad::matrixReference(const std::string& path) {
    return mode_ == kChunkMode ? byIndex(target_->matrixes, path, "Wave matrix") : loadMatrix(path);
}

SharedRef<Program> MVLoad::programReference(const std::string& path) {
    return mode_ == kChunkMode ? byIndex(target_->programs, path, "Program") : loadProgram(path);
}

SharedRef<Performance> MVLoad::performanceReference(const std::string& path) {
    return mode_ == kChunkMode ? byIndex(target_->performances, path, "Performance") : loadPerformance(path);
}

template <typename Item>
SharedRef<Item> MVLoad::alreadyLoaded(SharedRef<Item> (LoadFilter::*existing)(const File&)) {
    if (inMemory_) return {};
    if (mode_ != kChunkMode)
        if (SharedRef<Item> item = (static_cast<LoadFilter&>(*target_).*existing)(file_)) return item;
    if (SharedRef<Item> item = (filter_->*existing)(file_)) {
        addToTarget(*target_, item);
        return item;
    }
    return {};
}

std::string MVLoad::displayName() const { return inMemory_ ? std::string(kPatchData) : file_.path(); }

template <typename Item>
SharedRef<Item> MVLoad::parse(MVHandler& handler, const SharedRef<Item>& item, const char* kind,
                              const std::span<const uint8_t>* text) {
    if (text) {
        XmlParser::parse(handler, *text, kTextName);
        return made(item, kind);
    }
    try {
        XmlParser::parseFile(handler, file_.path());
        return made(item, kind);
    } catch (...) {
        ZnLib::throwWrapped("Could not load " + file_.path());
    }
}

void MVLoad::finish(ZnPlug::SoundItem& item) {
    if (!inMemory_)
        item.setFile(file_);
    else if (!identity_.empty())
        item.setFile(identity_);
    if (placesGrew_)
        item.touch();
    else
        item.clearModified();
    process_->process("Loaded", displayName());
}

SharedRef<Wave> MVLoad::loadWaveFile() {
    if (SharedRef<Wave> wave = alreadyLoaded(&LoadFilter::existingWave)) return wave;
    process_->process("Loading", displayName());
    auto wave = ZnLib::makeRef<Wave>();
    wave->setName(ZnLib::FS::stem(file_.path()));
    wave->setFile(file_);
    wave->load();
    target_->addWave(wave);
    finish(*wave);
    return wave;
}

SharedRef<WaveMatrix> MVLoad::loadMatrixDocument(const std::span<const uint8_t>* text) {
    if (SharedRef<WaveMatrix> matrix = alreadyLoaded(&LoadFilter::existingMatrix)) return matrix;
    process_->process("Loading", displayName());
    MatrixHandler handler(*this);
    SharedRef<WaveMatrix> matrix = parse(handler, handler.matrix(), "wave matrix", text);
    finish(*matrix);
    return matrix;
}

SharedRef<Program> MVLoad::loadProgramDocument(const std::span<const uint8_t>* text) {
    if (SharedRef<Program> program = alreadyLoaded(&LoadFilter::existingProgram)) return program;
    process_->process("Loading", displayName());
    ProgHandler handler(*this);
    SharedRef<Program> program = parse(handler, handler.program(), "program", text);
    finish(*program);
    return program;
}

SharedRef<Performance> MVLoad::loadPerformanceDocument(const std::span<const uint8_t>* text) {
    if (SharedRef<Performance> p = alreadyLoaded(&LoadFilter::existingPerformance)) return p;
    process_->process("Loading", displayName());
    PerfHandler handler(*this);
    SharedRef<Performance> performance = parse(handler, handler.performance(), "performance", text);
    finish(*performance);
    return performance;
}

void MVLoad::loadBankDocument(const std::span<const uint8_t>* text) {
    process_->process("Loading", displayName());
    BankHandler handler(*this);
    parse(handler, SharedRef<Bank>(target_), "bank", text);
    // Only the bank's own count: its items were marked by their own loads.
    if (!inMemory_)
        target_->setFile(file_);
    else if (!identity_.empty())
        target_->setFile(identity_);
    if (placesGrew_)
        target_->touch();
    else
        target_->ZnLib::ModCounted::clearModified();
    process_->process("Loaded", displayName());
}

}  // namespace MV
