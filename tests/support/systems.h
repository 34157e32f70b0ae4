#pragma once

#include <numbers>
#include <vector>

#include "tests/support/frequencies.h"
#include "tests/support/models.h"
#include "zemra/eigen/eigen_problem.h"
#include "zemra/system/canon.h"
#include "zemra/system/force_system_ms.h"
#include "zemra/system/force_system_ss.h"

namespace ZEMRA::Vibration::tests {

/// n unit masses joined by n − 1 unit springs, held by nothing; the damping matrix is damping
/// times the stiffness matrix. Inputs and outputs at both ends. Its rigid body is a zero
/// eigenvalue with a chain of two.
Model FreeChain(int n, double damping = 0.0);

/// A rigid steel rotor (0.5 m long, 0.2 m in diameter, 7810 kg/m³) at 4000 rpm on springs of
/// 1e6 N/m at both ends in both directions. Coordinates x, y, θx, θy of its centre; inputs: the
/// force in x at one end and the moment about x; outputs: x and θy.
Model Rotor();

/// A platform that nothing holds (0) and on it, through k = 800 and c = 4, a mass of 2 (1).
Model MassOnPlatform(double platformMass);

/// The half-car with its tyres, which damp a little here, on two platforms that nothing holds.
/// Coordinates and inputs: heave, pitch, the wheels and the platforms, front and rear.
Model CarOnPlatforms(double platformMass);

/// The model with the outputs (x, second half of ẋ): in second-order form the displacements,
/// velocities and accelerations of all coordinates.
Model WithMotions(Model model);

/// Stiffness of 1e10 beside soft modes of 1 rad/s, in one piece, alternating, graded,
/// decoupled.
inline std::vector<Model> BadlyScaledModels() {
    const int n = 16;
    Eigen::VectorXd half = Eigen::VectorXd::Constant(n, 1e10), comb = half, one = half;
    half.head(n / 2).setOnes();
    for (int i = 0; i < n; i += 2) comb(i) = 1;
    one(0) = 1;
    const auto graded = LogSpaced(1, 1e10, n);
    const Eigen::VectorXd grade = Eigen::Map<const Eigen::VectorXd>(graded.data(), n);
    const Eigen::MatrixXd shape = ToEigen(RandomMatrix<double>(n, 2, 5)),
                          I = Eigen::MatrixXd::Identity(n, n);
    const auto chain = [&](const std::string& name, const Eigen::VectorXd& k, double damping) {
        return EndToEnd(name, Links(k), 1e-3 * I + damping * Links(k));
    };
    return {chain("StiffEnd", half, 1e-7), chain("Comb", comb, 1e-9),
            chain("Graded", grade, 1e-7), chain("SoftlyHeld", one, 1e-7),
            SecondOrder("Modes", I, 0.02 * grade.cwiseSqrt().asDiagonal() * I,
                        grade.asDiagonal(), shape, shape.transpose())};
}

/// Models whose eigenvectors are independent or form exact chains: the modal form is as good as
/// the state-space form.
inline std::vector<Model> ModalModels() {
    return {Oscillator(4, 0.1), DampedChain(20), FreeChain(3), FreeChain(5),
            HalfCar(),          Rotor(),         RandomDense()};
}

/// Actuators for so many inputs that nobody drives.
inline Matrix1D<const Actuator*> Idle(Eigen::Index inputs) {
    static const Actuator idle('F', nullptr, 0, nullptr, false, 0, nullptr);
    return {static_cast<int>(inputs), &idle};
}

inline ForceSystemSS StateSpace(const Model& m, const Matrix1D<const Actuator*>& actuators) {
    return {0, ToCore(m.A), ToCore(m.B), ToCore(m.C), ToCore(m.D), actuators};
}
inline ForceSystemSS StateSpace(const Model& m) { return StateSpace(m, Idle(m.B.cols())); }

/// A model in modal form with what it was made from; nobody drives its inputs.
struct Modal {
    EigenProblem eigen;
    Canon canon;
    ForceSystemMS system;

    explicit Modal(const Model& model, const std::vector<int>& modes = {})
        : eigen(Solved(model)),
          canon(ToCore(model.A), ToCore(model.B), ToCore(model.C), ToCore(model.D),
                static_cast<int>(modes.size()), modes.data(), eigen),
          system(0, canon.A(), canon.B(), canon.C(), canon.D(), Idle(model.B.cols()), eigen,
                 canon.Residual()) {}

    static EigenProblem Solved(const Model& model) {
        EigenProblem eigen(ToCore(model.A));
        eigen.Solve(/*noVectors=*/false);
        return eigen;
    }
};

}  // namespace ZEMRA::Vibration::tests
