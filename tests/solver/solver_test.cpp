#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/matrices.h"
#include "zemra/solver/full_pivot.h"
#include "zemra/solver/gauss.h"
#include "zemra/solver/gauss_full.h"
#include "zemra/solver/magnitude.h"
#include "zemra/solver/mat2x2.h"
#include "zemra/solver/matrix_inverse.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

template <typename T>
using Solver = bool (*)(const Matrix2D<T>& A, Matrix2D<T>& B);

template <typename T>
std::vector<Solver<T>> AllSolvers() {
    return {Gauss<T>::Solve, GaussFull<T>::Solve, FullPivot<T>::Solve};
}

// The text of the Error that is thrown, or nothing.
template <typename T>
std::string Refusal(Solver<T> solve, const Matrix2D<T>& A, Matrix2D<T>& B) {
    return ErrorText([&] { EXPECT_TRUE(solve(A, B)); });
}

template <typename T>
class Elimination : public testing::Test {};
using Numbers = testing::Types<double, Complex>;
TYPED_TEST_SUITE(Elimination, Numbers);

// In the Frobenius norm |A·X − B| stays below 3n·u·|A|·|X| times the growth of the pivots,
// which is none on these matrices (Higham, Accuracy and Stability, theorem 9.4). Complex
// products double it: ε = 2u takes the place of u.
TYPED_TEST(Elimination, LeavesASmallResidualAndAgreesWithAnIndependentSolver) {
    for (const auto& [name, A] : RegularMatrices<TypeParam>())
        for (const Solver<TypeParam> solve : AllSolvers<TypeParam>()) {
            SCOPED_TRACE(name);
            Matrix2D<TypeParam> X = RandomMatrix<TypeParam>(A.Size(0), 3, 99);
            const auto a = ToEigen(A), b = ToEigen(X);
            EXPECT_TRUE(solve(A, X));
            EXPECT_EQ(ToEigen(A), a);
            const auto x = ToEigen(X);
            const double epsilon = std::numeric_limits<double>::epsilon();
            const double bound = 3.0 * A.Size(0) * epsilon * a.norm() * x.norm();
            EXPECT_LE((a * x - b).norm(), bound);
            // Two solutions differ by the inverse times the difference of their residuals.
            EXPECT_LE((x - a.fullPivLu().solve(b)).norm(), a.inverse().norm() * 2.0 * bound);
        }
}

TYPED_TEST(Elimination, LetsTheLowestIndexWinATie) {
    // The first column of X becomes (1, 0) when column 1 is taken for pivot instead, the second
    // becomes (0, 1) when row 1 is: the large number swallows the small ones.
    for (const Solver<TypeParam> solve : AllSolvers<TypeParam>()) {
        auto X = FromRows<TypeParam>({{1, 2}, {2, 0x1p60}});
        solve(FromRows<TypeParam>({{1, 1}, {1, 0x1p60}}), X);
        EXPECT_EQ(Rows(X), Table<TypeParam>({{1, 1}, {0x1p-60, 1}}));
    }
}

TYPED_TEST(Elimination, CountsOnlyPivotsBelowTheThresholdAsZero) {
    for (const Solver<TypeParam> solve : AllSolvers<TypeParam>()) {
        Matrix2D<TypeParam> A(1, 1, 1e-18), X(1, 1, 2e-18);
        EXPECT_EQ(Refusal(solve, A, X), "");
        A(0, 0) = std::nextafter(1e-18, 0.0);
        EXPECT_NE(Refusal(solve, A, X), "");
    }
}

