#pragma once

#include <complex>

#include "zemra/api/zmapi_complex.h"

/// Core values as a host gets them.

inline ZmAPI_Complex ToHost(const std::complex<double>& z) { return {z.real(), z.imag()}; }

/// An angular frequency in rad/s as a frequency in Hz.
inline double ToCycles(double w) { return w * 0.5 / 3.141592653589793; }

/// An eigenvalue, in rad/s or with both parts in cycles per second.
inline ZmAPI_Complex ToHost(const std::complex<double>& lambda, bool cycles) {
    if (!cycles) return ToHost(lambda);
    return {ToCycles(lambda.real()), ToCycles(lambda.imag())};
}
