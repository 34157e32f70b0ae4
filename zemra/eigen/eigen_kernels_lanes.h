#pragma once

// Included by one source per instruction set; see zemra/matrix/lanes.h for what that forbids.

#include "zemra/eigen/eigen_kernels.h"
#include "zemra/matrix/lanes.h"

namespace ZEMRA::Vibration {
namespace {

using Long = long long;

// ---- QR iteration ------------------------------------------------------------------------

// The elementary reflector I − (x, y, z)ᵀ·(1, q, r); z and r are 0 for one of order 2.
struct Reflector {
    double x, y, z, q, r;
};

// Of rows: (a, b, c) := (a, b, c)ᵀ − (x, y, z)ᵀ·(a + q·b + r·c).
template <typename T>
inline void ReflectRows(T x, T y, T z, T q, T r, T& a, T& b, T& c) {
    const T p = a + q * b + r * c;
    a -= p * x;
    b -= p * y;
    c -= p * z;
}
template <typename T>
inline void ReflectColumns(T x, T y, T z, T q, T r, T& a, T& b, T& c) {
    const T p = x * a + y * b + z * c;
    a -= p;
    b -= p * q;
    c -= p * r;
}

// Four rows of as many columns, of leading dimension ld, as there are lanes.
inline void LoadRows(const double* p, Long ld, Lanes& a, Lanes& b, Lanes& c, Lanes& d) {
#ifdef __AVX2__
    const auto two = [](const double* low, const double* high) {
        return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)),
                                    _mm_loadu_pd(high), 1);
    };
    const __m256d even = two(p, p + 2 * ld), odd = two(p + ld, p + 3 * ld),
                  evenBelow = two(p + 2, p + 2 * ld + 2),
                  oddBelow = two(p + ld + 2, p + 3 * ld + 2);
    a = _mm256_unpacklo_pd(even, odd);
    b = _mm256_unpackhi_pd(even, odd);
    c = _mm256_unpacklo_pd(evenBelow, oddBelow);
    d = _mm256_unpackhi_pd(evenBelow, oddBelow);
#else
    a = Lanes{p[0], p[ld]};
    b = Lanes{p[1], p[ld + 1]};
    c = Lanes{p[2], p[ld + 2]};
    d = Lanes{p[3], p[ld + 3]};
#endif
}
inline void StoreRows(double* p, Long ld, Lanes a, Lanes b, Lanes c, Lanes d) {
#ifdef __AVX2__
    const auto store = [ld](double* to, Lanes upper, Lanes lower) {
        const __m256d even = _mm256_unpacklo_pd(upper, lower),
                      odd = _mm256_unpackhi_pd(upper, lower);
        _mm_storeu_pd(to, _mm256_castpd256_pd128(even));
        _mm_storeu_pd(to + ld, _mm256_castpd256_pd128(odd));
        _mm_storeu_pd(to + 2 * ld, _mm256_extractf128_pd(even, 1));
        _mm_storeu_pd(to + 3 * ld, _mm256_extractf128_pd(odd, 1));
    };
    store(p, a, b);
    store(p + 2, c, d);
#else
    for (int l = 0; l < kLanes; ++l) {
        p[l * ld] = a[l];
        p[l * ld + 1] = b[l];
        p[l * ld + 2] = c[l];
        p[l * ld + 3] = d[l];
    }
#endif
}

// A reflector of order 3 in every lane. Rows are reflected several vectors at a time, step by
// step, because a processor can only keep so many operations waiting for their operands.
struct WideReflector {
    Lanes x, y, z, q, r;

    explicit WideReflector(const Reflector& v)
        : x(Spread(v.x)), y(Spread(v.y)), z(Spread(v.z)), q(Spread(v.q)), r(Spread(v.r)) {}

