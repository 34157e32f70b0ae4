#include "zemra/system/canon.h"

#include <gmock/gmock.h>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/modal_reference.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

// The eigenvalues −1, −4 and −2 ± 3j: modes 0, 1 and 2.
Model ThreeModes() {
    Eigen::MatrixXd A = Eigen::MatrixXd::Zero(4, 4), mix = Eigen::MatrixXd::Identity(4, 4);
    A.diagonal() << -4, -2, -2, -1;
    A(1, 2) = 3;
    A(2, 1) = -3;
    mix(0, 1) = mix(1, 2) = mix(3, 0) = 0.5;
    const auto random = [](int nrows, int ncols) {
        return ToEigen(RandomMatrix<double>(nrows, ncols, 7));
    };
    return {"ThreeModes", mix * A * mix.inverse(), random(4, 2), random(3, 4), random(3, 2)};
}

// A free mass, a chain of two at 0, and beside it −1, without inputs or outputs.
Model ChainAndMode() {
    Model model{"ChainAndMode", Eigen::MatrixXd::Zero(3, 3), Eigen::MatrixXd::Zero(3, 0),
                Eigen::MatrixXd::Zero(0, 3), Eigen::MatrixXd::Zero(0, 0)};
    model.A(0, 1) = 1;
    model.A(2, 2) = -1;
    return model;
}

Canon Reduce(const Model& m, const std::vector<int>& modes, const EigenProblem& eigen) {
    return {ToCore(m.A),  ToCore(m.B), ToCore(m.C), ToCore(m.D), static_cast<int>(modes.size()),
            modes.data(), eigen};
}
Canon Reduce(const Model& m, const std::vector<int>& modes) {
    return Reduce(m, modes, Modal::Solved(m));
}

void ExpectNear(const Table<double>& expected, const MatrixSparse2D<double>& actual) {
    ASSERT_EQ(actual.Size(0), static_cast<int>(expected.size()));
    ASSERT_EQ(actual.Size(1), actual.Size(0));
    for (int i = 0; i < actual.Size(0); ++i)
        for (int j = 0; j < actual.Size(1); ++j)
            EXPECT_NEAR(actual(i, j), expected[std::size_t(i)][std::size_t(j)], 1e-13);
}

TEST(Canon, KeepsTheListedModes) {
    CapturedMessages messages;
    const Table<double> three{{-1, 0, 0, 0}, {0, -4, 0, 0}, {0, 0, -2, -3}, {0, 0, 3, -2}};
    const Table<double> chain{{0, 1, 0}, {0, 0, 0}, {0, 0, -1}};
    const struct {
        Model model;
        std::vector<int> modes;
        Table<double> A;
    } cases[] = {{ThreeModes(), {}, three},
                 {ThreeModes(), {0, 1, 2}, three},
                 {ThreeModes(), {2}, {{-2, -3}, {3, -2}}},
                 {ThreeModes(), {0, 2}, {{-1, 0, 0}, {0, -2, -3}, {0, 3, -2}}},
                 {ThreeModes(), {1, 0}, {{-4}}},     // a mode out of order is never reached,
                 {ThreeModes(), {1, 1, 2}, {{-4}}},  // nor what follows it
                 {ThreeModes(), {0, 1, 3}, {{-1, 0}, {0, -4}}},
                 {ThreeModes(), {3}, {}},
                 {ThreeModes(), {-1, 0}, {}},
                 {ChainAndMode(), {}, chain},
                 {ChainAndMode(), {0, 1, 2}, chain},
                 {ChainAndMode(), {0, 1}, {{0, 1}, {0, 0}}},
                 {ChainAndMode(), {0, 2}, {{0, 0}, {0, -1}}},
                 {ChainAndMode(), {1, 2}, {{0, 0}, {0, -1}}}};  // its head is not there
    for (const auto& [model, modes, A] : cases) {
        SCOPED_TRACE(model.name + testing::PrintToString(modes));
        const Canon canon = Reduce(model, modes);
        ExpectNear(A, canon.A());
        EXPECT_EQ(canon.B().Size(0), canon.A().Size(0));
        EXPECT_EQ(canon.C().Size(1), canon.A().Size(0));
        EXPECT_EQ(ToEigen(canon.D()), model.D);
    }
    const Model model = ThreeModes();
    const auto keep = [&](int count, const int* list) {
        return Canon(ToCore(model.A), ToCore(model.B), ToCore(model.C), ToCore(model.D), count,
                     list, Modal::Solved(model));
    };
    const int first = 0;
    ExpectNear(three, keep(-1, &first).A());
    ExpectNear(three, keep(5, nullptr).A());
}

