#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <numbers>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/host.h"
#include "tests/support/matrices.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Eigen::MatrixXcd;
using Eigen::MatrixXd;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr char kNotDense[] = "ZmAPI_EigenProblem: Non dense matrix\n";
constexpr char kNotAvailable[] = "Eigenvector(which, i): Eigenvectors are not available.\n";
constexpr char kNotSquare[] =
    "ZEMRA::Vibration::EigenProblem::Solve(int nVal, bool noVectors): Row size not equal to "
    "column size.\n";
constexpr char kNotConverged[] = "Hessenberg QR: did not converge.\n";
constexpr char kNotFinite[] =
    "QZ: The matrices hold elements that are not finite or too large.\n";
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Six states: two real eigenvalues beside two damped pairs.
MatrixXd RealAndComplex() {
    MatrixXd A = MatrixXd::Zero(6, 6);
    A.topLeftCorner(4, 4) = ToEigen(SpringChain(2, 0.1));
    A(4, 4) = -3;
    A(5, 5) = 0.5;
    A.topRightCorner(4, 2).setConstant(0.25);
    return A;
}

// A rotation at 5 cycles per second.
const double kRotation[] = {0, 5 * kTwoPi, -5 * kTwoPi, 0};

ZmAPI_EigenProblem Rotation(bool noVectors) {
    ZmAPI_EigenProblem problem(ZmAPI_Matrix(2, 2, kRotation));
    EXPECT_EQ(problem.Solve(noVectors), 2);
    return problem;
}