    template <int kVectors>
    void Rows(Lanes (&a)[kVectors], Lanes (&b)[kVectors], Lanes (&c)[kVectors]) const {
        Lanes p[kVectors];
        for (int i = 0; i < kVectors; ++i) p[i] = a[i] + q * b[i];
        for (int i = 0; i < kVectors; ++i) p[i] += r * c[i];
        for (int i = 0; i < kVectors; ++i) a[i] -= p[i] * x;
        for (int i = 0; i < kVectors; ++i) b[i] -= p[i] * y;
        for (int i = 0; i < kVectors; ++i) c[i] -= p[i] * z;
    }
    void Columns(Lanes& a, Lanes& b, Lanes& c) const { ReflectColumns(x, y, z, q, r, a, b, c); }
};
inline void Rows(const Reflector& v, double& a, double& b, double& c) {
    ReflectRows(v.x, v.y, v.z, v.q, v.r, a, b, c);
}
inline void Columns(const Reflector& v, double& a, double& b, double& c) {
    ReflectColumns(v.x, v.y, v.z, v.q, v.r, a, b, c);
}

// Reflectors are applied two at a time, so that an element is loaded and stored once for both.
// What the next one is made of is brought up to date before; its roots and divisions then run
// beside the bulk of earlier ones, a piece of which stands between their steps.
class Chase {
  public:
    explicit Chase(const QrSweep& s) : s_(s), ld_(s.ld) {}

    void Run() {
        double p = s_.p, q = s_.q, r = s_.r;
        if (s_.l != s_.m) At(s_.m, s_.m - 1) = -At(s_.m, s_.m - 1);
        Reflector first = MakeReflector(p, q, r, Length(p, q, r));
        Long k = s_.m;
        for (; k + 1 < s_.en - 1; k += 2) {
            Next next(*this, k + 1, Corner(k, first));
            Rows(first, At(k, k + 3), At(k + 1, k + 3), At(k + 2, k + 3));
            const Long third = (zRows_ + 2 * kLanes) / 3 / kLanes * kLanes;
            ColumnsOfZ(0, third);
            next.Root();
            ColumnsOfZ(third, 2 * third);
            const Reflector second = next.Finished();
            ColumnsOfZ(2 * third, zRows_);
            const Pair pair{first, second, WideReflector(first), WideReflector(second)};
            Next afterwards(*this, k + 2, Corner(k + 1, second));
            Columns(second, At(k, k + 1), At(k, k + 2), At(k, k + 3));
            RowsOfPair(k, pair);
            afterwards.Root();
            ColumnsOfPair(s_.h, k, s_.firstRow, k, pair);
            waiting_ = k;
            waitingPair_ = pair;
            first = afterwards.Finished();
            zRows_ = s_.z ? (s_.n + kLanes - 1) / kLanes * kLanes : 0;
        }
        ColumnsOfZ(0, zRows_);
        if (k < s_.en - 1) {
            Next last(*this, k + 1, Corner(k, first));
            for (Long j = k + 3; j <= s_.lastColumn; ++j)
                Rows(first, At(k, j), At(k + 1, j), At(k + 2, j));
            ColumnsOfOne(s_.h, k, s_.firstRow, k, first);
            if (s_.z) ColumnsOfOne(s_.z, k, 0, s_.n, first);
            last.Root();
            first = last.Finished();
        }
        Last(first);
    }

  private:
    const QrSweep& s_;
    Long ld_;
    struct Pair {
        Reflector first{}, second{};
        WideReflector wideFirst{first}, wideSecond{second};
    };
    // The pair of reflectors that Z has not seen yet, and its rows, none at first.
    Long waiting_ = 0, zRows_ = 0;
    Pair waitingPair_;

    using Quad = double __attribute__((vector_size(4 * sizeof(double))));

    double* Column(double* a, Long c) const { return a + c * ld_; }
    double& At(Long i, Long j) const { return s_.h[j * ld_ + i]; }

    static double Length(double p, double q, double r) {
        // Negative for a negative p, but not for −0; a branch would be guessed wrongly too
        // often.
        return __builtin_copysign(__builtin_sqrt(p * p + q * q + r * r), p + 0.0);
    }
    static Reflector MakeReflector(double p, double q, double r, double s) {
        p += s;
        const Quad tail = Quad{q, r, q, r} / Quad{p, p, s, s};  // one division for four
        return {p / s, tail[2], tail[3], tail[0], tail[1]};
    }

