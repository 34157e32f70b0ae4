#pragma once

// Included by one source per instruction set; see zemra/matrix/lanes.h for what that forbids.

#include "zemra/eigen/qz_kernels.h"
#include "zemra/matrix/lanes.h"

namespace ZEMRA::Vibration {
namespace {

using Long = long long;

#define ZEMRA_INLINE inline __attribute__((always_inline))

ZEMRA_INLINE Lanes Same(Lanes, double x) { return Spread(x); }
ZEMRA_INLINE double Same(double, double x) { return x; }

template <typename V>
ZEMRA_INLINE void Reflect(const Reflection3& r, V& x, V& y, V& z) {
    const V t = x + Same(x, r.u1) * y + Same(x, r.u2) * z;
    x += t * Same(x, r.v0);
    y += t * Same(x, r.v1);
    z += t * Same(x, r.v2);
}

template <typename V>
ZEMRA_INLINE void Reflect(const Reflection2& r, V& x, V& y) {
    const V t = x + Same(x, r.u1) * y;
    x += t * Same(x, r.v0);
    y += t * Same(x, r.v1);
}

void ReflectRows3(const Reflection3& reflection, Long count, double* x, double* y, double* z) {
    const Reflection3 r = reflection;
    for (Long j = 0; j < count; j += kLanes) {
        Lanes a = Load(x + j), b = Load(y + j), c = Load(z + j);
        Reflect(r, a, b, c);
        Store(x + j, a);
        Store(y + j, b);
        Store(z + j, c);
    }
}

void ReflectRows2(const Reflection2& reflection, Long count, double* x, double* y) {
    const Reflection2 r = reflection;
    for (Long j = 0; j < count; j += kLanes) {
        Lanes a = Load(x + j), b = Load(y + j);
        Reflect(r, a, b);
        Store(x + j, a);
        Store(y + j, b);
    }
}

// As many columns of as many rows as there are lanes.
struct Block {
    Lanes c0, c1;
#ifdef __AVX2__
    Lanes c2, c3;
#endif

    // Exchanges rows and columns.
    ZEMRA_INLINE void Transpose() {
#ifdef __AVX2__
        const Lanes even01 = __builtin_shufflevector(c0, c1, 0, 4, 2, 6);
        const Lanes odd01 = __builtin_shufflevector(c0, c1, 1, 5, 3, 7);
        const Lanes even23 = __builtin_shufflevector(c2, c3, 0, 4, 2, 6);
        const Lanes odd23 = __builtin_shufflevector(c2, c3, 1, 5, 3, 7);
        c0 = __builtin_shufflevector(even01, even23, 0, 1, 4, 5);
        c1 = __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5);
        c2 = __builtin_shufflevector(even01, even23, 2, 3, 6, 7);
        c3 = __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7);
#else
        const Lanes first = __builtin_shufflevector(c0, c1, 0, 2);
        c1 = __builtin_shufflevector(c0, c1, 1, 3);
        c0 = first;
#endif
    }
    static ZEMRA_INLINE Block From(const double* p, Long stride) {
        Block block;
        block.c0 = Load(p);
        block.c1 = Load(p + stride);
#ifdef __AVX2__
        block.c2 = Load(p + 2 * stride);
        block.c3 = Load(p + 3 * stride);
#endif
        block.Transpose();
        return block;
    }
    ZEMRA_INLINE void To(double* p, Long stride) {
        Transpose();
        Store(p, c0);
        Store(p + stride, c1);
#ifdef __AVX2__
        Store(p + 2 * stride, c2);
        Store(p + 3 * stride, c3);
#endif
    }
};

ZEMRA_INLINE Lanes Gather(const double* p, Long stride) {
    Lanes v{};
    for (Long l = 0; l < kLanes; ++l) v[l] = p[l * stride];
    return v;
}
ZEMRA_INLINE void Scatter(double* p, Long stride, Lanes v) {
    for (Long l = 0; l < kLanes; ++l) p[l * stride] = v[l];
}

