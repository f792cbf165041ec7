#include "persist/DocumentReferences.h"

#include <stdexcept>

#include "model/Bank.h"

namespace MV {

namespace {

template <typename Item>
void addIndices(std::unordered_map<const void*, std::size_t>& index, const std::vector<ZnLib::SharedRef<Item>>& list) {
    for (std::size_t i = 0; i < list.size(); ++i) index.emplace(list[i].get(), i);
}

std::string indexOf(const std::unordered_map<const void*, std::size_t>& index, const ZnPlug::SoundItem& item) {
    auto it = index.find(&item);
    if (it == index.end()) throw std::runtime_error("Not in the bank: " + item.name());
    return std::to_string(it->second);
}

}  // namespace

ChunkReferences::ChunkReferences(const Bank& bank) {
    // Each list numbers from 0; the four kinds never share an object.
    addIndices(index_, bank.waves);
    addIndices(index_, bank.matrixes);
    addIndices(index_, bank.programs);
    addIndices(index_, bank.performances);
}

std::string ChunkReferences::wave(ZnPlug::Wave& wave) { return indexOf(index_, wave); }
std::string ChunkReferences::matrix(WaveMatrix& matrix) { return indexOf(index_, matrix); }
std::string ChunkReferences::program(Program& program) { return indexOf(index_, program); }
std::string ChunkReferences::performance(Performance& performance) { return indexOf(index_, performance); }
std::string ChunkReferences::icon(Icon& icon) { return icon.file().path(); }

}  // namespace MV
