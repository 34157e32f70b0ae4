#include "tests/support/modal_reference.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ZEMRA::Vibration::tests {

double RelativeError(const Eigen::MatrixXcd& expected, const Eigen::MatrixXcd& actual) {
    return (actual - expected).cwiseAbs().maxCoeff() / expected.cwiseAbs().maxCoeff();
}

std::vector<double> AcrossTheModes(const EigenProblem& eigen) {
    double largest = 0;
    for (int i = 0; i < eigen.Eigenvalues(); ++i)
        largest = std::max(largest, std::abs(eigen.Eigenvalue(i)));
    return {0.003 * largest, 0.07 * largest, 0.31 * largest, 0.93 * largest, -2.7 * largest};
}

double ModalTolerance(const EigenProblem& eigen) {
    const auto norm = [](const Eigen::MatrixXd& m) {
        const Eigen::MatrixXd square = m.transpose() * m;
        return std::sqrt(square.selfadjointView<Eigen::Lower>().eigenvalues().maxCoeff());
    };
    const double condition = norm(ToEigen(eigen.MatrixV())) * norm(ToEigen(eigen.MatrixZinv()));
    return condition < 1e6 ? 1e-9 : 50 * std::numeric_limits<double>::epsilon() * condition;
}

Eigen::MatrixXd LeftInverse(const Eigen::MatrixXd& T) {
    return T.colPivHouseholderQr().solve(Eigen::MatrixXd::Identity(T.rows(), T.rows()));
}

std::vector<int> FirstEigenvalues(const EigenProblem& eigen) {
    std::vector<int> firsts;
    for (int i = 0; i < eigen.Eigenvalues(); ++i)
        if (eigen.Eigenvalue(i).imag() >= 0) firsts.push_back(i);
    return firsts;
}

Eigen::MatrixXd VectorColumns(const EigenProblem& eigen, int i) {
    const auto element = [&](Eigen::Index j) {
        return eigen.Eigenvector(i, static_cast<int>(j));
    };
    const Eigen::VectorXcd v = Eigen::VectorXcd::NullaryExpr(eigen.Eigenvalues(), element);
    Eigen::MatrixXd columns(v.size(), eigen.Eigenvalue(i).imag() == 0 ? 1 : 2);
    columns.col(0) = v.real();
    if (columns.cols() == 2) columns.col(1) = v.imag();
    return columns;
}

}  // namespace ZEMRA::Vibration::tests
