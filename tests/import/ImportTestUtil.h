#pragma once
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "import/Sf2Builder.h"
#include "import/SoundFont.h"
#include "lib/Error.h"
#include "lib/RefCounted.h"
#include "model/Bank.h"
#include "model/ProcessCallbacks.h"
#include "plug/Wave.h"

namespace MV::Test {

// Keeps every step and message a load reports.
struct RecordingProgress : ProcessCallbacks {
    void process(const std::string& action, const std::string& path) override { steps.push_back(action + " " + path); }
    void process(const std::string& text) override { messages.push_back(text); }
    std::vector<std::string> steps;
    std::vector<std::string> messages;
};

inline ZnLib::SharedRef<SoundFont> openBytes(std::vector<uint8_t> bytes, const std::string& path = "/virtual/t.sf2") {
    ProcessCallbacks quiet;
    return ZnLib::makeRef<SoundFont>(path, std::move(bytes), quiet);
}

inline ZnLib::SharedRef<SoundFont> open(const Sf2Builder& b) { return openBytes(b.build()); }

// The failure text of `f`, with its nested causes, or "" when it does not throw.
template <typename F>
std::string failure(F&& f) {
    try {
        f();
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return {};
}

// Imports list entry `index` into `bank`.
inline ZnLib::SharedRef<Program> importInto(SoundFont& sf, std::size_t index, Bank& bank) {
    RecordingProgress progress;
    return sf.importProgram(index, bank, progress);
}

// A group's key and velocity range and its key fade range, as "36-60 vel 0-127 fade 36-60".
inline std::string keys(const Group& g) {
    return std::to_string(g.range.lowKey) + "-" + std::to_string(g.range.highKey) + " vel " +
           std::to_string(g.range.lowVel) + "-" + std::to_string(g.range.highVel) + " fade " +
           std::to_string(g.fade.lowKey) + "-" + std::to_string(g.fade.highKey);
}

inline void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A folder of its own under the test's temporary folder, removed with everything in it.
class ScratchDir {
public:
    ScratchDir() {
        std::string pattern = std::filesystem::temp_directory_path().string() + "/morvek-import-XXXXXX";
        path_ = ::mkdtemp(pattern.data()) ? pattern + "/" : std::string();
    }
    ~ScratchDir() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    // The folder, with a trailing '/'.
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + name; }

private:
    std::string path_;
};

// A 16-bit mono WAV file of a ramp, with a root key and loops in its "smpl" chunk.
inline void writeWave(const std::string& path, uint32_t frames, uint8_t root = 255,
                      std::vector<ZnPlug::Loop> loops = {}) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    ZnPlug::SampleBuffer buffer(frames, 1);
    for (uint32_t i = 0; i < frames; ++i) buffer.channel(0)[i] = float(i % 100) / 100.0f;
    ZnPlug::Wave wave(std::move(buffer), 44100, 16, 2, ZnPlug::kFormatWave, root);
    wave.loops = std::move(loops);
    wave.saveAs(path);
}

}  // namespace MV::Test
