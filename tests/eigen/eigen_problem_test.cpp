#include "zemra/eigen/eigen_problem.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <limits>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/models.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Eigen::MatrixXcd;
using Eigen::MatrixXd;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char kNotConverged[] = "Hessenberg QR: did not converge.\n";
constexpr char kNotFinite[] =
    "QZ: The matrices hold elements that are not finite or too large.\n";
const Matrix2D<double> kDoubleIntegrator = ToCore(MatrixXd{{0, 1}, {0, 0}});

Matrix2D<double> Identity(int n) { return ToCore(MatrixXd::Identity(n, n)); }

MatrixXcd Vectors(const EigenProblem& problem) {
    const int n = problem.Eigenvalues();
    return MatrixXcd::NullaryExpr(n, n, [&](Eigen::Index k, Eigen::Index i) {
        return problem.Eigenvector(static_cast<int>(i), static_cast<int>(k));
    });
}

TEST(EigenProblem, AnnouncesItsSolverAndReturnsTheOrder) {
    CapturedMessages messages;
    const Matrix2D<double> A = SpringChain(3, 0.1);
    EXPECT_EQ(EigenProblem(A).Solve(false), 6);
    EXPECT_EQ(EigenProblem(A, Identity(6)).Solve(true), 6);
    EXPECT_EQ(EigenProblem(A).Solve(true), 6);
    EigenProblem none;
    EXPECT_EQ(none.Solve(false), 0);
    EXPECT_FALSE(none.Defective());
    const std::string text = "ZEMRA/Vibration Solver Using: Q";
    EXPECT_THAT(messages.Take(),
                ElementsAre(Pair('i', text + "R eigen solver for 6 values\n"),
                            Pair('i', text + "Z eigen solver for 6 values\n"),
                            Pair('i', text + "R eigen solver for 6 values\n"),
                            Pair('i', text + "R eigen solver for 0 values\n")));
}

TEST(EigenProblem, TellsChainsOnlyTogetherWithVectors) {
    CapturedMessages messages;
    EigenProblem problem(kDoubleIntegrator);
    problem.Solve(false);
    EXPECT_TRUE(problem.Defective());
    EXPECT_EQ(problem.Defective(1), 0);
    // (A − 0·I)·v₁ = v₀: the residual has to count the chain's previous vector.
    EXPECT_EQ(problem.CheckEigenVector(1, false), 0);
    problem.Solve(true);
    EXPECT_FALSE(problem.Defective());
    EXPECT_EQ(problem.Defective(1), 1);
    EigenProblem generalized(kDoubleIntegrator, Identity(2));
    generalized.Solve(false);
    EXPECT_FALSE(generalized.Defective());
}

// Standard and generalized, with real eigenvalues and pairs in each.
std::vector<EigenProblem> Solved() {
    const Matrix2D<double> A = RandomMatrix<double>(7, 7, 3), B = RandomMatrix<double>(7, 7, 4);
    std::vector<EigenProblem> problems{EigenProblem(A), {A, B}};
    for (EigenProblem& problem : problems) EXPECT_EQ(problem.Solve(false), 7);
    return problems;
}

// With a wrong sign, without B or without the imaginary part it would be of the order of 1.
TEST(EigenProblem, ChecksAPairByItsMeanResidual) {
    CapturedMessages messages;
    for (const EigenProblem& problem : Solved())
        for (int i = 0; i < 7; ++i) EXPECT_LT(problem.CheckEigenVector(i, i % 2), 1e-14);
}

TEST(EigenProblem, DividesPlainlyByASingularB) {
    CapturedMessages messages;
    EigenProblem problem(ToCore(MatrixXd{{1, 1}, {1, 2}}), ToCore(MatrixXd{{1, 0}, {0, 0}}));
    EXPECT_EQ(problem.Solve(false), 2);
    EXPECT_NEAR(problem.Eigenvalue(0).real(), 0.5, 1e-15);  // det = 2·(1 − λ) − 1
    EXPECT_TRUE(std::isinf(problem.Eigenvalue(1).real()));
    EXPECT_EQ(messages.Take().size(), 1u);
}

