#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "lib/Matrix.h"
#include "lib/RefCounted.h"
#include "model/Names.h"
#include "model/RoundRobin.h"
#include "plug/SoundItem.h"
#include "plug/Wave.h"

namespace MV {

// One wave of a matrix with its loops.
struct MatrixCell {
    MatrixCell();
    explicit MatrixCell(ZnLib::SharedRef<ZnPlug::Wave> wave, int32_t loop = -1, int32_t release = -1)
        : loop(loop), release(release), wave(std::move(wave)) {}

    int32_t loop = -1;     // sustain loop index, -1 none
    int32_t release = -1;  // release loop index, -1 none
    ZnLib::SharedRef<ZnPlug::Wave> wave;
    bool operator==(const MatrixCell& o) const noexcept {
        return loop == o.loop && release == o.release && wave == o.wave;
    }
};

// An axis of a matrix: a modulation source picks the column or row, or a round robin count
// when the source is none.
struct MatrixAxis {
    bool invert = false;
    uint16_t source = 0;  // modulation source index
    int32_t roundRobinSource = kRoundRobinDefault;
    bool operator==(const MatrixAxis&) const = default;
};

// A grid of waves that a split can hold in place of a wave: at note on two source values pick a
// column and a row by the thresholds, and that cell's wave sounds.
class WaveMatrix : public ZnPlug::SoundItem, public RoundRobin, public ZnLib::matrix<unsigned char, MatrixCell> {
public:
    using Cell = MatrixCell;
    using Axis = MatrixAxis;
    using Grid = ZnLib::matrix<unsigned char, MatrixCell>;

    static constexpr unsigned kMaxColumns = 127;
    static constexpr unsigned kMaxRows = 127;
    static constexpr uint8_t kMaxThreshold = 127;

    // One column, one row, thresholds 0 and 0, one cell with the none wave.
    WaveMatrix();
    explicit WaveMatrix(std::string name);
    // Shares the waves; the round robin counter starts afresh.
    WaveMatrix(const WaveMatrix&) = default;
    WaveMatrix& operator=(const WaveMatrix&) = default;

    // The shared "<none>" matrix; never modified, never listed in a bank.
    static WaveMatrix* none();
    bool isNone() const noexcept { return this == none(); }

    uint8_t columnThreshold(unsigned column) const { return thresholds[column]; }
    uint8_t rowThreshold(unsigned row) const { return thresholds[columns() + row]; }

    // Column and row for source values x and y, 0 to 127.
    std::pair<unsigned, unsigned> select(int x, int y) const noexcept;
    Cell& cell(unsigned column, unsigned row) { return at(column, row); }
    const Cell& cell(unsigned column, unsigned row) const { return at(column, row); }
    // Takes `wave`; another wave than the cell's resets the loops to its first loop, or none.
    static void setCellWave(Cell& cell, ZnLib::SharedRef<ZnPlug::Wave> wave);
    // Cuts every cell's loops to its wave's last loop.
    void normaliseCells();

    // A threshold at its sorted place, and a column there whose cells copy their left neighbours.
    // Returns the new column's index; nothing happens at the column limit (returns -1).
    int addColumn(uint8_t threshold);
    // Likewise a row whose cells copy the row above.
    int addRow(uint8_t threshold);
    // The first column or row can go too: its successor's threshold becomes 0. The last one stays.
    void removeColumn(unsigned index);
    void removeRow(unsigned index);
    // Above the previous threshold and not above the next one (or 127); the first stays 0.
    // Returns the value stored.
    uint8_t setColumnThreshold(unsigned index, int value);
    uint8_t setRowThreshold(unsigned index, int value);
    // Spreads the thresholds evenly over n columns or rows and resamples the cells; nothing
    // happens when there are n already or more.
    void setColumns(unsigned n);
    void setRows(unsigned n);
    // Each cell takes the cell of `other` that its thresholds select there.
    void resampleFrom(const WaveMatrix& other);

    // Root and fine of the wave that select(0, 0) gives: what a split with this matrix plays at.
    uint8_t rootOfSelection() const noexcept;
    int8_t fineOfSelection() const noexcept;
    bool hasRoot() const noexcept { return rootOfSelection() < 255; }
    // Writes the root to that wave, unless it is the none wave.
    void setRoot(uint8_t root);

    // The count, the file, or any cell's wave.
    bool modified() const override;
    // columns + (path length + (columns * rows + 4) * 6 + name length) * 2 + rows.
    std::size_t memUsage() const override;

    // File, name, grid, axes and thresholds.
    bool operator==(const WaveMatrix& o) const;

    Axis xAxis;
    Axis yAxis;
    // The column thresholds, then the row thresholds; each part strictly rising from 0.
    std::vector<uint8_t> thresholds;

private:
    const Cell& selectedCell() const noexcept;
    std::vector<uint8_t> columnThresholds() const;
    std::vector<uint8_t> rowThresholds() const;
    void setThresholds(const std::vector<uint8_t>& cols, const std::vector<uint8_t>& rows);
};

}  // namespace MV
