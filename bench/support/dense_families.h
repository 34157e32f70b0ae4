#pragma once

#include <algorithm>
#include <random>

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration::bench {

/// The matrices that dense solvers are timed on: random numbers between −1 and 1, or a damped
/// chain of unit masses and springs in first-order form, fixed at one end.
enum class Family { kDense, kChain };

inline const char* NameOf(Family family) {
    return family == Family::kDense ? "dense" : "chain";
}

/// Of order n, even for a chain.
inline Matrix2D<double> MatrixOf(Family family, int n) {
    Matrix2D<double> A(n, n);
    if (family == Family::kDense) {
        std::mt19937 generator(static_cast<unsigned>(n));
        std::uniform_real_distribution<double> uniform(-1, 1);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) A(i, j) = uniform(generator);
        return A;
    }
    const int masses = n / 2;
    for (int i = 0; i < masses; ++i) {
        A(i, masses + i) = 1.0;
        for (int j = std::max(0, i - 1); j <= std::min(masses - 1, i + 1); ++j) {
            const double k = i == j ? (i == masses - 1 ? 1.0 : 2.0) : -1.0;
            A(masses + i, j) = -k;
            A(masses + i, masses + j) = -0.01 * k;
        }
    }
    return A;
}

}  // namespace ZEMRA::Vibration::bench
