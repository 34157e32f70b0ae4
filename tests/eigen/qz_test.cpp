#include "zemra/eigen/qz.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "tests/support/captured_messages.h"
#include "tests/support/matrix_market.h"
#include "tests/support/models.h"
#include "zemra/eigen/eigen_problem.h"

extern "C" void dggev_(const char* left, const char* right, const int* n, double* a,
                       const int* lda, double* b, const int* ldb, double* alphar,
                       double* alphai, double* beta, double* vl, const int* ldvl, double* vr,
                       const int* ldvr, double* work, const int* lwork, int* info);

namespace ZEMRA::Vibration::tests {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXcd;
using Eigen::VectorXd;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

struct Pencil {
    std::string name;
    MatrixXd A, B;
};
void PrintTo(const Pencil& pencil, std::ostream* out) { *out << pencil.name; }

MatrixXd Random(Index n, unsigned seed) {
    return ToEigen(RandomMatrix<double>(static_cast<int>(n), static_cast<int>(n), seed));
}

// Stiffness of a chain between two walls.
MatrixXd Stiffness(Index n) {
    MatrixXd K = MatrixXd::Zero(n, n);
    K.diagonal().setConstant(2);
    K.diagonal(1).setConstant(-1);
    K.diagonal(-1).setConstant(-1);
    return K;
}

// Ones above the diagonal: one chain of n vectors at 0, or with B at infinity.
MatrixXd Shift(Index n) {
    MatrixXd J = MatrixXd::Zero(n, n);
    J.diagonal(1).setOnes();
    return J;
}

std::vector<Pencil> Zoo() {
    std::vector<Pencil> all;
    const auto add = [&all](const std::string& name, const MatrixXd& A, const MatrixXd& B) {
        all.push_back({name + std::to_string(A.rows()), A, B});
    };
    for (const Index n : {1, 2, 3, 4, 5, 8, 13, 30, 60}) {
        const MatrixXd I = MatrixXd::Identity(n, n);
        const MatrixXd R = Random(n, 1), S = Random(n, 2);
        add("Random", R, S);
        add("Standard", R, I);
        add("Mechanical", Stiffness(n), S * S.transpose() + 0.1 * I);
        if (n < 2) continue;
        MatrixXd M = I;
        for (Index i = 0; i < n; i += 2) M(i, i) = 0;  // every other node without mass
        add("Massless", Stiffness(n), M);
        add("MasslessMixed", S * Stiffness(n), S * M);
        add("RankOne", R, S.col(0) * S.row(0));
        add("SingularA", M * S, R);
        add("DefectiveAtZero", Shift(n), I);
        add("DefectiveAtInfinity", I, Shift(n));
        add("Repeated", R * M, R);
        // Two constraints with their multipliers: pairs of defective infinite eigenvalues.
        if (n < 3) continue;
        MatrixXd K = MatrixXd::Zero(n + 2, n + 2), E = MatrixXd::Zero(n + 2, n + 2);
        K.topLeftCorner(n, n) = Stiffness(n);
        K.bottomLeftCorner(2, n) = S.topRows(2);
        K.topRightCorner(n, 2) = S.topRows(2).transpose();
        E.topLeftCorner(n, n) = I;
        add("Constrained", K, E);
    }
    if (const auto folder = MatrixFolder(); !folder.empty())
        for (const auto& [a, b] : {std::pair{"bcsstk01", "bcsstm01"},
                                   {"lund_a", "lund_b"},
                                   {"bfwa62", "bfwb62"},
                                   {"wingbeam_k", "wingbeam_m"}})
            add(a, ReadMatrixMarket(folder / (std::string(a) + ".mtx")),
                ReadMatrixMarket(folder / (std::string(b) + ".mtx")));
    return all;
}

// λ as a ratio of two numbers, so that infinity is a value like any other.
struct Ratio {
    Complex alpha, beta;
    Ratio(const Complex& a, const Complex& b) : alpha(a), beta(b) {
        const double length = std::hypot(std::abs(a), std::abs(b));
        alpha /= length;
        beta /= length;
    }
};

// The sine of the angle between two ratios.
double Distance(const Ratio& x, const Ratio& y) {
    return std::abs(x.alpha * y.beta - x.beta * y.alpha);
}

// LAPACK's eigenvalues of the pencil with both matrices scaled to norm 1, and how far a
// backward error of one rounding moves each: ε·‖x‖·‖y‖/|(yᴴAx, yᴴBx)| (Stewart & Sun, Matrix
// Perturbation Theory, ch. VI).
struct Reference {
    std::vector<std::pair<double, Ratio>> values;  // the shift first

    explicit Reference(const Pencil& pencil) {
        const MatrixXd A = pencil.A / pencil.A.norm(), B = pencil.B / pencil.B.norm();
        const int n = static_cast<int>(A.rows()), lwork = 16 * n + 64;
        MatrixXd a = A, b = B, vl(n, n), vr(n, n);
        VectorXd alphar(n), alphai(n), beta(n), work(lwork);
        int info = 0;
        dggev_("V", "V", &n, a.data(), &n, b.data(), &n, alphar.data(), alphai.data(),
               beta.data(), vl.data(), &n, vr.data(), &n, work.data(), &lwork, &info);
        EXPECT_EQ(info, 0);
        for (Index i = 0; i < n; ++i) {
            const auto vector = [&](const MatrixXd& v) -> VectorXcd {
                const Index first = alphai(i) < 0 ? i - 1 : i;
                const double sign = alphai(i) > 0 ? 1 : -1;
                if (alphai(i) == 0) return v.col(i);
                return v.col(first) + Complex(0, sign) * v.col(first + 1);
            };
            const VectorXcd x = vector(vr), y = vector(vl);
            const double slope = std::hypot(std::abs(y.dot(A * x)), std::abs(y.dot(B * x)));
            values.emplace_back(kEpsilon * x.norm() * y.norm() / slope,
                                Ratio({alphar(i), alphai(i)}, beta(i)));
        }
        std::ranges::sort(values, {}, [](const auto& value) { return value.first; });
    }
};

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
    for (const auto& value : Reference(GetParam()).values) {
        const double shift = value.first;
        const Ratio& expected = value.second;
        const auto nearest = std::ranges::min_element(
            ours, {}, [&](const Ratio& ratio) { return Distance(ratio, expected); });
        EXPECT_LE(Distance(*nearest, expected), 10 * n * shift)
            << expected.alpha / expected.beta;
        ours.erase(nearest);
    }
}

INSTANTIATE_TEST_SUITE_P(Pencils, QZ, testing::ValuesIn(Zoo()),
                         [](const auto& tested) { return tested.param.name; });

// The steps one by one, in arrays longer than the pencil.
class QZSteps : public testing::TestWithParam<int> {
  protected:
    const int n = GetParam(), nm = n + 3;
    const MatrixXd A0 = Random(n, 1), B0 = Random(n, 2);
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