// Two neighbouring columns.
struct ColumnPair {
    Lanes c0, c1;

    static ZEMRA_INLINE ColumnPair From(const double* p, Long stride) {
#ifdef __AVX2__
        const Lanes rows02 = Joined(p, p + 2 * stride);
        const Lanes rows13 = Joined(p + stride, p + 3 * stride);
        return {__builtin_shufflevector(rows02, rows13, 0, 4, 2, 6),
                __builtin_shufflevector(rows02, rows13, 1, 5, 3, 7)};
#else
        const Block block = Block::From(p, stride);
        return {block.c0, block.c1};
#endif
    }
    ZEMRA_INLINE void To(double* p, Long stride) const {
#ifdef __AVX2__
        const Lanes rows02 = __builtin_shufflevector(c0, c1, 0, 4, 2, 6);
        const Lanes rows13 = __builtin_shufflevector(c0, c1, 1, 5, 3, 7);
        Split(rows02, p, p + 2 * stride);
        Split(rows13, p + stride, p + 3 * stride);
#else
        Block block{c0, c1};
        block.To(p, stride);
#endif
    }

#ifdef __AVX2__
  private:
    static ZEMRA_INLINE Lanes Joined(const double* p, const double* q) {
        return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(p)), _mm_loadu_pd(q),
                                    1);
    }
    static ZEMRA_INLINE void Split(Lanes v, double* p, double* q) {
        _mm_storeu_pd(p, _mm256_castpd256_pd128(v));
        _mm_storeu_pd(q, _mm256_extractf128_pd(v, 1));
    }
#endif
};

// The columns that the next step finds, but for its last one.
template <typename V, bool kIsWide>
struct Window {
    V c0, c1;

    // Takes the last column and gives the one that is done with.
    ZEMRA_INLINE V Pass(const SweepStep& step, V next) {
        if (kIsWide) {
            Reflect(step.wide, next, c1, c0);
            Reflect(step.narrow, c1, c0);
            const V done = c0;
            c0 = c1;
            c1 = next;
            return done;
        }
        Reflect(step.narrow, next, c0);
        const V done = c0;
        c0 = next;
        return done;
    }
};

// Through as many steps as there are lanes; two at a time, whose operations overlap.
template <bool kIsWide>
ZEMRA_INLINE void PassBlocks(const SweepStep* steps, Window<Lanes, kIsWide>& inA, Block& a,
                             Window<Lanes, kIsWide>& inB, Block& b) {
    a.c0 = inA.Pass(steps[0], a.c0);
    b.c0 = inB.Pass(steps[0], b.c0);
    a.c1 = inA.Pass(steps[1], a.c1);
    b.c1 = inB.Pass(steps[1], b.c1);
#ifdef __AVX2__
    a.c2 = inA.Pass(steps[2], a.c2);
    b.c2 = inB.Pass(steps[2], b.c2);
    a.c3 = inA.Pass(steps[3], a.c3);
    b.c3 = inB.Pass(steps[3], b.c3);
#endif
}

template <bool kIsWide>
void SweepStrip(Long stride, double* a, double* b, Long count, const SweepStep* steps) {
    constexpr Long kAhead = kIsWide ? 2 : 1;
    const ColumnPair firstOfA = ColumnPair::From(a, stride);
    const ColumnPair firstOfB = ColumnPair::From(b, stride);
    Window<Lanes, kIsWide> inA{firstOfA.c0, firstOfA.c1};
    Window<Lanes, kIsWide> inB{firstOfB.c0, firstOfB.c1};
    Long k = 0;
    for (; k + kLanes <= count; k += kLanes) {
        Block ofA = Block::From(a + k + kAhead, stride);
        Block ofB = Block::From(b + k + kAhead, stride);
        PassBlocks(steps + k, inA, ofA, inB, ofB);
        ofA.To(a + k, stride);
        ofB.To(b + k, stride);
    }
    for (; k < count; ++k) {
        Scatter(a + k, stride, inA.Pass(steps[k], Gather(a + k + kAhead, stride)));
        Scatter(b + k, stride, inB.Pass(steps[k], Gather(b + k + kAhead, stride)));
    }
    if (kIsWide) {
        ColumnPair{inA.c0, inA.c1}.To(a + k, stride);
        ColumnPair{inB.c0, inB.c1}.To(b + k, stride);
    } else {
        Scatter(a + k, stride, inA.c0);
        Scatter(b + k, stride, inB.c0);
    }
}

