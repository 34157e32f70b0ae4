#include <gmock/gmock.h>

#include "tests/support/caches.h"
#include "tests/support/counting_model.h"
#include "tests/support/error_text.h"
#include "tests/support/kinematics.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Eigen::MatrixXcd;
using Eigen::MatrixXd;
using Eigen::VectorXcd;

constexpr char kNoEquivalentForce[] =
    "An equivalent force for a kinematic actuator could not be found.\n"
    "Check C and D matricies for the most probable cause.\n"
    "  1) Velocity actuator with no damping in model.\n"
    "  2) Kinematic actuator connected to ground.\n"
    "  3) Kinematic actuator connected to fully constrained part.\n"
    "  4) Kinematic actuator connected to a part constrained by mode removal.\n"
    "  5) Zero mass.\n"
    "  6) Multiple kinematic actuators over constraining a part.\n";

MatrixXcd Converted(MatrixXcd T, const std::vector<int>& moving, const MatrixXcd& Ginv) {
    const MatrixXcd P = T(Eigen::all, moving) * Ginv;
    T(Eigen::all, moving) = P;
    return T;
}

// What a system's own matrices say of one frequency, by LU.
struct Definition {
    MatrixXd C, D;
    MatrixXcd G, X, feedthrough;  // X and D per unit force or motion
    VectorXcd forces;             // equivalent to the amplitudes

    Definition(const KinematicSystem& system, const Inputs& inputs, double w)
        : C(ToEigen(system.ABCDMatrix('C'))), D(ToEigen(system.ABCDMatrix('D'))) {
        const MatrixXd A = ToEigen(system.ABCDMatrix('A'));
        const auto lu =
            (Complex(0, w) * MatrixXd::Identity(A.rows(), A.cols()) - A).eval().lu();
        G = ToEigen(system.ABCDMatrixH('C')) *
                MatrixXcd(lu.solve(ToEigen(system.ABCDMatrixH('B')).cast<Complex>())) +
            ToEigen(system.ABCDMatrixH('D'));
        std::vector<int> moving;
        forces.resize(static_cast<Eigen::Index>(inputs.size()));
        for (int j = 0; j < forces.size(); ++j) {
            forces(j) = Amplitude(j, w);
            if (inputs[static_cast<std::size_t>(j)].Moves()) moving.push_back(j);
        }
        const MatrixXcd Ginv = G.inverse();
        forces(moving) = (Ginv * forces(moving)).eval();
        X = Converted(lu.solve(ToEigen(system.ABCDMatrix('B')).cast<Complex>()), moving, Ginv);
        feedthrough = Converted(D.cast<Complex>(), moving, Ginv);
    }
};

// Relative to the largest element of each column in each of so many blocks of rows, which
// share a unit.
testing::AssertionResult Near(const MatrixXcd& expected, const MatrixXcd& actual,
                              double tolerance, int blocks = 1) {
    if (actual.rows() != expected.rows() || actual.cols() != expected.cols())
        return testing::AssertionFailure() << actual.rows() << " x " << actual.cols();
    const Eigen::Index n = expected.rows() / blocks;
    for (Eigen::Index j = 0; j < expected.cols(); ++j)
        for (Eigen::Index i = 0; i < expected.rows(); i += n) {
            const VectorXcd from = expected.col(j).segment(i, n),
                            to = actual.col(j).segment(i, n);
            const double error = (from - to).cwiseAbs().maxCoeff() / from.cwiseAbs().maxCoeff();
            if (!(error <= tolerance))
                return testing::AssertionFailure()
                       << "column " << j << " from row " << i << ": " << error;
        }
    return testing::AssertionSuccess();
}

class Motions : public testing::TestWithParam<std::tuple<Model, Form>> {
  protected:
    const Model& model = std::get<0>(GetParam());
    const Form form = std::get<1>(GetParam());
    // In state-space form both sides solve with the model's matrix, whose condition is at most
    // 1e6 away from resonances, as here; the modal form owes 1e-9.
    const double tolerance = form == Form::Modal ? 1e-9 : 1e-10;