    struct Below {
        double p, q, r;
    };

    // Has x computed here, not only where it is used.
    static void Pin([[maybe_unused]] double& x) {
#ifdef __SSE2__
        __asm__ volatile("" : "+x"(x));
#endif
    }

    // The reflector that clears column k − 1 below row k, in three steps. One of zeros, which
    // changes nothing, when the column is clear.
    class Next {
      public:
        Next(const Chase& chase, Long k, const Below& below)
            : column_(&chase.At(k, k - 1)), p_(below.p), q_(below.q), r_(below.r) {
            scale_ = __builtin_fabs(p_) + __builtin_fabs(q_) + __builtin_fabs(r_);
            if (scale_ == 0.0) return;
            const Quad scaled = Quad{p_, q_, r_, 0.0} / (scale_ - Quad{});
            p_ = scaled[0];
            q_ = scaled[1];
            r_ = scaled[2];
            Pin(p_);
            Pin(q_);
            Pin(r_);
        }
        void Root() {
            s_ = Length(p_, q_, r_);
            Pin(s_);
        }
        Reflector Finished() {
            if (scale_ == 0.0) return {};
            column_[0] = -s_ * scale_;
            return MakeReflector(p_, q_, r_, s_);
        }

      private:
        double* column_;
        double p_, q_, r_, scale_, s_ = 0.0;
    };

    // Rows k … k + 3 of columns k … k + 2. What stands below row k in column k then is all that
    // the next reflector is made of.
    Below Corner(Long k, const Reflector& v) const {
        double *const a = &At(k, k), *const b = a + ld_, *const c = b + ld_;
        const bool isLast = k + 3 > s_.en;
        double a0 = a[0], a1 = a[1], a2 = a[2], a3 = isLast ? 0.0 : a[3];
        double b0 = b[0], b1 = b[1], b2 = b[2], b3 = isLast ? 0.0 : b[3];
        double c0 = c[0], c1 = c[1], c2 = c[2], c3 = isLast ? 0.0 : c[3];
        Rows(v, a0, a1, a2);
        Rows(v, b0, b1, b2);
        Rows(v, c0, c1, c2);
        Columns(v, a1, b1, c1);
        Columns(v, a2, b2, c2);
        Columns(v, a3, b3, c3);
        Columns(v, a0, b0, c0);
        a[0] = a0, a[1] = a1, a[2] = a2;
        b[0] = b0, b[1] = b1, b[2] = b2;
        c[0] = c0, c[1] = c1, c[2] = c2;
        if (isLast) return {a1, a2, 0.0};
        a[3] = a3, b[3] = b3, c[3] = c3;
        return {a1, a2, a3};
    }

    // Rows k … k + 3 behind column k + 3; also of the columns that fill up the last vector.
    void RowsOfPair(Long k, const Pair& pair) const {
        const WideReflector &v = pair.wideFirst, &w = pair.wideSecond;
        double* at = &At(k, k + 4);
        Long left = s_.lastColumn - (k + 3);
        for (; left > kLanes; left -= 2 * kLanes) at = RowTiles<2>(at, v, w);
        if (left > 0) RowTiles<1>(at, v, w);
    }
    template <int kTiles>
    double* RowTiles(double* at, const WideReflector& v, const WideReflector& w) const {
        Lanes a[kTiles], b[kTiles], c[kTiles], d[kTiles];
        for (int t = 0; t < kTiles; ++t)
            LoadRows(at + t * kLanes * ld_, ld_, a[t], b[t], c[t], d[t]);
        v.Rows(a, b, c);
        w.Rows(b, c, d);
        for (int t = 0; t < kTiles; ++t)
            StoreRows(at + t * kLanes * ld_, ld_, a[t], b[t], c[t], d[t]);
        return at + kTiles * kLanes * ld_;
    }

    void ColumnsOfZ(Long begin, Long end) const {
        if (begin < end) VectorsOfPair(s_.z, waiting_, begin, end, waitingPair_);
    }