TYPED_TEST(Elimination, NamesTheStepAndTheLargestMagnitudeOfASingularMatrix) {
    using T = TypeParam;
    const auto ones = FromRows<T>({{1, 1}, {1, 1}});
    const auto hollow = FromRows<T>({{1, 0, 0}, {0, 1e-20, -3e-20}, {0, 2e-20, 0}});
    auto X = FromRows<T>({{2}, {3}}), Y = FromRows<T>({{1}, {2}, {3}});
    EXPECT_EQ(Refusal(FullPivot<T>::Solve, hollow, Y),
              "FullPivot::Solve: Matrix singular.\n   Could not find a pivot for row 1.\n"
              "   Max value:             3e-20\n");
    EXPECT_EQ(Refusal(GaussFull<T>::Solve, hollow, Y),
              "GaussFull::Solve: Matrix singular.\n   Could not find a pivot for row 1.\n"
              "   Max value:             3e-20\n");
    EXPECT_EQ(Refusal(GaussFull<T>::Solve, ones, X),
              "GaussFull::Solve: : Matrix singular.\n   Could not find a pivot for row 1.\n"
              "   Max value:                 0\n");
    EXPECT_EQ(Rows(Y), Table<T>({{1}, {2}, {3}}));
    EXPECT_EQ(Rows(X), Table<T>({{2}, {3}}));
    EXPECT_EQ(Refusal(Gauss<T>::Solve, hollow, Y),
              "ZEMRA::Vibration::Gauss::Solve<T>: Matrix singular\n"
              "   bad Row: 1 Val: (            2e-20)\n");
}

TYPED_TEST(Elimination, GivesFreeUnknownsOfAConsistentSystemTheValueZero) {
    constexpr double t = 0x1p-60;  // below the zero pivot
    const struct {
        Table<TypeParam> A, b, x;
    } table[] = {
        {{{1, 1}, {1, 1}}, {{2}, {2}}, {{2}, {0}}},
        // The negligible row moves to the end, and its unknown with it.
        {{{0, 0, 0}, {0, 1, 0}, {0, 0, 2}}, {{0}, {3}, {4}}, {{0}, {3}, {2}}},
        // Of two equal columns the lower is exchanged, and carries its unknown along.
        {{{0, 3, 3}, {0, 0, 0}, {0, 0, 0}}, {{6}, {0}, {0}}, {{0}, {2}, {0}}},
        {{{0, 0, 4}, {0, 0, 2}, {0, 5, 0}}, {{8}, {4}, {5}}, {{0}, {1}, {2}}},
        // The dropped row keeps its columns; its right-hand side becomes −2⁶⁰ and takes part in
        // the substitution into all active rows but the last.
        {{{t, 0, 0, 0}, {t, 1, 0, 0}, {t, 0, 1, 0}, {0, 0, 0, 1}},
         {{0}, {5}, {2}, {0x1p120}},
         {{0}, {6}, {2}, {0x1p120}}},
        // Elimination brings −2¹⁰ into the dropped row, which yet gives no pivot.
        {{{t, 0, 0}, {0, 1, 0}, {0, 0x1p70, 1}}, {{0}, {2}, {0x1p70}}, {{0}, {2}, {-0x1p70}}},
        // A right-hand side of 1e-18 is still negligible. Pivots act through a reciprocal.
        {{{0, 0}, {0, 49}}, {{1e-18}, {49}}, {{0}, {1.0 - 0x1p-53}}}};
    for (const auto& [A, b, x] : table) {
        auto X = FromRows(b);
        EXPECT_EQ(Refusal(GaussFull<TypeParam>::Solve, FromRows(A), X), "");
        EXPECT_EQ(Rows(X), x);
    }
    Matrix2D<TypeParam> above(1, 1, std::nextafter(1e-18, 1.0));
    EXPECT_NE(Refusal(GaussFull<TypeParam>::Solve, Matrix2D<TypeParam>(1, 1), above), "");
}

TEST(VectorSystems, AreSolvedInPlaceOrLeftAloneWhenSingular) {
    using SolveVector = bool (*)(const Matrix2D<double>&, Matrix1D<double>&);
    for (const SolveVector solve :
         {SolveVector{Gauss<double>::Solve}, SolveVector{GaussFull<double>::Solve}}) {
        Matrix1D<double> x(2, std::data({4.0, 3.0}));
        EXPECT_TRUE(solve(FromRows<double>({{0, 2}, {1, 0}}), x));
        EXPECT_THROW(solve(Matrix2D<double>(2, 2), x), Error);
        EXPECT_THAT(Elements(x), ElementsAre(3, 2));
    }
}

