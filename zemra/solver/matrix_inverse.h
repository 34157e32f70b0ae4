#pragma once

#include <algorithm>
#include <cmath>
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

    /// The same through the solvers themselves, A being square. Inverse gives the same numbers,
    /// to the last bit, and leaves to this whatever its kernels are not sure of.
    static Matrix2D<T> InverseByElimination(const Matrix2D<T>& A);

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

/// The largest Σ_j |A(i, j)|·|A⁻¹(j, i)|: how far an element of A·A⁻¹ that is 1 is a difference
/// of large numbers. Unlike a condition number of norms it does not depend on the units of the
/// rows and columns.
template <typename T>
double Cancellation(const Matrix2D<T>& A, const Matrix2D<T>& inverse) {
    double largest = 0.0;
    for (int i = 0; i < A.Size(0); ++i) {
        double sum = 0.0;
        for (int j = 0; j < A.Size(1); ++j) sum += std::abs(A(i, j)) * std::abs(inverse(j, i));
        largest = std::max(largest, sum);
    }
    return largest;
}

/// Amplification of rounding beyond which four of the sixteen digits or fewer are left.
constexpr double kTooMuchCancellation = 1e12;

}  // namespace ZEMRA::Vibration
