#pragma once

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// Removes the states that drive neither a state nor an output: those whose column of A and
/// column of C are exactly zero. Their row and column of A, row of B and column of C go.
///
///   A (n × n), B (n × m), C (p × n)
///
/// When any was removed, prints Warning "ZEMRA/Vibration compliance matrix:\n   The A matrix
/// and C matrix have %d zero columns.\n   These states are not coupled to other states or
/// outputs and have been removed."
void FilterZeros(Matrix2D<double>& A, Matrix2D<double>& B, Matrix2D<double>& C);

/// The static compliance D − C·A⁻¹·B (p × m), after FilterZeros: the outputs per unit of a
/// constant input.
///
/// Where A is singular its rigid-body modes are left out: the eigenvalues of modulus at most
/// 1e-8, a pair as a whole. The others are kept by Canon's projection; D alone is left when
/// none is. When any was dropped, prints Warning "ZEMRA/Vibration compliance matrix:\n   The A
/// matrix is singular, it produced %d rigid body modes. \n   The rigid body modes will be
/// removed for the compliance matrix calculation.\n   Rigid body modes uasualy indicate that
/// the model is not properly constrained." with their number.
///
/// Singular means exactly: where rounding hides a rigid body, in A or in the eigenvalues of an
/// A that is singular, the result is large and wrong, and a Warning says that A is nearly
/// singular.
///
/// Throws the Errors of the eigen solution and of Canon, and that of the inverse should the
/// rest be singular too.
Matrix2D<double> ComplianceMatrix(Matrix2D<double> A, Matrix2D<double> B, Matrix2D<double> C,
                                  const Matrix2D<double>& D);

}  // namespace ZEMRA::Vibration
