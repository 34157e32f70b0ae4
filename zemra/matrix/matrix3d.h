#pragma once

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// A stack of nslots equal matrices; the first index is the slot, in the system models the
/// frequency. Element (k, i, j) is element (i, j) of slot k. The stack takes three blocks of
/// storage, however many its slots.
template <typename T>
class Matrix3D final : public Matrix {
  public:
    Matrix3D() = default;
    /// nslots zero matrices of nrows × ncols.
    Matrix3D(int nslots, int nrows, int ncols)
        : elements_(AllocateBlock<T>(nslots, nrows, ncols)),
          rows_(AllocateBlock<Matrix1D<T>>(nslots, nrows)),
          slots_(nslots),
          nrows_(nrows),
          ncols_(ncols),
          nslots_(nslots) {
        const std::ptrdiff_t size = static_cast<std::ptrdiff_t>(nrows) * ncols;
        T* elements = elements_.get();
        Matrix1D<T>* rows = rows_.get();
        for (int k = 0; k < nslots; ++k, rows += nrows, elements += size)
            slots_(k).Borrow(rows, elements, nrows, ncols);
    }
    /// Every element v.
    Matrix3D(int nslots, int nrows, int ncols, const T& v) : Matrix3D(nslots, nrows, ncols) {
        for (int k = 0; k < nslots; ++k)
            for (int i = 0; i < nrows; ++i) std::fill_n(Slot(k).Row(i).Data(), ncols, v);
    }

    Matrix3D(const Matrix3D& other) : Matrix3D(other.nslots_, other.nrows_, other.ncols_) {
        for (int k = 0; k < nslots_; ++k) slots_(k) = other.slots_(k);
    }
    Matrix3D(Matrix3D&& other) noexcept { *this = std::move(other); }
    Matrix3D& operator=(const Matrix3D& other) {
        if (this != &other) *this = Matrix3D(other);
        return *this;
    }
    Matrix3D& operator=(Matrix3D&& other) noexcept {
        std::swap(elements_, other.elements_);
        std::swap(rows_, other.rows_);
        slots_.Exchange(other.slots_);
        std::swap(nrows_, other.nrows_);
        std::swap(ncols_, other.ncols_);
        std::swap(nslots_, other.nslots_);
        return *this;
    }
    ~Matrix3D() override = default;

    int Size(int dim) const override {
        return dim == 0 ? nslots_ : dim == 1 ? nrows_ : dim == 2 ? ncols_ : 0;
    }
    Matrix3D* Copy() const override { return new Matrix3D(*this); }

    T& operator()(int k, int i, int j) { return slots_(k)(i, j); }
    const T& operator()(int k, int i, int j) const { return slots_(k)(i, j); }
    Matrix2D<T>& Slot(int k) { return slots_(k); }
    const Matrix2D<T>& Slot(int k) const { return slots_(k); }

  private:
    std::unique_ptr<T[]> elements_;        // row after row
    std::unique_ptr<Matrix1D<T>[]> rows_;  // of all slots
    Matrix1D<Matrix2D<T>> slots_;
    int nrows_ = 0;
    int ncols_ = 0;
    int nslots_ = 0;
};

}  // namespace ZEMRA::Vibration