TEST(EigenProblem, KeepsTheInverseOfItsVectorsUntilItIsSolvedAgain) {
    CapturedMessages messages;
    EigenProblem problem = Solved()[0];
    const MatrixXd V = ToEigen(problem.MatrixV());
    EXPECT_LT((ToEigen(problem.MatrixZinv()) * V - MatrixXd::Identity(7, 7)).norm(), 1e-13);
    const double* const kept = &problem.MatrixZinv()(0, 0);
    EXPECT_EQ(&problem.MatrixZinv()(0, 0), kept);
    EXPECT_EQ(ToEigen(EigenProblem(problem).MatrixZinv()), ToEigen(problem.MatrixZinv()));
    problem.Solve(true);
    EXPECT_EQ(problem.MatrixV().Size(0), 0);
    EXPECT_EQ(problem.MatrixZinv().Size(0), 0);
    problem.Solve(false);
    EXPECT_EQ(problem.MatrixZinv().Size(0), 7);
}

TEST(EigenProblem, HoldsNothingOldAfterAFailure) {
    EigenProblem problem(Identity(2));
    {
        CapturedMessages messages;
        problem.Solve(false);
        problem.MatrixZinv();
    }
    Message::PushHandler([](const char*, unsigned char, void*) { throw Error("stop"); }, 0,
                         nullptr);
    EXPECT_EQ(ErrorText([&] { problem.Solve(false); }), "stop\n");
    Message::PopHandler();
    EXPECT_EQ(problem.Eigenvalues(), 0);
    EXPECT_EQ(problem.Eigenvectors(), 0);
    EXPECT_EQ(problem.MatrixV().Size(0), 0);
    EXPECT_EQ(problem.MatrixZinv().Size(0), 0);
}

// Whatever stands in a matrix, Solve ends soon, and what it then holds can be asked for.
TEST(EigenProblem, SurvivesAbsurdElements) {
    CapturedMessages messages;
    using Limits = std::numeric_limits<double>;
    const auto ask = [](EigenProblem problem) {
        for (const bool noVectors : {false, true}) {
            const auto start = std::chrono::steady_clock::now();
            const std::string error = ErrorText([&] { problem.Solve(noVectors); });
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
            EXPECT_TRUE(error.empty() || error == kNotConverged || error == kNotFinite);
            EXPECT_TRUE(error.empty() || problem.Eigenvalues() == 0);
            problem.Defective();
            for (int i = 0; i < problem.Eigenvectors(); ++i) problem.CheckEigenVector(i, false);
            if (problem.Eigenvectors() > 0) Vectors(problem);
            ErrorText([&] { problem.MatrixZinv(); });
        }
    };
    for (const double x : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), 1e308,
                           -1e308, Limits::denorm_min()}) {
        for (const int n : {1, 2, 3, 4, 7, 12}) {
            const Matrix2D<double> usual = RandomMatrix<double>(n, n, 5), all(n, n, x);
            const auto below =
                Generate<double>(n, n, [&](int i, int j) { return i > j ? x : usual(i, j); });
            std::vector<Matrix2D<double>> absurd{all, below};
            for (const auto& [i, j] :
                 {std::pair{0, 0}, {n - 1, 0}, {0, n - 1}, {n / 2, n / 2}}) {
                absurd.push_back(usual);
                absurd.back()(i, j) = x;
                absurd.push_back(Matrix2D<double>(n, n));
                absurd.back()(i, j) = x;
            }
            for (const Matrix2D<double>& m : absurd) {
                ask(EigenProblem(m));
                for (const Matrix2D<double>& other : {usual, m, Matrix2D<double>(n, n)}) {
                    ask({m, other});
                    ask({other, m});
                }
            }
        }
    }
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