TEST(Canon, TransformsWithTheRealAndTheNegativeImaginaryPartsOfTheVectors) {
    CapturedMessages messages;
    Model model = ThreeModes();
    model.B = model.C = Eigen::MatrixXd::Identity(4, 4);
    model.D = 0 * model.B;
    const EigenProblem eigen = Modal::Solved(model);
    Eigen::MatrixXd all(4, 4), pairAndFirst(4, 3);
    all << VectorColumns(eigen, 0), VectorColumns(eigen, 1), VectorColumns(eigen, 2);
    all.col(3) *= -1;
    pairAndFirst << all.col(0), all.rightCols(2);
    for (const auto& [modes, T] : {std::pair<std::vector<int>, Eigen::MatrixXd>{{}, all},
                                   {{0, 1, 2}, all},
                                   {{0, 2}, pairAndFirst}}) {
        const Canon canon = Reduce(model, modes, eigen);
        EXPECT_EQ(ToEigen(canon.C()), T);
        const Eigen::MatrixXd left = LeftInverse(T);
        EXPECT_LE((ToEigen(canon.B()) - left).norm(), 1e-14 * left.norm());
    }
}

TEST(Canon, OfNoModeLeavesTheFeedthrough) {
    CapturedMessages messages;
    Model stateless = ThreeModes();
    stateless.A.resize(0, 0);
    stateless.B.resize(0, 2);
    stateless.C.resize(3, 0);
    for (Modal modal : {Modal(ThreeModes(), {7}), Modal(stateless)}) {
        const Matrix1D<double> w(1, 3.0);
        EXPECT_EQ(ToEigen(modal.system.TransferFunction(w).Slot(0)),
                  ThreeModes().D.cast<Complex>());
        EXPECT_EQ(modal.system.MCT(w, false).Size(1), 0);
        EXPECT_EQ(modal.system.MPF(0, 0, 0, -1, w, true).Size(0), 0);
    }
}

TEST(Canon, WarnsOnceWhereTheModalFormIsNotToBeTrusted) {
    // An undamped oscillator that drives its identical copy: a defective complex pair.
    const Model one = Oscillator(4, 0);
    Model driven{"DrivenCopy", Eigen::MatrixXd::Zero(4, 4), Eigen::MatrixXd::Ones(4, 1),
                 Eigen::MatrixXd::Ones(1, 4), Eigen::MatrixXd::Zero(1, 1)};
    driven.A.topLeftCorner(2, 2) = driven.A.bottomRightCorner(2, 2) = one.A;
    driven.A(3, 0) = 1;
    Model stiffened = ThreeModes();
    stiffened.A(0, 0) *= 1.01;
    CapturedMessages messages;
    const auto warnings = [&](const Model& model, const EigenProblem& eigen) {
        messages.Take();
        const Canon canon = Reduce(model, {}, eigen);
        EXPECT_EQ(canon.A().Size(0), model.A.rows());  // built all the same
        return messages.Take();
    };
    const auto dependent =
        AllOf(HasSubstr("The eigenvectors of the model are nearly dependent"),
              HasSubstr("Use the state-space form"));
    for (const Model& model : {FreeChain(3, 0.05), FreeChain(5, 0.05), driven})
        EXPECT_THAT(warnings(model, Modal::Solved(model)), ElementsAre(Pair('w', dependent)))
            << model.name;
    // The vectors of a former model, also for a selection of them.
    EXPECT_THAT(warnings(stiffened, Modal::Solved(ThreeModes())),
                ElementsAre(Pair('w', HasSubstr("are not those of the state matrix"))));
    Reduce(stiffened, {1}, Modal::Solved(ThreeModes()));
    EXPECT_THAT(messages.Take(), testing::Contains(Pair('w', HasSubstr("not those"))));
}

