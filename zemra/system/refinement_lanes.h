#pragma once

// Included by one source per instruction set; see zemra/matrix/lanes.h for what that forbids.

#include "zemra/system/complex_lanes.h"
#include "zemra/system/sweep_kernels.h"

namespace ZEMRA::Vibration {
namespace {

// The rotations of the Hessenberg solution, kept together with the factor R = M·G of
// M = j·w·I − A, so that each correction costs a residual and two triangles' worth less.
class RefinedSolver {
    static constexpr Long N = kNumbers<1>;
    static constexpr int kCorrections = 4;

  public:
    static Long Work(Long n) { return N * (n * (n + 1) / 2 + 6 * n); }

    explicit RefinedSolver(const SweepChunk& chunk)
        : w_(Load(chunk.w)),
          s_(chunk),
          ld_(chunk.n + chunk.p),
          factor_(chunk.work),
          rotations_(factor_ + N * (s_.n * (s_.n + 1LL) / 2)),
          column_(rotations_ + 2 * N * s_.n),
          x_(column_ + N * s_.n),
          rest_(x_ + N * s_.n) {}

    void Solve() const {
        Factorise();
        Lanes moved{};
        for (Long j = 0; j < s_.m; ++j) {
            moved += Refine(j);
            Respond(j, s_.a, s_.h);
            ChangeInput(j);
            Respond(j, s_.aChanged, s_.hChanged);
        }
        Store(s_.distance, moved);
    }

  private:
    // Columns k − 1 and k of M become z·(k − 1) − real·(k) and real·(k − 1) + conj(z)·(k).
    struct Rotation {
        Z<1> z;
        Lanes real, inverse;  // inverse: of the factor's diagonal

        static Rotation At(const double* p) {
            return {Z<1>::At(p), Load(p + N), Load(p + N + kLanes)};
        }
        void Put(double* p) const {
            z.Put(p);
            Store(p + N, real);
            Store(p + N + kLanes, inverse);
        }
    };

    Lanes w_;
    const SweepChunk& s_;
    Long ld_;
    double* factor_;     // column k holds rows 0 … k
    double* rotations_;  // of columns k − 1 and k
    double* column_;
    double* x_;
    double* rest_;  // the residual, its high parts before its low ones; then the correction

    double* Factor(Long k) const { return factor_ + N * (k * (k + 1) / 2); }
    double* RotationAt(Long k) const { return rotations_ + 2 * N * k; }
    double* X(Long i) const { return x_ + N * i; }
    double* Rest(Long i) const { return rest_ + N * i; }
    double* Low(Long i) const { return rest_ + N * (s_.n + i); }

    // Element (i, k) of M.
    Z<1> M(Long i, Long k) const {
        return {{Spread(s_.a[k * ld_ + i])}, {i == k ? w_ : Lanes{}}};
    }

    void Factorise() const {
        for (Long i = 0; i < s_.n; ++i) M(i, s_.n - 1).Put(column_ + N * i);
        for (Long k = s_.n - 1; k > 0; --k) {
            const Z<1> last = Z<1>::At(column_ + N * k);
            const Lanes h = Spread(s_.a[(k - 1) * ld_ + k]);
            const Lanes inverse =
                1.0 / SquareRoot(MultiplyAdd(last.re[0], last.re[0],
                                             MultiplyAdd(last.im[0], last.im[0], h * h)));
            const Rotation r{
                {{last.re[0] * inverse}, {last.im[0] * inverse}}, h * inverse, inverse};
            r.Put(RotationAt(k));
            for (Long i = 0; i < k; ++i) Rotate(r, M(i, k - 1), i, Factor(k));
        }
        Z<1>::At(column_).Put(Factor(0));
    }

    // Row i of the carried column and of the one to its left, which makes one of the factor.
    void Rotate(const Rotation& r, const Z<1>& left, Long i, double* factor) const {
        const Z<1> c = Z<1>::At(column_ + N * i), conjugate{{r.z.re[0]}, {-r.z.im[0]}};
        Z<1> made = conjugate * c, carried = r.z * left;
        made.re[0] = MultiplyAdd(r.real, left.re[0], made.re[0]);
        made.im[0] = MultiplyAdd(r.real, left.im[0], made.im[0]);
        carried.re[0] = MultiplySubtract(r.real, c.re[0], carried.re[0]);
        carried.im[0] = MultiplySubtract(r.real, c.im[0], carried.im[0]);
        made.Put(factor + N * i);
        carried.Put(column_ + N * i);
    }

    // Solves for right-hand side j and corrects the solution until that moves it by no more
    // than is enough. Returns the length of the last correction over that of the solution.
    Lanes Refine(Long j) const {
        for (Long i = 0; i < s_.n; ++i) {
            SpreadAll<1>(s_.b[i * s_.m + j]).Put(Rest(i));
            Z<1>{}.Put(X(i));
        }
        Correct(j == 0 ? 0 : s_.n - 1);
        Lanes moved{};
        for (int step = 0; step < kCorrections; ++step) {
            TakeResidual(j);
            moved = Correct(s_.n - 1);
            bool enough = true;
            for (int l = 0; l < kLanes; ++l) enough &= moved[l] <= s_.enough;
            if (enough) break;
        }
        return moved;
    }

