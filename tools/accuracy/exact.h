#pragma once

#include <Eigen/Dense>
#include <complex>

#include "tests/support/kinematics.h"
#include "tests/support/models.h"

/// The independent road: everything here is solved in extended precision, whose rounding is
/// 2048 times smaller, by other algorithms than the library's.

namespace ZEMRA::Vibration::accuracy {

using ::Eigen::Index;
using ::Eigen::MatrixXcd;
using ::Eigen::MatrixXd;
using ::Eigen::VectorXcd;

/// What should come out, and by how much each element may be off.
struct Expected {
    MatrixXcd value;
    MatrixXd bound;
};

/// The transfer function and the state response per unit input at w, with the errors that
/// elimination with row pivoting may make (see tests::Reference); and those of H by the
/// inverse, whose pivots are sought in a row and a column.
struct ExactResponse {
    Expected H, X;
    MatrixXd byInverse;
};
ExactResponse ResponseAt(const tests::Model& model, double w);

/// tests::ConstrainedSolution.
MatrixXcd MotionsAt(const tests::Model& model, const tests::Inputs& inputs, double w);

/// Of a balanced matrix, by QR.
VectorXcd ExactEigenvalues(const MatrixXd& A);

/// The residual A·v − λ·v − v′.
VectorXcd ResidualOf(const MatrixXd& A, const std::complex<double>& lambda, const VectorXcd& v,
                     const VectorXcd& previous);

/// A·V − V·J and V⁻¹·B with the errors that it may have by the inverse of V.
struct ExactBasis {
    MatrixXd residual, B, boundB;
    ExactBasis(const tests::Model& model, const MatrixXd& V, const MatrixXd& J);
};

/// The modal sum: H − D = Σ_j C·v_j·(V⁻¹·B)_j/(jw − λ_j).
struct ExactModes {
    VectorXcd lambda;
    MatrixXcd right, left;  // C·V and V⁻¹·B
    double condition;       // ‖V‖·‖V⁻¹‖, the vectors having unit length

    explicit ExactModes(const tests::Model& model);
};

/// D − C·Q·(Qᵀ·A·Q)⁻¹·Qᵀ·B with an orthonormal basis Q of the range of A², which holds the
/// elastic modes where so many eigenvalues belong to rigid bodies, chains of two at 0.
Expected ElasticCompliance(const tests::Model& model, int rigid);

}  // namespace ZEMRA::Vibration::accuracy
