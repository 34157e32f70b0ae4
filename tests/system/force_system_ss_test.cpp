#include "zemra/system/force_system_ss.h"

#include <gmock/gmock.h>

#include <deque>
#include <functional>
#include <numeric>

#include "tests/support/caches.h"
#include "tests/support/counting_model.h"
#include "tests/support/error_text.h"
#include "tests/support/kinematics.h"
#include "tests/support/reference.h"
#include "zemra/system/compliance.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr double kEps = std::numeric_limits<double>::epsilon();

Actuator Channel(Excitation& source, int channel, bool psd,
                 const std::vector<const Actuator*>& cross = {}) {
    const Excitation::Block block{&source, channel};
    return Actuator('F', Excitation::Evaluate, sizeof block, &block, psd,
                    static_cast<int>(cross.size()), cross.data());
}

struct Driven {
    explicit Driven(const Model& givenModel) : model(givenModel) {}

    Model model;
    Excitation excitation{Amplitude};
    Actuators actuators{excitation, Inputs(static_cast<std::size_t>(model.B.cols()), {0, 'F'})};
    CountingModel system{StateSpace(model, actuators)};
    int Solves() const { return system.Solves(); }
};

class Models : public testing::TestWithParam<Model> {};

INSTANTIATE_TEST_SUITE_P(All, Models, testing::ValuesIn(AllModels()),
                         [](const auto& model) { return model.param.name; });

TEST_P(Models, AnswerTheDefinitionsOfAllResponses) {
    Driven driven{GetParam()};
    CapturedMessages messages;
    const Frequencies w = Vector({0, 0.3, 1, 7.5, 60, -2});
    for (int k = 0; k < w.Size(0); ++k) {
        // A rigid body has no response at 0 and answers with the one at 1e-6.
        const bool quasiStatic = w(k) == 0 && GetParam().name == "FreeMass";
        const Reference reference(GetParam(), quasiStatic ? 1e-6 : w(k));
        const auto H = ToEigen(driven.system.TransferFunction(w).Slot(k));
        const auto X = ToEigen(driven.system.MCT(w, false).Slot(k));
        EXPECT_TRUE(Within(reference.boundH, reference.H, H)) << w(k);
        EXPECT_TRUE(Within(reference.boundX, reference.X, X)) << w(k);

        Eigen::VectorXcd u(X.cols());
        for (int j = 0; j < u.size(); ++j) u(j) = Amplitude(j, w(k));
        const Eigen::MatrixXcd Hu = H * u.asDiagonal(), Xu = X * u.asDiagonal();
        const auto FR = ToEigen(driven.system.FrequencyResponse(w).Slot(k));
        const auto MCT = ToEigen(driven.system.MCT(w, true).Slot(k));
        EXPECT_TRUE(Within(4 * kEps * Hu.cwiseAbs(), Hu, FR)) << w(k);
        EXPECT_TRUE(Within(4 * kEps * Xu.cwiseAbs(), Xu, MCT)) << w(k);

        Complex sum = GetParam().D(1, 0);  // and the participation of all states
        for (const Complex& z : Elements(driven.system.MPF(0, 1, k, -1, w, false))) sum += z;
        EXPECT_LE(std::abs(sum - reference.H(1, 0)), reference.boundH(1, 0)) << w(k);
    }
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TEST(ComplianceMatrix, IsTheResponseAtZeroFrequencyAlsoWithStatesThatDriveNothing) {
    const auto compliance = [](const Model& m) {
        return ToEigen(ComplianceMatrix(ToCore(m.A), ToCore(m.B), ToCore(m.C), ToCore(m.D)));
    };
    const char* const text =
        "ZEMRA/Vibration compliance matrix:\n   The A matrix and C matrix have 2 zero "
        "columns.\n   These states are not coupled to other states or outputs and have been "
        "removed.\n";
    CapturedMessages messages;
    for (Model model : {Oscillator(4, 0.1), HalfCar(), DampedChain(20), RandomDense()}) {
        const Reference reference(model, 0);
        EXPECT_TRUE(Within(reference.boundH, reference.H, compliance(model))) << model.name;
        EXPECT_THAT(messages.Take(), IsEmpty());

        const auto n = model.A.rows();  // two more states, the first and the last
        Eigen::MatrixXd places = Eigen::MatrixXd::Zero(n + 2, n);
        places.middleRows(1, n).setIdentity();
        model.A = places * model.A * places.transpose();
        model.A.row(0).segment(1, n).setOnes();  // the first is driven by all others
        model.B = Eigen::MatrixXd(places * model.B);
        model.B.row(n + 1).setOnes();
        model.C = Eigen::MatrixXd(model.C * places.transpose());
        EXPECT_TRUE(Within(reference.boundH, reference.H, compliance(model))) << model.name;
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('w', text)));
    }
}

