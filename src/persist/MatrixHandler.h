#pragma once
#include <map>

#include "lib/RefCounted.h"
#include "model/WaveMatrix.h"
#include "persist/MVHandler.h"
#include "persist/XmlAttributeReader.h"
#include "plug/Wave.h"

namespace MV {

// Reads a wave matrix document: the waves it uses, its axes, and the thresholds and cells row
// by row. Each row must hold one cell per column: "Wrong number of cells in row " and the row's
// number (from 1) otherwise.
class MatrixHandler : public MVHandler {
public:
    explicit MatrixHandler(MVLoad& load) : MVHandler(load) {}

    void element(int code, int parentCode, const ZnLib::XML::Attributes& attributes) override;
    void elementEnd(int code) override;

    // The finished matrix, which is in the target's list; empty until the document ends.
    const ZnLib::SharedRef<WaveMatrix>& matrix() const noexcept { return finished_; }

private:
    void readRow(const XmlAttributeReader& r);
    void readCell(const XmlAttributeReader& r);
    [[noreturn]] void wrongCellCount() const;

    ZnLib::SharedRef<WaveMatrix> matrix_;
    ZnLib::SharedRef<WaveMatrix> finished_;
    std::map<int, ZnLib::SharedRef<ZnPlug::Wave>> waves_;
    unsigned rowCount_ = 0;  // rows met so far
    int row_ = -1;           // grid row of the cells being read
    unsigned column_ = 0;    // next cell's column
};

}  // namespace MV
