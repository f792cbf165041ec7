#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "lib/File.h"
#include "lib/RefCounted.h"
#include "model/LoadFilter.h"
#include "model/Names.h"
#include "model/Output.h"
#include "model/Performance.h"
#include "model/Program.h"
#include "model/WaveMatrix.h"
#include "plug/SoundItem.h"
#include "plug/Wave.h"

namespace MV {

// A MIDI controller that stands in for one of the "External Controller" modulation sources.
struct ExternalController {
    uint8_t ctrl = 0;  // MIDI controller number
    int32_t offset = 0;
    bool operator==(const ExternalController&) const = default;
};

// Everything of a sound at hand: four flat lists of programs, performances, waves and wave
// matrices, and the bank-wide settings. The engine itself is a bank; a load fills a bank of its
// own that is then merged into the live one or swapped with it.
//
// Threads: a bank that the engine plays is changed only on the UI thread under the main lock
// [ui-thread] [main-lock]; a bank being loaded belongs to the loading thread alone.
class Bank : public ZnPlug::SoundItem, public LoadFilter {
public:
    static constexpr std::size_t kAutomationParams = 128;
    static constexpr std::size_t kExternalControllers = 16;

    Bank();
    // Shares the items of the four lists, copies the settings.
    Bank(const Bank&) = default;
    Bank& operator=(const Bank&) = default;

    // The plain forms: the none object and an item already listed are ignored; children are
    // not pulled in.
    void addProgram(ZnLib::SharedRef<Program> program);
    void addPerformance(ZnLib::SharedRef<Performance> performance);
    void addWave(ZnLib::SharedRef<ZnPlug::Wave> wave);
    void addMatrix(ZnLib::SharedRef<WaveMatrix> matrix);
    // With all the waves and matrices that the item uses (and the programs of a performance).
    void addDeep(const ZnLib::SharedRef<Program>& program);
    void addDeep(const ZnLib::SharedRef<Performance>& performance);
    void addDeep(const ZnLib::SharedRef<WaveMatrix>& matrix);

    // Each erases the item from its list; an item not listed is ignored. The item lives on in
    // whatever still refers to it.
    void removeProgram(const Program* program);
    void removePerformance(const Performance* performance);
    void removeWave(const ZnPlug::Wave* wave);
    void removeMatrix(const WaveMatrix* matrix);
    // Erases the none wave if a state chunk put it into the list.
    void removeNoneWave();

    // Appends the other bank's performances, programs, matrices and waves, in that order.
    void merge(const Bank& other);
    // No waves, programs, performances or matrices.
    bool empty() const noexcept;

    bool hasProgram(const Program* program) const noexcept;
    bool hasPerformance(const Performance* performance) const noexcept;
    bool hasWave(const ZnPlug::Wave* wave) const noexcept;
    bool hasMatrix(const WaveMatrix* matrix) const noexcept;

    // The item of that very path in this bank's list, with a new reference, or nothing.
    ZnLib::SharedRef<ZnPlug::Wave> existingWave(const ZnLib::FS::File& file) override;
    ZnLib::SharedRef<Program> existingProgram(const ZnLib::FS::File& file) override;
    ZnLib::SharedRef<Performance> existingPerformance(const ZnLib::FS::File& file) override;
    ZnLib::SharedRef<WaveMatrix> existingMatrix(const ZnLib::FS::File& file) override;

    // The bank itself, then every performance, program, wave and matrix.
    bool modified() const override;
    void clearModified() override;

    int32_t programChangeMode = kProgramChangePerformance;
    bool useBankSelect = false;
    // A performance of the list, or the none performance; never null.
    Performance* currentPerformance;
    std::array<float, kAutomationParams> automationOffset{};
    std::array<ExternalController, kExternalControllers> externalController{};
    std::array<Output, kOutputCount> outputs = Output::defaults();
    uint8_t interpolation = kInterpolationDefault;
    std::vector<ZnLib::SharedRef<Program>> programs;
    std::vector<ZnLib::SharedRef<Performance>> performances;
    std::vector<ZnLib::SharedRef<ZnPlug::Wave>> waves;
    std::vector<ZnLib::SharedRef<WaveMatrix>> matrixes;
};

}  // namespace MV
