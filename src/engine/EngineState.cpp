// The engine's side of the host state: options from the settings and the host, the hand-over of a
// state that read without fault.
#include <chrono>
#include <filesystem>
#include <mutex>
#include <random>

#include "engine/Morvek.h"
#include "engine/SoundFontSources.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "persist/StateReader.h"
#include "persist/StateWriter.h"

namespace MV {

namespace {

// The host names its project's chunk file, or on occasion the folder itself.
std::string projectFolder(const std::string& context) {
    if (context.empty()) return {};
    std::error_code ec;
    if (std::filesystem::is_directory(context, ec)) return context;
    return ZnLib::FS::directory(context);
}

StateOptions stateOptions(Morvek& engine, const std::string& context, ImportSources& imports) {
    StateOptions options;
    options.saveAllWavesInFXB = engine.store().saveAllWavesInFXB;
    options.saveWavesInProject = engine.store().saveWavesInProject;
    options.projectFolder = projectFolder(context);
    options.instanceId = engine.instanceId();
    options.bankPath = engine.file().path();
    options.places = engine.store().places();
    options.imports = &imports;
    return options;
}

}  // namespace

std::string Morvek::newInstanceId() {
    std::random_device device;
    const uint64_t bits = (uint64_t(device()) << 32) ^ device() ^
                          uint64_t(std::chrono::steady_clock::now().time_since_epoch().count());
    return ZnLib::Text::format("%016llx", static_cast<unsigned long long>(bits));
}

bool Morvek::getBankChunk(std::ostream& out, const std::string& context) {
    SoundFontSources imports;
    std::vector<uint8_t> bytes;
    if (!StateWriter::write(*this, false, stateOptions(*this, context, imports), bytes)) return false;
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return bool(out);
}

bool Morvek::getProgramChunk(std::ostream& out, const std::string& context) {
    SoundFontSources imports;
    std::vector<uint8_t> bytes;
    if (!StateWriter::write(*this, true, stateOptions(*this, context, imports), bytes)) return false;
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return bool(out);
}

bool Morvek::setBankChunk(std::span<const uint8_t> data, const std::string& context) {
    SoundFontSources imports;
    LoadedState state = StateReader::read(data, false, stateOptions(*this, context, imports));
    takeState(*state.bank, false);
    if (!state.instanceId.empty()) instanceId_ = state.instanceId;
    return true;
}

bool Morvek::setProgramChunk(std::span<const uint8_t> data, const std::string& context) {
    SoundFontSources imports;
    LoadedState state = StateReader::read(data, true, stateOptions(*this, context, imports));
    takeState(*state.bank, true);
    return true;
}

std::vector<uint8_t> Morvek::getChunk(bool isProgram, const std::string& context) {
    SoundFontSources imports;
    std::vector<uint8_t> bytes;
    StateWriter::write(*this, isProgram, stateOptions(*this, context, imports), bytes);
    return bytes;
}

bool Morvek::setChunk(const void* data, std::size_t size, bool isProgram, const std::string& context) {
    chunkError_.clear();
    if (!data || !size) return false;
    const std::span<const uint8_t> bytes(static_cast<const uint8_t*>(data), size);
    try {
        return isProgram ? setProgramChunk(bytes, context) : setBankChunk(bytes, context);
    } catch (const std::exception& e) {
        chunkError_ = ZnLib::describe(e);
        return false;
    }
}

void Morvek::takeState(const Bank& loaded, bool programOnly) {
    std::lock_guard lock(mainLock());
    if (!programOnly) {
        adoptBank(loaded);
        setFile(loaded.file());
        return;
    }
    Performance* next = loaded.performances.empty() ? nullptr : loaded.performances.front().get();
    Performance* previous = currentPerformance;
    merge(loaded);
    if (next && next != previous) {
        for (auto& fx : previous->fx)
            if (fx) fx->release();
        for (auto& fx : next->fx)
            if (fx) fx->prepare(context());
        currentPerformance = next;
    }
    markAllProgramsChanged();
    performanceChanged();
}

}  // namespace MV