// Regular, nearly singular, singular and overflowing ones, of orders on both sides of every
// block of the kernels, with ties among the pivots, zeros, and numbers whose square vanishes.
template <typename T>
std::vector<std::pair<std::string, Matrix2D<T>>> InvertedMatrices() {
    auto all = RegularMatrices<T>();
    const auto add = [&](const std::string& name, int n, auto element) {
        const Matrix2D<T> random = RandomMatrix<T>(n, n, static_cast<unsigned>(n));
        all.emplace_back(name + std::to_string(n), Generate<T>(n, n, [&](int i, int j) {
                             return element(i, j, random(i, j));
                         }));
    };
    const auto digit = [](double x) { return std::round(2 * x); };
    for (const int n : {0, 2, 3, 4, 5, 7, 8, 9, 16, 31, 33, 63, 64, 65, 72, 79, 97, 128}) {
        add("Dense", n, [](int, int, const T& x) { return x; });
        add("Sparse", n, [](int i, int j, const T& x) {
            return i == j || (7 * i + 5 * j) % 11 == 0 ? x : T(0);
        });
        add("Digits", n, [&](int, int, const T& x) {  // many ties, maybe singular
            if constexpr (std::is_same_v<T, double>) return digit(x);
            // Of the magnitude 5 in all directions, or not.
            else
                return digit(x.real()) == 1 ? T(3, 4) : T(5 * digit(x.real()), digit(x.imag()));
        });
        add("Vanishing", n, [](int i, int j, const T& x) { return i > j ? 1e-170 * x : x; });
        add("Deficient", n, [&](int i, int j, const T& x) {
            return i == n / 2 ? T(0) : j == 0 ? 1e-17 * x : x;
        });
        add("Huge", n,
            [](int i, int j, const T& x) { return (i + j) % 3 == 0 ? 1e200 * x : x; });
        add("Infinite", n, [](int i, int j, const T& x) {
            return i == 1 && j == 1 ? T(std::numeric_limits<double>::infinity()) : x;
        });
    }
    return all;
}

TYPED_TEST(Elimination, GivesTheSameInverseInLanesToTheLastBit) {
    using Inverses = MatrixInverse2D<TypeParam>;
    // Zeros may differ in their sign.
    const auto isSame = [](double a, double b) { return a == b || (a != a && b != b); };
    for (const auto& [name, matrix] : InvertedMatrices<TypeParam>()) {
        SCOPED_TRACE(name);
        const Matrix2D<TypeParam>& A = matrix;  // a lambda may not capture a binding everywhere
        Matrix2D<TypeParam> expected, X;
        EXPECT_EQ(ErrorText([&] { X = Inverses::Inverse(A); }),
                  ErrorText([&] { expected = Inverses::InverseByElimination(A); }));
        ASSERT_EQ(X.Size(0), expected.Size(0));
        int different = 0;
        for (int i = 0; i < X.Size(0); ++i)
            for (int j = 0; j < X.Size(0); ++j) {
                const Complex a = X(i, j), b = expected(i, j);
                different += isSame(a.real(), b.real()) && isSame(a.imag(), b.imag()) ? 0 : 1;
            }
        EXPECT_EQ(different, 0);
    }
}

Matrix2D<double> Inverse(const char* oldInverse, const Table<double>& A) {
    constexpr char kName[] = "ZEMRA_VIBRATION_OLD_INVERSE";
    EXPECT_EQ(oldInverse ? setenv(kName, oldInverse, 1) : unsetenv(kName), 0);
    return MatrixInverse2D<double>::Inverse(FromRows(A));
}

TEST(Inverses, ReadTheEnvironmentAtEveryCall) {
    // Gauss divides the pivot row by 49, FullPivot multiplies it by fl(1/49).
    const Table<double> A{{49, 49}, {0, 1}};
    EXPECT_EQ(Inverse(nullptr, A)(0, 1), 0x1p-53 - 1.0);
    EXPECT_EQ(Inverse("0", A)(0, 1), -1.0);
    EXPECT_EQ(Inverse("", A)(0, 1), 0x1p-53 - 1.0);
}

