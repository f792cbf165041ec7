#include "model/WaveMatrix.h"

#include <algorithm>

namespace MV {

using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

// The last of the n thresholds that is not above `value`; the last one if none is.
unsigned pick(const uint8_t* thresholds, unsigned n, int value) noexcept {
    for (unsigned i = n; i-- > 0;)
        if (thresholds[i] <= value) return i;
    return n - 1;
}

int32_t cutLoop(int32_t index, const Wave& wave) {
    const int32_t last = int32_t(wave.loops.size()) - 1;
    return index > last ? last : index;
}

// The place of a new threshold in a strictly rising list: behind every smaller value; -1 when
// the value stands there already or cannot be a threshold.
int insertPlace(const std::vector<uint8_t>& list, int value) {
    if (value < 0 || value > WaveMatrix::kMaxThreshold) return -1;
    auto it = std::lower_bound(list.begin(), list.end(), uint8_t(value));
    if (it != list.end() && *it == value) return -1;
    return int(it - list.begin());
}

// A threshold edit: the first stays 0, the others stay above their predecessor and not above
// their successor (127 for the last).
uint8_t limitThreshold(std::vector<uint8_t>& list, unsigned index, int value) {
    if (index == 0 || index >= list.size()) return 0;
    const int low = list[index - 1] + 1;
    const int high = index + 1 < list.size() ? list[index + 1] : WaveMatrix::kMaxThreshold;
    value = std::min(std::max(value, low), high);
    list[index] = uint8_t(value);
    return list[index];
}

// n thresholds spread over 0 to 127: the truncated multiples of 128 / n.
std::vector<uint8_t> evenThresholds(unsigned n) {
    const double step = 128.0 / n;
    std::vector<uint8_t> list(n);
    for (unsigned i = 0; i < n; ++i) list[i] = uint8_t(int(i * step));
    return list;
}

}  // namespace

MatrixCell::MatrixCell() : wave(Wave::none()) {}

WaveMatrix::WaveMatrix() : Grid(1, 1), thresholds{0, 0} {}

WaveMatrix::WaveMatrix(std::string name) : SoundItem(std::move(name)), Grid(1, 1), thresholds{0, 0} {}

WaveMatrix* WaveMatrix::none() {
    // Built on first use and never destroyed: holders may outlive every other static.
    static WaveMatrix* const noneMatrix = new WaveMatrix("<none>");
    return noneMatrix;
}

std::vector<uint8_t> WaveMatrix::columnThresholds() const {
    return {thresholds.begin(), thresholds.begin() + columns()};
}

std::vector<uint8_t> WaveMatrix::rowThresholds() const { return {thresholds.begin() + columns(), thresholds.end()}; }

void WaveMatrix::setThresholds(const std::vector<uint8_t>& cols, const std::vector<uint8_t>& rows) {
    thresholds = cols;
    thresholds.insert(thresholds.end(), rows.begin(), rows.end());
}

std::pair<unsigned, unsigned> WaveMatrix::select(int x, int y) const noexcept {
    return {pick(thresholds.data(), columns(), x), pick(thresholds.data() + columns(), rows(), y)};
}

void WaveMatrix::setCellWave(Cell& cell, SharedRef<Wave> wave) {
    if (!wave) wave = SharedRef<Wave>(Wave::none());
    if (cell.wave.get() != wave.get()) cell.loop = cell.release = wave->loops.empty() ? -1 : 0;
    cell.wave = std::move(wave);
}

void WaveMatrix::normaliseCells() {
    for (Cell& c : cells()) {
        c.loop = cutLoop(c.loop, *c.wave);
        c.release = cutLoop(c.release, *c.wave);
    }
}

int WaveMatrix::addColumn(uint8_t threshold) {
    std::vector<uint8_t> cols = columnThresholds();
    const std::vector<uint8_t> rws = rowThresholds();
    const int place = insertPlace(cols, threshold);
    if (place <= 0 || columns() >= kMaxColumns) return -1;
    cols.insert(cols.begin() + place, threshold);
    const unsigned char left = static_cast<unsigned char>(place - 1);
    insertColumn(static_cast<unsigned char>(place), [this, left](unsigned char row) { return at(left, row); });
    setThresholds(cols, rws);
    return place;
}

