#include "zemra/eigen/eigen.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "tests/support/captured_messages.h"
#include "tests/support/dumped_models.h"
#include "tests/support/eigen_reference.h"
#include "tests/support/eigen_zoo.h"
#include "tests/support/matrix_market.h"
#include "zemra/eigen/chains.h"
#include "zemra/eigen/hessenberg.h"

namespace ZEMRA::Vibration::tests {
namespace {

using ::Eigen::Index;
using ::Eigen::MatrixXd;
using ::Eigen::VectorXcd;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using Solver = ZEMRA::Vibration::Eigen<double>;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr char kDefective[] =
    "QR: The eigen solution produced one or more defective eigen values.\n    For these eigen "
    "values generalized eigen vectors will be used in the solution.\n    This generally "
    "indicates a problem with the model (zero stiffness, free body, invalid constraint).\n";

Solver Sorted(const Matrix2D<double>& A, bool withVectors = true) {
    Solver solver(A, withVectors);
    solver.SortEigenValues();
    return solver;
}
Solver Sorted(const MatrixXd& A) { return Sorted(ToCore(A)); }

VectorXcd Values(const Solver& solver) {
    return ::Eigen::Map<const VectorXcd>(solver.GetE().Data(), solver.GetN());
}

VectorXcd Vector(const Solver& solver, int i) {
    const MatrixXd V = ToEigen(solver.GetV());
    const double im = solver.GetE()(i).imag();
    if (im == 0.0) return V.col(i);
    const int j = im > 0.0 ? i : i - 1;
    return V.col(j) + Complex(0, im > 0.0 ? 1 : -1) * V.col(j + 1);
}

double NormInf(const MatrixXd& A) { return A.cwiseAbs().rowwise().sum().maxCoeff(); }

struct Named {
    std::string name;
    MatrixXd A;
    double bound;     // of a residual, of ‖A‖·‖v‖
    bool isBalanced;  // else residuals are judged in balanced coordinates
};
void PrintTo(const Named& named, std::ostream* out) { *out << named.name; }

// 1e-13 stands for n = 60 and growth in the elementary reduction; the largest collected
// matrices and models have more of both.
std::vector<Named> AllMatrices() {
    std::vector<Named> all;
    for (const EigenCase& one : EigenZoo())
        all.push_back({one.name, ToEigen(one.A), 1e-13, one.isWellScaled});
    all.push_back({"Dense131", ToEigen(RandomMatrix<double>(131, 131, 1)), 1e-12, true});
    all.push_back({"Chain130", ToEigen(SpringChain(65, 0.01)), 1e-12, true});
    const auto folder = DataFolder("matrices");
    if (folder.empty()) return all;
    for (const char* const name :
         {"bfwa62", "bwm200", "ck104", "fs_183_6", "gre_216b", "impcol_c", "lop163", "lund_a",
          "olm100", "rdb200", "rotor1", "tols340", "west0132", "wingbeam_k"})
        all.push_back(
            {name, ReadMatrixMarket(folder / (std::string(name) + ".mtx")), 1e-12, true});
    for (const Model& model : DumpedModels())
        all.push_back({std::filesystem::path(model.name).stem(), model.A, 1e-12, true});
    return all;
}

// B = X⁻¹·A·X with an exchanged and scaled identity X.
struct Balanced {
    MatrixXd B, X;
    CoupledBlock block;

    explicit Balanced(const MatrixXd& A) : B(A), X(MatrixXd::Identity(A.rows(), A.rows())) {
        const int n = static_cast<int>(A.rows());
        ::Eigen::VectorXd scale(n);
        block = Balance({n, B.data()}, scale.data());
        BackBalance(block, scale.data(), {n, X.data()});
    }
};

class EigenOf : public testing::TestWithParam<Named> {};

TEST_P(EigenOf, SatisfiesItsDefinition) {
    CapturedMessages messages;
    const auto& [name, A, bound, isBalanced] = GetParam();
    const Solver solver = Sorted(A);
    const Balanced balanced(A);
    const MatrixXd toJudged = isBalanced ? MatrixXd::Identity(A.rows(), A.cols()).eval()
                                         : MatrixXd(balanced.X.partialPivLu().inverse());
    const double norm = NormInf(isBalanced ? A : balanced.B);
    int links = 0;
    for (int i = 0; i < solver.GetN(); ++i) {
        const Complex lambda = solver.GetE()(i);
        const VectorXcd v = Vector(solver, i);
        VectorXcd residual = A * v - lambda * v;
        if (const int p = solver.GetD()(i); p != i) {
            ++links;
            EXPECT_LT(p, i);
            EXPECT_EQ(solver.GetE()(p), lambda);
            residual -= Vector(solver, p);
        }
        const auto size = [&](const VectorXcd& x) {
            return (toJudged * x).cwiseAbs().maxCoeff();
        };
        EXPECT_GT(size(v), 0.0) << i;
        EXPECT_LE(size(residual), bound * norm * size(v)) << "value " << i << ' ' << lambda;
    }
    if (links > 0)
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('w', kDefective)));
    else
        EXPECT_THAT(messages.Take(), IsEmpty());
}

