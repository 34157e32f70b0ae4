#include "zemra/toolbox/fftpack/complex_to_complex.h"

#include <algorithm>

#include "zemra/toolbox/fftpack/array_view.h"

namespace fftpack {

template <typename RealType, typename ComplexType>
complex_to_complex<RealType, ComplexType>::complex_to_complex(std::size_t n)
    : factorization(n, false) {
    if (n < 2) return;
    wa_.resize(2 * n);
    ch_.resize(2 * n);
    compute_twiddles();
}

template <typename RealType, typename ComplexType>
void complex_to_complex<RealType, ComplexType>::compute_twiddles() {
    const RealType argh = constants_.two_pi / static_cast<RealType>(n());
    std::size_t l1 = 1;
    RealType* table = wa_.data();
    for (const int factor : factors()) {
        const auto ip = static_cast<std::size_t>(factor);
        const std::size_t ido = n() / (l1 * ip);
        for (std::size_t j = 1; j < ip; ++j, table += 2 * ido) {
            const auto twiddle = [&](std::size_t k) {
                const RealType arg = static_cast<RealType>(k * j * l1) * argh;
                return pair<RealType>{std::cos(arg), std::sin(arg)};
            };
            for (std::size_t k = 1; k < ido; ++k) store(table + 2 * k, twiddle(k));
            // The general pass finds its roots of unity here, and leaves out the product by 1.
            store(table, ip > 5 ? twiddle(ido) : pair<RealType>{RealType(1), RealType(0)});
        }
        l1 *= ip;
    }
}

template <typename RealType, typename ComplexType>
void complex_to_complex<RealType, ComplexType>::forward(RealType* seq) {
    if (n() < 2) return;
    RealType *from = seq, *to = ch_.data();
    const RealType* wa = wa_.data();
    std::size_t l1 = 1;
    for (const int factor : factors()) {
        const auto ip = static_cast<std::size_t>(factor);
        const std::size_t l2 = ip * l1, idot = 2 * (n() / l2);
        bool moved = true;
        switch (ip) {
            case 2:
                passf2(idot, l1, from, to, wa);
                break;
            case 3:
                passf3(idot, l1, from, to, wa, wa + idot);
                break;
            case 4:
                passf4(idot, l1, from, to, wa, wa + idot, wa + 2 * idot);
                break;
            case 5:
                passf5(idot, l1, from, to, wa, wa + idot, wa + 2 * idot, wa + 3 * idot);
                break;
            default:
                moved = passfg(idot, ip, l1, idot * l1, from, from, from, to, to, wa);
        }
        if (moved) std::swap(from, to);
        l1 = l2;
        wa += (ip - 1) * idot;
    }
    if (from != seq) std::copy_n(from, 2 * n(), seq);
}

template <typename RealType, typename ComplexType>
void complex_to_complex<RealType, ComplexType>::passf2(std::uint64_t ido, std::uint64_t l1,
                                                       const RealType* cc, RealType* ch,
                                                       const RealType* wa1) const {
    const ref_3d_tp<const RealType> in(cc, ido, 2, l1);
    const ref_3d_tp<RealType> out(ch, ido, l1, 2);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(0, k), *const x1 = in.column(1, k);
        RealType *const y0 = out.column(k, 0), *const y1 = out.column(k, 1);
        for (std::size_t i = 0; i < ido; i += 2) {
            pair z0 = load(x0 + i), z1 = load(x1 + i);
            butterfly2(z0, z1);
            store(y0 + i, z0);
            store(y1 + i, rotate(wa1 + i, z1));
        }
    }
}

template <typename RealType, typename ComplexType>
void complex_to_complex<RealType, ComplexType>::passf3(std::uint64_t ido, std::uint64_t l1,
                                                       const RealType* cc, RealType* ch,
                                                       const RealType* wa1,
                                                       const RealType* wa2) const {
    const ref_3d_tp<const RealType> in(cc, ido, 3, l1);
    const ref_3d_tp<RealType> out(ch, ido, l1, 3);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(0, k), *const x1 = in.column(1, k),
                              *const x2 = in.column(2, k);
        RealType *const y0 = out.column(k, 0), *const y1 = out.column(k, 1),
                        *const y2 = out.column(k, 2);
        for (std::size_t i = 0; i < ido; i += 2) {
            pair z0 = load(x0 + i), z1 = load(x1 + i), z2 = load(x2 + i);
            butterfly3(constants_, z0, z1, z2);
            store(y0 + i, z0);
            store(y1 + i, rotate(wa1 + i, z1));
            store(y2 + i, rotate(wa2 + i, z2));
        }
    }
}

template <typename RealType, typename ComplexType>
void complex_to_complex<RealType, ComplexType>::passf4(std::uint64_t ido, std::uint64_t l1,
                                                       const RealType* cc, RealType* ch,
                                                       const RealType* wa1, const RealType* wa2,
                                                       const RealType* wa3) const {
    const ref_3d_tp<const RealType> in(cc, ido, 4, l1);
    const ref_3d_tp<RealType> out(ch, ido, l1, 4);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(0, k), *const x1 = in.column(1, k),
                              *const x2 = in.column(2, k), *const x3 = in.column(3, k);
        RealType *const y0 = out.column(k, 0), *const y1 = out.column(k, 1),
                        *const y2 = out.column(k, 2), *const y3 = out.column(k, 3);
        for (std::size_t i = 0; i < ido; i += 2) {
            pair z0 = load(x0 + i), z1 = load(x1 + i), z2 = load(x2 + i), z3 = load(x3 + i);
            butterfly4(z0, z1, z2, z3);
            store(y0 + i, z0);
            store(y1 + i, rotate(wa1 + i, z1));
            store(y2 + i, rotate(wa2 + i, z2));
            store(y3 + i, rotate(wa3 + i, z3));
        }
    }
}