    // Every kind of motion alone and beside forces and others, on the first and last
    // coordinate. A model of one coordinate takes those that name it once.
    std::vector<Inputs> AllInputs() const {
        const int last = static_cast<int>(model.A.rows()) / 2 - 1;
        if (last == 0) return {{{0, 'D'}}, {{0, 'V'}}, {{0, 'A'}}, {{0, 'F'}, {0, 'V'}}};
        return {{{0, 'D'}},
                {{last, 'V'}},
                {{0, 'A'}},
                {{last, 'F'}, {0, 'D'}, {last, 'F'}},
                {{0, 'A'}, {last, 'D'}},
                {{last, 'V'}, {0, 'F'}, {1, 'F'}, {0, 'A'}}};
    }
    // Below, among and above the natural frequencies, and on none of them.
    Frequencies Away() const {
        const double top = model.A.eigenvalues().cwiseAbs().maxCoeff();
        return Vector({0.11 * top, 0.37 * top, 1.3 * top});
    }
};

std::vector<Model> MechanicalModels() {
    std::vector<Model> models = ModalModels();
    std::erase_if(models, [](const Model& m) { return m.name == "RandomDense"; });
    models.push_back(MassOnPlatform(5));
    return models;
}
constexpr auto kNameOfCase = [](const auto& motions) {
    const auto& [model, form] = motions.param;
    return model.name + (form == Form::Modal ? "Modal" : "");
};
INSTANTIATE_TEST_SUITE_P(All, Motions,
                         testing::Combine(testing::ValuesIn(MechanicalModels()),
                                          testing::Values(Form::StateSpace, Form::Modal)),
                         kNameOfCase);

TEST_P(Motions, AreTheConstrainedSolutionAndShareItOutAmongTheModes) {
    const Frequencies w = Away();
    for (const Inputs& inputs : AllInputs()) {
        const auto system = Build(model, inputs, form);
        for (int k = 0; k < w.Size(0); ++k) {
            const Definition at(*system, inputs, w(k));
            const MatrixXcd expected = ConstrainedSolution(model, inputs, w(k));
            const MatrixXcd H = ToEigen(system->TransferFunction(w).Slot(k));
            const VectorXcd u = VectorXcd::NullaryExpr(
                H.cols(), [&](Eigen::Index j) { return Amplitude(static_cast<int>(j), w(k)); });
            EXPECT_TRUE(Near(expected, H, tolerance, 3)) << w(k);
            EXPECT_TRUE(Near(H * u.asDiagonal(), ToEigen(system->FrequencyResponse(w).Slot(k)),
                             tolerance));
            EXPECT_TRUE(Near(at.X, ToEigen(system->MCT(w, false).Slot(k)), tolerance));
            EXPECT_TRUE(
                Near(at.X * u.asDiagonal(), ToEigen(system->MCT(w, true).Slot(k)), tolerance));
            MatrixXcd sum = at.feedthrough;
            for (int i = 0; i < sum.cols(); ++i)
                for (int o = 0; o < sum.rows(); ++o)
                    for (const Complex& part : Elements(system->MPF(i, o, k, -1, w, false)))
                        sum(o, i) += part;
            EXPECT_TRUE(Near(expected, sum, tolerance, 3)) << w(k);
        }
    }
}

TEST_P(Motions, ProjectTheirModesOnTheResponseWithTheEquivalentForces) {
    const Frequencies w = Away();
    const Inputs inputs = AllInputs().back();
    const auto system = Build(model, inputs, form);
    const int last = system->Outputs() - 1;  // an acceleration, with a feed-through
    const std::size_t extents[] = {inputs.size(), static_cast<std::size_t>(last + 1), 3};
    for (int running = 0; running < 4; ++running) {
        int at[] = {0, last, 1, 0};
        at[running] = -1;
        const auto along = Elements(system->MPF(at[0], at[1], at[2], at[3], w, true));
        if (running < 3) {
            ASSERT_EQ(along.size(), extents[running]);
        }
        for (const Complex& factor : along) {
            ++at[running];
            const auto [i, o, k, q] = at;
            const Definition from(*system, inputs, w(k));
            const Complex part = system->MPF(i, o, k, q, w, false)(0);
            const Complex total =
                (from.C.row(o) * from.X.col(i) + from.D.row(o) * from.forces).value();
            const double terms =
                from.C.row(o).lpNorm<1>() * from.X.col(i).lpNorm<Eigen::Infinity>() +
                from.D.row(o).lpNorm<1>() * from.forces.lpNorm<Eigen::Infinity>();
            if (std::abs(total) <= 1e-9 * terms) continue;  // held still: no direction
            const Complex direction = total / std::abs(total);
            const Complex expected = (part * std::conj(direction)).real() * direction;
            EXPECT_LE(std::abs(factor - expected),
                      tolerance * std::abs(part) * terms / std::abs(total))
                << running << testing::PrintToString(at);
        }
    }
}

