#include <gmock/gmock.h>

#include <set>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/modal_reference.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

Eigen::MatrixXcd TransferFunction(System& system, double w) {
    return ToEigen(system.TransferFunction(Vector({w})).Slot(0));
}

class ModalForm : public testing::TestWithParam<Model> {
  protected:
    CapturedMessages messages_;
};

INSTANTIATE_TEST_SUITE_P(Models, ModalForm, testing::ValuesIn(ModalModels()),
                         [](const auto& model) { return model.param.name; });

TEST_P(ModalForm, AnswersDisplacementsVelocitiesAndAccelerationsAsDefined) {
    const Model model = WithMotions(GetParam());
    Modal modal(model);
    const auto half = model.A.rows() / 2;
    for (const double w : AcrossTheModes(modal.eigen)) {
        const Reference reference(model, w);
        const Eigen::MatrixXcd H = TransferFunction(modal.system, w);
        for (int motion = 0; motion < 3; ++motion)
            EXPECT_LE(RelativeError(reference.H.middleRows(motion * half, half),
                                    H.middleRows(motion * half, half)),
                      ModalTolerance(modal.eigen))
                << "motion " << motion << " at " << w;
    }
    EXPECT_THAT(messages_.Take(), Not(Contains(Pair('w', HasSubstr("state-space")))));
}

TEST_P(ModalForm, SharesAResponseAmongItsModes) {
    const Model& model = GetParam();
    Modal modal(model);
    const Matrix2D<double>& C = modal.canon.C();
    const Frequencies w = Vector(AcrossTheModes(modal.eigen));
    const Matrix3D<Complex> H = modal.system.TransferFunction(w);
    const Matrix3D<Complex> q = modal.system.MCT(w, false);
    const std::vector<int> firsts = FirstEigenvalues(modal.eigen);
    for (int k = 0; k < w.Size(0); ++k) {
        const auto factors = Elements(modal.system.MPF(0, 1, k, -1, w, false));
        ASSERT_EQ(factors.size(), firsts.size());
        Complex sum = model.D(1, 0);
        double size = std::abs(sum);
        for (std::size_t mode = 0; mode < factors.size(); ++mode) {
            const int c = firsts[mode];
            Complex part = C(1, c) * q(k, c, 0);
            if (modal.eigen.Eigenvalue(c).imag() != 0) part += C(1, c + 1) * q(k, c + 1, 0);
            EXPECT_EQ(factors[mode], part);
            EXPECT_EQ(modal.system.MPF(0, 1, k, static_cast<int>(mode), w, false)(0), part);
            sum += part;
            size += std::abs(part);
        }
        EXPECT_LE(std::abs(sum - H(k, 1, 0)), 1e-14 * size) << w(k);
        const int beyond = static_cast<int>(factors.size());
        EXPECT_EQ(modal.system.MPF(0, 1, k, beyond, w, false)(0), 0.0);
    }
}

// Keeping some modes means x = T·q with the equations multiplied by T's left inverse. The span
// of T is what counts: another basis of it gives the same answers.
TEST_P(ModalForm, OfSomeModesIsTheProjectionOnTheirVectors) {
    const Model model = WithMotions(GetParam());
    const EigenProblem eigen = Modal::Solved(model);
    const std::vector<int> firsts = FirstEigenvalues(eigen);
    const int last = static_cast<int>(firsts.size()) - 1;
    // A chain is kept whole or by its head.
    for (const std::set<int>& some :
         {std::set<int>{0}, {0, 1}, {last}, {0, 1, last / 2 + 1, last}}) {
        std::vector<int> modes(some.begin(), some.upper_bound(last));
        Eigen::MatrixXd T(model.A.rows(), 0);
        for (const int mode : modes) {
            const auto v = VectorColumns(eigen, firsts[static_cast<std::size_t>(mode)]);
            T.conservativeResize(Eigen::NoChange, T.cols() + v.cols());
            T.rightCols(v.cols()) = v;
        }
        const Eigen::MatrixXd inverse = LeftInverse(T);
        const Model projected{"", inverse * model.A * T, inverse * model.B, model.C * T,
                              model.D};
        Modal modal(model, modes);
        for (const double w : AcrossTheModes(modal.eigen))
            EXPECT_LE(
                RelativeError(Reference(projected, w).H, TransferFunction(modal.system, w)),
                1e-9)
                << testing::PrintToString(modes) << " at " << w;
    }
}