    // Rows begin … end − 1 of columns k … k + 3, as many as go in vectors; returns the next
    // row.
    Long VectorsOfPair(double* matrix, Long k, Long begin, Long end, const Pair& pair) const {
        const WideReflector &v = pair.wideFirst, &w = pair.wideSecond;
        double *const a = Column(matrix, k), *const b = a + ld_, *const c = b + ld_,
                      *const d = c + ld_;
        Long i = begin;
        for (; i + kLanes <= end; i += kLanes) {
            Lanes ai = Load(a + i), bi = Load(b + i), ci = Load(c + i), di = Load(d + i);
            v.Columns(ai, bi, ci);
            w.Columns(bi, ci, di);
            Store(a + i, ai);
            Store(b + i, bi);
            Store(c + i, ci);
            Store(d + i, di);
        }
        return i;
    }

    void ColumnsOfPair(double* matrix, Long k, Long begin, Long end, const Pair& pair) const {
        Long i = VectorsOfPair(matrix, k, begin, end, pair);
        double *const a = Column(matrix, k), *const b = a + ld_, *const c = b + ld_,
                      *const d = c + ld_;
        for (int l = 0; l < kLanes - 1; ++l, ++i) {  // or a compiler prepares for long loops
            if (i >= end) break;
            Columns(pair.first, a[i], b[i], c[i]);
            Columns(pair.second, b[i], c[i], d[i]);
        }
    }

    void ColumnsOfOne(double* matrix, Long k, Long begin, Long end, const Reflector& v) const {
        double *const a = Column(matrix, k), *const b = a + ld_, *const c = b + ld_;
        for (Long i = begin; i < end; ++i) Columns(v, a[i], b[i], c[i]);
    }

    // The reflector of order 2, of rows and columns en − 1 and en.
    void Last(const Reflector& v) const {
        const Long k = s_.en - 1;
        for (Long j = k; j <= s_.lastColumn; ++j) {
            double* const c = &At(k, j);
            const double p = c[0] + v.q * c[1];
            c[0] -= p * v.x;
            c[1] -= p * v.y;
        }
        LastColumns(s_.h, s_.firstRow, s_.en + 1, v);
        if (s_.z) LastColumns(s_.z, 0, s_.n, v);
    }
    void LastColumns(double* matrix, Long begin, Long end, const Reflector& v) const {
        double *const a = Column(matrix, s_.en - 1), *const b = a + ld_;
        const Lanes x = Spread(v.x), y = Spread(v.y), q = Spread(v.q);
        Long i = begin;
        for (; i + kLanes <= end; i += kLanes) {
            const Lanes ai = Load(a + i), bi = Load(b + i), p = x * ai + y * bi;
            Store(a + i, ai - p);
            Store(b + i, bi - p * q);
        }
        for (; i < end; ++i) {
            const double p = v.x * a[i] + v.y * b[i];
            a[i] -= p;
            b[i] -= p * v.q;
        }
    }
};

void ChaseBulge(const QrSweep& sweep) { Chase(sweep).Run(); }

// ---- Hessenberg form ---------------------------------------------------------------------

// The first count ≤ kLanes elements; the other lanes are zero, or stay as they are in memory.
inline Lanes LoadFirst(const double* p, Long count) {
    if (count == kLanes) return Load(p);
    Lanes v{};
    for (int l = 0; l < kLanes - 1; ++l)
        if (l < count) v[l] = p[l];
    return v;
}
inline void StoreFirst(double* p, Lanes v, Long count) {
    if (count == kLanes) return Store(p, v);
    for (int l = 0; l < kLanes - 1; ++l)
        if (l < count) p[l] = v[l];
}

inline Lanes Counting() {
#ifdef __AVX2__
    return Lanes{0, 1, 2, 3};
#else
    return Lanes{0, 1};
#endif
}

class Eliminator {
  public:
    explicit Eliminator(const Elimination& s)
        : s_(s), n_(s.n), ld_(s.ld), m_(s.m), pivotRow_(s.work), partial_(s.work + s.ld) {}

