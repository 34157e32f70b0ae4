#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <type_traits>
#include <vector>

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration::tests {

using Extended = std::complex<long double>;

/// Of sample j of n, in the order of the windows.
inline double Weight(int window, int j, int n) {
    const double turn = 2 * std::numbers::pi * j / (n - 1),
                 side = (2.0 * j - (n - 1)) / (n + 1);
    const double weights[] = {1, 0.54 - 0.46 * std::cos(turn), 0.5 - 0.5 * std::cos(turn),
                              1 - std::abs(side), 1 - side * side};
    return weights[window];
}

/// X_k = Σ_j x_j·e^(−2πi·jk/n): of real samples the lines up to n/2.
template <typename T>
std::vector<Extended> DefiningSum(const std::vector<T>& x) {
    const std::size_t n = x.size();
    const long double step = -2 * std::acos(-1.0L) / static_cast<long double>(n);
    std::vector<Extended> roots(n), result(std::is_same_v<T, double> ? n / 2 + 1 : n);
    for (std::size_t j = 0; j < n; ++j)
        roots[j] = std::polar(1.0L, step * static_cast<long double>(j));
    for (std::size_t k = 0; k < result.size(); ++k)
        for (std::size_t j = 0; j < n; ++j) result[k] += Extended(x[j]) * roots[j * k % n];
    return result;
}

/// Takes off the line through the centre of gravity with the slope of least squares.
template <typename T>
void TakeOffLine(std::vector<T>& y) {
    const double centre = 0.5 * (static_cast<double>(y.size()) - 1);
    T mean{}, moment{};
    double inertia = 0;
    for (std::size_t j = 0; j < y.size(); ++j) {
        const double t = static_cast<double>(j) - centre;
        mean += y[j] / static_cast<double>(y.size());
        moment += t * y[j];
        inertia += t * t;
    }
    for (std::size_t j = 0; j < y.size(); ++j)
        y[j] -= mean + moment / inertia * (static_cast<double>(j) - centre);
}

/// The mean of |X_k|²/M over windowed segments; samples beyond the data are 0.
template <typename T>
std::vector<long double> DefinedDensity(const Matrix2D<T>& data, int column, int window,
                                        int length, int segments, int overlap) {
    std::vector<long double> density;
    for (int s = 0; s < segments; ++s) {
        const int start = s == segments - 1 ? data.Size(0) - length : (length - overlap) * s;
        std::vector<T> x(static_cast<std::size_t>(length));
        for (int j = 0; j < length; ++j)
            if (start + j >= 0 && start + j < data.Size(0))
                x[static_cast<std::size_t>(j)] =
                    data(start + j, column) * Weight(window, j, length);
        const std::vector<Extended> lines = DefiningSum(x);
        density.resize(lines.size());
        for (std::size_t k = 0; k < lines.size(); ++k)
            density[k] += std::norm(lines[k]) / length / segments;
    }
    return density;
}

}  // namespace ZEMRA::Vibration::tests
