#pragma once

#include <vector>

#include "zemra/matrix/matrix.h"

namespace ZEMRA::Vibration {

/// Sparse vector of logical length n. Stored entries stay in insertion order, each position
/// once; a lookup is a linear search.
template <typename T>
class MatrixSparse1D : public Matrix {
  public:
    MatrixSparse1D() = default;
    explicit MatrixSparse1D(int n) : size_(n) {}

    MatrixSparse1D(const MatrixSparse1D&) = default;
    MatrixSparse1D(MatrixSparse1D&&) noexcept = default;
    MatrixSparse1D& operator=(const MatrixSparse1D& other) {
        if (this != &other) *this = MatrixSparse1D(other);
        return *this;
    }
    MatrixSparse1D& operator=(MatrixSparse1D&&) noexcept = default;
    ~MatrixSparse1D() override = default;

    int Size(int dim) const override { return dim == 0 ? size_ : 0; }
    MatrixSparse1D* Copy() const override { return new MatrixSparse1D(*this); }

    /// The value at position p; zero when none is stored.
    const T& operator()(int p) const {
        const std::size_t k = Find(p);
        return k < entries_.size() ? entries_[k].value : zero_;
    }
    /// The value at position p, stored as zero first when it is not there yet. The reference
    /// is valid until the next position is added.
    T& operator()(int p) {
        const std::size_t k = Find(p);
        if (k == entries_.size()) {
            entries_.reserve(k + 1);
            entries_.push_back({p, T{}});
        }
        return entries_[k].value;
    }

  private:
    struct Entry {
        int index;
        T value;
    };
    std::vector<Entry> entries_;
    int size_ = 0;
    T zero_{};

    std::size_t Find(int p) const {
        std::size_t k = 0;
        while (k < entries_.size() && entries_[k].index != p) ++k;
        return k;
    }
};

template <typename T>
class MatrixSparse2D;

/// Sparse matrix stored as sparse rows.
template <>
class MatrixSparse2D<double> : public Matrix {
  public:
    MatrixSparse2D() = default;
    /// From nnz triplets (row[k], col[k], val[k]) with zero-based indices; a later triplet for
    /// the same element overwrites an earlier one. Every row exists, also an empty one.
    MatrixSparse2D(int nrows, int ncols, int nnz, const int* row, const int* col,
                   const double* val)
        : rows_(nrows), nrows_(nrows), ncols_(ncols) {
        for (int i = 0; i < nrows; ++i) rows_(i) = MatrixSparse1D<double>(ncols);
        for (int k = 0; k < nnz; ++k) rows_(row[k])(col[k]) = val[k];
    }

    int Size(int dim) const override { return dim == 0 ? nrows_ : dim == 1 ? ncols_ : 0; }
    MatrixSparse2D* Copy() const override { return new MatrixSparse2D(*this); }

    /// The sparse row r, or an empty row where none is stored.
    const MatrixSparse1D<double>& operator()(int r) const { return rows_(r); }
    /// Element (r, c); 0 when it is not stored.
    double operator()(int r, int c) const { return rows_(r)(c); }

  private:
    MatrixSparse1D<MatrixSparse1D<double>> rows_;
    int nrows_ = 0;
    int ncols_ = 0;
};

}  // namespace ZEMRA::Vibration
