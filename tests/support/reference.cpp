#include "tests/support/reference.h"

#include <complex>
#include <limits>

namespace ZEMRA::Vibration::tests {

Reference::Reference(const Model& model, double w) {
    using Scalar = std::complex<long double>;
    using Complex = Eigen::Matrix<Scalar, Eigen::Dynamic, Eigen::Dynamic>;
    using Real = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;
    const Complex C = model.C.cast<Scalar>();
    Complex M = -model.A.cast<Scalar>();
    M.diagonal().array() += Scalar(0, w);
    const Eigen::PartialPivLU<Complex> lu(M);
    const Complex inverse = lu.inverse(), states = inverse * model.B.cast<Scalar>();
    X = states.cast<std::complex<double>>();
    H = (C * states + model.D.cast<Scalar>()).cast<std::complex<double>>();

    const Real factors = lu.matrixLU().cwiseAbs(), inverseAbs = inverse.cwiseAbs();
    const Real upper = factors.triangularView<Eigen::Upper>();
    const Real product = factors.triangularView<Eigen::UnitLower>() * upper;
    const Real columns = inverseAbs * model.B.cwiseAbs().cast<long double>();
    const Real spread = lu.permutationP().transpose() * Real(3 * product * columns);
    const long double u = std::numeric_limits<double>::epsilon();
    const long double nu = static_cast<long double>(M.rows()) * u;
    boundX = (nu * (inverseAbs * spread + 2 * columns)).cast<double>();
    boundH = (nu * ((C * inverse).cwiseAbs() * spread + 2 * C.cwiseAbs() * columns) +
              u * model.D.cwiseAbs().cast<long double>())
                 .cast<double>();
}

testing::AssertionResult Within(const Eigen::MatrixXd& bound, const Eigen::MatrixXcd& expected,
                                const Eigen::MatrixXcd& actual) {
    if (actual.rows() != expected.rows() || actual.cols() != expected.cols())
        return testing::AssertionFailure() << actual.rows() << " x " << actual.cols();
    const Eigen::MatrixXd error = (actual - expected).cwiseAbs();
    if ((error.array() <= bound.array()).all()) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "errors\n" << error << "\nbounds\n" << bound;
}

}  // namespace ZEMRA::Vibration::tests
