#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/systems.h"

namespace ZEMRA::Vibration::tests {

/// M·q̈ + R·q̇ + K·q = F·u, and what it is called. The inputs act at the coordinates of the
/// outputs; seeded random numbers, the same on every platform.
struct Mechanism {
    std::string family, name;
    Eigen::MatrixXd M, R, K, F;

    Model InFirstOrder() const { return SecondOrder(name, M, R, K, F, F.transpose()); }
    bool IsSymmetric() const { return R == R.transpose() && K == K.transpose(); }
};
inline void PrintTo(const Mechanism& one, std::ostream* out) { *out << one.name; }

/// One mechanism of each family for a seed, of 1 to largest coordinates.
std::vector<Mechanism> Mechanisms(unsigned seed, int largest = 20);

/// Models that are no mechanisms, with their families in front of their names.
std::vector<std::pair<std::string, Model>> FirstOrderModels(unsigned seed, int largest = 40);

}  // namespace ZEMRA::Vibration::tests