// Takes four rows of two matrices through steps; the elements are those of the first step's
// column k.
void SweepRows(bool isWide, Long stride, double* a, double* b, Long count,
               const SweepStep* steps) {
    for (Long row = 0; row < 4; row += kLanes)
        if (isWide)
            SweepStrip<true>(stride, a + row * stride, b + row * stride, count, steps);
        else
            SweepStrip<false>(stride, a + row * stride, b + row * stride, count, steps);
}

// Gives the column that is done with and keeps the other for the next reflection.
template <typename V>
ZEMRA_INLINE V PassDown(const Reflection2& r, V& last, V previous) {
    Reflect(r, last, previous);
    const V done = last;
    last = previous;
    return done;
}

template <int kStrips>
ZEMRA_INLINE void PassBlocksDown(const Reflection2* r, Lanes (&last)[kStrips],
                                 Block (&blocks)[kStrips]) {
#ifdef __AVX2__
    for (int s = 0; s < kStrips; ++s) blocks[s].c3 = PassDown(r[0], last[s], blocks[s].c3);
    for (int s = 0; s < kStrips; ++s) blocks[s].c2 = PassDown(r[1], last[s], blocks[s].c2);
    for (int s = 0; s < kStrips; ++s) blocks[s].c1 = PassDown(r[2], last[s], blocks[s].c1);
    for (int s = 0; s < kStrips; ++s) blocks[s].c0 = PassDown(r[3], last[s], blocks[s].c0);
#else
    for (int s = 0; s < kStrips; ++s) blocks[s].c1 = PassDown(r[0], last[s], blocks[s].c1);
    for (int s = 0; s < kStrips; ++s) blocks[s].c0 = PassDown(r[1], last[s], blocks[s].c0);
#endif
}

// Several strips of as many rows as there are lanes, so that their reflections overlap.
template <int kStrips>
ZEMRA_INLINE void ReflectDownStrips(Long stride, double* const (&strips)[kStrips], Long count,
                                    const Reflection2* r) {
    Lanes last[kStrips];
    for (int s = 0; s < kStrips; ++s) last[s] = Gather(strips[s], stride);
    Long k = 0;
    for (; k + kLanes <= count; k += kLanes) {
        Block blocks[kStrips];
        for (int s = 0; s < kStrips; ++s)
            blocks[s] = Block::From(strips[s] - k - kLanes, stride);
        PassBlocksDown(r + k, last, blocks);
        for (int s = 0; s < kStrips; ++s) blocks[s].To(strips[s] - k - kLanes + 1, stride);
    }
    for (; k < count; ++k)
        for (int s = 0; s < kStrips; ++s)
            Scatter(strips[s] - k, stride,
                    PassDown(r[k], last[s], Gather(strips[s] - k - 1, stride)));
    for (int s = 0; s < kStrips; ++s) Scatter(strips[s] - k, stride, last[s]);
}

void ReflectDownRows(Long stride, double* a, double* b, Long nrows, Long count,
                     const Reflection2* r) {
    const Long step = kLanes * stride;
    Long row = 0;
    for (; row + 2 * kLanes <= nrows; row += 2 * kLanes) {
        double* const p = a + row * stride;
        double* const q = b + row * stride;
        if (b)
            ReflectDownStrips<4>(stride, {p, q, p + step, q + step}, count, r);
        else
            ReflectDownStrips<2>(stride, {p, p + step}, count, r);
    }
    for (; row < nrows; row += kLanes)
        if (b)
            ReflectDownStrips<2>(stride, {a + row * stride, b + row * stride}, count, r);
        else
            ReflectDownStrips<1>(stride, {a + row * stride}, count, r);
}

