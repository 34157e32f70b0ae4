#pragma once

#include <numbers>
#include <vector>

#include "tests/support/frequencies.h"
#include "tests/support/models.h"
#include "zemra/eigen/eigen_problem.h"
#include "zemra/system/canon.h"
#include "zemra/system/force_system_ms.h"

namespace ZEMRA::Vibration::tests {

/// n unit masses joined by n − 1 unit springs, held by nothing; the damping matrix is damping
/// times the stiffness matrix. Inputs and outputs as of DampedChain. Its rigid body is a zero
/// eigenvalue with a chain of two.
inline Model FreeChain(int n, double damping = 0.0) {
    Eigen::MatrixXd K = Eigen::MatrixXd::Zero(n, n), ends = Eigen::MatrixXd::Zero(n, 2);
    for (int i = 0; i + 1 < n; ++i) {
        K.diagonal().segment(i, 2).array() += 1;
        K(i, i + 1) = K(i + 1, i) = -1;
    }
    ends(0, 0) = ends(n - 1, 1) = 1;
    const std::string name = damping == 0 ? "FreeChain" : "DampedFreeChain";
    return SecondOrder(name + std::to_string(n), Eigen::MatrixXd::Identity(n, n), damping * K,
                       K, ends, ends.transpose());
}

/// A rigid steel rotor (0.5 m long, 0.2 m in diameter, 7810 kg/m³) at 4000 rpm on springs of
/// 1e6 N/m at both ends in both directions. Coordinates x, y, θx, θy of its centre; inputs: the
/// force in x at one end and the moment about x; outputs: x and θy.
inline Model Rotor() {
    const double length = 0.5, radius = 0.1, k = 1e6, speed = 4000 * std::numbers::pi / 30;
    const double m = 7810 * std::numbers::pi * radius * radius * length;
    const double polar = m * radius * radius / 2;
    const double diametral = m * (3 * radius * radius + length * length) / 12;
    const Eigen::Vector4d masses(m, m, diametral, diametral);
    const Eigen::Vector4d springs(2 * k, 2 * k, k * length * length / 2,
                                  k * length * length / 2);
    Eigen::Matrix4d gyroscopic = Eigen::Matrix4d::Zero();
    gyroscopic(2, 3) = polar * speed;
    gyroscopic(3, 2) = -polar * speed;
    Eigen::MatrixXd F = Eigen::MatrixXd::Zero(4, 2), P = Eigen::MatrixXd::Zero(2, 4);
    F(0, 0) = P(0, 0) = 1;
    F(3, 0) = length / 2;
    F(2, 1) = P(1, 3) = 1;
    return SecondOrder("Rotor", masses.asDiagonal(), gyroscopic, springs.asDiagonal(), F, P);
}

/// A platform that nothing holds (0) and on it, through k = 800 and c = 4, a mass of 2 (1).
inline Model MassOnPlatform(double platformMass) {
    const Eigen::Matrix2d M = Eigen::Vector2d(platformMass, 2).asDiagonal(),
                          K = Eigen::Matrix2d{{800, -800}, {-800, 800}},
                          I = Eigen::Matrix2d::Identity();
    return SecondOrder("MassOnPlatform", M, K / 200, K, I, I);
}

/// The half-car with its tyres, which damp a little here, on two platforms that nothing holds.
/// Coordinates and inputs: heave, pitch, the wheels and the platforms, front and rear.
inline Model CarOnPlatforms(double platformMass) {
    const Eigen::MatrixXd car = HalfCar().A, I = Eigen::MatrixXd::Identity(6, 6);
    const Eigen::RowVectorXd masses{{420, 1100, 53, 76, platformMass, platformMass}};
    Eigen::MatrixXd K = Eigen::MatrixXd::Zero(6, 6), R = K;
    K.topLeftCorner(4, 4) = -(masses.head(4).asDiagonal() * car.bottomLeftCorner(4, 4));
    R.topLeftCorner(4, 4) = -(masses.head(4).asDiagonal() * car.bottomRightCorner(4, 4));
    for (const int wheel : {2, 3}) {
        K(wheel, wheel) -= 200000;  // the ground's
        const Eigen::RowVectorXd tyre = I.row(wheel) - I.row(wheel + 2);
        K += 200000 * tyre.transpose() * tyre;
        R += 50 * tyre.transpose() * tyre;
    }
    return SecondOrder("CarOnPlatforms", masses.asDiagonal(), R, K, I, I);
}

/// The model with the outputs (x, second half of ẋ): in second-order form the displacements,
/// velocities and accelerations of all coordinates.
inline Model WithMotions(Model model) {
    const Eigen::Index n = model.A.rows(), half = n / 2;
    model.C.resize(n + half, n);
    model.C << Eigen::MatrixXd::Identity(n, n), model.A.bottomRows(half);
    model.D.resize(n + half, model.B.cols());
    model.D << Eigen::MatrixXd::Zero(n, model.B.cols()), model.B.bottomRows(half);
    return model;
}

/// A chain of n unit masses on the springs k, the first to the ground, with the damping matrix
/// a·I + b·K and the outputs of DampedChain.
inline Model ChainOf(const std::string& name, const Eigen::VectorXd& k, double a, double b) {
    const Eigen::Index n = k.size();
    Eigen::MatrixXd K = k.asDiagonal(), ends = Eigen::MatrixXd::Zero(n, 2);
    for (Eigen::Index i = 1; i < n; ++i) {
        K(i - 1, i - 1) += k(i);
        K(i - 1, i) = K(i, i - 1) = -k(i);
    }
    ends(0, 0) = ends(n - 1, 1) = 1;
    const Eigen::MatrixXd I = Eigen::MatrixXd::Identity(n, n);
    return SecondOrder(name, I, a * I + b * K, K, ends, ends.transpose());
}

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
    return {ChainOf("StiffEnd", half, 1e-3, 1e-7), ChainOf("Comb", comb, 1e-3, 1e-9),
            ChainOf("Graded", grade, 1e-3, 1e-7), ChainOf("SoftlyHeld", one, 1e-3, 1e-7),
            SecondOrder("Modes", I, 0.02 * grade.cwiseSqrt().asDiagonal() * I,
                        grade.asDiagonal(), shape, shape.transpose())};
}

/// Models whose eigenvectors are independent or form exact chains: the modal form is as good as
/// the state-space form.
inline std::vector<Model> ModalModels() {
    return {Oscillator(4, 0.1), DampedChain(20), FreeChain(3), FreeChain(5),
            HalfCar(),          Rotor(),         RandomDense()};
}

/// A model in modal form with what it was made from; nobody drives its inputs.
struct Modal {
    EigenProblem eigen;
    Canon canon;
    ForceSystemMS system;

    explicit Modal(const Model& model, const std::vector<int>& modes = {})
        : eigen(Solved(model)),
          canon(ToCore(model.A), ToCore(model.B), ToCore(model.C), ToCore(model.D),
                static_cast<int>(modes.size()), modes.data(), eigen),
          system(0, canon.A(), canon.B(), canon.C(), canon.D(), Idle(model.B.cols()), eigen) {}

    static EigenProblem Solved(const Model& model) {
        EigenProblem eigen(ToCore(model.A));
        eigen.Solve(/*noVectors=*/false);
        return eigen;
    }
    static Matrix1D<const Actuator*> Idle(Eigen::Index inputs) {
        static const Actuator idle('F', nullptr, 0, nullptr, false, 0, nullptr);
        return {static_cast<int>(inputs), &idle};
    }
};

}  // namespace ZEMRA::Vibration::tests
