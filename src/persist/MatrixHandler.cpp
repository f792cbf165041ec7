#include "persist/MatrixHandler.h"

#include <stdexcept>

#include "persist/MVLoad.h"
#include "persist/WireForm.h"

namespace MV {

using ZnLib::SharedRef;
using ZnLib::XML::Attributes;
using ZnPlug::Wave;

void MatrixHandler::element(int code, int, const Attributes& attributes) {
    const XmlAttributeReader r(attributes);
    switch (code) {
        case kWavematrix: {
            const std::string* name = r.text("name");
            matrix_ = name ? ZnLib::makeRef<WaveMatrix>(*name) : ZnLib::makeRef<WaveMatrix>();
            break;
        }
        case kWave: {
            const std::string* path = r.text("path");
            SharedRef<Wave> wave = load_.waveReference(path ? *path : std::string(), createdBy());
            int id = 0;
            if (r.readInt("id", id)) waves_[id] = wave;
            break;
        }
        case kXaxis:
        case kYaxis:
            if (matrix_) {
                WaveMatrix::Axis& axis = code == kXaxis ? matrix_->xAxis : matrix_->yAxis;
                r.readSource("source", axis.source);
                r.readBool("invert", axis.invert);
                r.readEnum("round-robin-source", kRoundRobinSourceNames, axis.roundRobinSource);
            }
            break;
        case kColumn:
            if (matrix_) {
                uint8_t value = 0;
                r.read7bit("value", value);
                matrix_->addColumn(value);
            }
            break;
        case kRow: readRow(r); break;
        case kCell: readCell(r); break;
        default: break;
    }
}

void MatrixHandler::readRow(const XmlAttributeReader& r) {
    if (!matrix_) return;
    ++rowCount_;
    column_ = 0;
    if (rowCount_ == 1) {
        // The first row's threshold is always 0; its row exists already.
        row_ = 0;
        return;
    }
    uint8_t value = 0;
    r.read7bit("value", value);
    row_ = matrix_->addRow(value);
}

void MatrixHandler::readCell(const XmlAttributeReader& r) {
    if (!matrix_ || row_ < 0) return;
    if (column_ >= matrix_->columns()) wrongCellCount();
    WaveMatrix::Cell& cell = matrix_->cell(column_++, unsigned(row_));
    cell.wave = SharedRef<Wave>(Wave::none());
    if (const std::string* wave = r.text("wave"); wave && !WireForm::isNoneRef(*wave)) {
        auto it = waves_.find(WireForm::parseInt(*wave));
        if (it == waves_.end()) throw std::runtime_error("No such wave: " + *wave);
        cell.wave = it->second;
    }
    // Both loops come from `loop`: documents have always been read so, whatever `release` says.
    int loop = 0;
    r.readInt("loop", loop);
    cell.loop = loop;
    cell.release = loop;
}

void MatrixHandler::wrongCellCount() const {
    throw std::runtime_error("Wrong number of cells in row " + std::to_string(rowCount_));
}

void MatrixHandler::elementEnd(int code) {
    if (code == kRow && matrix_ && row_ >= 0 && column_ != matrix_->columns()) wrongCellCount();
    if (code == kRow) row_ = -1;
    if (code != kWavematrix || !matrix_) return;
    matrix_->normaliseCells();
    matrix_->clearModified();
    load_.target().addMatrix(matrix_);
    finished_ = std::move(matrix_);
}

}  // namespace MV
