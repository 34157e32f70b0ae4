#pragma once

// Included by one source per instruction set; see zemra/matrix/lanes.h for what that forbids.

#include "zemra/system/complex_lanes.h"
#include "zemra/system/modal_kernels_lanes.h"
#include "zemra/system/refinement_lanes.h"
#include "zemra/system/sweep_kernels.h"

namespace ZEMRA::Vibration {
namespace {

// ---- Reduction
// -------------------------------------------------------------------------------

// Twofold numbers in two arrays of one layout.
struct TwofoldArray {
    double* high;
    double* low;

    Twofold<Lanes> At(Long i) const { return {Load(high + i), Load(low + i)}; }
    void Put(Long i, const Twofold<Lanes>& x) const {
        Store(high + i, x.high);
        Store(low + i, x.low);
    }
    TwofoldArray From(Long i) const { return {high + i, low + i}; }
};

template <typename T>
Twofold<T> Product(const Twofold<T>& a, const Twofold<T>& b) {
    Twofold<T> product;
    product.AddProduct(a, b);
    return product;
}

// The sum over begin ≤ i < end, multiples of the lanes, of x[i]·v[i].
Twofold<double> Dot(Long begin, Long end, TwofoldArray x, TwofoldArray v) {
    Twofold<Lanes> sums[2];
    Long i = begin;
    for (; i + 2 * kLanes <= end; i += 2 * kLanes) {
        sums[0].AddProduct(x.At(i), v.At(i));
        sums[1].AddProduct(x.At(i + kLanes), v.At(i + kLanes));
    }
    if (i < end) sums[0].AddProduct(x.At(i), v.At(i));
    Twofold<double> dot;
    for (const auto& sum : sums)
        for (int l = 0; l < kLanes; ++l) dot.Add(sum.high[l], sum.low[l]);
    return dot;
}

// The reflector I − τ·v·vᵀ, v and τ = 2/(vᵀ·v) to twice the precision: so it is orthogonal, and
// so are the zeros zeros that it makes.
struct Reflector {
    Long begin;  // a multiple of the lanes; v is zero before its first row
    TwofoldArray v;
    Twofold<double> tau;
};

// Makes the reflector that turns rows first … n−1 of x into a multiple of their first. False
// when they are one already.
bool MakeReflector(int n, Long ld, int first, TwofoldArray x, TwofoldArray v, Reflector* out) {
    double largest = 0.0;
    for (int i = first + 1; i < n; ++i)
        largest = __builtin_fmax(largest, __builtin_fabs(x.high[i]));
    if (!(largest > 0.0)) return false;
    largest = __builtin_fmax(largest, __builtin_fabs(x.high[first]));
    int exponent = 0;
    __builtin_frexp(largest, &exponent);
    const double scale = __builtin_ldexp(1.0, exponent < -1000 ? 1000 : -exponent);
    Twofold<double> square;
    for (Long i = 0; i < ld; ++i) {
        Twofold<double> element;
        if (i >= first && i < n) {
            element.Add(x.high[i] * scale, 0.0);
            element.Add(x.low[i] * scale, 0.0);
        }
        square.AddProduct(element, element);
        v.high[i] = element.high;
        v.low[i] = element.low;
    }
    const double guess = __builtin_sqrt(square.high + square.low);
    square.AddProduct({guess, 0.0}, -guess);
    const double sign = __builtin_copysign(1.0, v.high[first]);
    Twofold<double> pivot{v.high[first], v.low[first]};
    pivot.Add(sign * guess, sign * (square.high + square.low) / (2.0 * guess));
    v.high[first] = pivot.high;
    v.low[first] = pivot.low;

    out->begin = first - first % kLanes;
    out->v = v;
    const Twofold<double> norm = Dot(out->begin, ld, v, v);
    const double tau = 2.0 / (norm.high + norm.low);
    Twofold<double> rest{2.0, 0.0};
    rest.AddProduct(norm, -tau);
    out->tau = {tau, (rest.high + rest.low) * tau * 0.5};
    return true;
}

// x := (I − τ·v·vᵀ)·x, one column.
void ReflectColumn(Long ld, const Reflector& r, TwofoldArray x) {
    const Twofold<double> z = Product(Dot(r.begin, ld, x, r.v), r.tau);
    const Twofold<Lanes> minusZ{Spread(-z.high), Spread(-z.low)};
    for (Long i = r.begin; i < ld; i += kLanes) {
        Twofold<Lanes> element = x.At(i);
        element.AddProduct(r.v.At(i), minusZ);
        x.Put(i, element);
    }
}

// A := A·(I − τ·v·vᵀ). y is scratch of ld.
void ReflectRows(int n, Long ld, const Reflector& r, int first, TwofoldArray a,
                 TwofoldArray y) {
    const auto v = [&](Long j) {
        return Twofold<Lanes>{Spread(r.v.high[j]), Spread(r.v.low[j])};
    };
    for (Long i = 0; i < ld; i += kLanes) y.Put(i, {});
    for (Long j = first; j < n; ++j) {
        const Twofold<Lanes> vj = v(j);
        const TwofoldArray column = a.From(j * ld);
        for (Long i = 0; i < ld; i += kLanes) {
            Twofold<Lanes> sum = y.At(i);
            sum.AddProduct(column.At(i), vj);
            y.Put(i, sum);
        }
    }
    const Twofold<Lanes> minusTau{Spread(-r.tau.high), Spread(-r.tau.low)};
    for (Long i = 0; i < ld; i += kLanes) y.Put(i, Product(minusTau, y.At(i)));
    for (Long j = first; j < n; ++j) {
        const Twofold<Lanes> vj = v(j);
        const TwofoldArray column = a.From(j * ld);
        for (Long i = 0; i < ld; i += kLanes) {
            Twofold<Lanes> element = column.At(i);
            element.AddProduct(y.At(i), vj);
            column.Put(i, element);
        }
    }
}

// Q := Q·(I − τ·v·vᵀ), in working precision: errors of Q are not magnified near a pole.
void ReflectBasis(int n, Long ld, const Reflector& r, int first, double* q) {
    for (Long i = 0; i < ld; i += kLanes) {
        Lanes sum{};
        for (Long j = first; j < n; ++j)
            sum = MultiplyAdd(Load(q + j * ld + i), Spread(r.v.high[j]), sum);
        sum *= r.tau.high;
        for (Long j = first; j < n; ++j)
            Store(q + j * ld + i,
                  MultiplySubtract(sum, Spread(r.v.high[j]), Load(q + j * ld + i)));
    }
}

void Reduce(int n, int leading, double* data, double* b, double* q, double* work) {
    const Long ld = leading;
    const TwofoldArray a{data, data + ld * n};
    const TwofoldArray y{work, work + ld}, v{work + 2 * ld, work + 3 * ld};
    double* const zeros = work + 4 * ld;
    for (Long i = 0; i < ld; ++i) zeros[i] = 0.0;
    for (int k = -1; k + 2 < n; ++k) {
        const int first = k + 1;
        const TwofoldArray x = k < 0 ? TwofoldArray{b, zeros} : a.From(k * ld);
        Reflector r;
        if (!MakeReflector(n, ld, first, x, v, &r)) continue;
        for (Long j = k < 0 ? 0 : k; j < n; ++j) ReflectColumn(ld, r, a.From(j * ld));
        ReflectRows(n, ld, r, first, a, y);
        ReflectBasis(n, ld, r, first, q);
    }
    for (Long j = 0; j < n; ++j)
        for (Long i = 0; i < n; ++i) {
            double *const high = a.high + j * ld + i, *const low = a.low + j * ld + i;
            Twofold<double> element;
            if (i <= j + 1) {
                element.Add(*high, 0.0);
                element.Add(*low, 0.0);
            }
            *high = element.high;
            *low = element.low;
        }
}

// ---- Hessenberg solution
// ---------------------------------------------------------------------

/// A fused multiply-add rounds less than a product and a sum, so the error bounds of the
/// rotations hold with it; no number below decides anything but the pivot handed out, and that
/// is judged with a wide margin.
template <int U>
class ReducedSolver {
    static constexpr int kPanel = 4;
    static constexpr Long N = kNumbers<U>;

