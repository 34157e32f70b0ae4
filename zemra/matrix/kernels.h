#pragma once

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
