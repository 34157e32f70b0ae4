#include "tests/support/systems.h"

namespace ZEMRA::Vibration::tests {

Model FreeChain(int n, double damping) {
    Eigen::VectorXd springs = Eigen::VectorXd::Ones(n);
    springs(0) = 0;
    const std::string name = damping == 0 ? "FreeChain" : "DampedFreeChain";
    return EndToEnd(name + std::to_string(n), Links(springs), damping * Links(springs));
}

Model Rotor() {
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

Model MassOnPlatform(double platformMass) {
    const Eigen::Matrix2d M = Eigen::Vector2d(platformMass, 2).asDiagonal(),
                          K = Eigen::Matrix2d{{800, -800}, {-800, 800}},
                          I = Eigen::Matrix2d::Identity();
    return SecondOrder("MassOnPlatform", M, K / 200, K, I, I);
}

Model CarOnPlatforms(double platformMass) {
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

Model WithMotions(Model model) {
    const Eigen::Index n = model.A.rows(), half = n / 2;
    model.C.resize(n + half, n);
    model.C << Eigen::MatrixXd::Identity(n, n), model.A.bottomRows(half);
    model.D.resize(n + half, model.B.cols());
    model.D << Eigen::MatrixXd::Zero(n, model.B.cols()), model.B.bottomRows(half);
    return model;
}

}  // namespace ZEMRA::Vibration::tests