  public:
    static Long Work(Long n, Long m, Long p) { return N * (n + p + kPanel + 1) * m; }

    explicit ReducedSolver(const SweepChunk& chunk)
        : s_(chunk),
          ld_(chunk.n + chunk.p),
          beside_(chunk.m - 1),
          column_(chunk.work),
          rhs_(column_ + N * ld_),
          x_(rhs_ + N * ld_ * beside_),
          squares_(x_ + N * kPanel * beside_) {
        for (int u = 0; u < U; ++u) {
            w_[u] = Load(s_.w + u * kLanes);
            distance_[u] = Spread(1e300);
        }
    }

    void Solve() {
        const Long n = s_.n;
        for (Long i = 0; i < ld_; ++i) {
            Z<U> z = SpreadAll<U>(s_.a[(n - 1) * ld_ + i]);
            if (i == n - 1)
                for (int u = 0; u < U; ++u) z.im[u] = w_[u];
            z.Put(column_ + N * i);
            for (Long j = 0; j < beside_; ++j)
                SpreadAll<U>(i < n ? s_.b[i * s_.m + j + 1] : 0.0).Put(Rhs(i, j));
        }
        for (Long j = 0; j < beside_ * U; ++j) Store(squares_ + j * kLanes, Lanes{});
        Long k = n - 1;
        for (; k % kPanel != 0; --k) beside_ ? Panel<1, true>(k) : Panel<1, false>(k);
        for (; k > 0; k -= kPanel) beside_ ? Panel<kPanel, true>(k) : Panel<kPanel, false>(k);
        Finish();
    }