int WaveMatrix::addRow(uint8_t threshold) {
    std::vector<uint8_t> rws = rowThresholds();
    const int place = insertPlace(rws, threshold);
    if (place <= 0 || rows() >= kMaxRows) return -1;
    rws.insert(rws.begin() + place, threshold);
    const unsigned char above = static_cast<unsigned char>(place - 1);
    insertRow(static_cast<unsigned char>(place), [this, above](unsigned char column) { return at(column, above); });
    setThresholds(columnThresholds(), rws);
    return place;
}

void WaveMatrix::removeColumn(unsigned index) {
    if (index >= columns() || columns() <= 1) return;
    std::vector<uint8_t> cols = columnThresholds();
    std::vector<uint8_t> rws = rowThresholds();
    cols.erase(cols.begin() + index);
    cols[0] = 0;
    eraseColumn(static_cast<unsigned char>(index));
    setThresholds(cols, rws);
}

void WaveMatrix::removeRow(unsigned index) {
    if (index >= rows() || rows() <= 1) return;
    std::vector<uint8_t> rws = rowThresholds();
    rws.erase(rws.begin() + index);
    rws[0] = 0;
    eraseRow(static_cast<unsigned char>(index));
    setThresholds(columnThresholds(), rws);
}

uint8_t WaveMatrix::setColumnThreshold(unsigned index, int value) {
    std::vector<uint8_t> cols = columnThresholds();
    const uint8_t result = limitThreshold(cols, index, value);
    setThresholds(cols, rowThresholds());
    return result;
}

uint8_t WaveMatrix::setRowThreshold(unsigned index, int value) {
    std::vector<uint8_t> rws = rowThresholds();
    const uint8_t result = limitThreshold(rws, index, value);
    setThresholds(columnThresholds(), rws);
    return result;
}

void WaveMatrix::setColumns(unsigned n) {
    n = std::min(n, kMaxColumns);
    if (columns() >= n) return;
    const WaveMatrix copy(*this);
    const std::vector<uint8_t> rws = rowThresholds();
    reset(static_cast<unsigned char>(n), rows());
    setThresholds(evenThresholds(n), rws);
    resampleFrom(copy);
}

void WaveMatrix::setRows(unsigned n) {
    n = std::min(n, kMaxRows);
    if (rows() >= n) return;
    const WaveMatrix copy(*this);
    const std::vector<uint8_t> cols = columnThresholds();
    reset(columns(), static_cast<unsigned char>(n));
    setThresholds(cols, evenThresholds(n));
    resampleFrom(copy);
}

void WaveMatrix::resampleFrom(const WaveMatrix& other) {
    for (unsigned r = 0; r < rows(); ++r)
        for (unsigned c = 0; c < columns(); ++c) {
            auto [oc, orow] = other.select(columnThreshold(c), rowThreshold(r));
            cell(c, r) = other.cell(oc, orow);
        }
}

const WaveMatrix::Cell& WaveMatrix::selectedCell() const noexcept {
    auto [c, r] = select(0, 0);
    return cell(c, r);
}

uint8_t WaveMatrix::rootOfSelection() const noexcept { return selectedCell().wave->root; }

int8_t WaveMatrix::fineOfSelection() const noexcept { return selectedCell().wave->fine; }

void WaveMatrix::setRoot(uint8_t root) {
    Wave* w = selectedCell().wave.get();
    if (!w->isNone()) w->root = root;
}

bool WaveMatrix::modified() const {
    if (isNone()) return false;
    if (selfModified()) return true;
    for (const Cell& c : cells())
        if (c.wave->modified()) return true;
    return false;
}

std::size_t WaveMatrix::memUsage() const {
    const std::size_t cols = columns(), rws = rows();
    return cols + (file().path().size() + (cols * rws + 4) * 6 + name().size()) * 2 + rws;
}

bool WaveMatrix::operator==(const WaveMatrix& o) const {
    return file() == o.file() && name() == o.name() && static_cast<const Grid&>(*this) == static_cast<const Grid&>(o) &&
           xAxis == o.xAxis && yAxis == o.yAxis && thresholds == o.thresholds;
}

}  // namespace MV
