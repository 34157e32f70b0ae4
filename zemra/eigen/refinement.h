#pragma once

#include <array>

#include "zemra/eigen/eigen_kernels.h"
#include "zemra/eigen/flat_matrix.h"
#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// Checks every ordinary eigenvector against its definition and improves the poor ones by
/// inverse iteration with the fixed shift λ.
///
///   A  the matrix (n × n)
///   D  the links of chains (n); members and heads of chains are left alone
///   E  the eigenvalues (n); one may be replaced, by less than 1e-10
///   V  their vectors, pairs as real and imaginary part in adjacent columns
///   work  three more matrices of V's order and leading dimension, of whatever content
///   kernels  null: the plain loops; the result is the same
///
/// A vector is poor when the mean magnitude of the components of A·v − λ·v, for a v whose
/// largest component is 1, exceeds 0.05, or the number in the environment variable
/// ZEMRA_VIBRATION_EIGEN_ERROR. A new vector is taken only when its residual is smaller.
/// Eigenvalues within 1e-10 of another one are left alone: inverse iteration cannot tell their
/// vectors apart.
///
/// Cost: n³ for the check, n³/3 (complex for a pair) for each vector that is poor.
/// Peters & Wilkinson, SIAM Review 21 (1979) 339–360.
void RefineVectors(const Matrix2D<double>& A, const Matrix1D<int>& D, Matrix1D<Complex>& E,
                   FlatMatrix<double> V, const std::array<FlatMatrix<double>, 3>& work,
                   const EigenKernels* kernels);

}  // namespace ZEMRA::Vibration