void ReflectDownColumns(Long nrows, Long stride, double* z, Long count, const Reflection2* r) {
    Long i = 0;
    for (; i + 4 * kLanes <= nrows; i += 4 * kLanes) {
        double* const p = z + i;
        Lanes last0 = Load(p), last1 = Load(p + kLanes);
        Lanes last2 = Load(p + 2 * kLanes), last3 = Load(p + 3 * kLanes);
        Long k = 0;
        for (; k < count; ++k) {
            double* const q = p - k * stride;
            Store(q, PassDown(r[k], last0, Load(q - stride)));
            Store(q + kLanes, PassDown(r[k], last1, Load(q + kLanes - stride)));
            Store(q + 2 * kLanes, PassDown(r[k], last2, Load(q + 2 * kLanes - stride)));
            Store(q + 3 * kLanes, PassDown(r[k], last3, Load(q + 3 * kLanes - stride)));
        }
        double* const q = p - k * stride;
        Store(q, last0);
        Store(q + kLanes, last1);
        Store(q + 2 * kLanes, last2);
        Store(q + 3 * kLanes, last3);
    }
    for (; i + kLanes <= nrows; i += kLanes) {
        Lanes last = Load(z + i);
        Long k = 0;
        for (; k < count; ++k)
            Store(z + i - k * stride, PassDown(r[k], last, Load(z + i - (k + 1) * stride)));
        Store(z + i - k * stride, last);
    }
    for (; i < nrows; ++i) {
        double last = z[i];
        Long k = 0;
        for (; k < count; ++k)
            z[i - k * stride] = PassDown(r[k], last, z[i - (k + 1) * stride]);
        z[i - k * stride] = last;
    }
}

void ReflectColumns(Long nrows, Long ncols, Long stride, double* m, const double* u,
                    double rho) {
    for (Long j = 0; j < ncols; j += 4 * kLanes) {
        Lanes t0{}, t1{}, t2{}, t3{};
        for (Long i = 0; i < nrows; ++i) {
            const double* const x = m + i * stride + j;
            const Lanes ui = Spread(u[i]);
            t0 += ui * Load(x);
            t1 += ui * Load(x + kLanes);
            t2 += ui * Load(x + 2 * kLanes);
            t3 += ui * Load(x + 3 * kLanes);
        }
        const Lanes divisor = Spread(rho);
        t0 = -t0 / divisor;
        t1 = -t1 / divisor;
        t2 = -t2 / divisor;
        t3 = -t3 / divisor;
        for (Long i = 0; i < nrows; ++i) {
            double* const x = m + i * stride + j;
            const Lanes ui = Spread(u[i]);
            Store(x, Load(x) + t0 * ui);
            Store(x + kLanes, Load(x + kLanes) + t1 * ui);
            Store(x + 2 * kLanes, Load(x + 2 * kLanes) + t2 * ui);
            Store(x + 3 * kLanes, Load(x + 3 * kLanes) + t3 * ui);
        }
    }
}

template <int N>
struct NumbersOf {
    using Type = double __attribute__((vector_size(4 * sizeof(double))));
};
template <>
struct NumbersOf<2> {
    using Type = double __attribute__((vector_size(2 * sizeof(double))));
};