  private:
    // Column k of j·w·I − A is [a; c] with the carried column, rotated with column k − 1 into
    // a column of the factor, zero left of its diagonal, and the next carried column.
    struct Rotation {
        Lanes re[U], im[U];  // of the carried column's element, over their common length
        Lanes real[U];       // of the subdiagonal element
    };

    const SweepChunk& s_;
    Long ld_;
    Long beside_;  // right-hand sides but the first, which stays zero below its first row
    double* column_;
    double* rhs_;
    double* x_;        // the elements of the panel's unknowns, [right-hand side][step]
    double* squares_;  // sums of the squares of all unknowns, [right-hand side]
    Lanes w_[U];
    Lanes distance_[U];
    Rotation rotation_[kPanel];

    double* Rhs(Long i, Long j) const { return rhs_ + N * (i * beside_ + j); }
    double* Unknown(Long j, Long step) const { return x_ + N * (j * kPanel + step); }

    // Takes row i through the rotations of the panel that begins at column k. The last one
    // meets the diagonal of its own new column where isDiagonal.
    template <int S, bool HasRhs, bool IsDiagonal>
    __attribute__((always_inline)) inline void TakeRow(Long k, Long i) const {
        Z<U> c = Z<U>::At(column_ + N * i);
        const double* const row = s_.a + i;
        [[maybe_unused]] Z<U> factor[S];
        for (int t = 0; t < S; ++t) {
            const Rotation& r = rotation_[t];
            const Lanes h = Spread(row[(k - 1 - t) * ld_]);
            const bool diagonal = IsDiagonal && t == S - 1;
            if constexpr (HasRhs)
                for (int u = 0; u < U; ++u) {
                    Lanes re = r.real[u] * h;
                    Lanes im = diagonal ? r.real[u] * w_[u] : Lanes{};
                    re = MultiplyAdd(r.re[u], c.re[u], re);
                    im = MultiplyAdd(r.re[u], c.im[u], im);
                    factor[t].re[u] = MultiplyAdd(r.im[u], c.im[u], re);
                    factor[t].im[u] = MultiplySubtract(r.im[u], c.re[u], im);
                }
            for (int u = 0; u < U; ++u) {
                Lanes re = r.re[u] * h, im = r.im[u] * h;
                if (diagonal) {
                    re = MultiplySubtract(r.im[u], w_[u], re);
                    im = MultiplyAdd(r.re[u], w_[u], im);
                }
                c.re[u] = MultiplySubtract(r.real[u], c.re[u], re);
                c.im[u] = MultiplySubtract(r.real[u], c.im[u], im);
            }
        }
        c.Put(column_ + N * i);
        if constexpr (HasRhs)
            for (int u = 0; u < U; ++u) {
                Long j = 0;
                for (; j + 2 <= beside_; j += 2) SubtractUnknowns<S, 2>(factor, u, i, j);
                if (j < beside_) SubtractUnknowns<S, 1>(factor, u, i, j);
            }
    }