TEST(Inverses, RetryFromTheIdentityWithoutAMessage) {
    CapturedMessages messages;
    // Gauss gives up at step 1, when it has halved the first row already.
    constexpr double t = 0x1p-60;  // below the zero pivot
    EXPECT_EQ(Rows(Inverse("1", {{2, 0, 0}, {0, t, 1}, {0, -t, 1}})),
              Table<double>({{0.5, 0, 0}, {0, 0x1p59, -0x1p59}, {0, 0.5, 0.5}}));
    const Table<double> ones{{1, 1}, {1, 1}}, wide{{1, 2, 3}, {4, 5, 6}};
    for (const char* const oldInverse : {"1", ""})
        EXPECT_THAT(ErrorText([&] { Inverse(oldInverse, ones); }),
                    StartsWith("GaussFull::Solve: : "));
    EXPECT_EQ(ErrorText([&] { Inverse("", wide); }),
              "MatrixInverse2D::Inverse: Matrix is not square: 2 x 3\n");
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TEST(Inverses, OfSparseMatricesAreDenseAndThoseOfStacksGoSlotBySlot) {
    const int row[] = {0, 1}, col[] = {1, 0};
    const double val[] = {2, 4};
    const MatrixSparse2D<double> sparse(2, 2, 2, row, col, val);
    EXPECT_EQ(Rows(MatrixInverse2D<double>::Inverse(sparse)),
              Table<double>({{0, 0.25}, {0.5, 0}}));
    Matrix3D<Complex> stack(2, 1, 1, 2.0);
    stack(1, 0, 0) = {0, 4};
    const Matrix3D<Complex> X = MatrixInverse3D<Complex>::Inverse(stack);
    EXPECT_THAT((std::array{X(0, 0, 0), X(1, 0, 0)}), ElementsAre(0.5, Complex(0, -0.25)));
}

TEST(TwoByTwoSystems, TakeTheBetterOfTwoSolutions) {
    struct {
        double a[4], x[2], exact[2];
    } table[] = {{{2, 1, 4, 3}, {10, 7}, {1, 2}},
                 {{-0.9, -0.7, 0.1, 0.3}, {1, 1}, {-1, 1}},  // Cramer's rule misses it
                 {{-0.9, -0.5, -0.8, 0}, {1, 1}, {-2, 1}}};  // elimination does
    for (auto& [a, x, exact] : table) {
        EXPECT_TRUE(mat2x2<double>::Solve(a, x));
        EXPECT_THAT(x, testing::ElementsAreArray(exact));
    }
}

TEST(TwoByTwoSystems, JudgeComplexResidualsByTheSumOfTheirSquares) {
    // Elimination leaves no residual and x₂ = −0.19999999999999996 + i; Cramer's rule leaves
    // one of the kind (r, ±i·r), whose squares cancel, so its solution is kept.
    const Complex a[] = {{-1, -2}, {0, -2}, {2, -1}, {1, 2}};
    Complex x[] = {1, {-1, -1}};
    EXPECT_TRUE(mat2x2<Complex>::Solve(a, x));
    EXPECT_THAT(x, ElementsAre(Complex(0.8, 0.6), Complex(-0.2, 1)));
}

TEST(TwoByTwoSystems, AreRefusedUntouchedUpToADeterminantOf1e25) {
    double x[] = {3, 4};
    const double limit[] = {1e-25, 0, 0, -1}, above[] = {std::nextafter(1e-25, 1.0), 0, 0, -1};
    EXPECT_FALSE(mat2x2<double>::Solve(limit, x));
    EXPECT_THAT(x, ElementsAre(3, 4));
    EXPECT_TRUE(mat2x2<double>::Solve(above, x));
}

TEST(Scalars, FollowTheirDefinitions) {
    EXPECT_EQ(FABS(-2.5), 2.5);
    EXPECT_EQ(MAG({-3, 4}), 5.0);
    EXPECT_EQ(MAG({1e200, 0}), std::numeric_limits<double>::infinity());  // no scaling
    EXPECT_THAT((std::array{d_sign(3, -2), d_sign(-3, 2), d_sign(-3, -2), d_sign(-3, 0)}),
                ElementsAre(-3, 3, -3, -3));
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
