#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "SongRenderer.h"
#include "WavStream.h"
#include "model/Output.h"

namespace Cli {

// The WAV files of a stems render: one per named output, each with the output's pins, named
// after the output beside OUT ("OUT-S3+4.wav", "OUT-M1.wav").
class OutputFiles : public RenderSink {
public:
    // `outputs` to write; throws "Could not save ..." when a file cannot be made.
    OutputFiles(const std::string& out, const std::vector<MV::Output>& outputs, uint32_t sampleRate,
                WavStream::Format format, float gain);

    // The file name of an output: OUT's stem, "-", the name without blanks, OUT's extension.
    static std::string pathFor(const std::string& out, const std::string& outputName);
    // Finds the engine's outputs named in a comma-separated list ("S 3+4,M 1"), in its order;
    // throws naming an unknown one and the names there are.
    static std::vector<MV::Output> pick(const std::string& list, const std::vector<MV::Output>& outputs);

    uint16_t pins() const noexcept;
    void write(const float* const* pins, std::size_t frames) override;
    // Puts the files in place; with `dropSilent`, those of outputs that stayed below `silence`
    // are not written. Returns the paths written.
    std::vector<std::string> finish(bool dropSilent, float silence);

private:
    struct File {
        std::unique_ptr<WavStream> stream;
        float peak = 0;
    };
    std::vector<File> files_;
};

}  // namespace Cli
