#include "zemra/eigen/eigen_problem.h"

#include <gmock/gmock.h>

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

constexpr char kNotSquare[] =
    "ZEMRA::Vibration::EigenProblem::Solve(int nVal, bool noVectors): Row size not equal to "
    "column size.\n";
constexpr char kNoVectors[] = "Eigenvector(which, i): Eigenvectors are not available.\n";
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

TEST(EigenProblem, OfOtherShapesThrowsBeforeAnythingIsPrinted) {
    CapturedMessages messages;
    const Matrix2D<double> square = Identity(2), larger = Identity(3), wide(2, 3), tall(3, 2);
    for (EigenProblem problem : {EigenProblem(square, larger),
                                 {square, wide},
                                 {square, tall},
                                 {wide, square},
                                 {tall, wide},
                                 {square, Matrix2D<double>()}})
        EXPECT_EQ(ErrorText([&] { problem.Solve(false); }), kNotSquare);
    EXPECT_EQ(ErrorText([&] { EigenProblem(wide).Solve(true); }), kNotSquare);
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TEST(EigenProblem, RefusesIndicesOutOfRangeAndVectorsItDoesNotHold) {
    CapturedMessages messages;
    EigenProblem unsolved(Identity(2)), values(Identity(2)), vectors(Identity(2));
    values.Solve(true);
    vectors.Solve(false);
    for (const EigenProblem* const problem : std::vector{&unsolved, &values, &vectors}) {
        for (const int i : {-1, problem->Eigenvalues()}) {
            EXPECT_EQ(ErrorText([&] { problem->Defective(i); }), "Defective: Range error.\n");
            EXPECT_EQ(ErrorText([&] { problem->Eigenvalue(i); }),
                      "ZEMRA::Vibration::EigenProblem::Eigenvalue(const int indx): Range "
                      "error.\n");
            EXPECT_EQ(ErrorText([&] { problem->CheckEigenVector(i, true); }),
                      "ZEMRA::Vibration::EigenProblem::checkEigenvector: Range error.\n");
            const bool has = problem == &vectors;
            const std::string expected =
                has ? "Eigenvector(whcih, i): Range error.\n" : kNoVectors;
            EXPECT_EQ(ErrorText([&] { problem->Eigenvector(i, 0); }), expected);
            EXPECT_EQ(ErrorText([&] { problem->Eigenvector(0, i); }), expected);
        }
    }
    EXPECT_EQ(ErrorText([&] { values.CheckEigenVector(1, false); }), kNoVectors);
    EXPECT_EQ(values.Eigenvalues(), 2);
    EXPECT_EQ(values.Eigenvectors(), 0);
    EXPECT_EQ(vectors.Eigenvectors(), 2);
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

TEST(EigenProblem, GivesConjugateVectorsToConjugateValues) {
    CapturedMessages messages;
    for (const EigenProblem& problem : Solved()) {
        const MatrixXcd V = Vectors(problem);
        int pairs = 0;
        for (int i = 0; i < 7; ++i) {
            const double im = problem.Eigenvalue(i).imag();
            if (im == 0) {
                EXPECT_EQ(V.col(i).imag().norm(), 0);
            }
            if (im <= 0) continue;
            EXPECT_LT(problem.Eigenvalue(i + 1).imag(), 0);
            EXPECT_EQ(V.col(i + 1), V.col(i).conjugate());
            EXPECT_EQ(ToEigen(problem.MatrixV()).col(i), V.col(i).real());
            EXPECT_EQ(ToEigen(problem.MatrixV()).col(i + 1), V.col(i).imag());
            ++pairs;
        }
        EXPECT_TRUE(pairs > 0 && 2 * pairs < 7) << pairs;
    }
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

TEST(EigenProblem, OfAUnitBAgreesWithTheStandardOne) {
    CapturedMessages messages;
    for (const Matrix2D<double>& A : {SpringChain(5, 0.05), RandomMatrix<double>(20, 20, 6)}) {
        const int n = A.Size(0);
        EigenProblem standard(A), generalized(A, Identity(n)), valuesOnly(A);
        EXPECT_EQ(standard.Solve(false) + generalized.Solve(false) + valuesOnly.Solve(true),
                  3 * n);
        for (int i = 0; i < n; ++i) {
            EXPECT_LT(std::abs(standard.Eigenvalue(i) - generalized.Eigenvalue(i)), 1e-12);
            EXPECT_LT(std::abs(standard.Eigenvalue(i) - valuesOnly.Eigenvalue(i)), 1e-12);
        }
    }
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

// Whatever stands in a matrix, Solve ends, and what it then holds can be asked for.
TEST(EigenProblem, SurvivesAbsurdElements) {
    CapturedMessages messages;
    using Limits = std::numeric_limits<double>;
    const auto ask = [](EigenProblem problem) {
        for (const bool noVectors : {false, true}) {
            try {
                problem.Solve(noVectors);
            } catch (const Error&) {
                EXPECT_EQ(problem.Eigenvalues(), 0);
            }
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
            std::vector<Matrix2D<double>> absurd{all};
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
