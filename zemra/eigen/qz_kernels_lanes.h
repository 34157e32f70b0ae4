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

    ZEMRA_INLINE void PassBlock(const SweepStep* steps, Block& block) {
        block.c0 = Pass(steps[0], block.c0);
        block.c1 = Pass(steps[1], block.c1);
#ifdef __AVX2__
        block.c2 = Pass(steps[2], block.c2);
        block.c3 = Pass(steps[3], block.c3);
#endif
    }
};

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
        inA.PassBlock(steps + k, ofA);
        inB.PassBlock(steps + k, ofB);
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

void SweepRows(bool isWide, Long stride, double* a, double* b, Long count,
               const SweepStep* steps) {
    for (Long row = 0; row < 4; row += kLanes)
        if (isWide)
            SweepStrip<true>(stride, a + row * stride, b + row * stride, count, steps);
        else
            SweepStrip<false>(stride, a + row * stride, b + row * stride, count, steps);
}

// Two vectors of rows, so that their steps overlap.
template <bool kIsWide>
void SweepTwo(Long stride, double* z, Long count, const SweepStep* steps) {
    constexpr Long kAhead = kIsWide ? 2 : 1;
    double* const y = z + kLanes;
    Window<Lanes, kIsWide> inZ{Load(z), kIsWide ? Load(z + stride) : Lanes{}};
    Window<Lanes, kIsWide> inY{Load(y), kIsWide ? Load(y + stride) : Lanes{}};
    Long k = 0;
    for (; k < count; ++k) {
        Store(z + k * stride, inZ.Pass(steps[k], Load(z + (k + kAhead) * stride)));
        Store(y + k * stride, inY.Pass(steps[k], Load(y + (k + kAhead) * stride)));
    }
    Store(z + k * stride, inZ.c0);
    Store(y + k * stride, inY.c0);
    if (!kIsWide) return;
    Store(z + (k + 1) * stride, inZ.c1);
    Store(y + (k + 1) * stride, inY.c1);
}

// One vector of rows, or one row.
template <typename V>
ZEMRA_INLINE V Read(const double* p) {
    if constexpr (sizeof(V) == sizeof(double))
        return *p;
    else
        return Load(p);
}
ZEMRA_INLINE void Write(double* p, double x) { *p = x; }
ZEMRA_INLINE void Write(double* p, Lanes x) { Store(p, x); }

template <typename V, bool kIsWide>
void SweepOne(Long stride, double* z, Long count, const SweepStep* steps) {
    constexpr Long kAhead = kIsWide ? 2 : 1;
    Window<V, kIsWide> inZ{Read<V>(z), kIsWide ? Read<V>(z + stride) : V{}};
    Long k = 0;
    for (; k < count; ++k)
        Write(z + k * stride, inZ.Pass(steps[k], Read<V>(z + (k + kAhead) * stride)));
    Write(z + k * stride, inZ.c0);
    if (kIsWide) Write(z + (k + 1) * stride, inZ.c1);
}

template <bool kIsWide>
void SweepColumnsOf(Long nrows, Long stride, double* z, Long count, const SweepStep* steps) {
    Long i = 0;
    for (; i + 2 * kLanes <= nrows; i += 2 * kLanes)
        SweepTwo<kIsWide>(stride, z + i, count, steps);
    for (; i + kLanes <= nrows; i += kLanes)
        SweepOne<Lanes, kIsWide>(stride, z + i, count, steps);
    for (; i < nrows; ++i) SweepOne<double, kIsWide>(stride, z + i, count, steps);
}

void SweepColumns(bool isWide, Long nrows, Long stride, double* z, Long count,
                  const SweepStep* steps) {
    (isWide ? SweepColumnsOf<true> : SweepColumnsOf<false>)(nrows, stride, z, count, steps);
}

// Gives the column that is done with and keeps the other for the next reflection.
template <typename V>
ZEMRA_INLINE V PassDown(const Reflection2& r, V& last, V previous) {
    Reflect(r, last, previous);
    const V done = last;
    last = previous;
    return done;
}

ZEMRA_INLINE void PassBlockDown(const Reflection2* r, Lanes& last, Block& block) {
#ifdef __AVX2__
    block.c3 = PassDown(r[0], last, block.c3);
    block.c2 = PassDown(r[1], last, block.c2);
    block.c1 = PassDown(r[2], last, block.c1);
    block.c0 = PassDown(r[3], last, block.c0);
#else
    block.c1 = PassDown(r[0], last, block.c1);
    block.c0 = PassDown(r[1], last, block.c0);
#endif
}

template <bool kIsTwo>
void ReflectDownStrip(Long stride, double* a, double* b, Long count, const Reflection2* r) {
    Lanes ofA = Gather(a, stride), ofB{};
    if (kIsTwo) ofB = Gather(b, stride);
    Long k = 0;
    for (; k + kLanes <= count; k += kLanes) {
        Block blockA = Block::From(a - k - kLanes, stride), blockB;
        PassBlockDown(r + k, ofA, blockA);
        if (kIsTwo) {
            blockB = Block::From(b - k - kLanes, stride);
            PassBlockDown(r + k, ofB, blockB);
        }
        blockA.To(a - k - kLanes + 1, stride);
        if (kIsTwo) blockB.To(b - k - kLanes + 1, stride);
    }
    for (; k < count; ++k) {
        Scatter(a - k, stride, PassDown(r[k], ofA, Gather(a - k - 1, stride)));
        if (kIsTwo) Scatter(b - k, stride, PassDown(r[k], ofB, Gather(b - k - 1, stride)));
    }
    Scatter(a - k, stride, ofA);
    if (kIsTwo) Scatter(b - k, stride, ofB);
}

void ReflectDownRows(Long stride, double* a, double* b, Long count, const Reflection2* r) {
    for (Long row = 0; row < 4; row += kLanes)
        if (b)
            ReflectDownStrip<true>(stride, a + row * stride, b + row * stride, count, r);
        else
            ReflectDownStrip<false>(stride, a + row * stride, nullptr, count, r);
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

constexpr QzKernels kQzKernels = {ReflectRows3,  ReflectRows2,    SweepRows,
                                  SweepColumns,  ReflectDownRows, ReflectDownColumns,
                                  ReflectColumns};

#undef ZEMRA_INLINE

}  // namespace
}  // namespace ZEMRA::Vibration