    // Takes the unknowns of the panel's steps times their factors from J right-hand sides in
    // row i, in group u of the lanes: the factors of one group fit in registers.
    template <int S, int J>
    __attribute__((always_inline)) inline void SubtractUnknowns(const Z<U>* factor, int u,
                                                                Long i, Long j) const {
        const double* x = Unknown(j, 0) + u * kLanes;
        double* b = Rhs(i, j) + u * kLanes;
        Lanes re[J], im[J];
        for (int s = 0; s < J; ++s) {
            re[s] = Load(b + s * N);
            im[s] = Load(b + s * N + U * kLanes);
        }
        for (int t = 0; t < S; ++t)
            for (int s = 0; s < J; ++s) {
                const double* const xt = x + (s * kPanel + t) * N;
                const Lanes xRe = Load(xt), xIm = Load(xt + U * kLanes);
                re[s] = MultiplySubtract(factor[t].re[u], xRe, re[s]);
                im[s] = MultiplySubtract(factor[t].re[u], xIm, im[s]);
                re[s] = MultiplyAdd(factor[t].im[u], xIm, re[s]);
                im[s] = MultiplySubtract(factor[t].im[u], xRe, im[s]);
            }
        for (int s = 0; s < J; ++s) {
            Store(b + s * N, re[s]);
            Store(b + s * N + U * kLanes, im[s]);
        }
    }

    // The rotation of step t, at column k − t, and its unknowns.
    template <bool HasRhs>
    void MakeRotation(Long k, int t) {
        const Long row = k - t;
        const Z<U> c = Z<U>::At(column_ + N * row);
        const Lanes h = Spread(s_.a[(row - 1) * ld_ + row]);
        Lanes inverse[U];
        for (int u = 0; u < U; ++u) {
            Lanes square = h * h;
            square = MultiplyAdd(c.re[u], c.re[u], square);
            square = MultiplyAdd(c.im[u], c.im[u], square);
            const Lanes length = SquareRoot(square);
            NoteDistance(u, length);
            inverse[u] = 1.0 / length;
            rotation_[t].re[u] = c.re[u] * inverse[u];
            rotation_[t].im[u] = c.im[u] * inverse[u];
            rotation_[t].real[u] = h * inverse[u];
        }
        if constexpr (HasRhs)
            for (Long j = 0; j < beside_; ++j) {
                Z<U> x = Z<U>::At(Rhs(row, j));
                for (int u = 0; u < U; ++u) {
                    x.re[u] *= inverse[u];
                    x.im[u] *= inverse[u];
                }
                x.Put(Unknown(j, t));
                NoteUnknown(j, x);
            }
    }

    void NoteUnknown(Long j, const Z<U>& x) {
        for (int u = 0; u < U; ++u) {
            double* const square = squares_ + (j * U + u) * kLanes;
            Store(square,
                  MultiplyAdd(x.re[u], x.re[u], MultiplyAdd(x.im[u], x.im[u], Load(square))));
        }
    }

    void NoteDistance(int u, Lanes length) {
        distance_[u] = distance_[u] <= length ? distance_[u] : length;
    }

    template <int S, bool HasRhs>
    void Panel(Long k) {
        MakeRotation<HasRhs>(k, 0);
        if constexpr (S == 4) {
            TakeRow<1, HasRhs, true>(k, k - 1);
            MakeRotation<HasRhs>(k, 1);
            TakeRow<2, HasRhs, true>(k, k - 2);
            MakeRotation<HasRhs>(k, 2);
            TakeRow<3, HasRhs, true>(k, k - 3);
            MakeRotation<HasRhs>(k, 3);
        }
        TakeRow<S, HasRhs, true>(k, k - S);
        for (Long i = k - S - 1; i >= 0; --i) TakeRow<S, HasRhs, false>(k, i);
        for (Long i = s_.n; i < ld_; ++i) TakeRow<S, HasRhs, false>(k, i);
    }

    // The last unknown; then C·X is what was subtracted below the matrix.
    void Finish() {
        const Z<U> pivot = Z<U>::At(column_), inverse = pivot.Reciprocal();
        for (int u = 0; u < U; ++u)
            NoteDistance(u, SquareRoot(pivot.re[u] * pivot.re[u] + pivot.im[u] * pivot.im[u]));
        for (Long j = 0; j < s_.m; ++j) {
            const Z<U> x = inverse * (j == 0 ? SpreadAll<U>(s_.b[0]) : Z<U>::At(Rhs(0, j - 1)));
            if (j > 0) NoteSolution(j, x);
            for (Long i = 0; i < s_.p; ++i) {
                Z<U> h = x * Z<U>::At(column_ + N * (s_.n + i));
                if (j > 0) {
                    const Z<U> rest = Z<U>::At(Rhs(s_.n + i, j - 1));
                    for (int u = 0; u < U; ++u) {
                        h.re[u] -= rest.re[u];
                        h.im[u] -= rest.im[u];
                    }
                }
                h.Put(s_.h + N * (i * s_.m + j));
            }
        }
        for (int u = 0; u < U; ++u) Store(s_.distance + u * kLanes, distance_[u]);
    }