    void Run() {
        for (Long i = m_ + 1; i < n_; ++i) pivotRow_[i] = s_.a[i * ld_ + m_];
        double sum = Target()[m_];
        for (Long i = m_ + 1; i <= s_.igh; ++i) {
            partial_[i] = sum;
            if (s_.y[i] != 0.0) sum += s_.y[i] * pivotRow_[i];
        }
        // Whole vectors, unless real rows follow.
        const Long rows =
            s_.igh + 1 == n_ ? (n_ + kLanes - 1) / kLanes * kLanes : Long{s_.igh} + 1;
        Long r = 0;
        for (; r + 4 * kLanes <= rows; r += 4 * kLanes) Strip<4>(r, kLanes);
        for (; r < rows; r += kLanes) Strip<1>(r, rows - r < kLanes ? rows - r : kLanes);
        for (Long c = s_.igh + 1; c < n_; ++c) ReduceColumn(c);
    }

  private:
    const Elimination& s_;
    Long n_, ld_, m_;
    double* pivotRow_;  // row m
    double* partial_;   // element m of column m, before column i is added to it

    double* Target() const { return s_.a + m_ * ld_; }

    // Vectors × lanes rows from row r on, only the first count of the last vector.
    template <int kVectors>
    void Strip(Long r, Long count) const {
        Lanes sums[kVectors], y[kVectors], index[kVectors];
        for (int v = 0; v < kVectors; ++v) {
            const Long at = r + v * kLanes;
            sums[v] = LoadFirst(Target() + at, count);
            y[v] = LoadFirst(s_.y + at, count);
            index[v] = Spread(static_cast<double>(at)) + Counting();
        }
        const Long end = r + kVectors * kLanes;
        Long i = m_ + 1;
        if (end <= m_ + 1) {
            for (; i <= s_.igh; ++i) Add<kVectors>(r, count, i, sums);
        } else if (r <= m_) {  // rows to m, which are not reduced, and rows below
            for (; i <= s_.igh; ++i) Reduce<kVectors, true>(r, count, i, y, index, sums);
        } else {
            for (; i < r; ++i) Reduce<kVectors, false, true>(r, count, i, y, index, sums);
            for (; i < end && i <= s_.igh; ++i)
                Reduce<kVectors, true>(r, count, i, y, index, sums);
            for (; i <= s_.igh; ++i) Reduce<kVectors, false>(r, count, i, y, index, sums);
        }
        for (int v = 0; v < kVectors; ++v)
            StoreFirst(Target() + r + v * kLanes, sums[v], count);
    }

    template <int kVectors>
    void Add(Long r, Long count, Long i, Lanes* sums) const {
        if (s_.y[i] == 0.0) return;
        const Lanes f = Spread(s_.y[i]);
        for (int v = 0; v < kVectors; ++v)
            sums[v] += f * LoadFirst(s_.a + i * ld_ + r + v * kLanes, count);
    }

    // Column i, which column m takes in before the rows below i are reduced in it. A mixed
    // strip has rows on both sides of i or of m.
    template <int kVectors, bool kMixed, bool kBelow = false>
    void Reduce(Long r, Long count, Long i, const Lanes* y, const Lanes* index,
                Lanes* sums) const {
        double* const column = s_.a + i * ld_ + r;
        const Lanes e = Spread(pivotRow_[i]), f = Spread(s_.y[i]);
        const bool adds = s_.y[i] != 0.0;
        const Lanes here = Spread(static_cast<double>(i)), m = Spread(static_cast<double>(m_));
        for (int v = 0; v < kVectors; ++v) {
            const Lanes given = LoadFirst(column + v * kLanes, count);
            Lanes reduced = given - e * y[v];
            if (kMixed) reduced = index[v] > m ? reduced : given;
            StoreFirst(column + v * kLanes, reduced, count);
            if (!adds) continue;
            if (kMixed) {
                const Lanes less = sums[v] - f * Spread(partial_[i]);
                sums[v] = index[v] == here ? less : sums[v];
            }
            const Lanes taken = kBelow   ? given
                                : kMixed ? (index[v] > here ? given : reduced)
                                         : reduced;
            sums[v] += f * taken;
        }
    }

