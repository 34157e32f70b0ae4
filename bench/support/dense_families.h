#pragma once

#include <cstdlib>
#include <random>

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration::bench {

/// The matrices that dense solvers are timed on: random numbers between −1 and 1, or a damped
/// chain of unit masses and springs in first-order form, fixed at one end.
enum class Family { kDense, kChain };

inline const char* NameOf(Family family) {
    return family == Family::kDense ? "dense" : "chain";
}

/// Element (i, j) of the chain of order n, which is even.
inline double ChainElement(int n, int i, int j) {
    const int masses = n / 2, mass = i - masses, other = j % masses;
    if (mass < 0) return j == i + masses ? 1.0 : 0.0;
    if (std::abs(mass - other) > 1) return 0.0;
    const double k = mass != other ? -1.0 : mass == masses - 1 ? 1.0 : 2.0;
    return j < masses ? -k : -0.01 * k;
}

inline Matrix2D<double> MatrixOf(Family family, int n) {
    std::mt19937 generator(static_cast<unsigned>(n));
    std::uniform_real_distribution<double> uniform(-1, 1);
    Matrix2D<double> A(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            A(i, j) = family == Family::kDense ? uniform(generator) : ChainElement(n, i, j);
    return A;
}

}  // namespace ZEMRA::Vibration::bench