    // The rotations keep lengths: those of the unknowns are those of (j·w·I − A)⁻¹·b.
    void NoteSolution(Long j, const Z<U>& x) {
        NoteUnknown(j - 1, x);
        double square = 0.0;
        for (Long i = 0; i < s_.n; ++i) square += s_.b[i * s_.m + j] * s_.b[i * s_.m + j];
        for (int u = 0; u < U; ++u)
            NoteDistance(u, SquareRoot(square / Load(squares_ + ((j - 1) * U + u) * kLanes)));
    }
};

// ---- Dense solution
// --------------------------------------------------------------------------

// Elimination on [j·w·I − A, B] with the pivots and the roundings of FullPivot. Where A is made
// of simple numbers, as in a chain of equal masses, elimination rounds little and keeps its
// symmetries; a fused multiply-add would not, and was found ten times less accurate there. Each
// lane has pivots of its own, exchanged element by element where they differ; that is O(n²) in
// all. Elements that are known to be zero in all lanes are passed over.
class DenseSolver {
    static constexpr Long N = kNumbers<1>;
    static constexpr double kAbsoluteWeight = 1e3;

  public:
    static Long Work(Long n, Long m) { return N * n * (n + m) + kLanes * n; }

    explicit DenseSolver(const SweepChunk& chunk)
        : s_(chunk), width_(chunk.n + chunk.m), unknowns_(chunk.work + N * chunk.n * width_) {}

    void Solve() {
        Fill();
        Lanes smallest = Spread(1e300);
        for (Long k = 0; k < s_.n; ++k) {
            TakePivot(k, &smallest);
            Eliminate(k);
        }
        Store(s_.distance, smallest);
        BackSubstitute();
        Scatter();
        WriteResults();
    }

  private:
    const SweepChunk& s_;
    Long width_;
    double* unknowns_;  // which one each column belongs to, per lane

    double* At(Long i, Long j) const { return s_.work + N * (i * width_ + j); }
    // One flag for each element of row i: 0 where all lanes hold zero. Behind the elimination's
    // front alone; to its left stands what is no longer needed.
    unsigned char* Nonzero(Long i) const { return s_.nonzero + i * s_.stride; }

    void Fill() const {
        const Long ld = s_.n + s_.p;
        const Lanes w = Load(s_.w);
        for (Long i = 0; i < s_.n; ++i) {
            for (Long j = 0; j < s_.n; ++j) {
                SpreadAll<1>(s_.a[j * ld + i]).Put(At(i, j));
                Nonzero(i)[j] = s_.a[j * ld + i] != 0.0 || i == j;
            }
            Store(At(i, i) + kLanes, w);
            Store(unknowns_ + i * kLanes, Spread(static_cast<double>(i)));
            for (Long j = 0; j < s_.m; ++j)
                SpreadAll<1>(s_.b[i * s_.m + j]).Put(At(i, s_.n + j));
        }
    }

    // The length of the largest element of column k as it was given.
    Lanes LargestOf(Long k) const {
        const double* const column = s_.a + k * (s_.n + s_.p);
        const Lanes w = Load(s_.w);
        double largest = 0.0;
        for (Long i = 0; i < s_.n; ++i) {
            const double size = i == k ? 0.0 : __builtin_fabs(column[i]);
            largest = size > largest ? size : largest;
        }
        const Lanes diagonal = SquareRoot(column[k] * column[k] + w * w);
        return diagonal >= Spread(largest) ? diagonal : Spread(largest);
    }

    // The largest length so far, where it stands and whether that is in row k.
    struct Candidate {
        Lanes length, index, inRow;

        void Try(const Z<1>& z, Long i, double isInRow) {
            const Lanes other = SquareRoot(z.re[0] * z.re[0] + z.im[0] * z.im[0]);
            const Mask better = other > length;
            length = better ? other : length;
            index = better ? Spread(static_cast<double>(i)) : index;
            inRow = better ? Spread(isInRow) : inRow;
        }
    };

