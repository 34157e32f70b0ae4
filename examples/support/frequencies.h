#pragma once

#include <algorithm>
#include <cmath>
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

}  // namespace Example