    // B − M·X in twice the precision, M too, its sum then rounded.
    void TakeResidual(Long j) const {
        for (Long i = 0; i < s_.n; ++i) {
            SpreadAll<1>(s_.b[i * s_.m + j]).Put(Rest(i));
            Z<1>{}.Put(Low(i));
        }
        for (Long k = 0; k < s_.n; ++k) {
            const Z<1> x = Z<1>::At(X(k));
            const double* const high = s_.a + k * ld_;
            const double* const low = s_.aLow + k * s_.aLowStride;
            const Long last = k + 1 < s_.n ? k + 1 : k;
            for (Long i = 0; i <= last; ++i)
                AddToRest(i, {Spread(-high[i]), Spread(low[i])}, x.re[0], x.im[0]);
            AddToRest(k, {w_, Lanes{}}, x.im[0], -x.re[0]);
        }
        for (Long i = 0; i < s_.n; ++i) Add(Z<1>::At(Low(i)), Rest(i));
    }
    // Adds x to what stands at a place and returns the sum.
    static Z<1> Add(const Z<1>& x, double* to) {
        Z<1> sum = Z<1>::At(to);
        sum.re[0] += x.re[0];
        sum.im[0] += x.im[0];
        sum.Put(to);
        return sum;
    }
    void AddToRest(Long i, const Twofold<Lanes>& factor, Lanes re, Lanes im) const {
        double *const high = Rest(i), *const low = Low(i);
        Twofold<Lanes> sumRe{Load(high), Load(low)},
            sumIm{Load(high + kLanes), Load(low + kLanes)};
        sumRe.AddProduct(factor, re);
        sumIm.AddProduct(factor, im);
        Store(high, sumRe.high);
        Store(high + kLanes, sumIm.high);
        Store(low, sumRe.low);
        Store(low + kLanes, sumIm.low);
    }

    // Adds M⁻¹·rest to the solution; rest is zero below its row last. Returns the length of
    // what was added over that of the solution.
    Lanes Correct(Long last) const {
        for (Long k = last; k > 0; --k) {
            Z<1> y = Z<1>::At(Rest(k));
            const Lanes inverse = Load(RotationAt(k) + N + kLanes);
            y.re[0] *= inverse;
            y.im[0] *= inverse;
            y.Put(Rest(k));
            const double* const factor = Factor(k);
            for (Long i = 0; i < k; ++i) {
                Z<1> rest = Z<1>::At(Rest(i));
                rest.Subtract(Z<1>::At(factor + N * i), y);
                rest.Put(Rest(i));
            }
        }
        (Z<1>::At(Factor(0)).Reciprocal() * Z<1>::At(Rest(0))).Put(Rest(0));
        RotateBack();
        Lanes added{}, whole{};
        for (Long i = 0; i < s_.n; ++i) {
            const Z<1> rest = Z<1>::At(Rest(i)), x = Add(rest, X(i));
            added += rest.re[0] * rest.re[0] + rest.im[0] * rest.im[0];
            whole += x.re[0] * x.re[0] + x.im[0] * x.im[0];
        }
        return added == Lanes{} ? added : SquareRoot(added / whole);
    }

    void RotateBack() const {
        for (Long k = 1; k < s_.n; ++k) {
            const Rotation r = Rotation::At(RotationAt(k));
            const Z<1> y = Z<1>::At(Rest(k)), before = Z<1>::At(Rest(k - 1)),
                       conjugate{{r.z.re[0]}, {-r.z.im[0]}};
            Z<1> left = r.z * before, right = conjugate * y;
            left.re[0] = MultiplyAdd(r.real, y.re[0], left.re[0]);
            left.im[0] = MultiplyAdd(r.real, y.im[0], left.im[0]);
            right.re[0] = MultiplySubtract(r.real, before.re[0], right.re[0]);
            right.im[0] = MultiplySubtract(r.real, before.im[0], right.im[0]);
            left.Put(Rest(k - 1));
            right.Put(Rest(k));
        }
    }

    void ChangeInput(Long j) const {
        for (Long i = 0; i < s_.n; ++i)
            SpreadAll<1>(s_.bChanged[i * s_.m + j] - s_.b[i * s_.m + j]).Put(Rest(i));
        Correct(s_.n - 1);
    }

    // C·X, C standing below a matrix.
    void Respond(Long j, const double* a, double* h) const {
        for (Long i = 0; i < s_.p; ++i) {
            Z<1> sum{};
            for (Long k = 0; k < s_.n; ++k) {
                const Z<1> x = Z<1>::At(X(k));
                const Lanes c = Spread(a[k * ld_ + s_.n + i]);
                sum.re[0] = MultiplyAdd(c, x.re[0], sum.re[0]);
                sum.im[0] = MultiplyAdd(c, x.im[0], sum.im[0]);
            }
            sum.Put(h + N * (i * s_.m + j));
        }
    }
};

}  // namespace
}  // namespace ZEMRA::Vibration