TEST(Canon, RefusesWhatItCannotTransform) {
    CapturedMessages messages;
    const auto refusal = [](const Model& model, const EigenProblem& eigen,
                            const std::vector<int>& modes = {}) {
        return ErrorText([&] { Reduce(model, modes, eigen); });
    };
    const EigenProblem eigen = Modal::Solved(ThreeModes());
    const auto sized = [](std::vector<int> s) {
        const Eigen::MatrixXd A(s[0], s[1]), B(s[2], s[3]), C(s[4], s[5]), D(s[6], s[7]);
        return Model{"", A, B, C, D};
    };
    EXPECT_EQ(refusal(sized({4, 5, 6, 7, 8, 9, 10, 11}), EigenProblem()),
              "The state matrix and eigen vector matrix are not of compatable sizes.\n"
              "   A: 4 x 5\n   B: 6 x 7\n   C: 8 x 9\n   D: 10 x 11\n");
    for (const Model& misfit :
         {sized({4, 4, 3, 2, 3, 4, 3, 2}), sized({4, 4, 4, 2, 3, 3, 3, 2}),
          sized({4, 4, 4, 2, 3, 4, 2, 2}), sized({4, 4, 4, 2, 3, 4, 3, 1}),
          sized({4, 3, 4, 2, 3, 4, 3, 2})})
        EXPECT_THAT(refusal(misfit, eigen), HasSubstr("\n   A: 4 x "));

    EigenProblem valuesOnly(ToCore(ThreeModes().A));
    valuesOnly.Solve(/*noVectors=*/true);
    for (const EigenProblem& none : {EigenProblem(), valuesOnly})
        EXPECT_EQ(refusal(ThreeModes(), none),
                  "Eigenvector(which, i): Eigenvectors are not available.\n");
    EXPECT_EQ(refusal(ThreeModes(), Modal::Solved(Oscillator(4, 0))),
              "The state matrix and eigen vector matrix are not of compatable sizes.\n"
              "   T: 2 x 2\n   B: 4 x 2\n   C: 3 x 4\n   Z: 2 x 2\n");

    // The vectors (1, 0, 0) and (1, 1e-20, 0) differ by less than any pivot.
    Model singular{"", Eigen::Vector3d(1, 2, 5).asDiagonal(), Eigen::MatrixXd::Ones(3, 1),
                   Eigen::MatrixXd::Ones(1, 3), Eigen::MatrixXd::Ones(1, 1)};
    singular.A(0, 1) = 1e20;
    const EigenProblem dependent = Modal::Solved(singular);
    const char* const text =
        "Warning: The eigen vector transformation matrix is singular.\n         Modal space "
        "reduction not possible.\n ABCD matrix can be use as is.\n          Vibration results "
        "will be limited to response and transfer function. Check model for zero stiffness or "
        "other cause of degenerate modes.\n";
    messages.Take();
    EXPECT_EQ(refusal(singular, dependent), text);
    EXPECT_THAT(messages.Take(), IsEmpty());
    for (const std::vector<int>& modes : {std::vector<int>{0, 1}, {0, 1, 2}}) {
        EXPECT_EQ(refusal(singular, dependent, modes), text);
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', HasSubstr("singular"))));
    }
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
