#pragma once

#include <algorithm>

#include "tests/support/reference.h"
#include "tests/support/systems.h"

namespace ZEMRA::Vibration::tests {

/// The largest error relative to the largest element.
double RelativeError(const Eigen::MatrixXcd& expected, const Eigen::MatrixXcd& actual);

/// Frequencies from the quasi-static range to beyond the largest eigenvalue.
std::vector<double> AcrossTheModes(const EigenProblem& eigen);

/// How far a modal form may be from the definition: the rounding of A's elements, amplified by
/// the condition number of its vectors. Below 1e6 the accuracy that is asked for.
double ModalTolerance(const EigenProblem& eigen);

/// The left inverse (TᵀT)⁻¹Tᵀ of the columns of T, by least squares.
Eigen::MatrixXd LeftInverse(const Eigen::MatrixXd& T);

/// The first eigenvalue of each mode.
std::vector<int> FirstEigenvalues(const EigenProblem& eigen);

/// The vector of eigenvalue i as columns: real part and, of a pair, imaginary part.
Eigen::MatrixXd VectorColumns(const EigenProblem& eigen, int i);

}  // namespace ZEMRA::Vibration::tests
