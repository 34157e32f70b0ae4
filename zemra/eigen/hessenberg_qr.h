#pragma once

#include "zemra/eigen/balance.h"
#include "zemra/eigen/eigen_kernels.h"
#include "zemra/matrix/matrix.h"
#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// The eigenvalues of an upper Hessenberg matrix H, by the double-shift QR iteration.
///
///   h      H on entry. With z it becomes quasi-triangular, T = Q⁻¹·H·Q with the complex pairs
///          in 2 × 2 blocks; entries below those are rounding and mean nothing. Without z it is
///          destroyed.
///   block  the rows and columns to iterate on
///   z      Z on entry, Z·Q on return; null for the eigenvalues alone
///   E      receives the eigenvalues (n). Pairs are adjacent, positive imaginary part first.
///   kernels  null: the plain loops; the result is the same. They want PaddedMatrices.
///
/// A real eigenvalue that was found alone is bit for bit the diagonal element of T: that is how
/// repeated eigenvalues are recognised later.
///
/// A subdiagonal element is negligible when adding it to its two neighbours on the diagonal
/// changes nothing. All eigenvalues share 30·n iterations. Rounding can keep an element just
/// above that; when the iterations are used up, 30·n more are made that also neglect what is
/// within one unit of the last place.
///
/// Throws Error "Hessenberg QR: did not converge." when those are used up too, or at once when
/// numbers that are not finite are met. Cost: about 10·n³ with z, 5·n³ without.
/// Martin, Peters & Wilkinson, Numer. Math. 14 (1970) 219–231; Peters & Wilkinson, Numer. Math.
/// 16 (1970) 181–204 (HQR and HQR2). The second exceptional shift, after 30 iterations on one
/// eigenvalue, is later practice.
void HessenbergQR(FlatMatrix<double> h, CoupledBlock block, FlatMatrix<double> z,
                  Matrix1D<Complex>& E, const EigenKernels* kernels);

}  // namespace ZEMRA::Vibration