TEST(InterfaceEigenProblem, OfAnythingButDenseRealMatricesIsEmpty) {
    const double a[] = {1, 2, 3, 4};
    const ZmAPI_Complex z[4];
    const ZmAPI_Matrix dense(2, 2, a), vector(4, a), complex(2, 2, z), stack(1, 2, 2, a);
    CapturedMessages messages;
    std::vector<ZmAPI_EigenProblem> empty;
    for (const ZmAPI_Matrix& other : {vector, complex, stack}) {
        empty.emplace_back(other);
        empty.emplace_back(dense, other);
        empty.emplace_back(other, dense);
        EXPECT_THAT(messages.Take(), Each(Pair('e', kNotDense)));
    }
    EXPECT_EQ(empty.size(), 9u);
    empty.push_back(Rotation(false));
    empty.back() = empty.front();
    messages.Take();
    for (ZmAPI_EigenProblem& problem : empty) {
        EXPECT_EQ(problem.Solve(false), -1);
        EXPECT_EQ(problem.Eigenvalues(), 0);
        EXPECT_EQ(problem.Eigenvectors(), 0);
        EXPECT_EQ(problem.Defective(7), -1);
        EXPECT_EQ(problem.Eigenvalue(7, true).GetComplex(), 0.0);
        EXPECT_EQ(problem.Eigenvector(7, 7).GetComplex(), 0.0);
        EXPECT_EQ(problem.CheckEigenVector(7, false), -1.0);
        ZmAPI_Complex untouched(8, 9);
        problem.Eigenvector(0, &untouched);
        EXPECT_EQ(untouched.GetComplex(), Complex(8, 9));
    }
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TEST(InterfaceEigenProblem, GivesCyclesPerSecondOnRequest) {
    CapturedMessages messages;
    const ZmAPI_EigenProblem problem = Rotation(true);
    EXPECT_NEAR(problem.Eigenvalue(0, false).imag(), 5 * kTwoPi, 1e-13);
    EXPECT_NEAR(problem.Eigenvalue(0, true).imag(), 5, 1e-14);
    EXPECT_NEAR(problem.Eigenvalue(1, true).imag(), -5, 1e-14);
    EXPECT_EQ(problem.Eigenvalue(0, true).real(), 0);
}

TEST(InterfaceEigenProblem, ThrowsRangeErrorsAndPrintsTheOthers) {
    CapturedMessages messages;
    const ZmAPI_EigenProblem unsolved(ZmAPI_Matrix(2, 2, kRotation)), values = Rotation(true),
                                                                      vectors = Rotation(false);
    messages.Take();
    ZmAPI_Complex untouched(8, 9);
    for (const ZmAPI_EigenProblem* const problem : {&unsolved, &values, &vectors})
        for (const int i : {-1, problem->Eigenvalues()}) {
            EXPECT_EQ(ErrorText([&] { problem->Defective(i); }), "Defective: Range error.\n");
            EXPECT_EQ(
                ErrorText([&] { problem->Eigenvalue(i, true); }),
                "ZEMRA::Vibration::EigenProblem::Eigenvalue(const int indx): Range error.\n");
            EXPECT_EQ(ErrorText([&] { problem->CheckEigenVector(i, false); }),
                      "ZEMRA::Vibration::EigenProblem::checkEigenvector: Range error.\n");
            if (problem != &vectors) continue;
            const std::string range = "Eigenvector(whcih, i): Range error.\n";
            EXPECT_EQ(ErrorText([&] { problem->Eigenvector(i, 0); }), range);
            EXPECT_EQ(ErrorText([&] { problem->Eigenvector(0, i); }), range);
            EXPECT_EQ(ErrorText([&] { problem->Eigenvector(i, &untouched); }), range);
        }
    EXPECT_THAT(messages.Take(), IsEmpty());

    for (const ZmAPI_EigenProblem* const problem : {&unsolved, &values}) {
        EXPECT_EQ(problem->Eigenvector(0, 9).GetComplex(), 0.0);
        problem->Eigenvector(0, &untouched);
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', kNotAvailable)));
    }
    EXPECT_EQ(values.CheckEigenVector(1, true), -1.0);
    EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', kNotAvailable)));
    EXPECT_EQ(untouched.GetComplex(), Complex(8, 9));
}

TEST(InterfaceEigenProblem, PrintsWhyItCannotBeSolvedAndHoldsNothing) {
    CapturedMessages messages;
    const MatrixXd A = RealAndComplex(), wide = MatrixXd::Ones(2, 3),
                   bad = MatrixXd::Constant(4, 4, kNaN);
    struct Case {
        ZmAPI_EigenProblem problem;
        std::string error;
    };
    for (Case& c : std::vector<Case>{
             {ZmAPI_EigenProblem(ToHost(wide)), kNotSquare},
             {{ToHost(wide), ToHost(wide.leftCols(2))}, kNotSquare},
             {{ToHost(wide.transpose()), ToHost(wide)}, kNotSquare},
             {{ToHost(A), ToHost(MatrixXd::Ones(6, 5))}, kNotSquare},
             {{ToHost(A), ToHost(MatrixXd::Ones(5, 6))}, kNotSquare},
             {{ToHost(A), ToHost(bad)}, kNotSquare},
             {ZmAPI_EigenProblem(ToHost(bad)), kNotConverged},
             {{ToHost(MatrixXd::Ones(4, 4)), ToHost(bad)}, kNotFinite},
             {{ToHost(1e308 * MatrixXd::Ones(4, 4)), ToHost(MatrixXd::Ones(4, 4))},
              kNotFinite}}) {
        EXPECT_EQ(c.problem.Solve(false), 0);
        EXPECT_EQ(c.problem.Eigenvalues(), 0);
        const auto printed = messages.Take();
        EXPECT_EQ(printed.size(), c.error == kNotSquare ? 1u : 2u);
        EXPECT_THAT(printed.back(), Pair('e', c.error));
    }
}

TEST(InterfaceEigenProblem, IsCopiedWithItsResults) {
    CapturedMessages messages;
    ZmAPI_EigenProblem source = Rotation(false), target(ToHost(RealAndComplex()));
    const ZmAPI_EigenProblem copy(source);
    target = source;
    EXPECT_EQ(&(target = target), &target);
    source.Solve(true);
    for (const ZmAPI_EigenProblem& other : {copy, target}) {
        EXPECT_EQ(other.Eigenvectors(), 2);
        ZmAPI_Complex v[2];
        other.Eigenvector(1, v);
        for (const int k : {0, 1}) {
            EXPECT_EQ(v[k].GetComplex(), other.Eigenvector(1, k).GetComplex());
            EXPECT_EQ(v[k].GetComplex(), std::conj(other.Eigenvector(0, k).GetComplex()));
        }
        EXPECT_LT(other.CheckEigenVector(0, false), 1e-13);
    }
}

// The plain entry points, on arrays filled with a mark where nothing may be written.
struct Plain {
    explicit Plain(int order)
        : n(order),
          wr(Marked(1)),
          wi(Marked(1)),
          z(Marked(n)),
          er(Marked(n)),
          ei(Marked(n)),
          vr(Marked(n)),
          vi(Marked(n)) {}
    static constexpr double kMark = 77;
    MatrixXd Marked(int columns) const { return MatrixXd::Constant(n, columns, kMark); }

    int n, found = -1;
    MatrixXd wr, wi, z, er, ei, vr, vi;

    void Solve(const MatrixXd& A) {
        EigenSolution(n, A.data(), wr.data(), wi.data(), z.data(), &found);
    }
    void Solve(const MatrixXd& A, const MatrixXd& B) {
        GeneralEigenSolution(n, A.data(), B.data(), er.data(), ei.data(), vr.data(), vi.data(),
                             &found);
    }
    bool IsUntouched() const {
        for (const MatrixXd* const m : {&wr, &wi, &z, &er, &ei, &vr, &vi})
            if ((m->array() != kMark).any()) return false;
        return true;
    }
};

TEST(PlainEigenSolution, FillsArraysWithCyclesPerSecondAndPackedVectors) {
    CapturedMessages messages;
    const MatrixXd A = RealAndComplex();
    Plain plain(6);
    plain.Solve(A);
    ASSERT_EQ(plain.found, 6);
    const MatrixXcd lambda = kTwoPi * (plain.wr + Complex(0, 1) * plain.wi);
    EXPECT_NEAR(lambda(0).real(), 0.5, 1e-14);  // the real ones, by ascending |Re|
    EXPECT_NEAR(lambda(1).real(), -3.0, 1e-14);
    for (int i = 0; i < 6; ++i) {
        MatrixXcd v = plain.z.col(i);
        if (i >= 2) {
            EXPECT_EQ(plain.wi(i) > 0, i % 2 == 0);
            v = plain.z.col(i - i % 2) +
                Complex(0, i % 2 ? -1 : 1) * plain.z.col(i - i % 2 + 1);
        }
        EXPECT_NEAR(v.cwiseAbs().maxCoeff(), 1, 1e-15);
        EXPECT_LT((A * v - lambda(i) * v).norm(), 1e-13);
    }
    Plain again(6);
    F77Eigen::Solution(6, A.data(), again.wr.data(), again.wi.data(), again.z.data(),
                       &again.found);
    EXPECT_EQ(again.found, 6);
    EXPECT_EQ(again.wr, plain.wr);
    EXPECT_EQ(again.wi, plain.wi);
    EXPECT_EQ(again.z, plain.z);
}

TEST(PlainEigenSolution, OfAPencilFillsDiagonalsAndBothPartsOfEachVector) {
    CapturedMessages messages;
    const MatrixXd A = RealAndComplex();
    const MatrixXd B = MatrixXd::Identity(6, 6) + 0.3 * ToEigen(RandomMatrix<double>(6, 6, 1));
    Plain plain(6);
    plain.Solve(A, B);
    ASSERT_EQ(plain.found, 6);
    for (int i = 0; i < 6; ++i) {
        const Complex lambda(plain.er(i, i), plain.ei(i, i));
        const MatrixXcd v = plain.vr.col(i) + Complex(0, 1) * plain.vi.col(i);
        EXPECT_LT((A * v - lambda * (B * v)).norm(), 1e-13) << lambda;
        plain.er(i, i) = plain.ei(i, i) = Plain::kMark;
    }
    EXPECT_TRUE((plain.er.array() == Plain::kMark).all());
    EXPECT_TRUE((plain.ei.array() == Plain::kMark).all());

    MatrixXd vr(6, 6), vi(6, 6);
    int found = 0;
    GeneralEigenSolution(6, A.data(), B.data(), nullptr, nullptr, vr.data(), vi.data(), &found);
    EXPECT_EQ(found, 6);
    EXPECT_EQ(vr, plain.vr);
    EXPECT_EQ(vi, plain.vi);
    GeneralEigenSolution(6, A.data(), B.data(), plain.er.data(), nullptr, nullptr, nullptr,
                         nullptr);
    EXPECT_NE(plain.er(0, 0), Plain::kMark);
}

TEST(PlainEigenSolution, WritesNothingButZeroFoundAfterAFailure) {
    CapturedMessages messages;
    Plain plain(3);
    const MatrixXd bad = MatrixXd::Constant(3, 3, kNaN);
    plain.Solve(bad);
    EXPECT_EQ(plain.found, 0);
    EXPECT_THAT(messages.Take(), ElementsAre(Pair('i', testing::_), Pair('e', kNotConverged)));
    for (plain.n = -1; plain.n <= 0; ++plain.n) {
        plain.found = -1;
        plain.Solve(bad);
        EXPECT_EQ(std::exchange(plain.found, -1), 0);
        plain.Solve(bad, bad);
        EXPECT_EQ(plain.found, 0);
    }
    EXPECT_THAT(messages.Take(), IsEmpty());
    GeneralEigenSolution(3, bad.data(), nullptr, plain.er.data(), nullptr, nullptr, nullptr,
                         &plain.found);
    EXPECT_THAT(messages.Take(),
                ElementsAre(Pair('e', "Eigen solution: No matrix was given.\n")));
    EXPECT_TRUE(plain.IsUntouched());
}

TEST(PlainEigenSolution, WritesItsMatrixToTheDumpFile) {
    CapturedMessages messages;
    const std::string file = testing::TempDir() + "zemra_eigen_solution.txt";
    setenv("ZEMRA_DUMP_VIBRATION_MODEL", file.c_str(), 1);
    Plain(2).Solve(MatrixXd{{1, 0.25}, {-2, 1e-7}});
    std::ifstream in(file);
    const std::string content(std::istreambuf_iterator<char>(in), {});
    Plain(0).Solve(MatrixXd());
    Plain(2).Solve(MatrixXd::Identity(2, 2), MatrixXd::Identity(2, 2));
    unsetenv("ZEMRA_DUMP_VIBRATION_MODEL");
    EXPECT_EQ(std::filesystem::file_size(file), content.size());  // the last two wrote none
    std::filesystem::remove(file);
    EXPECT_EQ(content, R"(AMATRIX:
TYPE: DENSE
  ROWSIZE: 2
  COLUMNSIZE: 2
  COLUMNORDER:
    1.00000000000000000E+00
    -2.00000000000000000E+00
    2.50000000000000000E-01
    9.99999999999999955E-08
)");
}

// A = (1, 1e-4; 1e4, 1): 16³ = 4096 is the power that brings row and column sums together.
TEST(PlainBalance, ScalesInPlaceAndWritesTheTranspose) {
    MatrixXd a{{1, 1e-4}, {1e4, 1}}, out = MatrixXd::Constant(2, 2, 77);
    const MatrixXd balanced{{1, 1e-4 * 4096}, {1e4 / 4096, 1}};
    MatrixXd inPlace = a;
    EXPECT_TRUE(VibMatrix_Balance(out.data(), a.data(), 2));
    EXPECT_EQ(a, balanced);
    EXPECT_EQ(out, balanced.transpose());
    EXPECT_TRUE(VibMatrix_Balance(inPlace.data(), inPlace.data(), 2));
    EXPECT_EQ(inPlace, balanced.transpose());
    MatrixXd extreme{{1, 0x1p-1074}, {0x1p1022, 1}};  // by 16²⁶², itself no double
    EXPECT_TRUE(VibMatrix_Balance(out.data(), extreme.data(), 2));
    EXPECT_EQ(extreme, (MatrixXd{{1, 0x1p-26}, {0x1p-26, 1}}));
    MatrixXd untouched = out;
    EXPECT_TRUE(VibMatrix_Balance(untouched.data(), untouched.data(), 0));
    EXPECT_TRUE(VibMatrix_Balance(untouched.data(), untouched.data(), -3));
    EXPECT_TRUE(VibMatrix_Balance(untouched.data(), nullptr, 2));
    EXPECT_EQ(untouched, out);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
