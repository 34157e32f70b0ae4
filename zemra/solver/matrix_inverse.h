#pragma once

#include <concepts>

#include "zemra/matrix/matrix3d.h"

namespace ZEMRA::Vibration {

/// Whether the environment variable ZEMRA_VIBRATION_OLD_INVERSE holds any text.
bool UseOldInverse();

/// Inverses of square matrices, for T = double and Complex.
template <typename T>
class MatrixInverse2D {
  public:
    /// A⁻¹ (n × n), by FullPivot, or by Gauss with UseOldInverse, which is asked at every
    /// call. Where that solver finds A singular its Error is dropped and GaussFull tries; an
    /// Error of GaussFull is thrown.
    ///
    /// Throws Error "MatrixInverse2D::Inverse: Matrix is not square: %d x %d" for any other
    /// shape.
    static Matrix2D<T> Inverse(const Matrix2D<T>& A);

    /// The inverse of the dense copy of A.
    static Matrix2D<double> Inverse(
        const MatrixSparse2D<double>& A) requires std::same_as<T, double> {
        return MatrixInverse2D<double>::Inverse(Matrix2D<double>(A));
    }
};

template <typename T>
class MatrixInverse3D;

/// Inverses slot by slot.
template <>
class MatrixInverse3D<Complex> {
  public:
    static Matrix3D<Complex> Inverse(const Matrix3D<Complex>& A);
};

}  // namespace ZEMRA::Vibration