TEST_P(ModalForm, IsCopiedWhole) {
    Modal modal(GetParam());
    EXPECT_EQ(ToEigen(modal.system.ABCDMatrix('A')),
              ToEigen(Matrix2D<double>(modal.canon.A())));
    const Eigen::MatrixXcd expected = TransferFunction(modal.system, 3);
    const auto copy = modal.system.Copy();
    TransferFunction(modal.system, 0.2);
    EXPECT_EQ(TransferFunction(*copy, 0.2), TransferFunction(modal.system, 0.2));
    EXPECT_EQ(TransferFunction(*copy, 3), expected);
    for (const char which : {'A', 'B', 'C', 'D'})
        EXPECT_EQ(ToEigen(copy->ABCDMatrix(which)), ToEigen(modal.system.ABCDMatrix(which)));
    const auto* const same = dynamic_cast<const ForceSystemMS*>(copy.get());
    ASSERT_TRUE(same);
    EXPECT_EQ(same->Eigen().Eigenvalues(), GetParam().A.rows());
    EXPECT_EQ(same->AMatrix().Size(0), GetParam().A.rows());
}

// As a system with prescribed motion holds its models.
ForceSystemMS WithoutEigenProblem(const MatrixSparse2D<double>& A, const Matrix2D<double>& B,
                                  const Matrix2D<double>& C, const Matrix2D<double>& D) {
    return {0, A, B, C, D, {}, EigenProblem()};
}

TEST_P(ModalForm, FindsItsChainsInTheStateMatrixToo) {
    Modal modal(GetParam());
    ForceSystemMS bare =
        WithoutEigenProblem(modal.canon.A(), modal.canon.B(), modal.canon.C(), modal.canon.D());
    for (const double w : {0.0, 0.3, 5.0})
        EXPECT_EQ(TransferFunction(bare, w), TransferFunction(modal.system, w)) << w;
}

// Copies of a block on the diagonal, each coupled to the next by ones, as they are.
ForceSystemMS Chained(const Eigen::MatrixXd& block, int copies) {
    const int k = static_cast<int>(block.rows()), n = copies * k;
    Eigen::MatrixXd A = Eigen::MatrixXd::Zero(n, n);
    std::vector<int> rows, columns;
    std::vector<double> values;
    const auto set = [&](int i, int j, double value) {
        rows.push_back(i);
        columns.push_back(j);
        values.push_back(A(i, j) = value);
    };
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < k; ++j) set(i, i - i % k + j, block(i % k, j));
        if (i >= k) set(i - k, i, 1);
    }
    EigenProblem eigen(ToCore(A));
    eigen.Solve(/*noVectors=*/false);
    return {0,
            {n, n, static_cast<int>(rows.size()), rows.data(), columns.data(), values.data()},
            RandomMatrix<double>(n, 2, 3),
            RandomMatrix<double>(3, n, 4),
            Matrix2D<double>(3, 2, 0.5),
            Idle(2),
            eigen};
}

bool AreNear(const Matrix2D<Complex>& a, const Matrix2D<Complex>& b,
             const Eigen::MatrixXd& size) {
    return (ToEigen(a) - ToEigen(b)).cwiseAbs().maxCoeff() <= 1e-15 * size.maxCoeff();
}

