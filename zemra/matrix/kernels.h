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

/// Divides by one complex number by Smith's formula, which does where all parts are of moderate
/// size. The bits are those of std::complex with a run-time library that uses it, too.
class SmithDivisor {
  public:
    explicit SmithDivisor(const Complex& d)
        : isSteep_(std::fabs(d.real()) < std::fabs(d.imag())) {
        const double large = isSteep_ ? d.imag() : d.real();
        const double small = isSteep_ ? d.real() : d.imag();
        ratio_ = small / large;
        denominator_ = small * ratio_ + large;
        isModerate_ = IsModerate(large) && (std::fabs(ratio_) >= kSmall || small == 0.0);
    }

    bool Takes(double re, double im) const {
        const double size = std::max(std::fabs(re), std::fabs(im));
        return isModerate_ && (IsModerate(size) || size == 0.0);
    }
    /// (re + j·im) over it, of what it takes.
    double Real(double re, double im) const {
        return (isSteep_ ? re * ratio_ + im : im * ratio_ + re) / denominator_;
    }
    double Imaginary(double re, double im) const {
        return (isSteep_ ? im * ratio_ - re : im - re * ratio_) / denominator_;
    }

  private:
    bool isSteep_, isModerate_;
    double ratio_, denominator_;

    static constexpr double kSmall = 1e-100, kLarge = 1e100;
    static bool IsModerate(double x) {
        return std::fabs(x) >= kSmall && std::fabs(x) <= kLarge;
    }
};

/// The quotient a/b; a complex one by Smith's formula where it does.
inline Complex Quotient(const Complex& a, const Complex& b) {
    const SmithDivisor divisor(b);
    const double re = a.real(), im = a.imag();
    return divisor.Takes(re, im) ? Complex(divisor.Real(re, im), divisor.Imaginary(re, im))
                                 : a / b;
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
