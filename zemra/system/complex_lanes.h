#pragma once

// Included by one source per instruction set; see zemra/matrix/lanes.h for what that forbids.

#include "zemra/matrix/lanes.h"

namespace ZEMRA::Vibration {
namespace {

using Long = long long;

// U groups of lanes side by side, to have enough independent operations under way.
template <int U>
struct Z {
    Lanes re[U], im[U];

    static Z At(const double* p) {
        Z z;
        for (int u = 0; u < U; ++u) {
            z.re[u] = Load(p + u * kLanes);
            z.im[u] = Load(p + (U + u) * kLanes);
        }
        return z;
    }
    void Put(double* p) const {
        for (int u = 0; u < U; ++u) {
            Store(p + u * kLanes, re[u]);
            Store(p + (U + u) * kLanes, im[u]);
        }
    }
    /// Adds a·b.
    void Add(const Z& a, const Z& b) {
        for (int u = 0; u < U; ++u) {
            re[u] = MultiplyAdd(a.re[u], b.re[u], re[u]);
            im[u] = MultiplyAdd(a.re[u], b.im[u], im[u]);
            re[u] = MultiplySubtract(a.im[u], b.im[u], re[u]);
            im[u] = MultiplyAdd(a.im[u], b.re[u], im[u]);
        }
    }
    /// Subtracts a·b.
    void Subtract(const Z& a, const Z& b) {
        for (int u = 0; u < U; ++u) {
            re[u] = MultiplySubtract(a.re[u], b.re[u], re[u]);
            im[u] = MultiplySubtract(a.re[u], b.im[u], im[u]);
            re[u] = MultiplyAdd(a.im[u], b.im[u], re[u]);
            im[u] = MultiplySubtract(a.im[u], b.re[u], im[u]);
        }
    }
    Z Reciprocal() const {
        Z z;
        for (int u = 0; u < U; ++u) {
            const Lanes scale = 1.0 / (re[u] * re[u] + im[u] * im[u]);
            z.re[u] = re[u] * scale;
            z.im[u] = -im[u] * scale;
        }
        return z;
    }
    Z operator*(const Z& b) const {
        Z z{};
        z.Add(*this, b);
        return z;
    }
};

template <int U>
constexpr Long kNumbers = kLanes * 2 * U;  // of one Z

template <int U>
Z<U> SpreadAll(double x) {
    Z<U> z{};
    for (int u = 0; u < U; ++u) z.re[u] = Spread(x);
    return z;
}

}  // namespace
}  // namespace ZEMRA::Vibration