// Ours and LAPACK's backward errors are some tens of roundings each.
TEST_P(EigenOf, AgreesWithAnIndependentSolver) {
    CapturedMessages messages;
    const MatrixXd& A = GetParam().A;
    const ReferenceEigenvalues reference(A);
    EXPECT_LT(reference.DistanceOf(Values(Sorted(A))), 200.0);
    const Solver valuesOnly = Sorted(ToCore(A), false);
    EXPECT_LT(reference.DistanceOf(Values(valuesOnly)), 200.0);
    EXPECT_EQ(valuesOnly.GetV().Size(0), 0);
}

TEST_P(EigenOf, ComesInOrderAndNormalised) {
    CapturedMessages messages;
    const Solver solver = Sorted(GetParam().A);
    const auto& E = solver.GetE();
    double real = 0.0, imaginary = 0.0;
    for (int i = 0; i < solver.GetN(); ++i) {
        if (E(i).imag() != 0.0) {
            ASSERT_LT(i + 1, solver.GetN());
            EXPECT_GE(E(i).imag(), imaginary);
            EXPECT_EQ(E(i + 1), std::conj(E(i)));
            imaginary = E(i).imag();
            Index largest = 0;
            const VectorXcd v = Vector(solver, i++);
            EXPECT_NEAR(v.cwiseAbs().maxCoeff(&largest), 1.0, 4 * kEpsilon);
            EXPECT_LE((v.array() - 1.0).abs().minCoeff(), 4 * kEpsilon);
            continue;
        }
        EXPECT_EQ(imaginary, 0.0) << "a real one after a pair";
        EXPECT_GE(std::fabs(E(i).real()), real);
        real = std::fabs(E(i).real());
        const int head = i;
        for (; i + 1 < solver.GetN() && solver.GetD()(i + 1) != i + 1; ++i)
            EXPECT_EQ(solver.GetD()(i + 1), i) << "a chain that is torn apart";
        const MatrixXd chain = ToEigen(solver.GetV()).middleCols(head, i - head + 1);
        EXPECT_EQ(chain.cwiseAbs().maxCoeff(), 1.0);
        EXPECT_EQ(chain.maxCoeff(), 1.0);
    }
}

// Bit for bit: whatever runs through other loops decides alike.
TEST_P(EigenOf, IsTheSameOnEveryRoad) {
    CapturedMessages messages;
    const Matrix2D<double> A = ToCore(GetParam().A);
    for (const bool withVectors : {true, false}) {
        const Solver written(A, withVectors, nullptr);
        const auto printed = messages.Take();
        for (const KernelSet set :
             {KernelSet::kBaseline, KernelSet::kAvx2, KernelSet::kAvx512}) {
            if (!IsAvailable(set)) continue;
            const Solver fast(A, withVectors, &EigenKernelsOf(set));
            EXPECT_EQ(Values(fast), Values(written));
            EXPECT_EQ(ToEigen(fast.GetV()), ToEigen(written.GetV()));
            for (int i = 0; i < A.Size(0); ++i) EXPECT_EQ(fast.GetD()(i), written.GetD()(i));
            EXPECT_EQ(messages.Take(), printed);
        }
    }
}

TEST_P(EigenOf, BalancesByAnExactSimilarity) {
    const MatrixXd& A = GetParam().A;
    const int n = static_cast<int>(A.rows());
    const Balanced balanced(A);
    const MatrixXd &B = balanced.B, &X = balanced.X;
    const CoupledBlock block = balanced.block;
    EXPECT_EQ(A * X, X * B);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j)
            EXPECT_TRUE((block.Contains(i) && block.Contains(j)) || B(i, j) == 0.0);
    for (int i = block.low; i <= block.igh; ++i) {
        const auto off = [&](const auto& v) {
            return v.cwiseAbs().segment(block.low, block.igh - block.low + 1).sum() -
                   std::fabs(B(i, i));
        };
        const double c = off(B.col(i)), r = off(B.row(i).transpose());
        if (c == 0.0 || r == 0.0) continue;
        for (const double f : {1.0 / 16.0, 16.0})
            EXPECT_GE(c * f + r / f, 0.95 * (c + r) * (1 - n * kEpsilon)) << i;
    }
}