// To rounding, beside poles and on them, where the frequencies are solved one by one.
void ExpectTheSameSweptTogether(ForceSystemMS&& written, std::vector<double> telling) {
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    telling.insert(telling.end(), {0, 1e-150, 2, nan, inf, 1e60, 0.7, -0.3});
    const Frequencies w = Vector(telling);
    written.TakeRoad(SweepRoad::kWritten);
    const auto &X = written.MCT(w, false), &H = written.TransferFunction(w);
    const Eigen::MatrixXd C = ToEigen(written.ABCDMatrix('C')).cwiseAbs(),
                          D = ToEigen(written.ABCDMatrix('D')).cwiseAbs();
    for (const KernelSet kernels : {KernelSet::kBaseline, KernelSet::kAvx2}) {
        if (!IsAvailable(kernels)) continue;
        ForceSystemMS other(0, written.AMatrix(), written.ABCDMatrix('B'),
                            written.ABCDMatrix('C'), written.ABCDMatrix('D'), Idle(D.cols()),
                            written.Eigen());
        other.TakeRoad(SweepRoad::kFast, kernels);
        const auto &Y = other.MCT(w, false), &G = other.TransferFunction(w);
        int different = 0;
        for (int k = 0; k < w.Size(0); ++k) {
            const Eigen::MatrixXd states = ToEigen(X.Slot(k)).cwiseAbs();
            ASSERT_EQ(ToEigen(Y.Slot(k)).allFinite(), states.allFinite()) << w(k);
            ASSERT_EQ(ToEigen(G.Slot(k)).allFinite(), ToEigen(H.Slot(k)).allFinite()) << w(k);
            if (!states.allFinite() || !ToEigen(H.Slot(k)).allFinite()) continue;
            different += ToEigen(G.Slot(k)) != ToEigen(H.Slot(k));
            EXPECT_TRUE(AreNear(Y.Slot(k), X.Slot(k), states)) << w(k);
            EXPECT_TRUE(AreNear(G.Slot(k), H.Slot(k), C * states + D)) << w(k);
        }
        EXPECT_GT(different, 0) << "no frequency was swept together";
    }
}

TEST_P(ModalForm, SweepsTogetherWhatItSolvesFrequencyByFrequency) {
    Model model = GetParam();
    if (model.A.rows() < 10) {  // more outputs and inputs than a table is made for
        model = WithMotions(model);
        model.B = model.B.replicate(1, 9).eval();
        model.D = model.D.replicate(1, 9).eval();
    }
    Modal modal(model);
    std::vector<double> w = AcrossTheModes(modal.eigen);
    for (int i = 0; i < modal.eigen.Eigenvalues(); ++i)
        w.push_back(modal.eigen.Eigenvalue(i).imag() * (1 + 1e-9));
    ExpectTheSameSweptTogether(std::move(modal.system), w);
    Model single = GetParam();  // which no table is made for
    single.B = single.B.leftCols(1).eval();
    single.C = single.C.topRows(1).eval();
    single.D = single.D.topLeftCorner(1, 1).eval();
    ExpectTheSameSweptTogether(std::move(Modal(single).system), w);
}

TEST(ForceSystemMS, SweepsChainsTogetherToo) {
    CapturedMessages messages;
    Eigen::MatrixXd pair(2, 2), undamped(2, 2), real(1, 1), rigid(1, 1);
    pair << -0.1, 5, -5, -0.1;
    undamped << 0, 2, -2, 0;
    real << -3;
    rigid << 0;
    for (const auto& block : {pair, undamped, real, rigid})
        ExpectTheSameSweptTogether(Chained(block, 3), {1, 3, 4.9, 5, 5.1});
}

// A rigid body at rest: the inverse of (s, −1; 0, s) at s = 0 is (1e30, 1e99; 0, 1e30).
// Frequencies far below the modes, where the rounding of a stiff model counts most.
TEST(ForceSystemMS, SaysWhereRoundingChangesItsAnswers) {
    std::vector<Model> models = BadlyScaledModels(), sound = ModalModels();
    for (Model& model : models) sound.push_back(std::exchange(model, WithMotions(model)));
    models.push_back(CarOnPlatforms(5));
    models.insert(models.end(), sound.begin(), sound.end());
    int warned = 0, silent = 0;
    for (const Model& model : models) {
        SCOPED_TRACE(model.name);
        CapturedMessages messages;
        Modal modal(model);
        for (const double w : LogSpaced(1e-4, 0.3, 9)) {
            messages.Take();  // of the vectors themselves
            const Matrix1D<double> sweep = Vector({2 * w, 0, -w});
            const auto actual = ToEigen(modal.system.TransferFunction(sweep).Slot(2));
            const Reference expected(model, -w);
            double error = 0.0, avoidable = 0.0;  // where elimination knows better
            for (Eigen::Index i = 0; i < actual.rows(); ++i) {
                const double size = expected.H.row(i).cwiseAbs().maxCoeff(),
                             off = (actual - expected.H).row(i).cwiseAbs().maxCoeff() / size;
                error = std::max(error, off);
                if (expected.boundH.row(i).maxCoeff() < 1e-4 * size)
                    avoidable = std::max(avoidable, off);
            }
            const auto said = messages.Take();
            if (avoidable > 1e-2 || !said.empty()) {
                EXPECT_THAT(said, ElementsAre(Pair('w', HasSubstr("Use the state-space form"))))
                    << w << ' ' << error;
            }
            if (error < 1e-4) {
                EXPECT_THAT(said, IsEmpty()) << w << ' ' << error;
            }
            (said.empty() ? silent : warned) += 1;
            modal.system.TransferFunction(sweep);  // from the cache
            EXPECT_THAT(messages.Take(), IsEmpty());
        }
    }
    EXPECT_GT(warned, 10);
    EXPECT_GT(silent, 50);
}

