#pragma once

#include "zemra/eigen/balance.h"
#include "zemra/eigen/eigen_kernels.h"
#include "zemra/matrix/matrix.h"
#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// The eigenvectors of a quasi-triangular T by back-substitution, one column of Y for each
/// eigenvalue; a pair fills its two columns with the real and the imaginary part of the first
/// one's vector.
///
///   t      T, column-major; on return transposed, with the eigenvalues of chains on the
///          diagonal
///   block  the rows and columns that have been balanced
///   E      the eigenvalues of T (n)
///   D      the links (n), D(i) = i on entry. A real eigenvalue that stands bit for bit above
///          itself on the diagonal, without a vector of its own, becomes a generalized one:
///          D(i) is then the member before it and E(i) that one's eigenvalue.
///   y      n×n zeros on entry, Y on return
///   kernels  null: the plain loops; the result is the same, as with all that follows
///
/// Returns whether any eigenvalue has a generalized vector, and prints a Warning if so.
///
/// Complex eigenvalues form no chains, and two eigenvalues that differ at all form none. Where
/// back-substitution leaves (T − λI)·y above 1e-10·|T|·|y|, which takes a nearly singular
/// block, it is repeated with pivots of at least ε·|T|. Cost: n³/3, more where chains are.
/// Peters & Wilkinson, Numer. Math. 16 (1970) 181–204 (HQR2); Golub & Wilkinson, SIAM Review 18
/// (1976) 578–619, for the chains.
bool FindSchurVectors(FlatMatrix<double> t, CoupledBlock block, Matrix1D<Complex>& E,
                      Matrix1D<int>& D, FlatMatrix<double> y, const EigenKernels* kernels);

/// V := Z·Y, column by column, down to the last element of each that is not 0. The three have
/// one leading dimension.
void BackTransform(FlatMatrix<double> z, FlatMatrix<double> y, FlatMatrix<double> v,
                   const EigenKernels* kernels);

/// Divides every vector by its component of largest modulus, the first of equals, which
/// becomes 1. The members of a chain are divided by one number, the largest component among all
/// of them, so that their relations hold on. A vector of zeros stays.
void NormaliseVectors(const Matrix1D<Complex>& E, const Matrix1D<int>& D, FlatMatrix<double> v);

}  // namespace ZEMRA::Vibration
