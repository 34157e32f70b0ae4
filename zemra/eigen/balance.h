#pragma once

#include "zemra/eigen/flat_matrix.h"

namespace ZEMRA::Vibration {

/// The rows and columns low … igh of a matrix that are left to reduce; outside them it is upper
/// triangular. Empty, with low above igh, when nothing is left.
struct CoupledBlock {
    int low;
    int igh;
    bool Contains(int i) const { return low <= i && i <= igh; }
};

/// Balances a real matrix: exchanges rows and columns so that isolated eigenvalues move to the
/// corners, then scales the coupled block by powers of 16 until its row and column sums agree.
/// The result D⁻¹·Pᵀ·A·P·D has the eigenvalues of A.
///
///   a      balanced in place
///   scale  n numbers, or null: the factor of each row of the coupled block, and outside it the
///          index that the row was exchanged with
///
/// Columns and rows are each searched once, without starting again after an exchange, so a
/// lower triangular matrix is not taken apart completely. An index whose sums are not finite is
/// not scaled. Cost: n² comparisons and O(n²) for each sweep of the scaling.
/// Parlett & Reinsch, Numer. Math. 13 (1969) 293–304 (BALANC).
CoupledBlock Balance(FlatMatrix<double> a, double* scale);

/// Turns the vectors of a balanced matrix, the columns of v (n × n), into those of the matrix
/// it was made from: v := P·D·v (BALBAK). The exchanges are undone in the reverse order.
void BackBalance(CoupledBlock block, const double* scale, FlatMatrix<double> v);

}  // namespace ZEMRA::Vibration