// Both models are answered in one sweep: what comes out is what they answer by themselves.
TEST_P(Motions, ComeOfOneSweepAsOfTwo) {
    std::vector<double> frequencies;
    const double top = model.A.eigenvalues().cwiseAbs().maxCoeff();
    for (int k = 0; k < 24; ++k) frequencies.push_back(1.5 * top * (k + 0.7) / 24);
    const Frequencies w = Vector(frequencies);
    for (const Inputs& inputs : AllInputs()) {
        const auto first = Build(model, inputs, form), second = Build(model, inputs, form);
        const auto &H = first->TransferFunction(w), &X = second->MCT(w, false);
        for (int k = 0; k < w.Size(0); ++k) {
            const Definition at(*first, inputs, w(k));
            EXPECT_TRUE(Near(at.X, ToEigen(X.Slot(k)), 10 * tolerance)) << w(k);
            EXPECT_TRUE(Near(at.C * at.X + at.feedthrough, ToEigen(H.Slot(k)), 10 * tolerance))
                << w(k);
            EXPECT_EQ(ToEigen(first->MCT(w, false).Slot(k)), ToEigen(X.Slot(k)));
            EXPECT_EQ(ToEigen(second->TransferFunction(w).Slot(k)), ToEigen(H.Slot(k)));
        }
    }
}

// A mass on a platform that moves: T = (1 + 2jzr)/(1 − r² + 2jzr) with z = c/(2√(km)) and
// r = w/√(k/m), whatever the platform weighs, for the ratio of displacements, velocities and
// accelerations alike. At 0 the free body follows its platform.
TEST(KinematicSystem, HasTheTransmissibilityOfAMassOnAPlatform) {
    const Frequencies frequencies = Vector({0, 2, 20, 90});
    for (const Form form : {Form::StateSpace, Form::Modal})
        for (const double platformMass : {5.0, 50.0})
            for (const char type : {'D', 'V', 'A'}) {
                const Input input{0, type};
                const auto system = Build(MassOnPlatform(platformMass), {input}, form);
                const int output = input.Order() * 2 + 1;
                const auto& T = system->TransferFunction(frequencies);
                for (int k = type == 'D' ? 0 : 1; k < 4; ++k) {
                    const double r = frequencies(k) / 20;
                    const Complex damping(0, 2 * 0.05 * r);
                    const Complex expected = (1.0 + damping) / (1 - r * r + damping);
                    EXPECT_LE(std::abs(T(k, output, 0) - expected), 1e-9 * std::abs(expected))
                        << type << frequencies(k) << platformMass << static_cast<int>(form);
                }
            }
}

// A selection keeps fewer states than the eigen problem has; the chain of the rigid body is
// then read from the modal matrix itself.
TEST(KinematicSystem, OfSelectedModesFollowsItsOwnMatrices) {
    const Inputs inputs{{0, 'D'}, {4, 'F'}, {4, 'V'}};
    const auto system = Build(FreeChain(5), inputs, Form::Modal, {0, 1, 2, 4});
    ASSERT_EQ(system->ABCDMatrix('A').Size(0), 6);
    ASSERT_EQ(system->ABCDMatrix('A')(0, 1), 1.0);
    const Definition at(*system, inputs, 0.3);
    EXPECT_TRUE(Near(at.X, ToEigen(system->MCT(Vector({0.3}), false).Slot(0)), 1e-10));
}