TEST(ForceSystemMS, GivesARigidBodyAFiniteResponseAtZeroFrequency) {
    CapturedMessages messages;
    for (const Model& model : {FreeMass(), FreeChain(3), FreeChain(5)}) {
        Modal modal(model);
        ASSERT_EQ(modal.eigen.Defective(1), 0) << model.name;
        const auto& q = modal.system.MCT(Vector({0}), false);
        const Matrix2D<double>& B = modal.canon.B();
        for (int j = 0; j < B.Size(1); ++j) {
            EXPECT_EQ(q(0, 0, j), Complex(1e30 * B(0, j) + 1e99 * B(1, j))) << model.name;
            EXPECT_EQ(q(0, 1, j), Complex(1e30 * B(1, j))) << model.name;
        }
    }
}

// By hand: 1/(jw + 1) of a real mode, and of a pair −0.1 ± 5j with the block as it is stored,
// (jw + 0.1, 5; −5, jw + 0.1)⁻¹.
TEST(ForceSystemMS, InvertsItsBlocksInClosedForm) {
    const int rows[] = {0, 1, 1, 2, 2, 3}, columns[] = {0, 1, 2, 1, 2, 3};
    const double values[] = {-1, -0.1, -5, 5, -0.1, -7};
    const Matrix2D<double> I = ToCore(Eigen::MatrixXd::Identity(4, 4)), zero(4, 4);
    ForceSystemMS model = WithoutEigenProblem({4, 4, 6, rows, columns, values}, I, I, zero);
    for (const double w : {0.0, 2.0, 5.0}) {
        const Complex s(0.1, w), determinant = s * s + 25.0;
        Eigen::MatrixXcd expected = Eigen::MatrixXcd::Zero(4, 4);
        expected(0, 0) = 1.0 / Complex(1, w);
        expected(1, 1) = expected(2, 2) = s / determinant;
        expected(1, 2) = -5.0 / determinant;
        expected(2, 1) = 5.0 / determinant;
        expected(3, 3) = 1.0 / Complex(7, w);
        EXPECT_LE(RelativeError(expected, TransferFunction(model, w)), 1e-14) << w;
    }
}

TEST(ForceSystemMS, RefusesSizesAndLettersAsTheStateSpaceFormDoes) {
    const MatrixSparse2D<double> A(2, 2, 0, nullptr, nullptr, nullptr);
    EXPECT_EQ(ErrorText([&] {
                  WithoutEigenProblem(A, {3, 1}, {1, 2}, {1, 1});
              }),
              "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n"
              "   A: 2 x 2\n   B: 3 x 1\n   C: 1 x 2\n   D: 1 x 1 \n");
    const ForceSystemMS model = WithoutEigenProblem(A, {2, 1}, {1, 2}, {1, 1});
    EXPECT_EQ(ErrorText([&] { model.ABCDMatrix('a'); }),
              "Invalid matrix option [a] must be A, B, C, or D.\n");
}

TEST(ForceSystemMS, RebuildsADenseMatrixOfOneStateAfterACopy) {
    const int zero = 0;
    const double lambda = -3;
    const Matrix2D<double> one(1, 1, 1.0);
    const ForceSystemMS model =
        WithoutEigenProblem({1, 1, 1, &zero, &zero, &lambda}, one, one, one);
    EXPECT_EQ(model.ABCDMatrix('A')(0, 0), -3);
    EXPECT_EQ(ForceSystemMS(model).ABCDMatrix('A')(0, 0), -3);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