    void TakePivot(Long k, Lanes* smallest) const {
        Candidate best{Spread(-1.0), Spread(static_cast<double>(k)), Spread(0.0)};
        best.Try(Z<1>::At(At(k, k)), k, 0.0);
        for (Long i = k + 1; i < s_.n; ++i)
            if (Nonzero(i)[k]) best.Try(Z<1>::At(At(i, k)), i, 0.0);
        for (Long j = k + 1; j < s_.n; ++j)
            if (Nonzero(k)[j]) best.Try(Z<1>::At(At(k, j)), j, 1.0);

        const Lanes scaled = best.length * kAbsoluteWeight;
        const Lanes relative = best.length / LargestOf(k);
        const Lanes pivot = relative < scaled ? relative : scaled;
        *smallest = pivot < *smallest ? pivot : *smallest;
        bool agreed = true;
        for (int l = 1; l < kLanes; ++l)
            agreed &= best.index[l] == best.index[0] && best.inRow[l] == best.inRow[0];
        for (int l = 0; l < (agreed ? 1 : kLanes); ++l) {
            const Long other = static_cast<Long>(best.index[l]);
            if (other == k) continue;
            if (best.inRow[l] == 0.0)
                ExchangeRows(k, other, agreed, l);
            else
                ExchangeColumns(k, other, agreed, l);
        }
    }

    // In all lanes or in one; then the flags of the others stay true, too.
    void ExchangeRows(Long k, Long other, bool all, int lane) const {
        unsigned char *const flags = Nonzero(k), *const others = Nonzero(other);
        for (Long j = k; j < width_; ++j) {
            if (j < s_.n && !MergeFlags(flags + j, others + j, all)) continue;
            ExchangeElements(At(k, j), At(other, j), all, lane);
        }
    }
    void ExchangeColumns(Long k, Long other, bool all, int lane) const {
        for (Long i = 0; i < s_.n; ++i) {
            if (!MergeFlags(Nonzero(i) + k, Nonzero(i) + other, all)) continue;
            ExchangeElements(At(i, k), At(i, other), all, lane);
        }
        for (int l = all ? 0 : lane; l < (all ? kLanes : lane + 1); ++l)
            Swap(unknowns_ + k * kLanes + l, unknowns_ + other * kLanes + l);
    }

    // The flags of two elements that are exchanged in all lanes or in one. False when both
    // are zero.
    static bool MergeFlags(unsigned char* x, unsigned char* y, bool all) {
        const unsigned char both = *x | *y, old = *x;
        *x = all ? *y : both;
        *y = all ? old : both;
        return both != 0;
    }
    static void ExchangeElements(double* x, double* y, bool all, int lane) {
        if (!all) {
            Swap(x + lane, y + lane);
            Swap(x + kLanes + lane, y + kLanes + lane);
            return;
        }
        const Z<1> old = Z<1>::At(x);
        Z<1>::At(y).Put(x);
        old.Put(y);
    }
    static void Swap(double* x, double* y) {
        const double t = *x;
        *x = *y;
        *y = t;
    }

    static bool IsZero(const Z<1>& z) {
        for (int l = 0; l < kLanes; ++l)
            if (z.re[0][l] != 0.0 || z.im[0][l] != 0.0) return false;
        return true;
    }

    // z − f·x, rounded as Product is.
    static void Subtract(const Z<1>& f, const double* x, double* z) {
        const Z<1> y = Z<1>::At(x);
        Store(z, Load(z) - (f.re[0] * y.re[0] - f.im[0] * y.im[0]));
        Store(z + kLanes, Load(z + kLanes) - (f.re[0] * y.im[0] + f.im[0] * y.re[0]));
    }

    // Rows that hold a zero are skipped, which keeps banded state matrices cheap.
    void Eliminate(Long k) const {
        const Z<1> pivot = Z<1>::At(At(k, k));
        const Lanes square = pivot.re[0] * pivot.re[0] + pivot.im[0] * pivot.im[0];
        const Lanes re = pivot.re[0] / square, im = -pivot.im[0] / square;
        const unsigned char* const flags = Nonzero(k);
        const Long n = s_.n;
        Long count = 0;
        for (Long j = k + 1; j < width_; ++j) {
            if (j < n && !flags[j]) continue;
            s_.indices[count++] = static_cast<int>(j);
            const Z<1> z = Z<1>::At(At(k, j));
            Store(At(k, j), re * z.re[0] - im * z.im[0]);
            Store(At(k, j) + kLanes, re * z.im[0] + im * z.re[0]);
        }
        for (Long i = k + 1; i < n; ++i) {
            if (!Nonzero(i)[k]) continue;
            const Z<1> factor = Z<1>::At(At(i, k));
            if (IsZero(factor)) continue;
            if (count == width_ - (k + 1)) {
                SubtractRow(factor, count, At(k, k + 1), At(i, k + 1));
            } else {
                SubtractSparseRow(factor, count, s_.indices, At(k, 0), At(i, 0));
            }
            JoinFlags(flags, Nonzero(i));
        }
    }