TEST(KinematicSystem, HasTheDensitiesOfItsResponseWithCrossActuators) {
    const Model model = CarOnPlatforms(10);
    const Inputs inputs{{4, 'V'}, {0, 'F'}, {5, 'D'}};
    Excitation crossing{[](int m, double w) { return Complex(0.5 + m, 0.1 * w); }};
    const Actuators cross(crossing, {{0, 'F'}, {0, 'F'}, {0, 'F'}}, true);
    Excitation excitation{Amplitude};
    const Actuators actuators(excitation, inputs, true, cross.pointers);
    for (const bool swept : {false, true}) {
        const auto system = Build(Constrainable(model, inputs), actuators);
        if (swept) system->TransferFunction(Vector({3, 12}));
        const MatrixXcd H = ConstrainedSolution(model, inputs, 12);
        MatrixXcd S(3, 3);
        for (int m = 0; m < 3; ++m) {
            S.row(m).setConstant(crossing.value(m, 12));
            S(m, m) += Amplitude(m, 12);
        }
        const MatrixXcd density = ToEigen(system->PSD(12, 1));
        EXPECT_TRUE(Near(H * S * H.adjoint(), density, 1e-10, 3));
        for (int i = 0; i < density.rows(); ++i)
            EXPECT_LE(std::abs(system->PSD(i, 12, 1) - density(i, i)),
                      1e-13 * std::abs(density(i, i)));
    }
}

// Reaches the equivalent forces.
class Exposed : public KinematicSystemSS {
  public:
    using KinematicSystem::EvaluateActuatorForce;
    using KinematicSystemSS::KinematicSystemSS;
};

TEST(KinematicSystem, SaysSoWhereNoForceGivesTheMotion) {
    struct Case {
        Model model;
        Inputs inputs;
        double w;
        int printed;  // by solves that fail
    };
    for (const auto& [model, inputs, at, printed] :
         {Case{Oscillator(4, 0.1), {{0, 'V'}}, 0, 0},             // stands still there
          Case{DampedChain(10), {{9, 'V'}, {0, 'F'}}, 0, 0},      // a sweep rounds that
          Case{MassOnPlatform(5), {{1, 'D'}, {1, 'D'}}, 1, 0},    // one motion twice
          Case{Oscillator(4, 0), {{0, 'D'}, {0, 'F'}}, 2, 1}}) {  // no response at all
        const double w = at;
        Excitation excitation{Amplitude};
        const Actuators actuators(excitation, inputs);
        const Model full = Constrainable(model, inputs);
        const KinematicModel split(ToCore(full.B), ToCore(full.C), ToCore(full.D), actuators);
        CapturedMessages messages;
        std::vector<double> frequencies = {0.5, w};
        for (int k = 0; k < 20; ++k) frequencies.push_back(3 + 0.1 * k);
        const Frequencies sweep = Vector(frequencies);
        const std::function<void(Exposed&)> queries[] = {
            [&](Exposed& system) { system.TransferFunction(sweep); },
            [&](Exposed& system) { system.FrequencyResponse(sweep); },
            [&](Exposed& system) { system.MCT(sweep, true); },
            [&](Exposed& system) { system.MPF(0, 0, -1, 0, sweep, false); },
            [&](Exposed& system) { system.MPF(0, 0, 0, 0, sweep, false); },
            [&](Exposed& system) { system.PSD(w, 1); },
            [&](Exposed& system) { system.PSD(0, w, 1); },
            [&](Exposed& system) {
                system.EvaluateActuatorForce(w, Matrix1D<Complex>(system.Inputs(), 1.0));
            }};
        for (const auto& query : queries) {
            Exposed system(0, ToCore(full.A), ToCore(full.B), split.C(), split.D(),
                           split.Bhat(), split.Chat(), split.Dhat(), actuators);
            EXPECT_EQ(ErrorText([&] { query(system); }), kNoEquivalentForce) << model.name;
            EXPECT_EQ(messages.Take().size(), static_cast<std::size_t>(printed)) << model.name;
        }
    }
}

