#include <gmock/gmock.h>

#include <deque>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/excitation.h"
#include "tests/support/systems.h"
#include "zemra/system/force_system_ss.h"
#include "zemra/system/kinematic_model.h"
#include "zemra/system/kinematic_system_ss.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Eigen::MatrixXcd;
using Eigen::MatrixXd;
using Eigen::VectorXcd;
using testing::ElementsAre;
using testing::IsEmpty;
using Frequencies = Matrix1D<double>;

constexpr char kNoEquivalentForce[] =
    "An equivalent force for a kinematic actuator could not be found.\n"
    "Check C and D matricies for the most probable cause.\n"
    "  1) Velocity actuator with no damping in model.\n"
    "  2) Kinematic actuator connected to ground.\n"
    "  3) Kinematic actuator connected to fully constrained part.\n"
    "  4) Kinematic actuator connected to a part constrained by mode removal.\n"
    "  5) Zero mass.\n"
    "  6) Multiple kinematic actuators over constraining a part.\n";

Frequencies Vector(const std::vector<double>& w) {
    return Frequencies(static_cast<int>(w.size()), w.data());
}

// An input: a force ('F') at a coordinate, or its prescribed motion of order 0, 1 or 2.
struct Input {
    int coordinate;
    char type;
    bool Moves() const { return type != 'F'; }
    int Order() const { return static_cast<int>(std::string("DVA").find(type)); }
};
using Inputs = std::vector<Input>;

// The model, of coordinates and their rates, with forces at the coordinates of all inputs, per
// mass there. Outputs: all displacements, velocities, accelerations, the prescribed motions.
Model Constrainable(const Model& model, const Inputs& inputs) {
    const Eigen::Index n = model.A.rows() / 2;
    Model full = model;
    full.B.setZero(2 * n, static_cast<Eigen::Index>(inputs.size()));
    for (Eigen::Index j = 0; const Input& input : inputs) full.B(n + input.coordinate, j++) = 1;
    full = WithMotions(full);
    for (const Input& input : inputs) {
        if (!input.Moves()) continue;
        const Eigen::Index row = input.Order() * n + input.coordinate, rows = full.C.rows();
        full.C.conservativeResize(rows + 1, Eigen::NoChange);
        full.D.conservativeResize(rows + 1, Eigen::NoChange);
        full.C.row(rows) = full.C.row(row);
        full.D.row(rows) = full.D.row(row);
    }
    return full;
}

// The outputs before the prescribed motions, from Z·q = f with Z = K + jwR − w²M, every row
// over its mass. Under a motion of 1 the coordinates that the others prescribe are held, and
// move to the right-hand side; a force acts on the model as if no motion were prescribed.
MatrixXcd ConstrainedSolution(const Model& model, const Inputs& inputs, double w) {
    const Eigen::Index n = model.A.rows() / 2;
    const Complex jw(0, w);
    const MatrixXcd Z = -w * w * MatrixXd::Identity(n, n) - model.A.bottomLeftCorner(n, n) -
                        jw * model.A.bottomRightCorner(n, n);
    std::vector<int> held, free;
    for (const Input& input : inputs)
        if (input.Moves()) held.push_back(input.coordinate);
    for (int i = 0; i < n; ++i)
        if (std::find(held.begin(), held.end(), i) == held.end()) free.push_back(i);

    MatrixXcd response(3 * n, inputs.size());
    for (Eigen::Index j = 0; const Input& input : inputs) {
        VectorXcd q = VectorXcd::Unit(n, input.coordinate);
        if (input.Moves()) {
            q /= std::pow(jw, input.Order());
            q(free) = -Z(free, free).lu().solve(Z(free, held) * q(held));
        } else {
            q = Z.lu().solve(q).eval();
        }
        response.col(j++) << q, jw * q, -w * w * q;
    }
    return response;
}

Complex Amplitude(int input, double w) { return {1.0 + input, 0.5 * w}; }

// Actuators of the inputs' types; input j has the channel j of the excitation.
struct Actuators {
    std::deque<Actuator> owned;
    std::vector<const Actuator*> pointers;

    Actuators(Excitation& source, const Inputs& inputs, bool psd = false,
              const std::vector<const Actuator*>& cross = {}) {
        for (int j = 0; const Input& input : inputs) {
            const Excitation::Block block{&source, j++};
            pointers.push_back(
                &owned.emplace_back(input.type, Excitation::Evaluate, sizeof block, &block, psd,
                                    static_cast<int>(cross.size()), cross.data()));
        }
    }
    operator Matrix1D<const Actuator*>() const {
        return {static_cast<int>(pointers.size()), pointers.data()};
    }
};

