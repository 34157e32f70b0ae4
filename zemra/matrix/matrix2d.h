#pragma once

#include <concepts>

#include "zemra/matrix/matrix1d.h"
#include "zemra/matrix/matrix_sparse.h"

namespace ZEMRA::Vibration {

/// Dense matrix stored as an array of row vectors: row-major, rows contiguous, and a row is
/// exchanged by exchanging its vector. The elements of all rows are one block of storage, the
/// slot of a stack has its place in the stack's: see Matrix1D for what a row keeps to.
template <typename T>
class Matrix2D final : public Matrix {
  public:
    Matrix2D() = default;
    /// nrows × ncols zeros.
    Matrix2D(int nrows, int ncols)
        : elements_(AllocateBlock<T>(nrows, ncols)),
          rows_(nrows),
          nrows_(nrows),
          ncols_(ncols) {
        LendRows(elements_.get());
    }
    /// Every element v.
    Matrix2D(int nrows, int ncols, const T& v) : Matrix2D(nrows, ncols) {
        for (int i = 0; i < nrows; ++i) std::fill_n(rows_(i).Data(), ncols, v);
    }
    /// Element (i, j) is a[i·ncols + j].
    Matrix2D(int nrows, int ncols, const T* a) : Matrix2D(nrows, ncols) {
        for (int i = 0; i < nrows; ++i, a += ncols) std::copy_n(a, ncols, rows_(i).Data());
    }
    /// Dense copy of a sparse matrix. Every element costs a linear search of its row.
    explicit Matrix2D(const MatrixSparse2D<double>& s) requires std::same_as<T, double>
        : Matrix2D(s.Size(0), s.Size(1)) {
        for (int i = 0; i < nrows_; ++i) {
            const MatrixSparse1D<double>& row = s(i);
            for (int j = 0; j < ncols_; ++j) (*this)(i, j) = row(j);
        }
    }

    Matrix2D(const Matrix2D& other) : Matrix2D(other.nrows_, other.ncols_) { CopyRows(other); }
    // Not noexcept: a slot is copied.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    Matrix2D(Matrix2D&& other) { *this = std::move(other); }
    Matrix2D& operator=(const Matrix2D& other) {
        if (this == &other) return *this;
        if (!IsSlot() || nrows_ != other.nrows_ || ncols_ != other.ncols_)
            return *this = Matrix2D(other);
        CopyRows(other);
        return *this;
    }
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    Matrix2D& operator=(Matrix2D&& other) {
        if (other.IsSlot() || (IsSlot() && nrows_ == other.nrows_ && ncols_ == other.ncols_))
            return *this = std::as_const(other);
        if (IsSlot()) {
            rows_.GiveBack();
            nrows_ = ncols_ = 0;
        }
        std::swap(elements_, other.elements_);
        rows_.Exchange(other.rows_);
        std::swap(nrows_, other.nrows_);
        std::swap(ncols_, other.ncols_);
        std::swap(inOrder_, other.inOrder_);
        return *this;
    }
    ~Matrix2D() override = default;

    int Size(int dim) const override { return dim == 0 ? nrows_ : dim == 1 ? ncols_ : 0; }
    Matrix2D* Copy() const override { return new Matrix2D(*this); }

    T& operator()(int i, int j) { return rows_(i)(j); }
    const T& operator()(int i, int j) const { return rows_(i)(j); }
    Matrix1D<T>& Row(int i) {
        inOrder_ = false;  // whoever has the row may give it another size
        return rows_(i);
    }
    const Matrix1D<T>& Row(int i) const { return rows_(i); }

    /// All elements, (i, j) at i·ncols + j; null where they are not known to stand like that:
    /// in a slot, and after rows have been exchanged or touched one by one for writing.
    const T* Elements() const { return inOrder_ ? elements_.get() : nullptr; }

    Matrix1D<T> Column(int j) const {
        Matrix1D<T> column(nrows_);
        for (int i = 0; i < nrows_; ++i) column(i) = (*this)(i, j);
        return column;
    }

    /// Transposes in place.
    void Transpose() {
        Matrix2D transposed(ncols_, nrows_);
        for (int i = 0; i < nrows_; ++i)
            for (int j = 0; j < ncols_; ++j) transposed(j, i) = (*this)(i, j);
        *this = std::move(transposed);
    }

    /// Exchanges rows i and j.
    void Piviot(int i, int j) { Row(i).Exchange(Row(j)); }

    void DeleteRow(int i) {
        --nrows_;
        rows_.Delete(i);
    }
    void DeleteColumn(int j) {
        for (int i = 0; i < nrows_; ++i) Row(i).Delete(j);
        --ncols_;
    }

  private:
    template <typename>
    friend class Matrix3D;

    std::unique_ptr<T[]> elements_;  // row after row; null in a slot
    Matrix1D<Matrix1D<T>> rows_;
    int nrows_ = 0;
    int ncols_ = 0;
    bool inOrder_ = true;

    bool IsSlot() const { return rows_.lent_; }

    // Makes an empty matrix a slot, of rows and elements that stay the stack's.
    void Borrow(Matrix1D<T>* rows, T* elements, int nrows, int ncols) {
        rows_.Borrow(rows, nrows);
        nrows_ = nrows;
        ncols_ = ncols;
        LendRows(elements);
    }
    void LendRows(T* elements) {
        for (int i = 0; i < nrows_; ++i, elements += ncols_) rows_(i).Borrow(elements, ncols_);
    }
    void CopyRows(const Matrix2D& other) {
        for (int i = 0; i < nrows_; ++i) {
            rows_(i) = other.rows_(i);
            if (rows_(i).Size(0) != ncols_) inOrder_ = false;
        }
    }
};

}  // namespace ZEMRA::Vibration