// Two ends of a free spring: the rigid body outgrows its stretch by 1/w².
TEST(KinematicSystem, WarnsWhereMotionsNearlyDetermineEachOther) {
    const auto system = Build(FreeChain(3), Inputs{{0, 'D'}, {2, 'A'}});
    CapturedMessages messages;
    system->TransferFunction(Vector({1e-5, 0.7}));
    system->PSD(1e-5, 1);
    EXPECT_THAT(messages.Take(), testing::IsEmpty());
    const auto warning = [](const std::string& frequencies) {
        return testing::Pair(
            'w',
            "ZEMRA/Vibration kinematic system:\n   The equivalent forces have lost nearly all "
            "digits at " +
                frequencies +
                ".\n   Multiple kinematic actuators nearly over constrain a part there, or a "
                "part that nothing\n   holds is driven too close to zero frequency.\n");
    };
    system->TransferFunction(Vector({5e-7, 6e-7, 0.7}));
    EXPECT_THAT(messages.Take(),
                testing::ElementsAre(warning("2 of 3 frequencies, the first w = 5e-07")));
    system->PSD(0, 4e-7, 1);
    EXPECT_THAT(messages.Take(),
                testing::ElementsAre(warning("1 of 1 frequencies, the first w = 4e-07")));
}

TEST(KinematicSystem, AcceptsOnlyNumbersThatFit) {
    Excitation excitation{Amplitude};
    const Model full = Constrainable(MassOnPlatform(5), {{0, 'D'}, {1, 'F'}});
    const auto build = [&](const Inputs& inputs, int motions) {
        const Matrix2D<double> BH(4, motions), CH(motions, 4), DH(motions, motions);
        return ErrorText([&] {
            KinematicSystemSS(0, ToCore(full.A), ToCore(full.B), ToCore(full.C), ToCore(full.D),
                              BH, CH, DH, Actuators(excitation, inputs));
        });
    };
    EXPECT_EQ(build({{0, 'D'}, {1, 'F'}}, 1), "");
    EXPECT_EQ(build({{0, 'D'}}, 1), "KinematicSystem: 1 actuators for a model of 2 inputs.\n");
    EXPECT_EQ(build({{0, 'D'}, {1, 'V'}}, 1),
              "KinematicSystem: 2 actuators prescribe a motion, the constraint model has 1 "
              "inputs and 1 outputs.\n");
}

TEST(KinematicModel, TakesTheLastOutputsAsMotionsAndTheirColumnsAsForces) {
    Excitation excitation{Amplitude};
    const Actuators actuators(excitation, {{0, 'F'}, {0, 'D'}, {0, 'F'}, {0, 'A'}});
    const MatrixXd B = ToEigen(RandomMatrix<double>(6, 4, 1)),
                   C = ToEigen(RandomMatrix<double>(5, 6, 2)),
                   D = ToEigen(RandomMatrix<double>(5, 4, 3));
    const KinematicModel split(ToCore(B), ToCore(C), ToCore(D), actuators);
    const std::vector<int> moving{1, 3}, motions{3, 4};
    EXPECT_EQ(ToEigen(split.C()), C.topRows(3));
    EXPECT_EQ(ToEigen(split.D()), D.topRows(3));
    EXPECT_EQ(ToEigen(split.Bhat()), B(Eigen::all, moving));
    EXPECT_EQ(ToEigen(split.Chat()), C.bottomRows(2));
    EXPECT_EQ(ToEigen(split.Dhat()), D(motions, moving));

    const auto error = [&](int bCols, int cRows, int cCols, int dRows, int dCols) {
        return ErrorText([&] {
            KinematicModel(Matrix2D<double>(6, bCols), Matrix2D<double>(cRows, cCols),
                           Matrix2D<double>(dRows, dCols), actuators);
        });
    };
    EXPECT_EQ(error(4, 2, 6, 2, 4), "");  // no output but the motions
    EXPECT_EQ(error(3, 5, 6, 5, 3), "KinematicModel: 4 actuators for a model of 3 inputs.\n");
    EXPECT_EQ(error(4, 1, 6, 1, 4),
              "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n"
              "   A: 6 x 6\n   B: 6 x 4\n   C: 1 x 6\n   D: 1 x 4 \n");
    for (const std::string& misfit :
         {error(4, 5, 5, 5, 4), error(4, 5, 6, 4, 4), error(4, 5, 6, 5, 3)})
        EXPECT_THAT(misfit, testing::StartsWith("ABCD Matrix size error."));
}

