#include "tools/accuracy/exact.h"

#include "tests/support/reference.h"
#include "tools/accuracy/table.h"

namespace ZEMRA::Vibration::accuracy {
namespace {

using Scalar = std::complex<long double>;
using Real = ::Eigen::Matrix<long double, ::Eigen::Dynamic, ::Eigen::Dynamic>;
using Dense = ::Eigen::Matrix<Scalar, ::Eigen::Dynamic, ::Eigen::Dynamic>;

// Pᵀ·|L|·|U|·Qᵀ of P·A·Q = L·U, each pivot the larger of the best in its column and the best in
// its row. Candidates are often equal but for rounding, and the sizes of the factors then
// depend on which is taken; so the pivot row is scaled first, by the reciprocal, as the library
// does.
MatrixXd SizeOfFactors(const MatrixXcd& A) {
    const Index n = A.rows();
    MatrixXcd lu = A;  // L, and the rows of U with a unit diagonal that is not stored
    ::Eigen::PermutationMatrix<::Eigen::Dynamic> P(n), Q(n);
    P.setIdentity();
    Q.setIdentity();
    const auto magnitude = [&](Index i, Index j) { return std::sqrt(std::norm(lu(i, j))); };
    for (Index k = 0; k < n; ++k) {
        Index row = k, column = k;  // the first of equals
        for (Index i = k + 1; i < n; ++i) {
            if (magnitude(i, k) > magnitude(row, k)) row = i;
            if (magnitude(k, i) > magnitude(k, column)) column = i;
        }
        if (magnitude(k, column) > magnitude(row, k)) {
            lu.col(k).swap(lu.col(column));
            Q.applyTranspositionOnTheRight(k, column);
        } else {
            lu.row(k).swap(lu.row(row));
            P.applyTranspositionOnTheLeft(k, row);
        }
        const Complex reciprocal = 1.0 / lu(k, k);
        for (Index j = k + 1; j < n; ++j) lu(k, j) *= reciprocal;
        for (Index i = k + 1; i < n; ++i)
            for (Index j = k + 1; j < n; ++j) lu(i, j) -= lu(i, k) * lu(k, j);
    }
    const MatrixXd factors = lu.cwiseAbs();
    const MatrixXd lower = factors.triangularView<::Eigen::Lower>();
    MatrixXd upper = factors.triangularView<::Eigen::StrictlyUpper>();
    upper.diagonal().setOnes();
    return P.transpose() * (lower * upper) * Q.transpose();
}

}  // namespace

ExactResponse ResponseAt(const tests::Model& model, double w) {
    const tests::Reference reference(model, w);
    const Index n = model.A.rows();
    MatrixXcd M = -model.A.cast<Complex>();
    M.diagonal().array() += Complex(0, w);
    const MatrixXcd inverse = M.partialPivLu().inverse();
    const MatrixXd columns = inverse.cwiseAbs() * model.B.cwiseAbs();
    const MatrixXd byInverse =
        static_cast<double>(n) * kEpsilon *
            (3 * (model.C * inverse).cwiseAbs() * (SizeOfFactors(M) * columns) +
             2 * model.C.cwiseAbs() * columns) +
        kEpsilon * model.D.cwiseAbs();
    return {{reference.H, reference.boundH}, {reference.X, reference.boundX}, byInverse};
}

MatrixXcd MotionsAt(const tests::Model& model, const tests::Inputs& inputs, double w) {
    return tests::ConstrainedSolution(model, inputs, w);
}

VectorXcd ExactEigenvalues(const MatrixXd& A) {
    const ::Eigen::EigenSolver<Real> solver(Real(A.cast<long double>()), false);
    return solver.eigenvalues().cast<Complex>();
}

VectorXcd ResidualOf(const MatrixXd& A, const Complex& lambda, const VectorXcd& v,
                     const VectorXcd& previous) {
    const Dense wide = v.cast<Scalar>();
    return Dense(A.cast<Scalar>() * wide - Scalar(lambda) * wide - previous.cast<Scalar>())
        .cast<Complex>();
}

ExactBasis::ExactBasis(const tests::Model& model, const MatrixXd& V, const MatrixXd& J) {
    const Real wide = V.cast<long double>();
    const Real inverted = wide.partialPivLu().inverse();
    residual =
        Real(model.A.cast<long double>() * wide - wide * J.cast<long double>()).cast<double>();
    B = Real(inverted * model.B.cast<long double>()).cast<double>();
    const MatrixXd inverse = inverted.cast<double>().cwiseAbs(),
                   columns = inverse * model.B.cwiseAbs();
    boundB = static_cast<double>(V.rows()) * kEpsilon *
             (3 * inverse * (SizeOfFactors(V.cast<Complex>()) * columns) + 2 * columns);
}

ExactModes::ExactModes(const tests::Model& model) {
    const ::Eigen::EigenSolver<Real> solver(Real(model.A.cast<long double>()));
    const Dense V = solver.eigenvectors(), inverse = V.partialPivLu().inverse();
    lambda = solver.eigenvalues().cast<Complex>();
    right = Dense(model.C.cast<Scalar>() * V).cast<Complex>();
    left = Dense(inverse * model.B.cast<Scalar>()).cast<Complex>();
    condition = static_cast<double>(V.norm() * inverse.norm());
}

Expected ElasticCompliance(const tests::Model& model, int rigid) {
    const Real A = model.A.cast<long double>(), B = model.B.cast<long double>(), square = A * A;
    const Index n = A.rows() - rigid;
    const ::Eigen::ColPivHouseholderQR<Real> qr(square);
    const Real Q = Real(qr.householderQ()).leftCols(n), S = Q.transpose() * A * Q,
               inverse = S.partialPivLu().inverse(), projected = Q.transpose() * B,
               left = model.C.cast<long double>() * Q * inverse, right = inverse * projected;
    const MatrixXd value = model.D - Real(left * projected).cast<double>();
    // The vectors turn with their residuals, and the normal equations square their condition.
    const double condition = static_cast<double>(S.norm() * inverse.norm());
    const Real spread = left.cwiseAbs() * S.cwiseAbs() * right.cwiseAbs();
    return {value.cast<Complex>(),
            20 * static_cast<double>(n + 10) * kEpsilon * condition * spread.cast<double>() +
                4 * kEpsilon * model.D.cwiseAbs()};
}

}  // namespace ZEMRA::Vibration::accuracy
