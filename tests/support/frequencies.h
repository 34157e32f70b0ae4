#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration::tests {

using Frequencies = Matrix1D<double>;

inline Frequencies Vector(const std::vector<double>& w) {
    return Frequencies(static_cast<int>(w.size()), w.data());
}

/// n frequencies in equal ratios, half a step inside of both ends.
inline std::vector<double> LogSpaced(double from, double to, int n) {
    std::vector<double> w(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k)
        w[static_cast<std::size_t>(k)] = from * std::pow(to / from, (k + 0.5) / n);
    return w;
}

}  // namespace ZEMRA::Vibration::tests
