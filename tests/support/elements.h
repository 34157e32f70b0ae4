#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace ZEMRA::Vibration::tests {

/// A frequency-dependent element, from seeded random parameters, and what one would measure
/// of it: rows of divisor, frequency (Hz), magnitude, phase (degrees).
struct MeasuredElement {
    std::vector<double> p;     // K0, C0, K1, C1, K2, C2
    std::vector<double> rows;  // row by row

    int Points() const { return static_cast<int>(rows.size() / 4); }
    /// K0, C0, … of the definition, in its plain form.
    static std::complex<double> Stiffness(const std::vector<double>& p, double hertz) {
        const double w = 6.283185307179586 * hertz;
        const auto pair = [&](std::size_t i) {
            return std::complex<double>(p[i], w * p[i + 1]);
        };
        const std::complex<double> sum = pair(2) + pair(4);
        return pair(0) + (sum == 0.0 ? 0.0 : pair(2) * pair(4) / sum);
    }
    double Hertz(int j) const { return Row(j)[1]; }
    std::complex<double> Measured(int j) const {
        const double* const row = Row(j);
        return std::polar(row[2] / row[0], row[3] / 57.29577951308232);
    }
    const double* Row(int j) const { return rows.data() + 4 * static_cast<std::ptrdiff_t>(j); }
    /// Σ|H(p) − measured|², by the definition.
    double SquaredError(const std::vector<double>& q) const {
        double sum = 0;
        for (int j = 0; j < Points(); ++j)
            sum += std::norm(Stiffness(q, Hertz(j)) - Measured(j));
        return sum;
    }
    double SquaredStiffness() const {
        double sum = 0;
        for (int j = 0; j < Points(); ++j) sum += std::norm(Measured(j));
        return sum;
    }
};

/// free: one character a parameter, '1' for those that are not 0. 20 to 60 points over 1 to 3
/// decades, evenly or in equal ratios; the largest stiffness between 1 and 1e6. The noise is
/// the standard deviation of the relative error of a stiffness, normally distributed.
inline MeasuredElement RandomElement(const std::string& free, unsigned seed, double noise) {
    std::mt19937 generator(seed);
    const auto uniform = [&] { return static_cast<double>(generator() >> 1) / 0x1p31; };
    const auto decades = [&](double low, double high) {
        return std::pow(10, low + (high - low) * uniform());
    };
    const auto normal = [&] {
        const double radius = std::sqrt(-2 * std::log(1 - uniform()));
        return radius * std::cos(6.283185307179586 * uniform());
    };

    const int n = 20 + static_cast<int>(41 * uniform());
    const double first = decades(-1, 1), ratio = decades(1, 3);
    const bool even = uniform() < 0.5;
    std::vector<double> hertz;
    hertz.reserve(static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) {
        const double t = j / (n - 1.0);
        hertz.push_back(first * (even ? 1 + (ratio - 1) * t : std::pow(ratio, t)));
    }

    MeasuredElement element;
    // The dampers matter as much as the springs somewhere in the middle.
    const double middle = 6.283185307179586 * std::sqrt(hertz.front() * hertz.back());
    for (std::size_t i = 0; i < 6; ++i) {
        const double spring = decades(-1, 1), corner = middle * decades(-0.5, 0.5);
        element.p.push_back(free[i] == '0' ? 0 : i % 2 ? spring / corner : spring);
    }
    double largest = 0;
    for (const double f : hertz)
        largest = std::max(largest, std::abs(MeasuredElement::Stiffness(element.p, f)));
    const double wanted = decades(0, 6);
    for (double& x : element.p) x *= wanted / largest;

    const double divisor = decades(-1, 1);
    for (const double f : hertz) {
        std::complex<double> H = MeasuredElement::Stiffness(element.p, f);
        const double scatter = noise * std::abs(H) / std::sqrt(2.0);
        H += scatter * std::complex<double>(normal(), normal());
        element.rows.insert(element.rows.end(), {divisor, f, divisor * std::abs(H),
                                                 57.29577951308232 * std::arg(H)});
    }
    return element;
}

/// The free parameters of the identification's candidates.
inline std::vector<std::string> ElementFamilies() {
    return {"110000", "001001", "111001", "001011", "000111", "001111", "111111"};
}

}  // namespace ZEMRA::Vibration::tests
