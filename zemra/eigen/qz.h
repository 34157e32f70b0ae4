#pragma once

namespace ZEMRA::Vibration {

/// The QZ algorithm for A·x = λ·B·x with real A and B, in four steps that are called one after
/// the other: qzhes, qzit, qzval, qzvec. Moler & Stewart, SIAM J. Numer. Anal. 10 (1973)
/// 241–256; the steps as EISPACK cuts them.
///
///   nm             leading dimension of every matrix: element (r, c) is at c·nm + r
///   n              order
///   a, b           the pencil, overwritten by each step
///   z              n × n, or null but for qzvec; receives the right transformations
///   alfr + i·alfi,
///   beta           n each: eigenvalue i is (alfr[i] + i·alfi[i])/beta[i], beta[i] ≥ 0
///
/// Nothing is done for n < 1. Elements that are not finite, or whose sum is not, give results
/// without a meaning, but every step ends.

/// Reduces a to upper Hessenberg and b to upper triangular form by orthogonal
/// transformations. A non-null z is set to the identity first.
/// Cost: about 17/3·n³ multiplications, 3/2·n³ more with z.
void qzhes(int nm, int n, double* a, double* b, double* z);

/// Reduces the Hessenberg a to quasi-triangular form and keeps b triangular, with implicit
/// double shifts, and single ones where the shifts are real.
///
///   eps1  elements below eps1·norm count as zero; when it is not positive, the machine
///         epsilon takes its place
///   ierr  0; when 30·n iterations in all did not suffice, the row, counted from 1, of the
///         eigenvalue sought
///
/// The tolerance for b, eps1·‖B‖, is left in b's element (n, 1) for the next steps when
/// n ≥ 2. Without z only the blocks that hold eigenvalues are kept up.
/// Cost: about 22·n³ multiplications with z.
void qzit(int nm, int n, double* a, double* b, double eps1, double* z, int& ierr);

/// Reduces a to triangular form but for the 2 × 2 blocks of complex pairs, b staying
/// triangular, and reads off the eigenvalues. A pair is adjacent, its positive imaginary part
/// first.
void qzval(int nm, int n, double* a, double* b, double* alfr, double* alfi, double* beta,
           double* z);

/// Computes the eigenvectors by back-substitution, which overwrites b, and transforms them by
/// z, which receives them: one column for a real eigenvalue; for a pair the real and the
/// imaginary part of the first one's vector. The largest modulus in each vector is 1. Unlike
/// in the published routine a vector is scaled down on the way before it would overflow.
/// Cost: about 2·n³ multiplications.
void qzvec(int nm, int n, const double* a, double* b, const double* alfr, const double* alfi,
           const double* beta, double* z);

}  // namespace ZEMRA::Vibration