    static void SubtractRow(const Z<1>& f, Long count, const double* x, double* z) {
        for (Long j = 0; j < count; ++j) Subtract(f, x + N * j, z + N * j);
    }
    static void SubtractSparseRow(const Z<1>& f, Long count, const int* indices,
                                  const double* x, double* z) {
        for (Long t = 0; t < count; ++t) Subtract(f, x + N * indices[t], z + N * indices[t]);
    }
    void JoinFlags(const unsigned char* from, unsigned char* to) const {
        for (Long j = 0; j < s_.stride; j += sizeof(Mask)) {
            Mask x, y;
            __builtin_memcpy(&x, from + j, sizeof x);
            __builtin_memcpy(&y, to + j, sizeof y);
            y |= x;
            __builtin_memcpy(to + j, &y, sizeof y);
        }
    }

    void BackSubstitute() const {
        for (Long k = s_.n - 1; k > 0; --k)
            for (Long i = 0; i < k; ++i) {
                if (!Nonzero(i)[k]) continue;
                const Z<1> factor = Z<1>::At(At(i, k));
                if (IsZero(factor)) continue;
                for (Long j = s_.n; j < width_; ++j) Subtract(factor, At(k, j), At(i, j));
            }
    }

    // Puts the unknowns in order, by way of the first column, which is no longer needed.
    void Scatter() const {
        for (Long j = 0; j < s_.m; ++j) {
            for (Long i = 0; i < s_.n; ++i)
                for (int l = 0; l < kLanes; ++l) {
                    double* const to = At(static_cast<Long>(unknowns_[i * kLanes + l]), 0) + l;
                    const double* const from = At(i, s_.n + j) + l;
                    to[0] = from[0];
                    to[kLanes] = from[kLanes];
                }
            for (Long i = 0; i < s_.n; ++i) Z<1>::At(At(i, 0)).Put(At(i, s_.n + j));
        }
    }

    void WriteResults() const {
        const Long ld = s_.n + s_.p;
        for (Long i = 0; i < (s_.p > 0 ? s_.p : s_.n); ++i)
            for (Long j = 0; j < s_.m; ++j) {
                Z<1> sum{};
                if (s_.p == 0) sum = Z<1>::At(At(i, s_.n + j));
                for (Long k = 0; s_.p > 0 && k < s_.n; ++k) {
                    const Z<1> x = Z<1>::At(At(k, s_.n + j));
                    const Lanes c = Spread(s_.a[k * ld + s_.n + i]);
                    sum.re[0] = MultiplyAdd(c, x.re[0], sum.re[0]);
                    sum.im[0] = MultiplyAdd(c, x.im[0], sum.im[0]);
                }
                sum.Put(s_.h + N * (i * s_.m + j));
            }
    }
};

constexpr int kGroups = 2;

const SweepKernels kSweepKernels = {
    Reduce,
    {[](const SweepChunk& chunk) { ReducedSolver<kGroups>(chunk).Solve(); }, kGroups* kLanes,
     [](int n, int m, int p) { return ReducedSolver<kGroups>::Work(n, m, p); }},
    {[](const SweepChunk& chunk) { RefinedSolver(chunk).Solve(); }, kLanes,
     [](int n, int, int) { return RefinedSolver::Work(n); }},
    {[](const SweepChunk& chunk) { DenseSolver(chunk).Solve(); }, kLanes,
     [](int n, int m, int) { return DenseSolver::Work(n, m); }},
    [](const ModalFunctionsInput& in, double* functions, double* size) {
        FunctionsOfModes<kModalGroups>(in).Compute(functions, size);
    },
    CombineModes<kModalGroups>,
    RespondByModes<kModalGroups>,
    kModalGroups* kLanes};

}  // namespace
}  // namespace ZEMRA::Vibration
