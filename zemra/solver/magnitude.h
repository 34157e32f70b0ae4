#pragma once

#include <cmath>

#include "zemra/matrix/matrix.h"

namespace ZEMRA::Vibration {

/// |x|.
inline double FABS(double x) { return std::fabs(x); }

/// a with its sign flipped when a and b have strictly opposite signs; a zero b keeps a.
inline double d_sign(double a, double b) {
    return (b < 0.0 && a > 0.0) || (b > 0.0 && a < 0.0) ? -a : a;
}

/// √(re² + im²), computed directly: overflows and underflows with the squares.
inline double MAG(const Complex& z) {
    return std::sqrt(z.real() * z.real() + z.imag() * z.imag());
}

/// The magnitude that pivots are chosen and judged by.
inline double Magnitude(double x) { return FABS(x); }
inline double Magnitude(const Complex& z) { return MAG(z); }

}  // namespace ZEMRA::Vibration