TEST(FilterZeros, KeepsAStateThatIsAnOutput) {
    CapturedMessages messages;
    Matrix2D<double> A = ToCore(FreeMass().A), B = ToCore(FreeMass().B),
                     C = ToCore(FreeMass().C);
    FilterZeros(A, B, C);  // the position drives no state
    EXPECT_EQ(ToEigen(A), FreeMass().A);
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TEST(ForceSystemSS, IsZeroWhereItIsSingularAndReportsItUnlessAtZero) {
    Driven driven{Oscillator(4, 0)};  // jwI − A is singular at w = 2 exactly
    CapturedMessages messages;
    const auto& H = driven.system.TransferFunction(Vector({1, 2, 3}));
    const auto& X = driven.system.MCT(Vector({1, 2, 3}), false);
    const char* const text =
        "GaussFull::Solve: : Matrix singular.\n   Could not find a pivot for row 1.\n"
        "   Max value:                 0\n";
    EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', text), Pair('e', text)));
    EXPECT_EQ(ToEigen(H.Slot(1)), Eigen::MatrixXcd::Zero(2, 1));
    EXPECT_EQ(ToEigen(X.Slot(1)), Eigen::MatrixXcd::Zero(2, 1));
    const Reference reference(driven.model, 3);
    EXPECT_TRUE(Within(reference.boundH, reference.H, ToEigen(H.Slot(2))));
    EXPECT_TRUE(Within(reference.boundX, reference.X, ToEigen(X.Slot(2))));

    Model model = Oscillator(1e-12, 0);  // its poles at ±1e-6·j, and one at 0 beside them
    model.A.conservativeResizeLike(Eigen::MatrixXd::Zero(3, 3));
    model.B.conservativeResizeLike(Eigen::MatrixXd::Ones(3, 1));
    model.C.conservativeResizeLike(Eigen::MatrixXd::Zero(2, 3));
    Driven singularAtZero{model};
    EXPECT_EQ(ToEigen(singularAtZero.system.TransferFunction(Vector({0})).Slot(0)),
              Eigen::MatrixXcd::Zero(2, 1));
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TEST(ForceSystemSS, AcceptsOnlySizesThatFit) {
    using Sizes = std::vector<int>;  // rows and columns of A, B, C, D
    const auto build = [](const Sizes& s) {
        const Eigen::MatrixXd A(s[0], s[1]), B(s[2], s[3]), C(s[4], s[5]), D(s[6], s[7]);
        return ErrorText([&] { StateSpace({"", A, B, C, D}, {}); });
    };
    EXPECT_EQ(build({3, 3, 3, 2, 4, 3, 4, 2}), "");
    for (const Sizes& misfit : {Sizes{3, 5, 3, 2, 4, 5, 4, 2}, Sizes{3, 3, 6, 2, 4, 3, 4, 2},
                                Sizes{3, 3, 3, 2, 4, 7, 4, 2}, Sizes{3, 3, 3, 2, 4, 3, 8, 2},
                                Sizes{3, 3, 3, 2, 4, 3, 4, 9}})
        EXPECT_NE(build(misfit), "");
    EXPECT_EQ(build({1, 2, 3, 4, 5, 6, 7, 8}),
              "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n"
              "   A: 1 x 2\n   B: 3 x 4\n   C: 5 x 6\n   D: 7 x 8 \n");
}

TEST(Caches, OfForceModelsHoldNothingAtFirstAndThenSpareAllTheyCan) {
    ExpectToSpareAllTheyCan([] { return std::make_unique<Driven>(DampedChain(2)); }, 1);
}

TEST(Caches, OfForceModelsNeverAnswerWithAnotherVectorsResult) {
    const Driven fresh{DampedChain(2)};
    ExpectNoAnswerToAnotherQuestion(fresh.system);
}

TEST(Caches, OfForceModelsAreSafeFromHostCodeThatThrowsOrQueriesTheSameModel) {
    ExpectSafetyFromHostCode([] { return std::make_unique<Driven>(Oscillator(4, 0)); }, 1);
}

TEST(Psd, OfTheSameFrequencyIsKeptWhateverTheBand) {
    Driven driven{Oscillator(4, 0.1)};
    const Complex density = driven.system.PSD(1.5, 0.25)(0, 0);
    EXPECT_EQ(driven.system.PSD(1.5, 0.5)(0, 0), density);
    EXPECT_EQ(driven.system.PSD(0, 1.5, 0.5), density / 2.0);
}

TEST(Psd, FindsEveryFrequencyOfTheLastSweepInAnyOrder) {
    for (int n = 1; n <= 6; ++n) {
        std::vector<double> order(static_cast<std::size_t>(n));
        std::iota(order.begin(), order.end(), 1.0);
        Driven swept{Oscillator(4, 0.1)}, fresh{Oscillator(4, 0.1)};
        swept.system.TransferFunction(Vector(order));
        do {
            for (const double w : order)
                for (const double asked : {w, w - 0.5}) {
                    const int before = swept.Solves();
                    EXPECT_EQ(swept.system.PSD(0, asked, 1), fresh.system.PSD(0, asked, 1));
                    ASSERT_EQ(swept.Solves() - before, asked == w ? 0 : 1) << asked;
                }
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

TEST(Psd, CombinesDirectAndCrossDensities) {
    Excitation source{[](int channel, double) { return Complex(9 - channel, channel % 3); }};
    const Reference reference(RandomDense(), 2);
    const Eigen::MatrixXd H = reference.H.cwiseAbs(), dH = reference.boundH + 8 * kEps * H;
    using Crosses = std::vector<std::pair<int, int>>;  // owner and slot
    for (const Crosses& crosses : {Crosses{}, Crosses{{0, 1}}, Crosses{{0, 2}, {2, 0}},
                                   Crosses{{1, 1}}, Crosses{{0, 1}, {1, 0}, {2, 2}, {1, 4}}}) {
        Eigen::MatrixXcd S = Eigen::MatrixXcd::Zero(5, 3);
        std::deque<Actuator> owned;
        const Actuator* slots[3][5] = {};  // more than there are inputs
        for (const auto& [owner, slot] : crosses) {
            const int channel = 3 + 5 * owner + slot;
            slots[owner][slot] = &owned.emplace_back(Channel(source, channel, true));
            S(slot, owner) = source.value(channel, 2);
        }
        std::vector<const Actuator*> inputs;
        for (int j = 0; j < 3; ++j) {
            owned.push_back(Channel(source, j, true, {slots[j], slots[j] + 5}));
            inputs.push_back(&owned.back());
            S(j, j) += source.value(j, 2);
        }
        ForceSystemSS system = StateSpace(RandomDense(), {3, inputs.data()});
        const Eigen::MatrixXcd expected = reference.H * S.topRows(3) * reference.H.adjoint();
        // H errs on either side, and two products of 3 terms are rounded.
        const Eigen::MatrixXd rest = S.topRows(3).cwiseAbs();
        const Eigen::MatrixXd bound = dH * rest * H.transpose() + H * rest * dH.transpose();
        EXPECT_TRUE(Within(bound, expected, ToEigen(system.PSD(2, 1))));
        for (int i = 0; i < 4; ++i)
            EXPECT_LE(std::abs(system.PSD(i, 2, 1) - expected(i, i)), bound(i, i));
    }
}

TEST(Participation, FollowsItsDefinitionAlongEveryIndex) {
    Driven driven{RandomDense()};
    const auto& [name, A, B, C, D] = driven.model;
    const Frequencies w = Vector({0.5, 3});
    const std::size_t extents[] = {3, 4, 2, 30};
    for (const bool project : {false, true})
        for (int running = 0; running < 4; ++running) {
            int at[] = {2, 1, 1, 7};
            at[running] = -1;
            const auto along =
                Elements(driven.system.MPF(at[0], at[1], at[2], at[3], w, project));
            ASSERT_EQ(along.size(), extents[running]);
            for (const Complex& factor : along) {
                ++at[running];
                const auto [i, o, k, q] = at;
                const Reference reference(driven.model, w(k));
                const Complex part = C(o, q) * reference.X(q, i);
                Complex total = reference.H(o, i) - D(o, i);
                for (int j = 0; j < 3; ++j) total += D(o, j) * Amplitude(j, w(k));
                const Complex direction = total / std::abs(total);
                const Complex projected = (part * std::conj(direction)).real() * direction;
                const double bound = std::abs(C(o, q)) * reference.boundX(q, i) +
                                     std::abs(part / total) * reference.boundH(o, i) +
                                     8 * kEps * std::abs(part);
                EXPECT_LE(std::abs(factor - (project ? projected : part)), bound);
                EXPECT_THAT(Elements(driven.system.MPF(i, o, k, q, w, project)),
                            ElementsAre(factor));
            }
        }
}

TEST(Participation, IsZeroBeyondTheStatesAndAlongNoResponseAndEmptyAlongTwoIndices) {
    Model model = RandomDense(2);  // both states alike, and the outputs their difference
    model.A = -Eigen::Matrix2d::Identity();
    model.B.setOnes();
    model.C.col(1) = -model.C.col(0);
    model.D.setZero();
    Driven driven{model}, unasked{model};
    EXPECT_EQ(driven.system.MPF(0, 0, 0, 0, Vector({1}), true)(0), 0.0);
    EXPECT_NE(driven.system.MPF(0, 0, 0, 0, Vector({1}), false)(0), 0.0);
    EXPECT_EQ(driven.system.MPF(0, 0, 0, 2, Vector({1}), false)(0), 0.0);
    for (const int mask : {3, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15}) {
        const auto at = [&](int bit) { return mask & bit ? -1 : 0; };
        EXPECT_EQ(unasked.system.MPF(at(1), at(2), at(4), at(8), Vector({1}), true).Size(0), 0);
    }
    EXPECT_EQ(unasked.excitation.calls + unasked.Solves(), 0);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
