#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

#include "zemra/zmapi.h"

namespace Example {

/// rad/s of a frequency in Hz.
inline double Angular(double hertz) { return 2.0 * std::numbers::pi * hertz; }

/// count >= 2 values from lowest to highest, evenly spaced on a logarithmic scale.
inline std::vector<double> LogSpaced(double lowest, double highest, std::size_t count) {
    std::vector<double> result(count);
    for (std::size_t k = 0; k < count; ++k) {
        const double t = static_cast<double>(k) / static_cast<double>(count - 1);
        result[k] = lowest * std::pow(highest / lowest, t);
    }
    return result;
}

/// Frequencies in Hz as the real vector of rad/s that a sweep takes.
inline ZmAPI_Matrix AngularVector(const std::vector<double>& hertz) {
    std::vector<double> w(hertz.size());
    std::transform(hertz.begin(), hertz.end(), w.begin(), Angular);
    return {static_cast<int>(w.size()), w.data()};
}

/// One output's response to one input over the frequencies of a sweep.
inline std::vector<std::complex<double>> Response(const ZmAPI_Matrix& sweep, int output,
                                                  int input) {
    std::vector<std::complex<double>> result;
    result.reserve(static_cast<std::size_t>(sweep.Size(0)));
    for (int k = 0; k < sweep.Size(0); ++k) {
        const ZmAPI_Complex h = sweep.ValueC(k, output, input);
        result.emplace_back(h.real(), h.imag());
    }
    return result;
}

inline std::vector<double> Magnitudes(const std::vector<std::complex<double>>& response) {
    std::vector<double> result(response.size());
    std::transform(response.begin(), response.end(), result.begin(),
                   [](const std::complex<double>& h) { return std::abs(h); });
    return result;
}

/// In degrees, from −180 to 180.
inline std::vector<double> Phases(const std::vector<std::complex<double>>& response) {
    std::vector<double> result(response.size());
    std::transform(
        response.begin(), response.end(), result.begin(),
        [](const std::complex<double>& h) { return std::arg(h) * 180.0 / std::numbers::pi; });
    return result;
}

}  // namespace Example