TEST_P(EigenOf, IsReducedToHessenbergFormBySimilarity) {
    const MatrixXd& A = GetParam().A;
    const int n = static_cast<int>(A.rows());
    MatrixXd H = A, Z(n, n);
    ReduceToHessenberg({n, H.data()}, {0, n - 1}, {n, Z.data()});
    for (int j = 0; j < n; ++j)
        for (int i = j + 2; i < n; ++i) EXPECT_LE(std::fabs(H(i, j)), 1e-18);
    EXPECT_LE(NormInf(A * Z - Z * H), 1e-13 * NormInf(Z) * std::max(NormInf(A), NormInf(H)));
}

// Of the states: exactly what a model of rigid bodies must give, and combinations of chains.
TEST(Eigen, FindsEveryChainOfExactlyRepeatedEigenvalues) {
    CapturedMessages messages;
    const MatrixXd free = zoo::FreeBodies({1, 2, 0.3, 7}, false);
    MatrixXd driven = zoo::BlockDiagonal({free, zoo::Mechanical(2, 5.0, 0.02)});
    driven(4, 8) = driven(6, 9) = 5.0;
    MatrixXd stiff =
        zoo::BlockDiagonal({zoo::FreeBodies({0.005, 600}, false), zoo::Mechanical(3, 6e7, 0)});
    stiff(0, 7) = 7e8;
    const MatrixXd uneven =
        zoo::BlockDiagonal({zoo::Jordan(1, 3), zoo::Jordan(1, 1), zoo::Jordan(1, 2)});
    const std::vector<std::pair<MatrixXd, int>> chains{
        {free, 4},
        {zoo::FreeBodies({1, 2, 0.3, 7}, true), 4},
        {zoo::Permuted(free, 3), 4},
        {driven, 4},
        {driven.transpose(), 4},
        {zoo::Rows({{0, 0, 1}, {0, 0, 1}, {0, 0, 0}}), 1},
        {zoo::Rows({{0, 1, 0, 2}, {0, 0, 0, 3}, {0, 0, 0, 5}, {0, 0, 0, 0}}), 2},
        {zoo::Rows({{0, 0, 0}, {0, 0, 0}, {3, 2, 0}}), 1},
        {zoo::Rows({{0, 0, 0, 1}, {0, 1, -4096, 4096}, {0, -0x1p-12, 1, 1}, {0, 0, 0, 0}}), 1},
        // Links of isolated rows, small beside the rounding of stiff modes.
        {stiff.transpose(), 2},
        {zoo::Rows({{0, 2e12, 0, 0, 0, -4e12},
                    {0, 0, 0, 1.0 / 6000, 0, 0},
                    {0, 2e12, 0, 0, 0, 0},
                    {0, -4e12, 0, 0, 0, 2e12},
                    {0, 0, 1e-3, 0, 0, 0},
                    {1.0 / 6000, 0, 0, 0, 0, 0}}),
         1},
        {uneven, 3},
        // Here a pivot of noise would seem to extend the shorter chain.
        {zoo::Disguised(uneven - 3 * MatrixXd::Identity(6, 6), 2), 3},
        {zoo::Rows({{1, 1}, {0, 1 + kEpsilon}}), 0},  // they differ at all
        // What couples them is below 1e-12, or above.
        {zoo::Rows({{0, 0.9e-12, 0}, {0, 0, 0}, {0, 0, 1}}), 0},
        {zoo::Rows({{0, 1.1e-12, 0}, {0, 0, 0}, {0, 0, 1}}), 1},
        {MatrixXd::Zero(2, 2), 0}};
    for (const auto& [A, links] : chains) {
        const Solver solver = Sorted(A);
        int found = 0;
        for (int i = 0; i < solver.GetN(); ++i) found += solver.GetD()(i) != i;
        EXPECT_EQ(found, links) << A;
        EXPECT_THAT(messages.Take(), SizeIs(links > 0 ? 1 : 0));
        // All vectors together are a basis, but for the two that differ by rounding.
        if (A(1, 1) != 1 + kEpsilon) {
            EXPECT_EQ(ToEigen(solver.GetV()).fullPivLu().rank(), A.rows());
        }
    }
}

TEST(Eigen, GivesTheDiagonalOfATriangleExactly) {
    const MatrixXd A = ToEigen(RandomMatrix<double>(9, 9, 5));
    for (const MatrixXd& T :
         {MatrixXd(A.triangularView<::Eigen::Upper>()), MatrixXd(A.diagonal().asDiagonal())}) {
        const Solver solver(ToCore(T), true);
        EXPECT_EQ(Values(solver), T.diagonal().cast<Complex>());
    }
    const Solver one(Matrix2D<double>(1, 1, -3.0), true);
    EXPECT_EQ(one.GetE()(0), Complex(-3.0));
    EXPECT_EQ(one.GetV()(0, 0), 1.0);
    EXPECT_EQ(Sorted(Matrix2D<double>()).GetN(), 0);
}

