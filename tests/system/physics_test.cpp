#include <gmock/gmock.h>

#include "tests/support/captured_messages.h"
#include "tests/support/kinematics.h"
#include "tests/support/model_zoo.h"
#include "tests/support/reference.h"
#include "zemra/system/compliance.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Eigen::Index;
using Eigen::MatrixXcd;
using Eigen::MatrixXd;
using Eigen::VectorXcd;

// What mechanics says of every answer, whatever the numbers: over all families of mechanisms.
// The inputs act at the coordinates of the outputs; those are displacements, then
// accelerations.
class Physics : public testing::TestWithParam<Mechanism> {
  protected:
    const Mechanism& mechanism = GetParam();
    const Model model = mechanism.InFirstOrder();
    const Index m = model.B.cols();
    const double highest = model.A.eigenvalues().cwiseAbs().maxCoeff();
    const bool isFree = mechanism.family.find("free body") != std::string::npos;
    CapturedMessages messages;

    Frequencies Away() const {
        return Vector({0.013 * highest, 0.11 * highest, 0.37 * highest, 1.3 * highest});
    }
    static MatrixXcd Response(const Model& of, double w) {
        return ToEigen(StateSpace(of).TransferFunction(Vector({w})).Slot(0));
    }
    // The receptance between the inputs, and what elimination may be off by; that allows for
    // the rounding of M⁻¹·K as well.
    struct Receptance {
        MatrixXcd H;
        MatrixXd bound;
    };
    Receptance ReceptanceAt(double w) const {
        return {Response(model, w).topRows(m), Reference(model, w).boundH.topRows(m)};
    }
};

