#include "zemra/eigen/qz.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "tests/support/captured_messages.h"
#include "tests/support/models.h"
#include "tests/support/pencils.h"
#include "tests/support/plain_qz.h"
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

// Solved by the plain steps and by ours, the latter in arrays longer than the pencil.
class QZSteps : public testing::TestWithParam<Pencil> {
  protected:
    const MatrixXd& A = GetParam().A;
    const MatrixXd& B = GetParam().B;
    const int n = static_cast<int>(A.rows()), nm = n + 3;
    MatrixXd a, b, z;
    VectorXd alfr{n}, alfi{n}, beta{n};

    MatrixXd InLongColumns(const MatrixXd& m) const {
        MatrixXd longer = MatrixXd::Constant(nm, n, /*a mark*/ 77);
        longer.topRows(n) = m;
        return longer;
    }
    void ExpectSame(const PlainQZ& plain) const {
        if (!plain.a.allFinite() || !plain.b.allFinite()) return;  // without a meaning
        EXPECT_EQ(a, InLongColumns(plain.a));
        EXPECT_EQ(b, InLongColumns(plain.b));
        EXPECT_EQ(z, InLongColumns(plain.z));
    }
    PlainQZ Iterated(const MatrixXd& A0, double eps1) {
        a = InLongColumns(A0);
        b = InLongColumns(B);
        z = InLongColumns(0 * B);
        PlainQZ plain(A0, B);
        qzhes(nm, n, a.data(), b.data(), z.data());
        plain.Reduce();
        ExpectSame(plain);
        int ierr = -1;
        qzit(nm, n, a.data(), b.data(), eps1, z.data(), ierr);
        EXPECT_EQ(ierr, plain.Iterate(eps1));
        ExpectSame(plain);
        return plain;
    }
    double Distance(int i, int j) const {
        const auto ratio = [&](int k) {
            return Ratio(Complex(alfr(k), alfi(k)) / A.norm(), beta(k) / B.norm());
        };
        return tests::Distance(ratio(i), ratio(j));
    }
};

// Bit for bit: nothing that waits, or goes through lanes, may be seen in a result.
TEST_P(QZSteps, AreThePlainOnes) {
    Iterated(A, 1e-17);          // nothing is negligible: the budget runs out
    Iterated(0x1p-1050 * A, 0);  // underflow ends sweeps early
    Iterated(A, 0);
    qzval(nm, n, a.data(), b.data(), alfr.data(), alfi.data(), beta.data(), z.data());

    MatrixXd a1 = A, b1 = B;
    VectorXd re(n), im(n), denominators(n);
    int ierr = -1;
    qzhes(n, n, a1.data(), b1.data(), nullptr);
    qzit(n, n, a1.data(), b1.data(), 0, nullptr, ierr);
    qzval(n, n, a1.data(), b1.data(), re.data(), im.data(), denominators.data(), nullptr);
    EXPECT_EQ(re, alfr);
    EXPECT_EQ(im, alfi);
    EXPECT_EQ(denominators, beta);
}

// Sums are added up in another order, which the distance to the next eigenvalue magnifies.
TEST_P(QZSteps, GiveThePlainVectors) {
    PlainQZ plain = Iterated(A, 0);
    qzval(nm, n, a.data(), b.data(), alfr.data(), alfi.data(), beta.data(), z.data());
    qzvec(nm, n, a.data(), b.data(), alfr.data(), alfi.data(), beta.data(), z.data());
    qzval(n, n, plain.a.data(), plain.b.data(), alfr.data(), alfi.data(), beta.data(),
          plain.z.data());
    const ::Eigen::MatrixXcd expected = plain.Vectors(alfr, alfi, beta);
    for (int i = 0; i < n; ++i) {
        double nearest = 1;
        for (int j = 0; j < n; ++j)
            if (j != i) nearest = std::min(nearest, Distance(i, j));
        VectorXcd v = z.col(i).head(n);
        if (alfi(i) > 0) v += Complex(0, 1) * z.col(i + 1).head(n);
        EXPECT_LE((v - expected.col(i)).cwiseAbs().maxCoeff() * nearest, n * kEpsilon) << i;
        if (alfi(i) > 0) ++i;
    }
}

INSTANTIATE_TEST_SUITE_P(Pencils, QZSteps, testing::ValuesIn(PencilZoo()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace ZEMRA::Vibration::tests