// A reflection of three elements or two that is being made, in three parts: it takes a root and
// three divisions, one after the other, beside which other work can be done.
template <int N>
class Making {
  public:
    ZEMRA_INLINE Making(double x, double y, double z) {
        scale_ = __builtin_fabs(x) + __builtin_fabs(y);
        if (N == 3) scale_ += __builtin_fabs(z);
        if constexpr (N == 3)
            u_ = Numbers{x, y, z} / (scale_ - Numbers{});
        else
            u_ = Numbers{x, y} / (scale_ - Numbers{});
        Pin(u_);
    }
    ZEMRA_INLINE bool IsNone() const { return scale_ == 0.0; }
    ZEMRA_INLINE void Root() {
        const Numbers squares = u_ * u_;
        double sum = squares[0] + squares[1];
        if constexpr (N == 3) sum += squares[2];
        // Negative for a negative element, but not for −0; a branch would be guessed wrongly
        // too often.
        root_ = __builtin_copysign(__builtin_sqrt(sum), u_[0] + 0.0);
        Pin(root_);
    }
    ZEMRA_INLINE void Divide() {
        u_[0] += root_;
        v_ = -u_ / (root_ - Numbers{});
        Pin(v_);
    }
    ZEMRA_INLINE Reflection3 Finished() {
        if (IsNone()) return {};
        const Numbers u = v_ / (v_[0] - Numbers{});
        if constexpr (N == 3) return {u[1], u[2], v_[0], v_[1], v_[2]};
        return {u[1], 0.0, v_[0], v_[1], 0.0};
    }

  private:
    using Numbers = typename NumbersOf<N>::Type;
    double scale_, root_ = 0.0;
    Numbers u_, v_;

    // Has x computed here, not only where it is used.
    template <typename T>
    static ZEMRA_INLINE void Pin([[maybe_unused]] T& x) {
#ifdef __AVX2__
        __asm__ volatile("" : "+x"(x));
#endif
    }
};

// Takes the bulge down. A step is three reflections, each of which needs the one before: most
// of the time that takes is latency. So what the next one needs is done first, number by
// number, and all else, in pieces, between the parts of its making. No step reads what those
// before it do to the columns of z or of the rows above: there they come later, to the latter
// in strips of four rows and mostly four steps at a time.
template <int N>
class BulgeChase {
  public:
    explicit BulgeChase(const QzSweep& s) : s_(s), ld_(s.stride) {}

    void Run() {
        Long k = s_.l;
        Making<N> making(s_.start[0], s_.start[1], s_.start[2]);
        making.Root();
        making.Divide();
        for (Reflection3 rows = making.Finished(); k < s_.en; ++k) {
            const bool isLast = k + 1 == s_.en;
            if (making.IsNone()) {
                if (N == 2 || isLast) break;
                making = Making<N>(s_.a[(k + 1) * ld_ + k], s_.a[(k + 2) * ld_ + k],
                                   k + 3 <= s_.en ? s_.a[(k + 3) * ld_ + k] : 0.0);
                making.Root();
                making.Divide();
                QuarterOfStrips(k);
                StepOfZ(k);
            } else if (N == 3 && !isLast) {
                making = Step<3>(k, rows);
            } else {
                making = Step<2>(k, rows);
            }
            rows = making.Finished();
        }
        if (k == s_.l) return;
        FinishStrips(k);
        if (N == 3 && k < s_.en) return ColumnsOfZ<3>(k - 1);
        ColumnsOfZ<2>(k - 1);
    }

  private:
    const QzSweep& s_;
    Long ld_;

    // The rows from this one on are changed by step k at once. Steps 4·s − 1 … 4·s + 2 leave
    // out s strips.
    static Long FirstRowAtOnce(Long k) { return (k + 1) / 4 * 4; }

