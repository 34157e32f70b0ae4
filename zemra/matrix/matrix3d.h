#pragma once

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// A stack of nslots equal matrices; the first index is the slot, in the system models the
/// frequency. Element (k, i, j) is element (i, j) of slot k.
template <typename T>
class Matrix3D : public Matrix {
  public:
    Matrix3D() = default;
    /// nslots zero matrices of nrows × ncols.
    Matrix3D(int nslots, int nrows, int ncols)
        : slots_(nslots), nrows_(nrows), ncols_(ncols), nslots_(nslots) {
        for (int k = 0; k < nslots; ++k) slots_(k) = Matrix2D<T>(nrows, ncols);
    }
    /// Every element v.
    Matrix3D(int nslots, int nrows, int ncols, const T& v)
        : slots_(nslots, Matrix2D<T>(nrows, ncols, v)),
          nrows_(nrows),
          ncols_(ncols),
          nslots_(nslots) {}

    Matrix3D(const Matrix3D&) = default;
    Matrix3D(Matrix3D&& other) noexcept
        : slots_(std::move(other.slots_)),
          nrows_(std::exchange(other.nrows_, 0)),
          ncols_(std::exchange(other.ncols_, 0)),
          nslots_(std::exchange(other.nslots_, 0)) {}
    Matrix3D& operator=(const Matrix3D& other) {
        if (this != &other) *this = Matrix3D(other);
        return *this;
    }
    Matrix3D& operator=(Matrix3D&& other) noexcept {
        slots_ = std::move(other.slots_);
        std::swap(nrows_, other.nrows_);
        std::swap(ncols_, other.ncols_);
        std::swap(nslots_, other.nslots_);
        return *this;
    }

    int Size(int dim) const override {
        return dim == 0 ? nslots_ : dim == 1 ? nrows_ : dim == 2 ? ncols_ : 0;
    }
    Matrix3D* Copy() const override { return new Matrix3D(*this); }

    T& operator()(int k, int i, int j) { return slots_(k)(i, j); }
    const T& operator()(int k, int i, int j) const { return slots_(k)(i, j); }
    Matrix2D<T>& Slot(int k) { return slots_(k); }
    const Matrix2D<T>& Slot(int k) const { return slots_(k); }

  private:
    Matrix1D<Matrix2D<T>> slots_;
    int nrows_ = 0;
    int ncols_ = 0;
    int nslots_ = 0;
};

}  // namespace ZEMRA::Vibration
