#pragma once

#include <algorithm>
#include <cmath>

#include "zemra/matrix/matrix.h"

namespace ZEMRA::Vibration {

/// Flat inner loops over contiguous storage; x and y do not overlap.
///
/// Complex products are written out in real and imaginary parts: the bits are those of
/// std::complex for finite values, without its test of every product for NaN.

/// The complex product a·b.
inline Complex Product(const Complex& a, const Complex& b) {
    return {a.real() * b.real() - a.imag() * b.imag(),
            a.real() * b.imag() + a.imag() * b.real()};
}
inline Complex Product(const Complex& a, double b) { return {a.real() * b, a.imag() * b}; }
inline Complex Product(double a, const Complex& b) { return {a * b.real(), a * b.imag()}; }
inline double Product(double a, double b) { return a * b; }

/// The complex quotient a/b, by Smith's formula where all parts are of moderate size. The bits
/// are those of std::complex with a run-time library that uses that, too.
inline Complex Quotient(const Complex& a, const Complex& b) {
    constexpr double kSmall = 1e-100, kLarge = 1e100;
    const auto isModerate = [](double x) { return x >= kSmall && x <= kLarge; };
    const bool isSteep = std::fabs(b.real()) < std::fabs(b.imag());
    const double large = isSteep ? b.imag() : b.real(), small = isSteep ? b.real() : b.imag();
    const double ratio = small / large;
    const double size = std::max(std::fabs(a.real()), std::fabs(a.imag()));
    if (!isModerate(std::fabs(large)) || !(std::fabs(ratio) >= kSmall || small == 0.0) ||
        !(isModerate(size) || size == 0.0))
        return a / b;
    const double denominator = small * ratio + large;
    return isSteep ? Complex((a.real() * ratio + a.imag()) / denominator,
                             (a.imag() * ratio - a.real()) / denominator)
                   : Complex((a.imag() * ratio + a.real()) / denominator,
                             (a.imag() - a.real() * ratio) / denominator);
}
inline double Quotient(double a, double b) { return a / b; }

/// y[j] += f·x[j], j = 0 … n−1.
template <typename F, typename X, typename Y>
void AddScaled(int n, F f, const X* __restrict x, Y* __restrict y) {
    for (int j = 0; j < n; ++j) y[j] += Product(f, x[j]);
}

/// y[j] −= f·x[j], j = 0 … n−1.
template <typename F, typename X, typename Y>
void SubtractScaled(int n, F f, const X* __restrict x, Y* __restrict y) {
    for (int j = 0; j < n; ++j) y[j] -= Product(f, x[j]);
}

/// y[j] = f·y[j], j = 0 … n−1.
template <typename T>
void Scale(int n, T f, T* __restrict y) {
    for (int j = 0; j < n; ++j) y[j] = Product(f, y[j]);
}

}  // namespace ZEMRA::Vibration
