#include "OutputFiles.h"

#include <cmath>
#include <filesystem>
#include <stdexcept>

#include "lib/Text.h"

namespace Cli {

OutputFiles::OutputFiles(const std::string& out, const std::vector<MV::Output>& outputs, uint32_t sampleRate,
                         WavStream::Format format, float gain) {
    for (const MV::Output& o : outputs)
        files_.push_back({std::make_unique<WavStream>(pathFor(out, o.name), sampleRate, format, gain,
                                                      o.isMonoPin() ? 1 : 2, o.pin),
                          0.0f});
}

std::string OutputFiles::pathFor(const std::string& out, const std::string& outputName) {
    const std::filesystem::path path(out);
    std::string name = path.stem().string() + "-";
    for (char c : outputName)
        if (c != ' ') name += c;
    return (path.parent_path() / (name + (path.has_extension() ? path.extension().string() : ".wav"))).string();
}

std::vector<MV::Output> OutputFiles::pick(const std::string& list, const std::vector<MV::Output>& outputs) {
    std::vector<MV::Output> picked;
    std::size_t from = 0;
    while (from <= list.size()) {
        const std::size_t comma = std::min(list.find(',', from), list.size());
        const std::string name(ZnLib::Text::trim(std::string_view(list).substr(from, comma - from)));
        from = comma + 1;
        if (name.empty()) continue;
        const MV::Output* found = nullptr;
        for (const MV::Output& o : outputs)
            if (o.name == name) found = &o;
        if (!found) {
            std::string names;
            for (const MV::Output& o : outputs) names += (names.empty() ? "" : ", ") + o.name;
            throw std::runtime_error("Unknown output \"" + name + "\" (the outputs are " + names + ")");
        }
        picked.push_back(*found);
    }
    if (picked.empty()) throw std::runtime_error("No output named in \"" + list + "\"");
    return picked;
}

uint16_t OutputFiles::pins() const noexcept {
    uint16_t mask = 0;
    for (const File& f : files_)
        for (int c = 0; c < f.stream->channels(); ++c) mask = uint16_t(mask | (1u << (f.stream->firstPin() + c)));
    return mask;
}

void OutputFiles::write(const float* const* pins, std::size_t frames) {
    for (File& f : files_) {
        f.stream->write(pins, frames);
        for (int c = 0; c < f.stream->channels(); ++c) {
            const float* s = pins[f.stream->firstPin() + c];
            for (std::size_t i = 0; i < frames; ++i) {
                const float a = std::fabs(s[i]);
                f.peak = a > f.peak ? a : f.peak;
            }
        }
    }
}

std::vector<std::string> OutputFiles::finish(bool dropSilent, float silence) {
    std::vector<std::string> written;
    for (File& f : files_) {
        if (dropSilent && f.peak < silence) {
            f.stream->discard();
            continue;
        }
        f.stream->finish();
        written.push_back(f.stream->path());
    }
    return written;
}

}  // namespace Cli
