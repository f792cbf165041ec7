#include <gtest/gtest.h>

#include "model/ModelTestUtil.h"
#include "model/WaveMatrix.h"

using namespace MV;
using ZnLib::makeRef;
using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

std::vector<int> columnThresholds(const WaveMatrix& m) {
    std::vector<int> out;
    for (unsigned c = 0; c < m.columns(); ++c) out.push_back(m.columnThreshold(c));
    return out;
}

std::vector<int> rowThresholds(const WaveMatrix& m) {
    std::vector<int> out;
    for (unsigned r = 0; r < m.rows(); ++r) out.push_back(m.rowThreshold(r));
    return out;
}

// Gives each cell of the grid a wave of its own, named "c,r".
std::vector<SharedRef<Wave>> fill(WaveMatrix& m) {
    std::vector<SharedRef<Wave>> waves;
    for (unsigned r = 0; r < m.rows(); ++r)
        for (unsigned c = 0; c < m.columns(); ++c) {
            waves.push_back(Fake::makeWave(std::to_string(c) + "," + std::to_string(r)));
            WaveMatrix::setCellWave(m.cell(c, r), waves.back());
        }
    return waves;
}

}  // namespace

TEST(WaveMatrix, NewMatrixHasOneNoneCell) {
    WaveMatrix m;
    EXPECT_EQ(m.columns(), 1);
    EXPECT_EQ(m.rows(), 1);
    EXPECT_EQ(m.thresholds, std::vector<uint8_t>({0, 0}));
    EXPECT_EQ(m.cell(0, 0).wave.get(), Wave::none());
    EXPECT_EQ(m.cell(0, 0).loop, -1);
    EXPECT_FALSE(m.hasRoot());
    m.setRoot(60);  // never written into the none wave
    EXPECT_EQ(Wave::none()->root, 255);
}

TEST(WaveMatrix, SelectByThresholds) {
    WaveMatrix m;
    m.addColumn(64);
    m.addRow(32);
    m.addRow(100);
    EXPECT_EQ(m.select(63, 0), std::make_pair(0u, 0u));
    EXPECT_EQ(m.select(64, 31), std::make_pair(1u, 0u));
    EXPECT_EQ(m.select(127, 32), std::make_pair(1u, 1u));
    EXPECT_EQ(m.select(0, 127), std::make_pair(0u, 2u));
    // The cell number is row * columns + column.
    auto waves = fill(m);
    EXPECT_EQ(m.cells()[2 * 2 + 1].wave, waves[5]);
    EXPECT_EQ(m.cell(1, 2).wave->name(), "1,2");
}

TEST(WaveMatrix, ThresholdLimits) {
    WaveMatrix m;
    m.addColumn(40);
    m.addColumn(80);
    EXPECT_EQ(m.setColumnThreshold(0, 10), 0);  // the first is fixed
    EXPECT_EQ(columnThresholds(m), std::vector<int>({0, 40, 80}));
    EXPECT_EQ(m.setColumnThreshold(1, 0), 1);  // above the previous one
    EXPECT_EQ(m.setColumnThreshold(1, 90), 80);  // up to the next one, not below it
    EXPECT_EQ(m.setColumnThreshold(2, 200), 127);
    EXPECT_EQ(columnThresholds(m), std::vector<int>({0, 80, 127}));
    EXPECT_EQ(m.setRowThreshold(0, 5), 0);
    EXPECT_EQ(rowThresholds(m), std::vector<int>({0}));

    EXPECT_EQ(m.addColumn(127), -1);  // stands there already
    EXPECT_EQ(m.columns(), 3);
}

TEST(WaveMatrix, AddingCopiesTheNeighbourRemovingKeepsTheFirstAtZero) {
    auto looped = Fake::makeWave("looped", 60, 0, 3);
    WaveMatrix m;
    WaveMatrix::setCellWave(m.cell(0, 0), looped);
    m.cell(0, 0).release = 2;
    EXPECT_EQ(m.addRow(64), 1);
    EXPECT_EQ(m.cell(0, 1).wave, looped);  // the cell above, loops and all
    EXPECT_EQ(m.cell(0, 1).release, 2);
    EXPECT_EQ(m.addColumn(50), 1);
    EXPECT_EQ(m.cell(1, 0), m.cell(0, 0));
    EXPECT_EQ(m.cell(1, 1), m.cell(0, 1));
    EXPECT_EQ(m.addColumn(20), 1);  // sorted in before 50
    EXPECT_EQ(columnThresholds(m), std::vector<int>({0, 20, 50}));
    EXPECT_EQ(rowThresholds(m), std::vector<int>({0, 64}));

    auto waves = fill(m);
    m.removeColumn(0);
    EXPECT_EQ(columnThresholds(m), std::vector<int>({0, 50}));
    EXPECT_EQ(m.cell(0, 0).wave->name(), "1,0");
    EXPECT_EQ(m.cell(1, 1).wave->name(), "2,1");
    m.removeRow(1);
    EXPECT_EQ(rowThresholds(m), std::vector<int>({0}));
    EXPECT_EQ(m.cell(1, 0).wave->name(), "2,0");
    m.removeRow(0);  // the last row stays
    EXPECT_EQ(m.rows(), 1);
}

TEST(WaveMatrix, SetColumnsResamples) {
    WaveMatrix m;
    m.addColumn(64);
    auto waves = fill(m);
    m.setColumns(4);
    EXPECT_EQ(columnThresholds(m), std::vector<int>({0, 32, 64, 96}));
    EXPECT_EQ(m.cell(0, 0).wave, waves[0]);
    EXPECT_EQ(m.cell(1, 0).wave, waves[0]);
    EXPECT_EQ(m.cell(2, 0).wave, waves[1]);
    EXPECT_EQ(m.cell(3, 0).wave, waves[1]);
    m.setColumns(2);  // fewer than there are: nothing
    EXPECT_EQ(m.columns(), 4);

    m.setRows(3);
    EXPECT_EQ(rowThresholds(m), std::vector<int>({0, 42, 85}));
    EXPECT_EQ(m.cell(3, 2).wave, waves[1]);
    EXPECT_EQ(m.thresholds.size(), 7u);
}

TEST(WaveMatrix, CellsNormaliseRootsAndEquality) {
    auto wave = Fake::makeWave("w", 50, -7, 2);
    WaveMatrix m("m");
    WaveMatrix::setCellWave(m.cell(0, 0), wave);
    EXPECT_EQ(m.cell(0, 0).loop, 0);
    WaveMatrix::setCellWave(m.cell(0, 0), wave);
    m.cell(0, 0).loop = 4;
    m.cell(0, 0).release = 1;
    m.normaliseCells();
    EXPECT_EQ(m.cell(0, 0).loop, 1);
    EXPECT_EQ(m.cell(0, 0).release, 1);

    EXPECT_EQ(m.rootOfSelection(), 50);
    EXPECT_EQ(m.fineOfSelection(), -7);
    m.setRoot(52);
    EXPECT_EQ(wave->root, 52);

    WaveMatrix copy(m);
    m.rr_count = 4;
    EXPECT_TRUE(copy == m);
    EXPECT_EQ(WaveMatrix(m).rr_count, 0);
    copy.yAxis.invert = true;
    EXPECT_FALSE(copy == m);
    copy = m;
    copy.addRow(1);
    EXPECT_FALSE(copy == m);

    EXPECT_TRUE(m.modified());  // the wave was never saved
}
