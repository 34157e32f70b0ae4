#pragma once

#include <Eigen/Dense>
#include <string>
#include <vector>

#include "tests/support/matrices.h"

namespace ZEMRA::Vibration::tests {

/// A model in first-order form, ẋ = A·x + B·u, y = C·x + D·u.
struct Model {
    std::string name;
    ::Eigen::MatrixXd A, B, C, D;
};

inline void PrintTo(const Model& model, std::ostream* out) { *out << model.name; }

inline Matrix2D<double> ToCore(const ::Eigen::MatrixXd& m) {
    return Generate<double>(static_cast<int>(m.rows()), static_cast<int>(m.cols()), m);
}

/// M·q̈ + R·q̇ + K·q = F·u with the states (q, q̇) and the outputs (P·q, P·q̈).
Model SecondOrder(const std::string& name, const ::Eigen::MatrixXd& M,
                  const ::Eigen::MatrixXd& R, const ::Eigen::MatrixXd& K,
                  const ::Eigen::MatrixXd& F, const ::Eigen::MatrixXd& P);

/// A force at the first and one at the last of n coordinates, if there are two.
::Eigen::MatrixXd Ends(::Eigen::Index n);

/// The model of unit masses with the stiffness K and the damping R, its inputs and outputs at
/// both ends.
Model EndToEnd(const std::string& name, const ::Eigen::MatrixXd& K, const ::Eigen::MatrixXd& R);

/// The model in second-order form with one more output: the motion of coordinate i that an
/// actuator of type 'D', 'V' or 'A' prescribes.
Model Prescribe(Model model, ::Eigen::Index i, char type);

/// A unit mass on a spring k and a damper c.
inline Model Oscillator(double k, double c) {
    const auto scalar = [](double x) { return ::Eigen::MatrixXd::Constant(1, 1, x); };
    return SecondOrder("Oscillator", scalar(1), scalar(c), scalar(k), scalar(1), scalar(1));
}

/// A unit mass that nothing holds: a rigid body, with a defective zero eigenvalue.
inline Model FreeMass() {
    const Model free = Oscillator(0, 0);
    return {"FreeMass", free.A, free.B, free.C, free.D};
}

/// Heave (m) and pitch (rad) of a car's body and its two wheels. Inputs: the forces at the
/// wheels; outputs: the body's centre and its points above the axles. In SI units.
Model HalfCar();

/// n unit masses between walls.
inline Model DampedChain(int n) {
    return EndToEnd("DampedChain", BetweenWalls(n), 0.02 * BetweenWalls(n));
}

/// Dense in everything, D included: n states, 3 inputs, 4 outputs. The eigenvalues of the
/// random part lie in a disc of about √(n/3), which the shift moves to the left half plane.
inline Model RandomDense(int n = 30) {
    const auto random = [](int nrows, int ncols, unsigned seed) {
        return ToEigen(RandomMatrix<double>(nrows, ncols, seed));
    };
    const ::Eigen::MatrixXd shift =
        1.5 * std::sqrt(n / 3.0) * ::Eigen::MatrixXd::Identity(n, n);
    return {"RandomDense", random(n, n, 11) - shift, random(n, 3, 12), random(4, n, 13),
            random(4, 3, 14)};
}

inline std::vector<Model> AllModels() {
    return {Oscillator(4, 0.1), HalfCar(), DampedChain(20), RandomDense(), FreeMass()};
}

}  // namespace ZEMRA::Vibration::tests