template <typename RealType, typename ComplexType>
void complex_to_complex<RealType, ComplexType>::passf5(std::uint64_t ido, std::uint64_t l1,
                                                       const RealType* cc, RealType* ch,
                                                       const RealType* wa1, const RealType* wa2,
                                                       const RealType* wa3,
                                                       const RealType* wa4) const {
    const ref_3d_tp<const RealType> in(cc, ido, 5, l1);
    const ref_3d_tp<RealType> out(ch, ido, l1, 5);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(0, k), *const x1 = in.column(1, k),
                              *const x2 = in.column(2, k), *const x3 = in.column(3, k),
                              *const x4 = in.column(4, k);
        RealType *const y0 = out.column(k, 0), *const y1 = out.column(k, 1),
                        *const y2 = out.column(k, 2), *const y3 = out.column(k, 3),
                        *const y4 = out.column(k, 4);
        for (std::size_t i = 0; i < ido; i += 2) {
            pair z0 = load(x0 + i), z1 = load(x1 + i), z2 = load(x2 + i), z3 = load(x3 + i),
                 z4 = load(x4 + i);
            butterfly5(constants_, z0, z1, z2, z3, z4);
            store(y0 + i, z0);
            store(y1 + i, rotate(wa1 + i, z1));
            store(y2 + i, rotate(wa2 + i, z2));
            store(y3 + i, rotate(wa3 + i, z3));
            store(y4 + i, rotate(wa4 + i, z4));
        }
    }
}

template <typename RealType, typename ComplexType>
bool complex_to_complex<RealType, ComplexType>::passfg(std::uint64_t ido, std::uint64_t ip,
                                                       std::uint64_t l1, std::uint64_t idl1,
                                                       RealType* cc, RealType* c1, RealType* c2,
                                                       RealType* ch, RealType* ch2,
                                                       const RealType* wa) const {
    const std::size_t half = (ip + 1) / 2;
    const ref_3d_tp<RealType> in(cc, ido, ip, l1), out(ch, ido, l1, ip);
    // Sums and differences of y_j and y_{ip−j}: what multiplies the cosines and the sines.
    for (std::size_t k = 0; k < l1; ++k) {
        std::copy_n(in.column(0, k), ido, out.column(k, 0));
        for (std::size_t j = 1; j < half; ++j) {
            const RealType *const x = in.column(j, k), *const xm = in.column(ip - j, k);
            RealType *const y = out.column(k, j), *const ym = out.column(k, ip - j);
            for (std::size_t i = 0; i < ido; ++i) {
                y[i] = x[i] + xm[i];
                ym[i] = x[i] - xm[i];
            }
        }
    }

    // Lines 1 … half − 1: the cosine sum, and at the mirror the sine sum; then line 0.
    const ref_2d_tp<RealType> terms(ch2, idl1, ip), lines(c2, idl1, ip);
    for (std::size_t l = 1; l < half; ++l) {
        RealType *const cosines = lines.column(l), *const sines = lines.column(ip - l);
        std::copy_n(terms.column(0), idl1, cosines);
        std::fill_n(sines, idl1, RealType(0));
        std::size_t power = 0;  // l·j modulo ip
        for (std::size_t j = 1; j < half; ++j) {
            power = power + l < ip ? power + l : power + l - ip;
            const pair root = load(wa + (power - 1) * ido);
            add_scaled(idl1, root.re, terms.column(j), cosines);
            add_scaled(idl1, root.im, terms.column(ip - j), sines);
        }
    }
    for (std::size_t j = 1; j < half; ++j)
        add_scaled(idl1, RealType(1), terms.column(j), terms.column(0));

    for (std::size_t j = 1; j < half; ++j) {
        const RealType *const cosines = lines.column(j), *const sines = lines.column(ip - j);
        RealType *const y = terms.column(j), *const ym = terms.column(ip - j);
        for (std::size_t i = 0; i < idl1; i += 2) {
            const pair cosine = load(cosines + i), sine = quarter_back(load(sines + i));
            store(y + i, cosine + sine);
            store(ym + i, cosine - sine);
        }
    }
    if (ido == 2) return true;  // nothing to rotate

    const ref_3d_tp<RealType> rotated(c1, ido, l1, ip);
    std::copy_n(terms.column(0), idl1, lines.column(0));
    for (std::size_t j = 1; j < ip; ++j) {
        const RealType* const w = wa + (j - 1) * ido;
        for (std::size_t k = 0; k < l1; ++k) {
            const RealType* const x = out.column(k, j);
            RealType* const y = rotated.column(k, j);
            store(y, load(x));
            for (std::size_t i = 2; i < ido; i += 2) store(y + i, rotate(w + i, load(x + i)));
        }
    }
    return false;
}

template class complex_to_complex<double, std::complex<double>>;

}  // namespace fftpack