    // During step k a quarter of the strips above the four steps before it goes through those.
    void QuarterOfStrips(Long k) const { Quarter(FirstRowAtOnce(k) / 4 - 1, (k + 1) % 4); }
    void Quarter(Long strips, Long quarter) const {
        const Long first = s_.firstRow / 4, count = strips - first;
        if (count > 0)
            Strips(4 * strips - 1, 4 * strips + 3, first + count * quarter / 4,
                   first + count * (quarter + 1) / 4);
    }
    void FinishStrips(Long end) const {
        const Long strips = FirstRowAtOnce(end - 1) / 4;
        for (Long quarter = end % 4 + 1; quarter < 4; ++quarter) Quarter(strips - 1, quarter);
        Strips(4 * strips - 1, end, s_.firstRow / 4, strips);
    }
    void Strips(Long begin, Long end, Long strip, Long endOfStrips) const {
        if (begin < s_.l) begin = s_.l;
        if (begin >= end) return;
        for (; strip < endOfStrips; ++strip)
            SweepRows(N == 3, ld_, s_.a + 4 * strip * ld_ + begin,
                      s_.b + 4 * strip * ld_ + begin, end - begin, s_.steps + (begin - s_.l));
    }

    // During step k z goes through the one before.
    ZEMRA_INLINE void StepOfZ(Long k) const {
        if (k > s_.l) ColumnsOfZ<N>(k - 1);
    }
    template <int M>
    ZEMRA_INLINE void ColumnsOfZ(Long k) const {
        const SweepStep step = s_.steps[k - s_.l];
        const Long stride = s_.strideOfZ;
        double *const x = s_.z + k * stride, *const y = x + stride, *const z = y + stride;
        const Long end = s_.rowsOfZ;
        Long i = 0;
        for (; i + kLanes <= end; i += kLanes) {
            Lanes xi = Load(x + i), yi = Load(y + i);
            if constexpr (M == 3) {
                Lanes zi = Load(z + i);
                Reflect(step.wide, zi, yi, xi);
                Store(z + i, zi);
            }
            Reflect(step.narrow, yi, xi);
            Store(x + i, xi);
            Store(y + i, yi);
        }
        for (int l = 0; l < kLanes - 1; ++l, ++i) {  // or a compiler prepares for long loops
            if (i >= end) break;
            if constexpr (M == 3) Reflect(step.wide, z[i], y[i], x[i]);
            Reflect(step.narrow, y[i], x[i]);
        }
    }

    // Gives the last row's element: what is read back from memory comes late.
    template <int M>
    ZEMRA_INLINE double ReflectColumn(const Reflection3& r, double* x) const {
        double* const y = x + ld_;
        double* const z = y + ld_;
        double t = x[0] + r.u1 * y[0];
        if (M == 3) t += r.u2 * z[0];
        const double end = M == 3 ? z[0] + t * r.v2 : y[0] + t * r.v1;
        x[0] += t * r.v0;
        if (M == 3) y[0] += t * r.v1;
        (M == 3 ? z : y)[0] = end;
        return end;
    }
    // Elements of a row, x[M − 1] first.
    template <int M>
    static ZEMRA_INLINE void ReflectRow(const Reflection3& r, double* x) {
        double t = x[M - 1] + r.u1 * x[M - 2];
        if (M == 3) t += r.u2 * x[0];
        x[M - 1] += t * r.v0;
        x[M - 2] += t * r.v1;
        if (M == 3) x[0] += t * r.v2;
    }
    template <int M>
    ZEMRA_INLINE void ReflectRowsFrom(const Reflection3& r, Long j, double* x) const {
        if (j > s_.lastColumn) return;
        if (M == 3)
            ReflectRows3(r, s_.lastColumn + 1 - j, x + j, x + ld_ + j, x + 2 * ld_ + j);
        else
            ReflectRows2({r.u1, r.v0, r.v1}, s_.lastColumn + 1 - j, x + j, x + ld_ + j);
    }

    // Columns from the M-th on to where vectors begin.
    template <int M>
    ZEMRA_INLINE void ReflectColumnsTo(Long near, const Reflection3& r, double* x) const {
        for (int j = M; j < 6; ++j) {  // or a compiler prepares for long loops
            if (j >= near) break;
            ReflectColumn<M>(r, x + j);
        }
    }
    // Row k and those above it down to the first.
    template <int M>
    ZEMRA_INLINE void ReflectRowsAbove(Long count, const Reflection3& r, double* x) const {
        for (int i = 0; i < 3; ++i) {
            if (i >= count) break;
            ReflectRow<M>(r, x - i * ld_);
        }
    }