TEST(KinematicSystem, IsCopiedWithItsModels) {
    const Frequencies w = Vector({7, 9});
    for (const Form form : {Form::StateSpace, Form::Modal}) {
        auto source = Build(HalfCar(), Inputs{{0, 'A'}, {3, 'F'}}, form);
        source->TransferFunction(Vector({1, 2}));
        const std::unique_ptr<System> copy = source->Copy();
        const Answer expected = Slots(source->TransferFunction(w));
        const MatrixXd A = ToEigen(source->ABCDMatrixH('A')),
                       BH = ToEigen(source->ABCDMatrixH('B'));
        source.reset();
        EXPECT_EQ(Slots(copy->TransferFunction(w)), expected);
        EXPECT_EQ(ToEigen(dynamic_cast<KinematicSystem&>(*copy).ABCDMatrixH('B')), BH);
        EXPECT_EQ(copy->Inputs(), 2);
        EXPECT_EQ(copy->Outputs(), 12);
        if (form == Form::StateSpace) continue;
        const auto& modal = dynamic_cast<KinematicSystemMS&>(*copy);
        EXPECT_EQ(ToEigen(Matrix2D<double>(modal.AMatrix())), A);
        EXPECT_EQ(modal.Eigen().Eigenvalues(), 8);
    }
}

// An oscillator under a force and a motion, on two counting models. The constraint model may
// be another one: that of a damped oscillator answers where the undamped one prints a message.
struct CountingSystem : KinematicSystem {
    CountingSystem(const Model& full, const Model& constraint, const Actuators& actuators,
                   const KinematicModel& m, const std::shared_ptr<int>& solves)
        : KinematicSystem(
              0, actuators,
              std::make_unique<CountingModel>(
                  ForceSystemSS(0, ToCore(full.A), ToCore(full.B), m.C(), m.D(), {}), solves),
              std::make_unique<CountingModel>(
                  ForceSystemSS(0, ToCore(constraint.A), m.Bhat(), m.Chat(), m.Dhat(), {}),
                  solves)) {}
    std::unique_ptr<System> Copy() const override {
        return std::make_unique<CountingSystem>(*this);
    }
};
const Inputs kInputs{{0, 'F'}, {0, 'D'}};
struct DrivenMotion {
    Model full, constraint;
    Excitation excitation{Amplitude};
    Actuators actuators{excitation, kInputs};
    KinematicModel split{ToCore(full.B), ToCore(full.C), ToCore(full.D), actuators};
    std::shared_ptr<int> solves = std::make_shared<int>(0);
    CountingSystem system{full, constraint, actuators, split, solves};
    DrivenMotion(const Model& model, const Model& constraining)
        : full(Constrainable(model, kInputs)), constraint(constraining) {}
    int Solves() const { return *solves; }
};

TEST(Caches, OfKinematicModelsHoldNothingAtFirstAndThenSpareAllTheyCan) {
    ExpectToSpareAllTheyCan(
        [] { return std::make_unique<DrivenMotion>(DampedChain(2), DampedChain(2)); }, 2);
}

TEST(Caches, OfKinematicModelsNeverAnswerWithAnotherVectorsResult) {
    const DrivenMotion fresh{DampedChain(2), DampedChain(2)};
    ExpectNoAnswerToAnotherQuestion(fresh.system);
}

TEST(Caches, OfKinematicModelsAreSafeFromHostCodeThatThrowsOrQueriesTheSameModel) {
    ExpectSafetyFromHostCode(
        [] { return std::make_unique<DrivenMotion>(Oscillator(4, 0), Oscillator(4, 0.5)); }, 2);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