    void ReduceColumn(Long c) const {
        double* const column = s_.a + c * ld_;
        const Lanes e = Spread(pivotRow_[c]);
        Long r = m_ + 1;
        for (; r + kLanes <= s_.igh + 1; r += kLanes)
            Store(column + r, Load(column + r) - e * Load(s_.y + r));
        for (; r <= s_.igh; ++r) column[r] -= pivotRow_[c] * s_.y[r];
    }
};

void Eliminate(const Elimination& step) { Eliminator(step).Run(); }

// ---- Products ----------------------------------------------------------------------------

constexpr Long kTileRows = 2 * kLanes;
constexpr Long kTileColumns = 4;
constexpr Long kPanel = 64;  // columns of B that are used while a strip of A is at hand

// The first count rows, packed, times kColumns columns of B.
template <int kColumns>
void MultiplyTile(Long ld, Long depth, Long count, const double* packed, const double* b,
                  double* c) {
    Lanes sums[2][kColumns] = {};
    for (Long k = 0; k < depth; ++k) {
        const Lanes first = Load(packed + k * kTileRows),
                    second = Load(packed + k * kTileRows + kLanes);
        for (int j = 0; j < kColumns; ++j) {
            const Lanes f = Spread(b[j * ld + k]);
            sums[0][j] += first * f;
            sums[1][j] += second * f;
        }
    }
    for (int j = 0; j < kColumns; ++j)
        for (int v = 0; v < 2 && v * kLanes < count; ++v)
            StoreFirst(c + j * ld + v * kLanes, sums[v][j],
                       count - v * kLanes < kLanes ? count - v * kLanes : kLanes);
}

// Packs the rows from i on of a whole tile, as many columns as go in vectors, and says how
// many.
Long Pack(const MatrixProduct& p, Long i, Long depth) {
    const Long ld = p.ld;
    Long k = 0;
    for (; k + 4 <= depth; k += 4)
        for (Long l = 0; l < kTileRows; l += kLanes) {
            double* const to = p.work + k * kTileRows + l;
            const double* const from = p.a + (p.aIsByRows ? (i + l) * ld + k : k * ld + i + l);
            Lanes column[4];
            if (p.aIsByRows)
                LoadRows(from, ld, column[0], column[1], column[2], column[3]);
            else
                for (Long c = 0; c < 4; ++c) column[c] = Load(from + c * ld);
            for (Long c = 0; c < 4; ++c) Store(to + c * kTileRows, column[c]);
        }
    return k;
}

void Multiply(const MatrixProduct& p) {
    const Long n = p.n, ld = p.ld, down = p.aIsByRows ? ld : 1, along = p.aIsByRows ? 1 : ld;
    const auto depthOf = [&p](Long first, Long end) {
        int depth = 0;
        for (Long j = first; j < end; ++j) depth = p.used[j] > depth ? p.used[j] : depth;
        return depth;
    };
    for (Long first = 0; first < n; first += kPanel) {
        const Long end = first + kPanel < n ? first + kPanel : n, depth = depthOf(first, end);
        for (Long i = 0; i < n; i += kTileRows) {
            const Long count = i + kTileRows < n ? kTileRows : n - i;
            Long k = 0;
            if (count == kTileRows) k = Pack(p, i, depth);
            for (; k < depth; ++k)
                for (Long l = 0; l < kTileRows; ++l)
                    p.work[k * kTileRows + l] =
                        l < count ? p.a[(i + l) * down + k * along] : 0.0;
            Long j = first;
            for (; j + kTileColumns <= end; j += kTileColumns)
                MultiplyTile<kTileColumns>(ld, depthOf(j, j + kTileColumns), count, p.work,
                                           p.b + j * ld, p.c + j * ld + i);
            for (; j < end; ++j)
                MultiplyTile<1>(ld, p.used[j], count, p.work, p.b + j * ld, p.c + j * ld + i);
        }
    }
}

// ---- Back-substitution -------------------------------------------------------------------

inline Lanes Magnitude(Lanes x) { return x < 0.0 ? -x : x; }
inline Lanes Larger(Lanes a, Lanes b) { return a > b ? a : b; }

// Complex numbers in lanes.
struct Wide {
    Lanes re, im;

