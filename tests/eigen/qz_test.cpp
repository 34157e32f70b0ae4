#include "zemra/eigen/qz.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "tests/support/captured_messages.h"
#include "tests/support/models.h"
#include "tests/support/pencils.h"
#include "zemra/eigen/eigen_problem.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXcd;
using Eigen::VectorXd;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

class QZ : public testing::TestWithParam<Pencil> {
  protected:
    const MatrixXd& A = GetParam().A;
    const MatrixXd& B = GetParam().B;
    const int n = static_cast<int>(A.rows());
    EigenProblem problem{ToCore(A), ToCore(B)};
    CapturedMessages messages;
};

TEST_P(QZ, PairsSatisfyTheirDefinition) {
    ASSERT_EQ(problem.Solve(/*noVectors=*/false), n);
    EXPECT_FALSE(problem.Defective());
    for (int i = 0; i < n; ++i) {
        const VectorXcd v =
            VectorXcd::NullaryExpr(n, [&](Index k) { return problem.Eigenvector(i, int(k)); });
        EXPECT_NEAR(v.cwiseAbs().maxCoeff(), 1, 4 * kEpsilon) << i;
        const Complex lambda = problem.Eigenvalue(i);
        if (std::isinf(lambda.real())) continue;
        // The backward error of n-fold orthogonal transformations.
        EXPECT_LE((A * v - lambda * (B * v)).norm(),
                  20 * n * kEpsilon * (A.norm() + std::abs(lambda) * B.norm()) * v.norm())
            << i << ": " << lambda;
        if (lambda.imag() <= 0) continue;
        ASSERT_LT(i + 1, n);
        EXPECT_LT(std::abs(problem.Eigenvalue(i + 1) - std::conj(lambda)),
                  1e4 * kEpsilon * std::abs(lambda));
    }
}

TEST_P(QZ, AgreesWithLapack) {
    ASSERT_EQ(problem.Solve(/*noVectors=*/true), n);
    const double scale = B.norm() / A.norm();
    std::vector<Ratio> ours;
    for (int i = 0; i < n; ++i) {
        const Complex lambda = problem.Eigenvalue(i);
        ASSERT_FALSE(std::isnan(lambda.real()));
        ours.push_back(std::isinf(lambda.real()) ? Ratio(1, 0) : Ratio(scale * lambda, 1));
    }
    const PencilReference reference(GetParam());
    ASSERT_EQ(reference.values.size(), ours.size());
    for (const auto& value : reference.values) {
        const double shift = value.first;
        const Ratio& expected = value.second;
        const auto nearest = std::ranges::min_element(
            ours, {}, [&](const Ratio& ratio) { return Distance(ratio, expected); });
        EXPECT_LE(Distance(*nearest, expected), 10 * n * shift)
            << expected.alpha / expected.beta;
        ours.erase(nearest);
    }
}

INSTANTIATE_TEST_SUITE_P(Pencils, QZ, testing::ValuesIn(PencilZoo()),
                         [](const auto& tested) { return tested.param.name; });

// The steps one by one, in arrays longer than the pencil.
class QZSteps : public testing::TestWithParam<int> {
  protected:
    const int n = GetParam(), nm = n + 3;
    const MatrixXd A0 = zoo::RandomSquare(n, 1), B0 = zoo::RandomSquare(n, 2);
    MatrixXd a = InLongColumns(A0), b = InLongColumns(B0), z = InLongColumns(0 * A0);
    VectorXd alfr{n}, alfi{n}, beta{n};
    int ierr = -1;

    static constexpr double kMark = 77;
    MatrixXd InLongColumns(const MatrixXd& m) const {
        MatrixXd longer = MatrixXd::Constant(nm, n, kMark);
        longer.topRows(n) = m;
        return longer;
    }
    void SolveValues(double* z_) {
        qzhes(nm, n, a.data(), b.data(), z_);
        qzit(nm, n, a.data(), b.data(), 0.0, z_, ierr);
        qzval(nm, n, a.data(), b.data(), alfr.data(), alfi.data(), beta.data(), z_);
        EXPECT_EQ(ierr, 0);
    }
};

TEST_P(QZSteps, ReachTheirFormsByOrthogonalTransformations) {
    qzhes(nm, n, a.data(), b.data(), z.data());
    // Only sums are rounded: a few ε of the norm, with room for the order.
    const double bound = 10 * n * kEpsilon;
    const auto top = [this](const MatrixXd& m) { return MatrixXd(m.topRows(n)); };
    const auto below = [&](const MatrixXd& m, Index diagonal) {
        MatrixXd part = top(m);
        for (Index j = 0; j < n; ++j)
            part.col(j).head(std::min<Index>(n, j + diagonal + 1)).setZero();
        return part.cwiseAbs().sum();
    };
    EXPECT_EQ(below(a, 1), 0);
    EXPECT_EQ(below(b, 0), 0);
    EXPECT_LT((top(z).transpose() * top(z) - MatrixXd::Identity(n, n)).norm(), bound);
    // a = Q·A·Z and b = Q·B·Z with one orthogonal Q: aᵀ·a, aᵀ·b and bᵀ·b do not see it.
    for (const auto& [x, y, X, Y] : {std::tuple{a, a, A0, A0}, {a, b, A0, B0}, {b, b, B0, B0}})
        EXPECT_LT(
            (top(x).transpose() * top(y) - top(z).transpose() * X.transpose() * Y * top(z))
                .norm(),
            bound * X.norm() * Y.norm());

    const double epsb = kEpsilon * top(b).cwiseAbs().rowwise().sum().maxCoeff();
    qzit(nm, n, a.data(), b.data(), 0.0, z.data(), ierr);
    EXPECT_EQ(ierr, 0);
    if (n > 1) {
        EXPECT_DOUBLE_EQ(std::exchange(b(n - 1, 0), 0.0), epsb);
    }
    EXPECT_EQ(below(b, 0), 0);
    for (Index i = 2; i < n; ++i)  // no three rows stay coupled
        EXPECT_TRUE(a(i, i - 1) == 0 || a(i - 1, i - 2) == 0) << i;
    for (const MatrixXd* const m : {&a, &b, &z})
        EXPECT_TRUE((m->bottomRows(3).array() == kMark).all());
}

TEST_P(QZSteps, GiveTheSameValuesWithoutTransformations) {
    SolveValues(z.data());
    VectorXcd with = (alfr + Complex(0, 1) * alfi).array() / beta.array();
    a = InLongColumns(A0);
    b = InLongColumns(B0);
    SolveValues(nullptr);
    for (Index i = 0; i < n; ++i) {
        const Complex lambda = Complex(alfr(i), alfi(i)) / beta(i);
        EXPECT_LT((with.array() - lambda).abs().minCoeff(), 1e-11 * (1 + std::abs(lambda)));
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, QZSteps, testing::Values(1, 2, 3, 4, 7, 20));

}  // namespace
}  // namespace ZEMRA::Vibration::tests
