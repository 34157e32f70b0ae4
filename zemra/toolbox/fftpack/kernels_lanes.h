#pragma once

// Included by one source per instruction set. Nothing here may be shared between them: all
// names are local to the including source, and of the standard library only types are used.
// Products are fused into sums where the set can: the transforms bear either rounding.

#include <cstddef>
#include <utility>

#ifdef __AVX2__
#include <immintrin.h>
#endif

#include "zemra/toolbox/fftpack/kernels.h"

namespace fftpack {
namespace {

using std::size_t;

/// One complex value, and two side by side.
using one = double __attribute__((vector_size(16)));
using two = double __attribute__((vector_size(32)));
#ifdef __AVX2__
using wide = two;
#else
using wide = one;
#endif

/// Doubles in a V.
template <typename V>
constexpr size_t kWidth = sizeof(V) / sizeof(double);

/// Complex values in a wide.
constexpr size_t kPlaces = kWidth<wide> / 2;

template <int N>
using sequence = std::make_integer_sequence<int, N>;
template <int... J>
using indices = std::integer_sequence<int, J...>;

// ---- Arithmetic
// ------------------------------------------------------------------------------

#define FFTPACK_INLINE [[gnu::always_inline]] inline

template <typename V>
FFTPACK_INLINE V load(const double* p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
template <typename V>
FFTPACK_INLINE void store(double* p, V v) {
    __builtin_memcpy(p, &v, sizeof v);
}
template <typename V>
FFTPACK_INLINE V spread(double x) {
    return x - V{};
}

/// Real and imaginary parts exchanged; the real parts, and the imaginary ones, in both places.
FFTPACK_INLINE one exchange(one z) { return __builtin_shufflevector(z, z, 1, 0); }
FFTPACK_INLINE one real_parts(one z) { return __builtin_shufflevector(z, z, 0, 0); }
FFTPACK_INLINE one imaginary_parts(one z) { return __builtin_shufflevector(z, z, 1, 1); }
/// (x, −x).
FFTPACK_INLINE one alternate(double x, one) { return one{x, -x}; }
/// The values in the opposite order.
FFTPACK_INLINE one reverse(one z) { return z; }
/// Values at p, p + distance, …
FFTPACK_INLINE one gather(const double* p, size_t /*distance*/, one) { return load<one>(p); }
/// Real values as complex ones.
FFTPACK_INLINE one load_real(const double* p, one) { return one{*p, 0.0}; }

FFTPACK_INLINE double multiply_add(double a, double b, double c) { return a * b + c; }

#ifdef __AVX2__

FFTPACK_INLINE two exchange(two z) { return __builtin_shufflevector(z, z, 1, 0, 3, 2); }
FFTPACK_INLINE two real_parts(two z) { return __builtin_shufflevector(z, z, 0, 0, 2, 2); }
FFTPACK_INLINE two imaginary_parts(two z) { return __builtin_shufflevector(z, z, 1, 1, 3, 3); }
FFTPACK_INLINE two alternate(double x, two) { return two{x, -x, x, -x}; }
FFTPACK_INLINE two reverse(two z) { return __builtin_shufflevector(z, z, 2, 3, 0, 1); }
FFTPACK_INLINE two gather(const double* p, size_t distance, two) {
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(load<one>(p)), load<one>(p + distance),
                                1);
}
FFTPACK_INLINE two load_real(const double* p, two) { return two{p[0], 0.0, p[1], 0.0}; }

FFTPACK_INLINE one multiply_add(one a, one b, one c) { return _mm_fmadd_pd(a, b, c); }
FFTPACK_INLINE two multiply_add(two a, two b, two c) { return _mm256_fmadd_pd(a, b, c); }
FFTPACK_INLINE one multiply_subtract(one a, one b, one c) { return _mm_fnmadd_pd(a, b, c); }
FFTPACK_INLINE two multiply_subtract(two a, two b, two c) { return _mm256_fnmadd_pd(a, b, c); }
FFTPACK_INLINE one rotate(one w, one z) {
    return _mm_fmsubadd_pd(real_parts(w), z, imaginary_parts(w) * exchange(z));
}
FFTPACK_INLINE two rotate(two w, two z) {
    return _mm256_fmsubadd_pd(real_parts(w), z, imaginary_parts(w) * exchange(z));
}

#else

/// a·b + c and c − a·b.
FFTPACK_INLINE one multiply_add(one a, one b, one c) { return a * b + c; }
FFTPACK_INLINE one multiply_subtract(one a, one b, one c) { return c - a * b; }
/// conj(w)·z.
FFTPACK_INLINE one rotate(one w, one z) {
    return real_parts(w) * z + imaginary_parts(w) * exchange(z) * one{1.0, -1.0};
}

#endif

/// a − i·b and a + i·b.
template <typename V>
FFTPACK_INLINE V add_quarter_back(V a, V b) {
    return multiply_add(exchange(b), alternate(1.0, V{}), a);
}
template <typename V>
FFTPACK_INLINE V add_quarter(V a, V b) {
    return multiply_subtract(exchange(b), alternate(1.0, V{}), a);
}
/// (c − i·s)·z.
template <typename V>
FFTPACK_INLINE V turn(double c, double s, V z) {
    return multiply_add(exchange(z), alternate(s, V{}), spread<V>(c) * z);
}

// ---- Roots of unity
// --------------------------------------------------------------------------

constexpr long double kHalfPi = 1.570796326794896619231321691639751442L;

/// (π/2)^k/k!.
constexpr double taylor(int k) {
    long double term = 1.0L;
    for (int i = 1; i <= k; ++i) term *= kHalfPi / i;
    return static_cast<double>(term);
}
constexpr double kHalfPiTail =
    static_cast<double>(kHalfPi - static_cast<long double>(taylor(1)));

/// Σ_i t^i·(±taylor(K + 2i)) for so many terms, the signs alternating.
template <int K, int Terms, typename V>
FFTPACK_INLINE V taylor_sum(V t) {
    if constexpr (Terms == 1)
        return spread<V>(taylor(K));
    else
        return multiply_subtract(t, taylor_sum<K + 2, Terms - 1>(t), spread<V>(taylor(K)));
}

/// e^(2πi·m/n) for the values m in both places of each complex lane: their quarter turns are
/// taken off exactly, and what is left, at most an eighth of a turn, goes through the Taylor
/// series of the sine or the cosine, whose remainders are below 5e-17.
template <typename V>
FFTPACK_INLINE V root(V m, double n) {
    // cos(2πm/n) is the sine of (4m + n)/n quarter turns, sin(2πm/n) that of 4m/n.
    const V shift = n * (spread<V>(0.5) + alternate(0.5, V{}));
    const V a = 4.0 * m + shift;
    constexpr double kToInteger = 6755399441055744.0;  // 1.5·2⁵²
    const V turns = (a / n + kToInteger) - kToInteger;
    const V y = (a - turns * n) / n;
    const V t = y * y;
    const V correction = y * multiply_subtract(t, taylor_sum<3, 7>(t), spread<V>(kHalfPiTail));
    const V sine = multiply_add(y, spread<V>(taylor(1)), correction);
    const V cosine = multiply_subtract(t, taylor_sum<2, 8>(t), spread<V>(1.0));
    const auto isOdd = (turns == 1.0) | (turns == 3.0) | (turns == 5.0);
    const V value = isOdd ? cosine : sine;
    return ((turns == 2.0) | (turns == 3.0)) ? -value : value;
}

/// The values first, first + 1 of the complex lanes, in both places of each.
FFTPACK_INLINE one count_from(double first, one) { return one{first, first}; }
#ifdef __AVX2__
FFTPACK_INLINE two count_from(double first, two) {
    return two{first, first, first + 1.0, first + 1.0};
}
#endif

void roots(size_t n, size_t count, double* table) {
    const double order = static_cast<double>(n);
    size_t k = 0;
    for (; k + kPlaces <= count; k += kPlaces)
        store(table + 2 * k, root(count_from(static_cast<double>(k), wide{}), order));
    for (; k < count; ++k)
        store(table + 2 * k, root(count_from(static_cast<double>(k), one{}), order));
}

// ---- Butterflies: z_k = Σ_j z_j·e^(−2πi·jk/radix), in place
// ----------------------------------

constexpr double kCos36 = 0.80901699437494742410, kSin36 = 0.58778525229247312917;
constexpr double kSin18 = 0.30901699437494742410, kCos18 = 0.95105651629515357212;
constexpr double kSin60 = 0.86602540378443864676, kCos45 = 0.70710678118654752440;
constexpr double kCos40 = 0.76604444311897803520, kSin40 = 0.64278760968653932632;
constexpr double kCos80 = 0.17364817766693034885, kSin80 = 0.98480775301220805937;
constexpr double kCos20 = 0.93969262078590838405, kSin20 = 0.34202014332566873304;

template <typename V>
FFTPACK_INLINE void butterfly2(V& z0, V& z1) {
    const V difference = z0 - z1;
    z0 = z0 + z1;
    z1 = difference;
}

template <typename V>
FFTPACK_INLINE void butterfly3(V& z0, V& z1, V& z2) {
    const V sum = z1 + z2, side = spread<V>(kSin60) * (z1 - z2);
    const V middle = multiply_subtract(spread<V>(0.5), sum, z0);
    z0 = z0 + sum;
    z1 = add_quarter_back(middle, side);
    z2 = add_quarter(middle, side);
}

template <typename V>
FFTPACK_INLINE void butterfly4(V& z0, V& z1, V& z2, V& z3) {
    const V even = z0 + z2, evenDifference = z0 - z2;
    const V odd = z1 + z3, oddDifference = z1 - z3;
    z0 = even + odd;
    z1 = add_quarter_back(evenDifference, oddDifference);
    z2 = even - odd;
    z3 = add_quarter(evenDifference, oddDifference);
}

// The fifth roots of unity are sin 18° ± i·cos 18° and −cos 36° ± i·sin 36°.
template <typename V>
FFTPACK_INLINE void butterfly5(V& z0, V& z1, V& z2, V& z3, V& z4) {
    const V c1 = spread<V>(kSin18), s1 = spread<V>(kCos18);
    const V c2 = spread<V>(-kCos36), s2 = spread<V>(kSin36);
    const V sum1 = z1 + z4, difference1 = z1 - z4;
    const V sum2 = z2 + z3, difference2 = z2 - z3;
    const V middle1 = multiply_add(c2, sum2, multiply_add(c1, sum1, z0));
    const V middle2 = multiply_add(c1, sum2, multiply_add(c2, sum1, z0));
    const V side1 = multiply_add(s2, difference2, s1 * difference1);
    const V side2 = multiply_subtract(s1, difference2, s2 * difference1);
    z0 = z0 + (sum1 + sum2);
    z1 = add_quarter_back(middle1, side1);
    z2 = add_quarter_back(middle2, side2);
    z3 = add_quarter(middle2, side2);
    z4 = add_quarter(middle1, side1);
}

// Two butterflies of four, of the even and of the odd places, and four of two.
template <typename V>
FFTPACK_INLINE void butterfly8(V* z) {
    butterfly4(z[0], z[2], z[4], z[6]);
    butterfly4(z[1], z[3], z[5], z[7]);
    const V even0 = z[0], even1 = z[2], even2 = z[4], even3 = z[6];
    const V odd0 = z[1], odd2 = z[5], h = spread<V>(kCos45);
    const V odd1 = h * add_quarter_back(z[3], z[3]), odd3 = h * add_quarter_back(-z[7], z[7]);
    z[0] = even0 + odd0;
    z[1] = even1 + odd1;
    z[2] = add_quarter_back(even2, odd2);
    z[3] = even3 + odd3;
    z[4] = even0 - odd0;
    z[5] = even1 - odd1;
    z[6] = add_quarter(even2, odd2);
    z[7] = even3 - odd3;
}

template <typename V>
FFTPACK_INLINE void butterfly9(V* z) {
    butterfly3(z[0], z[3], z[6]);
    butterfly3(z[1], z[4], z[7]);
    butterfly3(z[2], z[5], z[8]);
    z[4] = turn(kCos40, kSin40, z[4]);
    z[5] = turn(kCos80, kSin80, z[5]);
    z[7] = turn(kCos80, kSin80, z[7]);
    z[8] = turn(-kCos20, kSin20, z[8]);
    butterfly3(z[0], z[1], z[2]);
    butterfly3(z[3], z[4], z[5]);
    butterfly3(z[6], z[7], z[8]);
    const V z1 = z[1], z2 = z[2], z5 = z[5];  // line k + 3l stands at 3k + l
    z[1] = z[3];
    z[2] = z[6];
    z[3] = z1;
    z[5] = z[7];
    z[6] = z2;
    z[7] = z5;
}

template <int Radix, typename V>
FFTPACK_INLINE void butterfly(V* z) {
    if constexpr (Radix == 2) butterfly2(z[0], z[1]);
    if constexpr (Radix == 3) butterfly3(z[0], z[1], z[2]);
    if constexpr (Radix == 4) butterfly4(z[0], z[1], z[2], z[3]);
    if constexpr (Radix == 5) butterfly5(z[0], z[1], z[2], z[3], z[4]);
    if constexpr (Radix == 8) butterfly8(z);
    if constexpr (Radix == 9) butterfly9(z);
}

// ---- Passes
// ----------------------------------------------------------------------------------

template <typename V, int... J>
FFTPACK_INLINE void load_all(V* z, const double* x, size_t distance, indices<J...>) {
    ((z[J] = load<V>(x + J * distance)), ...);
}
template <typename V, int... J>
FFTPACK_INLINE void load_all_real(V* z, const double* x, size_t distance, indices<J...>) {
    ((z[J] = load_real(x + J * distance, V{})), ...);
}
template <typename V, int... J>
FFTPACK_INLINE void gather_all(V* z, const double* x, size_t distance, indices<J...>) {
    ((z[J] = gather(x + size_t{2} * J, distance, V{})), ...);
}
template <typename V, int... J>
FFTPACK_INLINE void store_all(double* y, size_t distance, const V* z, indices<J...>) {
    (store(y + J * distance, z[J]), ...);
}
template <typename V, int... J>
FFTPACK_INLINE void store_rotated(double* y, size_t distance, const V* z, const double* table,
                                  indices<J...>) {
    store(y, z[0]);
    (store(y + (J + 1) * distance, rotate(load<V>(table + J * kWidth<V>), z[J + 1])), ...);
}

/// One place, or as many as V holds, of a group.
template <typename V, int Radix>
FFTPACK_INLINE void column(const double* x, double* y, size_t inRow, size_t outRow,
                           const double* table) {
    V z[Radix];
    load_all(z, x, inRow, sequence<Radix>());
    butterfly<Radix>(z);
    store_rotated(y, outRow, z, table, sequence<Radix - 1>());
}
template <typename V, int Radix>
FFTPACK_INLINE void real_column(const double* x, double* y, size_t ido, const double* table) {
    V z[Radix];
    load_all_real(z, x, ido, sequence<Radix>());
    butterfly<Radix>(z);
    store_rotated(y, 2 * ido, z, table, sequence<Radix / 2>());
}
/// The only place of a group, or of as many groups as V holds.
template <typename V, int Radix>
FFTPACK_INLINE void last_column(const double* x, double* y, size_t outRow) {
    V z[Radix];
    gather_all(z, x, 2 * Radix, sequence<Radix>());
    butterfly<Radix>(z);
    store_all(y, outRow, z, sequence<Radix>());
}

template <int Radix>
void pass_of(size_t ido, size_t l1, const double* in, double* out, const double* table) {
    constexpr size_t kStep = kWidth<wide>;
    if (ido == 1) {
        size_t k = 0;
        for (; k + kPlaces <= l1; k += kPlaces)
            last_column<wide, Radix>(in + size_t{2} * Radix * k, out + 2 * k, 2 * l1);
        for (; k < l1; ++k)
            last_column<one, Radix>(in + size_t{2} * Radix * k, out + 2 * k, 2 * l1);
        return;
    }
    const size_t row = 2 * ido, whole = row - row % kStep;
    for (size_t k = 0; k < l1; ++k) {
        const double *const x = in + k * Radix * row, *w = table;
        double* const y = out + k * row;
        for (size_t i = 0; i < whole; i += kStep, w += (Radix - 1) * kStep)
            column<wide, Radix>(x + i, y + i, row, l1 * row, w);
        if (whole < row) column<one, Radix>(x + whole, y + whole, row, l1 * row, w);
    }
}

void pass(size_t radix, size_t ido, size_t l1, const double* in, double* out,
          const double* table) {
    switch (radix) {
        case 2:
            return pass_of<2>(ido, l1, in, out, table);
        case 3:
            return pass_of<3>(ido, l1, in, out, table);
        case 4:
            return pass_of<4>(ido, l1, in, out, table);
        case 5:
            return pass_of<5>(ido, l1, in, out, table);
        case 8:
            return pass_of<8>(ido, l1, in, out, table);
        default:
            return pass_of<9>(ido, l1, in, out, table);
    }
}

template <int Radix>
void real_pass_of(size_t ido, const double* in, double* out, const double* table) {
    size_t i = 0;
    for (; i + kPlaces <= ido; i += kPlaces, table += 2 * kPlaces * (Radix - 1))
        real_column<wide, Radix>(in + i, out + 2 * i, ido, table);
    for (; i < ido; ++i, table += size_t{2} * (Radix - 1))
        real_column<one, Radix>(in + i, out + 2 * i, ido, table);
}

void real_pass(size_t radix, size_t ido, const double* in, double* out, const double* table) {
    switch (radix) {
        case 3:
            return real_pass_of<3>(ido, in, out, table);
        case 5:
            return real_pass_of<5>(ido, in, out, table);
        default:
            return real_pass_of<9>(ido, in, out, table);
    }
}

// ---- Real values through half as many complex ones, and lines of a prime order
// ---------------

template <typename V>
FFTPACK_INLINE void unfold_lines(size_t half, size_t k, const double* z, double* lines,
                                 const double* table) {
    const size_t mirror = half - k - (kWidth<V> / 2 - 1);
    const V conjugate = alternate(0.5, V{});
    const V a = spread<V>(0.5) * load<V>(z + 2 * k);
    const V b = conjugate * reverse(load<V>(z + 2 * mirror));
    const V even = a + b, odd = rotate(load<V>(table + 2 * (k - 1)), a - b);
    store(lines + 2 * (k - 1), add_quarter_back(even, odd));
    store(lines + 2 * (mirror - 1), reverse(alternate(1.0, V{}) * add_quarter(even, odd)));
}

void unfold(size_t half, const double* z, double* lines, const double* table) {
    const size_t end = (half + 1) / 2;  // lines below it have a mirror of their own
    size_t k = 1;
    for (; k + kPlaces <= end; k += kPlaces) unfold_lines<wide>(half, k, z, lines, table);
    for (; k < end; ++k) unfold_lines<one>(half, k, z, lines, table);
    if (half % 2 == 0) {
        lines[half - 2] = z[half];
        lines[half - 1] = -z[half + 1];
    }
}

template <typename V>
FFTPACK_INLINE void sums_of_columns(size_t p, size_t columns, const double* terms,
                                    double* lines, const double* roots) {
    const V first = load<V>(terms);
    V total = first;
    for (size_t j = 1; j <= p / 2; ++j) total += load<V>(terms + j * columns);
    store(lines, total);
    for (size_t l = 1; l <= p / 2; ++l) {
        V cosines = first, sines{};
        size_t power = 0;  // l·j modulo p
        for (size_t j = 1; j <= p / 2; ++j) {
            power = power + l < p ? power + l : power + l - p;
            cosines = multiply_add(spread<V>(roots[2 * power]), load<V>(terms + j * columns),
                                   cosines);
            sines = multiply_add(spread<V>(roots[2 * power + 1]),
                                 load<V>(terms + (p - j) * columns), sines);
        }
        store(lines + l * columns, cosines);
        store(lines + (p - l) * columns, sines);
    }
}

void sums(size_t p, size_t columns, const double* terms, double* lines, const double* roots) {
    size_t c = 0;
    for (; c + kWidth<wide> <= columns; c += kWidth<wide>)
        sums_of_columns<wide>(p, columns, terms + c, lines + c, roots);
    for (; c + kWidth<one> <= columns; c += kWidth<one>)
        sums_of_columns<one>(p, columns, terms + c, lines + c, roots);
    for (; c < columns; ++c) sums_of_columns<double>(p, columns, terms + c, lines + c, roots);
}

template <typename V>
FFTPACK_INLINE void multiply_lines(size_t f, size_t mirror, const double* a, const double* b,
                                   const double* Z, double* result) {
    const V z = load<V>(Z + 2 * f), m = reverse(load<V>(Z + 2 * mirror));
    store(result + 2 * f,
          rotate(load<V>(a + 2 * f), alternate(1.0, V{}) * z) + rotate(load<V>(b + 2 * f), m));
}

void multiply_spectra(size_t n, const double* a, const double* b, const double* Z,
                      double* result) {
    multiply_lines<one>(0, 0, a, b, Z, result);
    size_t f = 1;
    for (; f + kPlaces <= n; f += kPlaces)
        multiply_lines<wide>(f, n - f - (kPlaces - 1), a, b, Z, result);
    for (; f < n; ++f) multiply_lines<one>(f, n - f, a, b, Z, result);
}

constexpr kernels kKernels = {kPlaces, roots, pass, real_pass, unfold, sums, multiply_spectra};

#undef FFTPACK_INLINE

}  // namespace
}  // namespace fftpack