    Lanes SumOfParts() const { return Magnitude(re) + Magnitude(im); }
    Lanes LargerPart() const { return Larger(Magnitude(re), Magnitude(im)); }
    Lanes Square() const { return re * re + im * im; }
};
inline Wide operator+(const Wide& a, const Wide& b) { return {a.re + b.re, a.im + b.im}; }
inline Wide operator-(const Wide& a, const Wide& b) { return {a.re - b.re, a.im - b.im}; }
inline Wide operator*(const Wide& a, const Wide& b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
inline Wide Choose(Mask mask, const Wide& a, const Wide& b) {
    return {mask ? a.re : b.re, mask ? a.im : b.im};
}

// Division as Quotient in zemra/matrix/kernels.h has it; bad becomes set where that leaves it
// to the general one.
class Divisor {
  public:
    Divisor(const Wide& d, Mask& bad) : isSteep_(Magnitude(d.re) < Magnitude(d.im)), bad_(bad) {
        const Lanes large = isSteep_ ? d.im : d.re, small = isSteep_ ? d.re : d.im;
        ratio_ = small / large;
        denominator_ = small * ratio_ + large;
        bad_ |= ~(IsModerate(Magnitude(large)) &
                  ((Magnitude(ratio_) >= kSmallPart) | (small == 0.0)));
    }
    Wide Divide(const Wide& a) const {
        const Lanes size = a.LargerPart();
        bad_ |= ~(IsModerate(size) | (size == 0.0));
        const Lanes first = isSteep_ ? a.im : a.re, second = isSteep_ ? a.re : a.im;
        const Lanes product = first * ratio_;
        return {(second * ratio_ + first) / denominator_,
                (isSteep_ ? product - second : second - product) / denominator_};
    }

  private:
    Mask isSteep_;
    Mask& bad_;
    Lanes ratio_, denominator_;

    static constexpr double kSmallPart = 1e-100, kLargePart = 1e100;
    static Mask IsModerate(Lanes x) { return (x >= kSmallPart) & (x <= kLargePart); }
};

// mat2x2<Complex>::Solve for one system in each lane, a in column order.
class BlockSolver {
  public:
    BlockSolver(const Wide (&a)[4], const Wide (&b)[2]) {
        const Wide determinant = a[0] * a[3] - a[1] * a[2];
        bad = ~(determinant.Square() > 1.0001e-50);
        const Divisor whole(determinant, bad);
        const Wide cramer[2] = {whole.Divide(b[0] * a[3] - b[1] * a[2]),
                                whole.Divide(b[1] * a[0] - a[1] * b[0])};
        const Lanes upper = a[0].Square(), lower = a[1].Square();
        const Mask isUpper = IsLarger(upper, lower);
        const Wide p2 = Choose(isUpper, a[2], a[3]), pb = Choose(isUpper, b[0], b[1]),
                   o1 = Choose(isUpper, a[1], a[0]), o2 = Choose(isUpper, a[3], a[2]),
                   ob = Choose(isUpper, b[1], b[0]);
        const Divisor pivot(Choose(isUpper, a[0], a[1]), bad);
        const Wide s = pivot.Divide(pb), t = pivot.Divide(p2);
        const Divisor second(o2 - t * o1, bad);
        const Wide x = second.Divide(ob - s * o1);
        const Wide gauss[2] = {s - x * t, x};
        const Mask takeGauss = IsLarger(Residual(a, b, cramer), Residual(a, b, gauss));
        for (int i = 0; i < 2; ++i) y[i] = Choose(takeGauss, gauss[i], cramer[i]);
        for (int i = 0; i < 2; ++i) {
            const Wide left = a[i] * y[0], right = a[i + 2] * y[1];
            const Lanes parts = left.LargerPart() + right.LargerPart() + b[i].LargerPart();
            residual[i] = (left + right - b[i]).SumOfParts();
            bad |= ~(residual[i] <= 0.5e-13 * parts);
        }
    }

    Wide y[2];
    Lanes residual[2];
    Mask bad;

  private:
    // Of two numbers whose roots are to be compared.
    Mask IsLarger(Lanes a, Lanes b) {
        const Mask larger = a > b * (1.0 + 1e-14);
        bad |= ~(larger | (a <= b));
        return larger;
    }
    static Lanes Residual(const Wide (&a)[4], const Wide (&b)[2], const Wide (&x)[2]) {
        const Wide first = b[0] - a[0] * x[0] - a[2] * x[1],
                   second = b[1] - a[1] * x[0] - a[3] * x[1];
        return (first * first + second * second).Square();
    }
};

template <int kRows>
void SumPairs(const PairRows& p) {
    constexpr int kVectors = kPairsWidth / static_cast<int>(kLanes);
    Lanes sum[kRows][kVectors] = {};
    for (Long m = p.j + 1; m <= p.last; ++m) {
        const double* const y = p.y + m * kPairsWidth;
        for (int v = 0; v < kVectors; ++v) {
            const Lanes ym = Load(y + v * kLanes);
            sum[0][v] += Spread(p.upper[m]) * ym;
            if (kRows == 2) sum[kRows - 1][v] += Spread(p.lower[m]) * ym;
        }
    }
    for (int i = 0; i < kRows; ++i)
        for (int v = 0; v < kVectors; ++v)
            Store(p.sums + Long{i} * kPairsWidth + v * kLanes, -sum[i][v]);
}

unsigned SolvePairs(const PairRows& p) {
    if (p.lower)
        SumPairs<2>(p);
    else
        SumPairs<1>(p);
    const Long upperRow = p.lower ? p.j - 1 : p.j;
    unsigned left = 0;
    for (Long e = p.firstPair / kLanes * kLanes; e < p.end; e += kLanes) {
        const auto load = [e](const double* at) {
            return Wide{Load(at + e), Load(at + kPairs + e)};
        };
        const Wide lambda = load(p.lambda), upper = load(p.sums);
        const auto shifted = [&lambda](double t) { return Wide{t - lambda.re, -lambda.im}; };
        const auto real = [](double t) { return Wide{Spread(t), Lanes{}}; };
        const Lanes index = Spread(static_cast<double>(e)) + Counting();
        const Mask active =
            (index >= static_cast<double>(p.firstPair)) & (index < static_cast<double>(p.end));
        Wide y[2];
        Lanes size, residual;
        Mask bad{};
        if (p.lower) {
            const Wide lower = load(p.sums + kPairsWidth);
            const BlockSolver solver({shifted(p.upper[p.j - 1]), real(p.lower[p.j - 1]),
                                      real(p.upper[p.j]), shifted(p.lower[p.j])},
                                     {upper, lower});
            y[0] = solver.y[0];
            y[1] = solver.y[1];
            size = Larger(y[0].LargerPart(), y[1].LargerPart());
            residual = Larger(solver.residual[0], solver.residual[1]);
            bad = solver.bad;
        } else {
            const Wide w = shifted(p.upper[p.j]);
            y[0] = Divisor(w, bad).Divide(upper);
            size = y[0].LargerPart();
            residual = (w * y[0] - upper).SumOfParts();
        }
        bad |= ~(size * 2.220446049250313e-16 * size <= 1.0) | ~(residual <= 1e300);
        const Mask stores = active & ~bad;
        const auto store = [&stores](double* at, Lanes x) { Store(at, stores ? x : Load(at)); };
        for (Long i = 0; i < (p.lower ? 2 : 1); ++i) {
            double* const to = p.y + (upperRow + i) * kPairsWidth + e;
            store(to, y[i].re);
            store(to + kPairs, y[i].im);
        }
        store(p.size + e, Larger(Load(p.size + e), size));
        store(p.residual + e, Larger(Load(p.residual + e), residual));
        const Mask again = active & bad;
        for (int l = 0; l < kLanes; ++l)
            if (again[l]) left |= 1U << (e + l);
    }
    return left;
}

// ------------------------------------------------------------------------------------------

constexpr EigenKernels kEigenKernels = {ChaseBulge, Eliminate, Multiply, SolvePairs};

}  // namespace
}  // namespace ZEMRA::Vibration