std::vector<Mechanism> SomeMechanisms() {
    std::vector<Mechanism> all;
    for (const unsigned seed : {3U, 8U, 11U})
        for (const Mechanism& one : Mechanisms(seed, 6)) all.push_back(one);
    return all;
}
INSTANTIATE_TEST_SUITE_P(Families, Physics, testing::ValuesIn(SomeMechanisms()),
                         [](const auto& tested) {
                             std::string name = tested.param.name;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

// Maxwell and Betti: a force here moves the point there as one there moves the point here. Spin
// and following forces break it.
TEST_P(Physics, IsReciprocalWhereTheMatricesAreSymmetric) {
    double asymmetry = 0;
    for (const double w : Elements(Away())) {
        const auto [H, bound] = ReceptanceAt(w);
        if (mechanism.IsSymmetric()) {
            EXPECT_TRUE(Within(bound + bound.transpose(), H.transpose(), H)) << w;
        }
        const MatrixXcd off = H - H.transpose();
        asymmetry = std::max(asymmetry, off.cwiseAbs().maxCoeff() / H.cwiseAbs().maxCoeff());
    }
    if (!mechanism.IsSymmetric()) {
        EXPECT_GT(asymmetry, 1e-6);
    }
}

// A force that drives the model does work on it, or none; following forces feed it.
TEST_P(Physics, TakesPowerFromEveryForce) {
    if (mechanism.K != mechanism.K.transpose()) return;
    for (const double w : Elements(Away())) {
        const auto [H, bound] = ReceptanceAt(w);
        const MatrixXcd mobility = Complex(0, w) * H;
        const Eigen::SelfAdjointEigenSolver<MatrixXcd> power(mobility + mobility.adjoint());
        EXPECT_GE(power.eigenvalues().minCoeff(), -4 * w * bound.norm()) << w;
    }
}

// As w → 0 a free body moves as a whole, w²·H → −1/m, while a held one gives what the springs
// do, K⁻¹; as w → ∞ each mass is alone, with the accelerations of M⁻¹.
TEST_P(Physics, FollowsMassAndStiffnessAtTheEnds) {
    const MatrixXd &M = mechanism.M, &F = mechanism.F;
    const double high = 1e6 * highest;
    const MatrixXd alone = F.transpose() * M.inverse() * F;
    EXPECT_LE((Response(model, high).bottomRows(m) - alone).cwiseAbs().maxCoeff(),
              1e-5 * alone.norm());
    if (isFree) {
        double lowest = highest;
        for (const Complex& lambda : VectorXcd(model.A.eigenvalues()))
            if (std::abs(lambda) > 1e-4 * highest) lowest = std::min(lowest, std::abs(lambda));
        const double w = 1e-4 * lowest;
        const auto [H, bound] = ReceptanceAt(w);
        // The elastic modes add some 1/k, (w/lowest)² of it.
        EXPECT_TRUE(((w * w * H).array() + 1 / M.sum()).abs().maxCoeff() <=
                    w * w * bound.maxCoeff() + 1e-6 / M.diagonal().minCoeff());
    } else {
        const MatrixXd still = ToEigen(ComplianceMatrix(ToCore(model.A), ToCore(model.B),
                                                        ToCore(model.C), ToCore(model.D)));
        const Reference reference(model, 0);
        const MatrixXd flexibility = F.transpose() * mechanism.K.partialPivLu().solve(F);
        EXPECT_TRUE(Within(4 * reference.boundH.topRows(m), flexibility, still.topRows(m)));
        EXPECT_TRUE(Within(2 * reference.boundH, still, Response(model, 0)));
    }
}

// Time in another unit multiplies A, B and w, mass and length multiply B, C and D: by powers of
// two every rounding is the same one. Real signals give conjugate answers at −w.
TEST_P(Physics, DoesNotDependOnUnits) {
    const double time = 0x1p-5, mass = 0x1p9, length = 0x1p-7;
    Model other = model;
    other.A *= time;
    other.B *= time / mass;
    other.C *= length;
    other.D *= length / mass;
    for (const std::size_t count : {std::size_t{4}, std::size_t{24}}) {
        const std::vector<double> w = LogSpaced(0.01 * highest, 2 * highest, int(count));
        std::vector<double> scaled = w, negative = w;
        for (std::size_t k = 0; k < count; ++k) {
            scaled[k] *= time;
            negative[k] *= -1;
        }
        ForceSystemSS one = StateSpace(model), another = StateSpace(other),
                      mirrored = StateSpace(model);
        const auto& H = one.TransferFunction(Vector(w));
        const auto& in = another.TransferFunction(Vector(scaled));
        const auto& back = mirrored.TransferFunction(Vector(negative));
        for (int k = 0; k < H.Size(0); ++k) {
            EXPECT_EQ(ToEigen(in.Slot(k)), ToEigen(H.Slot(k)) * (length / mass)) << k;
            EXPECT_EQ(ToEigen(back.Slot(k)), ToEigen(H.Slot(k)).conjugate()) << k;
        }
    }
}

// Two forces together do what they do one by one.
TEST_P(Physics, SuperposesItsInputs) {
    Model together = model;
    const Eigen::VectorXd mix = Eigen::VectorXd::LinSpaced(m, 1, 2);
    together.B = model.B * mix;
    together.D = model.D * mix;
    for (const double w : Elements(Away())) {
        const Reference reference(model, w);
        EXPECT_TRUE(
            Within(2 * reference.boundH * mix, Response(model, w) * mix, Response(together, w)))
            << w;
    }
}

// Of coherent inputs, whose matrix g·gᴴ is Hermitian and has one eigenvalue above 0: so has
// that of the outputs, and rounding alone stands below.
TEST_P(Physics, GivesSpectralDensitiesOfRealPower) {
    const MatrixXcd g = ToEigen(RandomMatrix<Complex>(2, 1, 4)).topRows(m), S = g * g.adjoint();
    Excitation excitation{[&](int channel, double) {
        return channel % 3 == 2 ? S(channel / 3, channel / 3).real()
                                : S(channel / 3, channel % 3);
    }};
    // Input j has the density S(j, j), and in slot i ≠ j the cross density S(i, j).
    std::deque<Actuator> owned;
    std::vector<const Actuator*> actuators;
    for (int j = 0; j < m; ++j) {
        const auto make = [&](int channel, const std::vector<const Actuator*>& cross) {
            const Excitation::Block block{&excitation, channel};
            return &owned.emplace_back('F', Excitation::Evaluate, sizeof block, &block, true,
                                       static_cast<int>(cross.size()), cross.data());
        };
        std::vector<const Actuator*> slots;
        for (int i = 0; i < m; ++i) slots.push_back(i == j ? nullptr : make(3 * i + j, {}));
        actuators.push_back(make(3 * j + 2, slots));
    }
    ForceSystemSS system = StateSpace(model, {static_cast<int>(m), actuators.data()});
    for (const double w : Elements(Away())) {
        const MatrixXcd P = ToEigen(system.PSD(w, 1));
        const MatrixXcd H = Response(model, w);
        // Rounding of the two products, element by element.
        const MatrixXd rounding = 8 * static_cast<double>(m + 1) *
                                  std::numeric_limits<double>::epsilon() * H.cwiseAbs() *
                                  S.cwiseAbs() * H.cwiseAbs().transpose();
        EXPECT_TRUE(Within(rounding, P.adjoint(), P)) << w;
        const Eigen::SelfAdjointEigenSolver<MatrixXcd> power(P);
        EXPECT_GE(power.eigenvalues().minCoeff(), -rounding.norm()) << w;
        for (int o = 0; o < P.rows(); ++o)
            EXPECT_LE(std::abs(system.PSD(o, w, 1) - P(o, o)), rounding(o, o)) << w;
    }
}

// The parts of the modes, and the outputs of the states, sum to the response: by definition, so
// only the sums are rounded.
TEST_P(Physics, SharesTheWholeResponseOutAmongItsModes) {
    ForceSystemSS states = StateSpace(model);
    std::unique_ptr<Modal> modal;
    try {
        modal = std::make_unique<Modal>(model);
    } catch (const Error&) {  // no modal form
    }
    std::vector<ForceSystem*> systems{&states};
    if (modal) systems.push_back(&modal->system);
    const Frequencies w = Away();
    for (ForceSystem* const system : systems) {
        const MatrixXd C = ToEigen(system->ABCDMatrix('C'));
        for (int k = 0; k < w.Size(0); ++k) {
            const MatrixXcd X = ToEigen(system->MCT(w, false).Slot(k)),
                            H = ToEigen(system->TransferFunction(w).Slot(k));
            const MatrixXd rounding = 8 * static_cast<double>(X.rows()) *
                                      std::numeric_limits<double>::epsilon() *
                                      (C.cwiseAbs() * X.cwiseAbs() + model.D.cwiseAbs());
            MatrixXcd sum = model.D.cast<Complex>();
            for (int o = 0; o < H.rows(); ++o)
                for (int i = 0; i < H.cols(); ++i)
                    for (const Complex& part : Elements(system->MPF(i, o, k, -1, w, false)))
                        sum(o, i) += part;
            EXPECT_TRUE(Within(rounding, C * X + model.D, sum)) << k;
            EXPECT_TRUE(Within(rounding, H, sum)) << k;
        }
    }
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
