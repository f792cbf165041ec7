// Feeds arbitrary bytes to the document reader as the text of a state chunk's document: the root
// element picks the load, the schema checks it while the handler builds items into a bank that
// holds a few waves, matrices and programs for the indexes to point at. Whatever loads must keep
// the model's rules; whatever fails must fail by an exception. What loads is written again as a
// state chunk's text and read back: the second item must match the first field by field, and
// writing it once more must give the very same text.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "model/Bank.h"
#include "model/ModelDump.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"
#include "persist/MVLoad.h"
#include "persist/MVWriter.h"
#include "persist/XmlParser.h"
#include "plug/Wave.h"

namespace {

using ZnLib::SharedRef;

SharedRef<ZnPlug::Wave> smallWave(int loops) {
    auto wave = ZnLib::makeRef<ZnPlug::Wave>(ZnPlug::SampleBuffer(64, 1), 44100, 16, 2, ZnPlug::kFormatWave);
    for (int i = 0; i < loops; ++i)
        wave->loops.emplace_back(uint32_t(8 * i), uint32_t(8 * i + 8), ZnPlug::LoopMode::Forward);
    return wave;
}

void check(bool rule) {
    if (!rule) std::abort();
}

void checkWaveLoops(const ZnPlug::Wave& wave, int32_t loop, int32_t release) {
    check(loop >= -1 && release >= -1);
    check(loop < int32_t(wave.loops.size()) && release < int32_t(wave.loops.size()));
}

void checkBank(const MV::Bank& bank) {
    for (const auto& program : bank.programs) {
        check(program && !program->isNone());
        for (const auto& group : program->groups) {
            check(!group->splits.empty());
            check(group->splits.front().key == group->range.lowKey);
            check(group->range.lowKey <= group->range.highKey && group->range.lowVel <= group->range.highVel);
            for (const MV::Split& split : group->splits) {
                check(split.sound.get() != nullptr);
                if (!split.isMatrix()) checkWaveLoops(*split.wave(), split.loop, split.release);
            }
            check(group->amp >= 0 && group->amp <= 1 && group->pan >= -1 && group->pan <= 1);
            check(group->chokeGroup <= 8 && group->output <= MV::kOutputFromChannel);
        }
    }
    for (const auto& matrix : bank.matrixes) {
        check(matrix->columns() >= 1 && matrix->rows() >= 1);
        check(matrix->thresholds.size() == std::size_t(matrix->columns()) + matrix->rows());
        for (const auto& cell : matrix->cells()) {
            check(cell.wave.get() != nullptr);
            checkWaveLoops(*cell.wave, cell.loop, cell.release);
        }
    }
    for (const auto& performance : bank.performances)
        for (const auto& slot : performance->slots) {
            check(slot->program.get() != nullptr);
            check(slot->channel <= MV::ProgramSlot::kAllChannels && slot->output < MV::kOutputCount);
        }
}

using Text = std::vector<uint8_t>;

// The document of the item that `root` names, the last of its kind in the bank, written against
// the bank's lists.
Text write(const std::string& root, const MV::Bank& bank) {
    if (root == "bank") return MV::MVWriter::chunkText(bank);
    if (root == "performance") return MV::MVWriter::chunkText(*bank.performances.back(), bank);
    if (root == "wavematrix") return MV::MVWriter::chunkText(*bank.matrixes.back(), bank);
    return MV::MVWriter::chunkText(*bank.programs.back(), bank);
}

// A bank that shares the lists of `bank` but for the last item of the kind `root` names, and has
// its own settings: what the written text is read into.
SharedRef<MV::Bank> readingBank(const std::string& root, const MV::Bank& bank) {
    auto again = ZnLib::makeRef<MV::Bank>();
    again->waves = bank.waves;
    again->matrixes = bank.matrixes;
    again->programs = bank.programs;
    again->performances = bank.performances;
    if (root == "performance") again->performances.pop_back();
    else if (root == "wavematrix") again->matrixes.pop_back();
    else if (root != "bank") again->programs.pop_back();
    // A bank's interpolation is not part of its document.
    if (root == "bank") again->interpolation = bank.interpolation;
    return again;
}

void read(const std::string& root, MV::Bank& bank, const Text& text) {
    MV::LoadedNothing filter;
    MV::FindNothing find;
    MV::ProcessCallbacks process;
    std::vector<std::string> places;
    MV::MVLoad load(bank, filter, find, process, places, MV::MVLoad::kChunkMode);
    if (root == "bank") load.loadBankText(text);
    else if (root == "performance") load.loadPerformanceText(text);
    else if (root == "wavematrix") load.loadMatrixText(text);
    else load.loadProgramText(text);
}

// Save, read back, compare; save again and compare the texts.
void checkRoundTrip(const std::string& root, const MV::Bank& bank) {
    const Text first = write(root, bank);
    SharedRef<MV::Bank> again = readingBank(root, bank);
    try {
        read(root, *again, first);
    } catch (const std::exception&) {
        std::abort();  // the writer produced what the reader refuses
    }
    const std::string before = MV::dumpBank(bank), after = MV::dumpBank(*again);
    if (before != after) {
        // Name the first line that changed, so that a finding says which field did not survive.
        std::size_t line = 0, at = 0;
        while (at < before.size() && at < after.size() && before[at] == after[at])
            if (before[at++] == '\n') line = at;
        std::fprintf(stderr, "round trip changed:\n< %s\n> %s\n", before.substr(line, before.find('\n', line) - line).c_str(),
                     after.substr(line, after.find('\n', line) - line).c_str());
        std::abort();
    }
    check(write(root, *again) == first);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> text(data, size);
    auto bank = ZnLib::makeRef<MV::Bank>();
    for (int i = 0; i < 3; ++i) bank->addWave(smallWave(i));
    bank->addMatrix(ZnLib::makeRef<MV::WaveMatrix>("M"));
    bank->addProgram(ZnLib::makeRef<MV::Program>("P"));
    MV::LoadedNothing filter;
    MV::FindNothing find;
    MV::ProcessCallbacks process;
    std::vector<std::string> places;
    MV::MVLoad load(*bank, filter, find, process, places, MV::MVLoad::kChunkMode);
    const std::string root = MV::XmlParser::rootElement(text);
    try {
        if (root == "bank")
            load.loadBankText(text);
        else if (root == "performance")
            load.loadPerformanceText(text);
        else if (root == "wavematrix")
            load.loadMatrixText(text);
        else
            load.loadProgramText(text);
    } catch (const std::exception&) {
        return 0;
    }
    checkBank(*bank);
    checkRoundTrip(root, *bank);
    return 0;
}
