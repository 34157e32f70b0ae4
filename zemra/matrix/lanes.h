#pragma once

// For the sources of kernels alone. Each is compiled for its own instruction set, so nothing
// here may be shared between them: all names are local to the including source, and no
// template or inline function of the standard library is called.

#ifdef __AVX2__
#include <immintrin.h>
#endif

namespace ZEMRA::Vibration {
namespace {

#ifdef __AVX2__
constexpr long long kLanes = 4;
#else
constexpr long long kLanes = 2;
#endif

/// So many doubles side by side; arithmetic and comparisons work lane by lane.
using Lanes = double __attribute__((vector_size(kLanes * sizeof(double))));

/// The lanes' comparison results, all ones or all zeros; selects as in mask ? a : b.
using Mask = decltype(Lanes() < Lanes());

inline Lanes Load(const double* p) {
    Lanes v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
inline void Store(double* p, Lanes v) { __builtin_memcpy(p, &v, sizeof v); }
inline Lanes Spread(double x) { return x - Lanes{}; }

inline Lanes SquareRoot(Lanes x) {
#ifdef __AVX2__
    return _mm256_sqrt_pd(x);
#else
    for (int l = 0; l < kLanes; ++l) x[l] = __builtin_sqrt(x[l]);
    return x;
#endif
}

/// a·b + c, rounded once where the instruction set can: whoever calls it bears either.
inline Lanes MultiplyAdd(Lanes a, Lanes b, Lanes c) {
#ifdef __AVX2__
    return _mm256_fmadd_pd(a, b, c);
#else
    return a * b + c;
#endif
}
/// c − a·b, the same.
inline Lanes MultiplySubtract(Lanes a, Lanes b, Lanes c) {
#ifdef __AVX2__
    return _mm256_fnmadd_pd(a, b, c);
#else
    return c - a * b;
#endif
}

/// The rounding error a·b − p of the product p = fl(a·b), exactly.
/// Dekker, Numer. Math. 18 (1971) 224–242, without a fused multiply-add.
template <typename T>
inline T ProductError(T a, T b, T p) {
    const T cutA = a * 134217729.0, cutB = b * 134217729.0;  // 2²⁷ + 1
    const T highA = cutA - (cutA - a), highB = cutB - (cutB - b);
    const T lowA = a - highA, lowB = b - highB;
    return lowA * lowB - (((p - highA * highB) - lowA * highB) - highA * lowB);
}
#ifdef __AVX2__
inline Lanes ProductError(Lanes a, Lanes b, Lanes p) { return _mm256_fmsub_pd(a, b, p); }
#endif

/// A number of twice the precision, the sum of a double and a small correction.
template <typename T>
struct Twofold {
    T high{}, low{};

    /// Adds a number and its correction.
    void Add(T x, T correction) {
        const T sum = high + x, back = sum - high;
        low += ((high - (sum - back)) + (x - back)) + correction;  // Knuth's exact error
        high = sum;
    }
    /// Adds a·b.
    void AddProduct(const Twofold& a, T b) {
        const T p = a.high * b;
        Add(p, ProductError(a.high, b, p) + a.low * b);
    }
    void AddProduct(const Twofold& a, const Twofold& b) {
        const T p = a.high * b.high;
        Add(p, ProductError(a.high, b.high, p) + (a.low * b.high + a.high * b.low));
    }
};

}  // namespace
}  // namespace ZEMRA::Vibration