TEST(Eigen, SortsBySizeAndLetsTheLowerIndexWinATie) {
    const MatrixXd A = zoo::BlockDiagonal({zoo::Rows({{0, -3}, {3, 0}}), zoo::Rows({{-2}}),
                                           zoo::Rows({{0, 1}, {-1, 0}}), zoo::Rows({{2}}),
                                           zoo::Rows({{-1}}), zoo::Rows({{5, 1}, {-1, 5}})});
    const VectorXcd sorted = Values(Sorted(A));
    const Complex j(0, 1);
    EXPECT_EQ(std::abs(sorted(1)), 2.0);
    EXPECT_EQ(sorted(0), -1.0);
    EXPECT_EQ(sorted(1), -sorted(2));
    EXPECT_EQ(sorted(7), 3.0 * j);
    EXPECT_EQ(sorted(8), -3.0 * j);

    const Solver tied(ToCore(zoo::Rows({{-2, 0, 0}, {0, 2, 0}, {0, 0, -2}})), true);
    Solver ordered = tied;
    ordered.SortEigenValues();
    EXPECT_EQ(Values(ordered), Values(tied));
}

TEST(Eigen, LeavesAColumnWithoutAPivotUnreduced) {
    const auto reduced = [](double pivot) {
        MatrixXd H = zoo::Rows({{1, 2, 3}, {pivot, 4, 5}, {pivot / 2, 6, 7}});
        ReduceToHessenberg({3, H.data()}, {0, 2}, {});
        return H;
    };
    EXPECT_EQ(reduced(1e-18)(2, 0), 0.5e-18);
    EXPECT_EQ(reduced(1e-18)(1, 1), 4.0);
    EXPECT_EQ(reduced(1.1e-18)(2, 0), 0.0);
    EXPECT_EQ(reduced(1.1e-18)(1, 1), 6.5);  // 4 + 5/2
}

TEST(Eigen, FollowsAChainToItsEnd) {
    const int links[] = {0, 1, 0, 2, 1, 3};
    const Matrix1D<int> D(6, links);
    EXPECT_EQ(FindEndOfDefectiveChain(0, D), 5);
    EXPECT_EQ(FindEndOfDefectiveChain(1, D), 4);
    EXPECT_EQ(FindEndOfDefectiveChain(4, D), 4);
    EXPECT_EQ(FindEndOfDefectiveChain(-1, D), -1);
}

class RefinedUnder : public testing::Test {
  protected:
    ~RefinedUnder() override { unsetenv(kVariable); }

    static MatrixXd Vectors(const MatrixXd& A, const char* tolerance) {
        if (tolerance)
            setenv(kVariable, tolerance, 1);
        else
            unsetenv(kVariable);
        return ToEigen(Solver(ToCore(A), true).GetV());
    }
    // Of the eigenvectors of a matrix whose eigenvalues are all real.
    static double Residual(const MatrixXd& A, const MatrixXd& V) {
        const Solver solver(ToCore(A), false);
        return (A * V - V * Values(solver).real().asDiagonal()).cwiseAbs().sum();
    }

  private:
    static constexpr char kVariable[] = "ZEMRA_VIBRATION_EIGEN_ERROR";
};

// Mean residuals near rounding, 1e-16·|A|, are far below 0.05 for the small matrix and far
// above it for the large one.
TEST_F(RefinedUnder, ToleranceDecidesWhichVectorsAreImproved) {
    const MatrixXd R = ToEigen(RandomMatrix<double>(12, 12, 3));
    const MatrixXd small = R + R.transpose(), large = 0x1p60 * small;
    for (const MatrixXd& A : {small, large}) {
        const MatrixXd never = Vectors(A, "1e30"), always = Vectors(A, "0");
        EXPECT_LT(Residual(A, always), Residual(A, never));
        for (const char* const standard : {static_cast<const char*>(nullptr), ""})
            EXPECT_EQ(Vectors(A, standard), A == large ? always : never);
    }
}

TEST_F(RefinedUnder, ToleranceZeroLeavesChainsAndCloseNeighboursAlone) {
    CapturedMessages messages;
    MatrixXd R = zoo::Kahan(5, 0.7);
    R.diagonal() << 1, 1 + 5e-11, 3, 4, 4;  // two close ones, one alone, a chain
    const MatrixXd A = zoo::Permuted(R, 2);
    const MatrixXd never = Vectors(A, "1e30"), always = Vectors(A, "0");
    const Solver solver(ToCore(A), true);
    for (int i = 0; i < 5; ++i) {
        if (std::fabs(solver.GetE()(i).real() - 3) > 0.1) {
            EXPECT_EQ(never.col(i), always.col(i)) << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Zoo, EigenOf, testing::ValuesIn(AllMatrices()),
                         [](const auto& matrix) { return matrix.param.name; });

}  // namespace
}  // namespace ZEMRA::Vibration::tests