    // Step k, whose reflection of rows is given, up to the next one that is being made.
    template <int M>
    ZEMRA_INLINE Making<N> Step(Long k, const Reflection3& rows) {
        double *const rowOfA = s_.a + k * ld_, *const rowOfB = s_.b + k * ld_;
        double *const a = rowOfA + k, *const b = rowOfB + k;
        // Where vectors begin, behind the columns that this step changes.
        const Long far = (k + 6) / 4 * 4;
        const Long near = (far <= s_.lastColumn ? far : s_.lastColumn + 1) - k;
        const Long above = k + 1 - FirstRowAtOnce(k);
        const Long below = s_.en - k;
        const auto reflectNearOfA = [&] {
            for (int j = 0; j < M; ++j) ReflectColumn<M>(rows, a + j);
            if (k != s_.l) {
                ReflectColumn<M>(rows, a - 1);
                a[ld_ - 1] = 0.0;
                if (M == 3) a[2 * ld_ - 1] = 0.0;
            }
        };
        SweepStep& step = s_.steps[k - s_.l];

        double y[M];
        for (int j = 0; j < M; ++j) y[j] = ReflectColumn<M>(rows, b + j);
        if constexpr (M == 3) {
            double* const row = b + 2 * ld_;
            Making<3> making(y[2], y[1], y[0]);
            reflectNearOfA();
            making.Root();
            ReflectColumnsTo<M>(near, rows, b);
            ReflectRowsFrom<M>(rows, far, rowOfB);
            making.Divide();
            const Reflection3 wide = making.Finished();
            step.wide = wide;
            ReflectRow<3>(wide, row);
            row[0] = row[1] = 0.0;
            ReflectRow<3>(wide, b + ld_);
            y[0] = b[ld_];
            y[1] = b[ld_ + 1];
        }
        double* const row = b + ld_;
        Making<2> making(y[1], y[0], 0.0);
        if constexpr (M == 3) {
            const Reflection3 wide = step.wide;
            for (int i = 1; i <= 3; ++i) {
                if (i > below) break;
                ReflectRow<3>(wide, a + i * ld_);
            }
            ReflectRowsAbove<3>(above, wide, a);
            ReflectRowsAbove<3>(above, wide, b);
        } else {
            reflectNearOfA();
        }
        making.Root();
        if constexpr (M == 2) {
            ReflectColumnsTo<M>(near, rows, b);
            ReflectRowsFrom<M>(rows, far, rowOfB);
        }
        QuarterOfStrips(k);
        making.Divide();
        const Reflection3 narrow = making.Finished();
        step.narrow = {narrow.u1, narrow.v0, narrow.v1};
        double x[3] = {};
        for (int i = 1; i <= N; ++i) {
            if (i > below) break;
            ReflectRow<2>(narrow, a + i * ld_);
            x[i - 1] = a[i * ld_];
        }
        Making<N> next(x[0], x[1], x[2]);
        ReflectRowsAbove<2>(above, narrow, a);
        ReflectRowsAbove<2>(above, narrow, b);
        ReflectRow<2>(narrow, row);
        row[0] = 0.0;
        next.Root();
        ReflectColumnsTo<M>(near, rows, a);
        ReflectRowsFrom<M>(rows, far, rowOfA);
        StepOfZ(k);
        next.Divide();
        return next;
    }
};

void ChaseBulge(const QzSweep& sweep) {
    if (sweep.isDouble)
        BulgeChase<3>(sweep).Run();
    else
        BulgeChase<2>(sweep).Run();
}

constexpr QzKernels kQzKernels = {ReflectRows2, ChaseBulge, ReflectDownRows, ReflectDownColumns,
                                  ReflectColumns};

#undef ZEMRA_INLINE

}  // namespace
}  // namespace ZEMRA::Vibration
