#pragma once

#include <cmath>
#include <cstddef>

namespace fftpack {

/// A complex value as it lies in an interleaved array. Its product is written out: for finite
/// values the bits are those of std::complex, without the test of every product for NaN.
template <typename T>
struct pair {
    T re, im;
};

template <typename T>
inline pair<T> load(const T* p) {
    return {p[0], p[1]};
}
template <typename T>
inline void store(T* p, pair<T> z) {
    p[0] = z.re;
    p[1] = z.im;
}
template <typename T>
inline pair<T> operator+(pair<T> a, pair<T> b) {
    return {a.re + b.re, a.im + b.im};
}
template <typename T>
inline pair<T> operator-(pair<T> a, pair<T> b) {
    return {a.re - b.re, a.im - b.im};
}
template <typename T>
inline pair<T> operator*(T s, pair<T> z) {
    return {s * z.re, s * z.im};
}
template <typename T>
inline pair<T> conj(pair<T> z) {
    return {z.re, -z.im};
}
/// −i·z.
template <typename T>
inline pair<T> quarter_back(pair<T> z) {
    return {z.im, -z.re};
}
/// conj(w)·z, the twiddle of a forward transform.
template <typename T>
inline pair<T> rotate(const T* w, pair<T> z) {
    return {w[0] * z.re + w[1] * z.im, w[0] * z.im - w[1] * z.re};
}

/// y[i] += s·x[i], i = 0 … n−1; x and y do not overlap.
template <typename T>
inline void add_scaled(std::size_t n, T s, const T* __restrict x, T* __restrict y) {
    for (std::size_t i = 0; i < n; ++i) y[i] += s * x[i];
}

/// What the passes of radix 3 and 5, and the general one, multiply by.
template <typename T>
struct radix_constants {
    static T deg_as_rad(const T& deg) { return deg * std::atan(T(1)) / 45; }

    T two_pi = 8 * std::atan(T(1));
    T one_half = T(0.5);
    T sin_60 = std::sin(deg_as_rad(60));
    T sin_18 = std::sin(deg_as_rad(18));
    T cos_18 = std::cos(deg_as_rad(18));
    T sin_36 = std::sin(deg_as_rad(36));
    T cos_36 = std::cos(deg_as_rad(36));
};

/// Forward transforms of 2 to 5 values, z_k = Σ_j z_j·e^(−2πi·jk/radix), in place: the
/// arithmetic that the real and the complex passes of one radix share.
template <typename T>
inline void butterfly2(pair<T>& z0, pair<T>& z1) {
    const pair<T> difference = z0 - z1;
    z0 = z0 + z1;
    z1 = difference;
}

template <typename T>
inline void butterfly3(const radix_constants<T>& c, pair<T>& z0, pair<T>& z1, pair<T>& z2) {
    const pair<T> sum = z1 + z2;
    const pair<T> middle = z0 - c.one_half * sum;
    const pair<T> side = quarter_back(c.sin_60 * (z1 - z2));
    z0 = z0 + sum;
    z1 = middle + side;
    z2 = middle - side;
}

template <typename T>
inline void butterfly4(pair<T>& z0, pair<T>& z1, pair<T>& z2, pair<T>& z3) {
    const pair<T> even = z0 + z2, evenDifference = z0 - z2;
    const pair<T> odd = z1 + z3, oddDifference = quarter_back(z1 - z3);
    z0 = even + odd;
    z1 = evenDifference + oddDifference;
    z2 = even - odd;
    z3 = evenDifference - oddDifference;
}

// The fifth roots of unity are sin 18° ± i·cos 18° and −cos 36° ± i·sin 36°.
template <typename T>
inline void butterfly5(const radix_constants<T>& c, pair<T>& z0, pair<T>& z1, pair<T>& z2,
                       pair<T>& z3, pair<T>& z4) {
    const pair<T> sum1 = z1 + z4, sum2 = z2 + z3;
    const pair<T> difference1 = z1 - z4, difference2 = z2 - z3;
    const pair<T> middle1 = z0 + c.sin_18 * sum1 - c.cos_36 * sum2;
    const pair<T> middle2 = z0 - c.cos_36 * sum1 + c.sin_18 * sum2;
    const pair<T> side1 = quarter_back(c.cos_18 * difference1 + c.sin_36 * difference2);
    const pair<T> side2 = quarter_back(c.sin_36 * difference1 - c.cos_18 * difference2);
    z0 = z0 + sum1 + sum2;
    z1 = middle1 + side1;
    z2 = middle2 + side2;
    z3 = middle2 - side2;
    z4 = middle1 - side1;
}

}  // namespace fftpack
