#pragma once

// Included by one source per instruction set; see zemra/matrix/lanes.h for what that forbids.

#include "zemra/system/complex_lanes.h"
#include "zemra/system/sweep_kernels.h"

namespace ZEMRA::Vibration {
namespace {

constexpr int kModalGroups = 2;

// The functions of one frequency a lane. s² + ω² is taken as the band of the inverse takes it:
// beside a pole its rounding is what counts. Here and in the sums no product is fused: the bits
// are those of every instruction set, so that a sum of modes that cancel, and what is divided
// by it, does not change with the processor.
template <int U>
class FunctionsOfModes {
  public:
    explicit FunctionsOfModes(const ModalFunctionsInput& in) : in_(in) {
        for (int u = 0; u < U; ++u) {
            w_[u] = Load(in.w + u * kLanes);
            square_[u] = w_[u] * w_[u];
            size_[u] = Lanes{};
        }
    }

    void Compute(double* functions, double* size) {
        for (Long mode = 0; mode < in_.modes; ++mode) {
            const bool pair = in_.b[mode] != 0.0;
            Z<U> p, q;
            pair ? OfPair(mode, &p, &q) : OfReal(mode, &p);
            functions = Put(pair, p, q, functions);
            if (in_.drives[mode]) functions = Couple(mode + 1, pair, functions);
        }
        for (int u = 0; u < U; ++u) Store(size + u * kLanes, size_[u]);
    }

  private:
    const ModalFunctionsInput in_;
    Lanes w_[U], square_[U], size_[U];

    Lanes Reciprocal(int u, Lanes length) {
        const Lanes inverse = 1.0 / length;
        size_[u] += length + inverse;
        return inverse;
    }

    void OfReal(Long mode, Z<U>* d) {
        const double a = in_.a[mode];
        for (int u = 0; u < U; ++u) {
            const Lanes inverse = Reciprocal(u, a * a + square_[u]);
            d->re[u] = -a * inverse;
            d->im[u] = -w_[u] * inverse;
        }
    }

    void OfPair(Long mode, Z<U>* p, Z<U>* q) {
        const double a = in_.a[mode], b = in_.b[mode];
        const Lanes constant = Spread(a * a + b * b);
        for (int u = 0; u < U; ++u) {
            const Lanes re = constant - square_[u], im = -2.0 * a * w_[u];
            const Lanes inverse = Reciprocal(u, re * re + im * im);
            const Lanes x = re * inverse, y = im * inverse;  // 1/(s² + ω²) = x − jy
            p->re[u] = w_[u] * y - a * x;
            p->im[u] = w_[u] * x + a * y;
            q->re[u] = b * x;
            q->im[u] = -b * y;
        }
    }

    // The square of 1/s or (p, q; −q, p) of a chain's member, for its predecessor.
    double* Couple(Long mode, bool pair, double* functions) {
        Z<U> p, q{};
        pair ? OfPair(mode, &p, &q) : OfReal(mode, &p);
        Z<U> e, f;
        for (int u = 0; u < U; ++u) {
            e.re[u] = (p.re[u] * p.re[u] - p.im[u] * p.im[u]) -
                      (q.re[u] * q.re[u] - q.im[u] * q.im[u]);
            e.im[u] = 2.0 * p.re[u] * p.im[u] - 2.0 * q.re[u] * q.im[u];
            f.re[u] = 2.0 * (p.re[u] * q.re[u] - p.im[u] * q.im[u]);
            f.im[u] = 2.0 * (p.re[u] * q.im[u] + p.im[u] * q.re[u]);
        }
        return Put(pair, e, f, functions);
    }

