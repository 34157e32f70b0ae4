#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <numeric>
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

/// The powers of e^(−2πi/n) in extended precision, as products out of two tables small enough
/// to stay in the cache.
class Roots {
  public:
    explicit Roots(std::size_t n) : fine_(std::min(n, kFine)), coarse_(n / kFine + 1) {
        const long double step = -2 * std::acos(-1.0L) / static_cast<long double>(n);
        for (std::size_t j = 0; j < fine_.size(); ++j)
            fine_[j] = std::polar(1.0L, step * static_cast<long double>(j));
        for (std::size_t j = 0; j < coarse_.size(); ++j)
            coarse_[j] = std::polar(1.0L, step * static_cast<long double>(j * kFine));
    }
    Extended operator()(std::size_t j) const {
        const Extended &a = coarse_[j / kFine], &b = fine_[j % kFine];
        return {a.real() * b.real() - a.imag() * b.imag(),
                a.real() * b.imag() + a.imag() * b.real()};
    }

  private:
    static constexpr std::size_t kFine = 1024;
    std::vector<Extended> fine_, coarse_;
};

/// X_k = Σ_j x_j·e^(−2πi·jk/n) at the lines k.
template <typename T>
std::vector<Extended> DefiningSum(const std::vector<T>& x,
                                  const std::vector<std::size_t>& lines) {
    const Roots root(x.size());
    std::vector<Extended> result;
    result.reserve(lines.size());
    for (const std::size_t k : lines) {
        long double re = 0, im = 0;
        std::size_t turn = 0;  // j·k modulo n
        for (const std::complex<double> v : x) {
            const Extended w = root(turn);
            re += v.real() * w.real() - v.imag() * w.imag();
            im += v.real() * w.imag() + v.imag() * w.real();
            turn += turn + k < x.size() ? k : k - x.size();
        }
        result.emplace_back(re, im);
    }
    return result;
}
/// All of them; of real samples those up to n/2.
template <typename T>
std::vector<Extended> DefiningSum(const std::vector<T>& x) {
    std::vector<std::size_t> lines(std::is_same_v<T, double> ? x.size() / 2 + 1 : x.size());
    std::iota(lines.begin(), lines.end(), 0U);
    return DefiningSum(x, lines);
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
