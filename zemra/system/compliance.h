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
/// constant input. Throws the Error of the inverse when A is singular.
Matrix2D<double> ComplianceMatrix(Matrix2D<double> A, Matrix2D<double> B, Matrix2D<double> C,
                                  const Matrix2D<double>& D);

}  // namespace ZEMRA::Vibration