    static double* Put(bool pair, const Z<U>& f, const Z<U>& g, double* functions) {
        f.Put(functions);
        functions += kNumbers<U>;
        if (!pair) return functions;
        g.Put(functions);
        return functions + kNumbers<U>;
    }
};

// R results at a time, over S interleaved parts of the sum: enough of them to keep the
// multipliers busy.
template <int U, int R, int S>
void CombineSome(Long terms, const double* coefficients, const double* functions, double* h,
                 Lanes* notFinite) {
    Z<U> sums[R][S] = {};
    const auto step = [&](Long t, int s) {
        const Z<U> z = Z<U>::At(functions + kNumbers<U> * t);
        for (int r = 0; r < R; ++r) {
            const Lanes c = Spread(coefficients[r * terms + t]);
            for (int u = 0; u < U; ++u) {
                sums[r][s].re[u] += c * z.re[u];
                sums[r][s].im[u] += c * z.im[u];
            }
        }
    };
    Long t = 0;
    for (; t + S <= terms; t += S)
        for (int s = 0; s < S; ++s) step(t + s, s);
    for (; t < terms; ++t) step(t, 0);
    for (int r = 0; r < R; ++r) {
        Z<U> sum = sums[r][0];
        for (int u = 0; u < U; ++u) {
            for (int s = 1; s < S; ++s) {
                sum.re[u] += sums[r][s].re[u];
                sum.im[u] += sums[r][s].im[u];
            }
            notFinite[u] += (sum.re[u] + sum.im[u]) * 0.0;
        }
        sum.Put(h + kNumbers<U> * r);
    }
}

template <int U>
void CombineModes(int results, int terms, const double* coefficients, const double* functions,
                  double* h, double* notFinite) {
    Lanes flags[U];
    for (int u = 0; u < U; ++u) flags[u] = Load(notFinite + u * kLanes);
    Long e = 0;
    for (; e + 3 <= results; e += 3)
        CombineSome<U, 3, 1>(terms, coefficients + e * terms, functions, h + kNumbers<U> * e,
                             flags);
    for (; e < results; ++e)
        CombineSome<U, 1, 2>(terms, coefficients + e * terms, functions, h + kNumbers<U> * e,
                             flags);
    for (int u = 0; u < U; ++u) Store(notFinite + u * kLanes, flags[u]);
}

// The sums of a response that depend on frequency through w² alone; w is multiplied in at the
// end.
template <int U>
class SumOfModes {
  public:
    explicit SumOfModes(const double* w) {
        for (int u = 0; u < U; ++u) {
            w_[u] = Load(w + u * kLanes);
            square_[u] = w_[u] * w_[u];
        }
    }

    void AddReal(const RealModeTerm& mode) {
        for (int u = 0; u < U; ++u) {
            const Lanes inverse = Reciprocal(u, mode.constant + square_[u]);
            re_[u] += mode.re * inverse;
            im_[u] += mode.im * inverse;
        }
    }
    void AddPair(const PairTerm& mode) {
        for (int u = 0; u < U; ++u) {
            const Lanes re = mode.constant - square_[u];
            const Lanes inverse = Reciprocal(u, re * re + mode.damping * square_[u]);
            const Lanes x = re * inverse;
            re_[u] += mode.re * x;
            im_[u] += mode.im * x;
            dampedRe_[u] += mode.dampedRe * inverse;
            dampedIm_[u] += mode.dampedIm * inverse;
        }
    }
    void Put(double* h, double* size) const {
        Z<U> sum;
        for (int u = 0; u < U; ++u) {
            sum.re[u] = re_[u] + dampedRe_[u] * square_[u];
            sum.im[u] = w_[u] * (im_[u] + dampedIm_[u]);
            Store(size + u * kLanes, size_[u]);
        }
        sum.Put(h);
    }

  private:
    Lanes w_[U], square_[U];
    Lanes re_[U] = {}, im_[U] = {}, dampedRe_[U] = {}, dampedIm_[U] = {}, size_[U] = {};

    Lanes Reciprocal(int u, Lanes length) {
        const Lanes inverse = 1.0 / length;
        size_[u] += length + inverse;
        return inverse;
    }
};

template <int U>
void RespondByModes(const ModalResponseInput& in, double* h, double* size) {
    SumOfModes<U> sum(in.w);
    for (Long i = 0; i < in.reals; ++i) sum.AddReal(in.real[i]);
    for (Long i = 0; i < in.pairs; ++i) sum.AddPair(in.pair[i]);
    sum.Put(h, size);
}

}  // namespace
}  // namespace ZEMRA::Vibration
