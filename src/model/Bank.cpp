#include "model/Bank.h"

#include <algorithm>

namespace MV {

using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

template <typename T>
bool listed(const std::vector<SharedRef<T>>& list, const T* item) {
    return std::any_of(list.begin(), list.end(), [item](const SharedRef<T>& r) { return r.get() == item; });
}

template <typename T>
void append(std::vector<SharedRef<T>>& list, SharedRef<T> item, const T* none) {
    if (!item || item.get() == none || listed(list, item.get())) return;
    list.push_back(std::move(item));
}

// Erases the item; returns its former index, or -1 when it was not listed.
template <typename T>
long erase(std::vector<SharedRef<T>>& list, const T* item) {
    auto it = std::find_if(list.begin(), list.end(), [item](const SharedRef<T>& r) { return r.get() == item; });
    if (it == list.end()) return -1;
    const long index = long(it - list.begin());
    list.erase(it);
    return index;
}

// The item of exactly that path, with a new reference.
template <typename T>
SharedRef<T> byPath(const std::vector<SharedRef<T>>& list, const ZnLib::FS::File& file) {
    for (const SharedRef<T>& r : list)
        if (r->file().path() == file.path()) return r;
    return {};
}

template <typename T>
bool anyModified(const std::vector<SharedRef<T>>& list) {
    return std::any_of(list.begin(), list.end(), [](const SharedRef<T>& r) { return r->modified(); });
}

template <typename T>
void clearAll(const std::vector<SharedRef<T>>& list) {
    for (const SharedRef<T>& r : list) r->clearModified();
}

}  // namespace

Bank::Bank() : currentPerformance(Performance::none()) {}

void Bank::addProgram(SharedRef<Program> program) { append(programs, std::move(program), Program::none()); }

void Bank::addPerformance(SharedRef<Performance> performance) {
    append(performances, std::move(performance), Performance::none());
}

void Bank::addWave(SharedRef<Wave> wave) { append(waves, std::move(wave), Wave::none()); }

void Bank::addMatrix(SharedRef<WaveMatrix> matrix) { append(matrixes, std::move(matrix), WaveMatrix::none()); }

void Bank::addDeep(const SharedRef<Program>& program) {
    if (!program || program->isNone() || hasProgram(program.get())) return;
    for (const SharedRef<Group>& group : program->groups)
        for (const Split& split : group->splits) {
            if (split.isMatrix())
                addDeep(SharedRef<WaveMatrix>(split.matrix()));
            else
                addWave(SharedRef<Wave>(split.wave()));
        }
    addProgram(program);
}

void Bank::addDeep(const SharedRef<Performance>& performance) {
    if (!performance || performance->isNone() || hasPerformance(performance.get())) return;
    for (const SharedRef<ProgramSlot>& slot : performance->slots) addDeep(slot->program);
    addPerformance(performance);
}

void Bank::addDeep(const SharedRef<WaveMatrix>& matrix) {
    if (!matrix || matrix->isNone() || hasMatrix(matrix.get())) return;
    for (const WaveMatrix::Cell& cell : matrix->cells()) addWave(cell.wave);
    addMatrix(matrix);
}

void Bank::removeProgram(const Program* program) { erase(programs, program); }

void Bank::removePerformance(const Performance* performance) {
    const long index = erase(performances, performance);
    if (index < 0) return;
    if (performances.empty())
        currentPerformance = Performance::none();
    else if (std::size_t(index) >= performances.size())
        currentPerformance = performances.back().get();
    else
        currentPerformance = performances[std::size_t(index)].get();
}

void Bank::removeWave(const Wave* wave) { erase(waves, wave); }

void Bank::removeMatrix(const WaveMatrix* matrix) { erase(matrixes, matrix); }

void Bank::removeNoneWave() { erase(waves, static_cast<const Wave*>(Wave::none())); }

void Bank::merge(const Bank& other) {
    for (const auto& p : other.performances) addPerformance(p);
    for (const auto& p : other.programs) addProgram(p);
    for (const auto& m : other.matrixes) addMatrix(m);
    for (const auto& w : other.waves) addWave(w);
    if (!hasPerformance(currentPerformance) && !performances.empty()) currentPerformance = performances.front().get();
}

bool Bank::empty() const noexcept {
    return waves.empty() && programs.empty() && performances.empty() && matrixes.empty();
}

bool Bank::hasProgram(const Program* program) const noexcept { return listed(programs, program); }

bool Bank::hasPerformance(const Performance* performance) const noexcept {
    return listed(performances, performance);
}

bool Bank::hasWave(const Wave* wave) const noexcept { return listed(waves, wave); }

bool Bank::hasMatrix(const WaveMatrix* matrix) const noexcept { return listed(matrixes, matrix); }

SharedRef<Wave> Bank::existingWave(const ZnLib::FS::File& file) { return byPath(waves, file); }

SharedRef<Program> Bank::existingProgram(const ZnLib::FS::File& file) { return byPath(programs, file); }

SharedRef<Performance> Bank::existingPerformance(const ZnLib::FS::File& file) { return byPath(performances, file); }

SharedRef<WaveMatrix> Bank::existingMatrix(const ZnLib::FS::File& file) { return byPath(matrixes, file); }

bool Bank::modified() const {
    return SoundItem::modified() || anyModified(performances) || anyModified(programs) || anyModified(waves) ||
           anyModified(matrixes);
}

void Bank::clearModified() {
    ModCounted::clearModified();
    clearAll(performances);
    clearAll(programs);
    clearAll(waves);
    clearAll(matrixes);
}

}  // namespace MV
