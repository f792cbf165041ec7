#pragma once
#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

namespace ZnLib {

// A small two-dimensional grid stored row after row: the cell at (column, row) stands at
// row * columns + column. Index is the type of the column and row counts (a byte for the
// wave matrix, whose grid is at most 127 by 127).
template <typename Index, typename T>
class matrix {
public:
    matrix() = default;
    matrix(Index columns, Index rows, const T& fill = T())
        : cells_(std::size_t(columns) * rows, fill), columns_(columns), rows_(rows) {}

    Index columns() const noexcept { return columns_; }
    Index rows() const noexcept { return rows_; }
    std::size_t cellCount() const noexcept { return cells_.size(); }

    T& at(Index column, Index row) { return cells_[index(column, row)]; }
    const T& at(Index column, Index row) const { return cells_[index(column, row)]; }
    std::vector<T>& cells() noexcept { return cells_; }
    const std::vector<T>& cells() const noexcept { return cells_; }

    // Makes an empty columns x rows grid of `fill`.
    void reset(Index columns, Index rows, const T& fill = T()) {
        cells_.assign(std::size_t(columns) * rows, fill);
        columns_ = columns;
        rows_ = rows;
    }

    // Inserts a column before `at` (at == columns() appends); each row's new cell is made by
    // `make(row)`.
    template <typename Make>
    void insertColumn(Index at, Make make) {
        if (at > columns_) throw std::out_of_range("matrix column");
        // All new cells first: `make` may read the present grid.
        std::vector<T> added;
        added.reserve(rows_);
        for (Index r = 0; r < rows_; ++r) added.push_back(make(r));
        std::vector<T> next;
        next.reserve(std::size_t(columns_ + 1) * rows_);
        for (Index r = 0; r < rows_; ++r) {
            for (Index c = 0; c < at; ++c) next.push_back(std::move(cells_[index(c, r)]));
            next.push_back(std::move(added[r]));
            for (Index c = at; c < columns_; ++c) next.push_back(std::move(cells_[index(c, r)]));
        }
        cells_ = std::move(next);
        ++columns_;
    }

    // Inserts a row before `at`; each column's new cell is made by `make(column)`, which may read
    // the present grid.
    template <typename Make>
    void insertRow(Index at, Make make) {
        if (at > rows_) throw std::out_of_range("matrix row");
        std::vector<T> row;
        row.reserve(columns_);
        for (Index c = 0; c < columns_; ++c) row.push_back(make(c));
        auto pos = cells_.begin() + std::ptrdiff_t(std::size_t(at) * columns_);
        cells_.insert(pos, std::make_move_iterator(row.begin()), std::make_move_iterator(row.end()));
        ++rows_;
    }

    void eraseColumn(Index at) {
        if (at >= columns_) throw std::out_of_range("matrix column");
        std::vector<T> next;
        next.reserve(std::size_t(columns_ - 1) * rows_);
        for (Index r = 0; r < rows_; ++r)
            for (Index c = 0; c < columns_; ++c)
                if (c != at) next.push_back(std::move(cells_[index(c, r)]));
        cells_ = std::move(next);
        --columns_;
    }

    void eraseRow(Index at) {
        if (at >= rows_) throw std::out_of_range("matrix row");
        auto first = cells_.begin() + std::ptrdiff_t(std::size_t(at) * columns_);
        cells_.erase(first, first + columns_);
        --rows_;
    }

    bool operator==(const matrix&) const = default;

private:
    std::size_t index(Index column, Index row) const noexcept { return std::size_t(row) * columns_ + column; }

    std::vector<T> cells_;
    Index columns_ = 0;
    Index rows_ = 0;
};

}  // namespace ZnLib
