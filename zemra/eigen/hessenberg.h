#pragma once

#include "zemra/eigen/balance.h"
#include "zemra/eigen/eigen_kernels.h"

namespace ZEMRA::Vibration {

/// Reduces a real matrix A to upper Hessenberg form H = Z⁻¹·A·Z by stabilised elementary
/// similarity transformations.
///
///   a      A on entry, H on return, with exact zeros below the subdiagonal
///   block  the rows and columns to reduce
///   z      receives Z; may be null
///   kernels  null: the plain loops; the result is the same
///
/// A column whose pivot is at most 1e-18 in magnitude is left as it is, so that noise of that
/// size is not eliminated by dividing by noise. Elementary transformations cost half of what
/// orthogonal ones do, but their elements may grow: the residual of an eigenpair is relative to
/// the largest of the intermediate matrices, not to A.
/// Cost: about 5/6·n³ multiplications; Z costs nothing, its elements are the multipliers.
/// Martin & Wilkinson, Numer. Math. 12 (1968) 349–368 (ELMHES and ELTRAN).
void ReduceToHessenberg(FlatMatrix<double> a, CoupledBlock block, FlatMatrix<double> z,
                        const EigenKernels* kernels = nullptr);

}  // namespace ZEMRA::Vibration