std::unique_ptr<KinematicSystem> Build(const Model& full, const Actuators& actuators) {
    const KinematicModel split(ToCore(full.B), ToCore(full.C), ToCore(full.D), actuators);
    return std::make_unique<KinematicSystemSS>(0, ToCore(full.A), ToCore(full.B), split.C(),
                                               split.D(), split.Bhat(), split.Chat(),
                                               split.Dhat(), actuators);
}

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

class Motions : public testing::TestWithParam<Model> {
  protected:
    // Both sides solve with the model's matrices. Their rounding grows with its condition, of
    // at most 1e6 away from resonances, as here.
    static constexpr double kTolerance = 1e-10;

    // Every kind of motion alone and beside forces and others, on the first and last
    // coordinate. A model of one coordinate takes those that name it once.
    static std::vector<Inputs> AllInputs(const Model& model) {
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
    static Frequencies Away(const Model& model) {
        const double top = model.A.eigenvalues().cwiseAbs().maxCoeff();
        return Vector({0.11 * top, 0.37 * top, 1.3 * top});
    }
};

std::vector<Model> MechanicalModels() {
    std::vector<Model> models = ModalModels();
    std::erase_if(models, [](const Model& m) { return m.name == "RandomDense"; });
    models.push_back(MassOnPlatform(5));
    models.push_back(CarOnPlatforms(10));
    return models;
}
INSTANTIATE_TEST_SUITE_P(All, Motions, testing::ValuesIn(MechanicalModels()),
                         [](const auto& model) { return model.param.name; });

TEST_P(Motions, AreTheConstrainedSolution) {
    const Frequencies w = Away(GetParam());
    for (const Inputs& inputs : AllInputs(GetParam())) {
        Excitation excitation{Amplitude};
        const Actuators actuators(excitation, inputs);
        const auto system = Build(Constrainable(GetParam(), inputs), actuators);
        ForceSystemSS forces(0, system->ABCDMatrix('A'), system->ABCDMatrix('B'),
                             system->ABCDMatrix('C'), system->ABCDMatrix('D'), actuators);
        for (int k = 0; k < w.Size(0); ++k) {
            const MatrixXcd expected = ConstrainedSolution(GetParam(), inputs, w(k));
            const MatrixXcd H = ToEigen(system->TransferFunction(w).Slot(k));
            EXPECT_TRUE(Near(expected, H, kTolerance, 3)) << w(k);
            const MatrixXcd FR = ToEigen(system->FrequencyResponse(w).Slot(k));
            for (int j = 0; j < H.cols(); ++j) {
                EXPECT_TRUE(Near(Amplitude(j, w(k)) * H.col(j), FR.col(j), kTolerance));
                if (!inputs[static_cast<std::size_t>(j)].Moves()) {
                    EXPECT_EQ(H.col(j), ToEigen(forces.TransferFunction(w).Slot(k)).col(j));
                }
            }
        }
    }
}

TEST_P(Motions, ShareTheResponseOutAmongTheModes) {
    const Frequencies w = Away(GetParam());
    for (const Inputs& inputs : AllInputs(GetParam())) {
        Excitation excitation{Amplitude};
        const Actuators actuators(excitation, inputs);
        const auto system = Build(Constrainable(GetParam(), inputs), actuators);
        for (int k = 0; k < w.Size(0); ++k) {
            const Definition at(*system, inputs, w(k));
            const VectorXcd u = VectorXcd::NullaryExpr(at.X.cols(), [&](Eigen::Index j) {
                return Amplitude(static_cast<int>(j), w(k));
            });
            EXPECT_TRUE(Near(at.X, ToEigen(system->MCT(w, false).Slot(k)), kTolerance));
            EXPECT_TRUE(
                Near(at.X * u.asDiagonal(), ToEigen(system->MCT(w, true).Slot(k)), kTolerance));
            const MatrixXcd H = ConstrainedSolution(GetParam(), inputs, w(k));
            MatrixXcd sum = at.feedthrough;
            for (int i = 0; i < sum.cols(); ++i)
                for (int o = 0; o < sum.rows(); ++o)
                    for (const Complex& part : Elements(system->MPF(i, o, k, -1, w, false)))
                        sum(o, i) += part;
            EXPECT_TRUE(Near(H, sum, kTolerance, 3)) << w(k);
        }
    }
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
