#include "zemra/toolbox/fftpack/real_to_complex.h"

#include <algorithm>
#include <cmath>

#include "zemra/toolbox/fftpack/array_view.h"
#include "zemra/toolbox/fftpack/butterfly.h"

namespace fftpack {

namespace {

// ido real values that are a packed transform: the first, then pairs, then, for an even ido,
// the last. Calls body(r, m) with the place r of each pair and the place m of its mirror.
template <typename Body>
inline void for_each_pair(std::size_t ido, const Body& body) {
    for (std::size_t r = 1; r + 1 < ido; r += 2) body(r, ido - r - 2);
}

}  // namespace

template <typename RealType, typename ComplexType>
real_to_complex<RealType, ComplexType>::real_to_complex(std::size_t n)
    : factorization(n, true), n_complex_(n_complex_from_n_real(n)) {
    if (n < 2) return;
    wa_.resize(n);
    ch_.resize(n);
    compute_twiddles();
    compute_roots();
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::compute_twiddles() {
    const RealType argh = 8 * std::atan(RealType(1)) / static_cast<RealType>(n());
    std::size_t l1 = 1, is = 0;
    for (std::size_t f = 0; f + 1 < factors().size(); ++f) {
        const auto ip = static_cast<std::size_t>(factors()[f]);
        const std::size_t ido = n() / (l1 * ip);
        for (std::size_t j = 1; j < ip; ++j, is += ido) {
            const RealType argld = static_cast<RealType>(j * l1) * argh;
            for (std::size_t i = 1; i <= (ido - 1) / 2; ++i) {
                const RealType arg = static_cast<RealType>(i) * argld;
                wa_[is + 2 * i - 2] = std::cos(arg);
                wa_[is + 2 * i - 1] = std::sin(arg);
            }
        }
        l1 *= ip;
    }
}

// The factors above 5 ascend, so equal ones lie together and share their roots.
template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::compute_roots() {
    int former = 0;
    for (const int ip : factors()) {
        if (ip <= 5 || ip == former) continue;
        former = ip;
        const RealType arg = constants_.two_pi / static_cast<RealType>(ip);
        roots_.reserve(roots_.size() + static_cast<std::size_t>(ip));
        for (int j = 0; j < ip; ++j) {
            const RealType angle = static_cast<RealType>(j) * arg;
            roots_.push_back({std::cos(angle), std::sin(angle)});
        }
    }
}

template <typename RealType, typename ComplexType>
const pair<RealType>* real_to_complex<RealType, ComplexType>::roots_of_order(
    std::uint64_t ip) const {
    const pair<RealType>* roots = roots_.data();
    int former = 0;
    for (const int factor : factors()) {
        if (factor <= 5 || factor == former) continue;
        if (static_cast<std::uint64_t>(factor) == ip) break;
        roots += factor;
        former = factor;
    }
    return roots;
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::forward_compressed(RealType* seq) {
    if (n() < 2) return;
    RealType* const ch = ch_.data();
    std::size_t l1 = n(), ido = 1, p = n();
    bool inSeq = true;
    for (auto factor = factors().rbegin(); factor != factors().rend(); ++factor) {
        const auto ip = static_cast<std::size_t>(*factor);
        l1 /= ip;
        p -= (ip - 1) * ido;
        const RealType* const wa = wa_.data() + (p - 1);
        RealType* const from = inSeq ? seq : ch;
        RealType* const to = inSeq ? ch : seq;
        inSeq = !inSeq;
        switch (ip) {
            case 2:
                passf2(ido, l1, from, to, wa);
                break;
            case 3:
                passf3(ido, l1, from, to, wa, wa + ido);
                break;
            case 4:
                passf4(ido, l1, from, to, wa, wa + ido, wa + 2 * ido);
                break;
            case 5:
                passf5(ido, l1, from, to, wa, wa + ido, wa + 2 * ido, wa + 3 * ido);
                break;
            default:
                // The general pass answers in its first array.
                if (ido == 1) {
                    passfg(ido, ip, l1, ido * l1, to, to, to, from, from, wa);
                } else {
                    passfg(ido, ip, l1, ido * l1, from, from, from, to, to, wa);
                    inSeq = !inSeq;
                }
        }
        ido *= ip;
    }
    if (!inSeq) std::copy_n(ch, n(), seq);
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::forward_adaptor(RealType* seq) {
    if (n() == 0) return;
    forward_compressed(seq);
    std::copy_backward(seq + 1, seq + n(), seq + n() + 1);
    seq[1] = 0;
    if (n() % 2 == 0) seq[n() + 1] = 0;
}

// In every pass the pairs hold partial spectra y_j, which the twiddles bring to a common
// origin; the transform Y over j is stored as its lower half and, mirrored and conjugated, its
// upper half. First and last elements are real.

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::passf2(std::uint64_t ido, std::uint64_t l1,
                                                    const RealType* cc, RealType* ch,
                                                    const RealType* wa1) const {
    const ref_3d_tp<const RealType> in(cc, ido, l1, 2);
    const ref_3d_tp<RealType> out(ch, ido, 2, l1);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(k, 0), *const x1 = in.column(k, 1);
        RealType *const y0 = out.column(0, k), *const y1 = out.column(1, k);
        y0[0] = x0[0] + x1[0];
        y1[ido - 1] = x0[0] - x1[0];
        for_each_pair(ido, [&](std::size_t r, std::size_t m) {
            pair z0 = load(x0 + r), z1 = rotate(wa1 + r - 1, load(x1 + r));
            butterfly2(z0, z1);
            store(y0 + r, z0);
            store(y1 + m, conj(z1));
        });
        if (ido % 2 == 0) {
            y0[ido - 1] = x0[ido - 1];
            y1[0] = -x1[ido - 1];
        }
    }
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::passf3(std::uint64_t ido, std::uint64_t l1,
                                                    const RealType* cc, RealType* ch,
                                                    const RealType* wa1,
                                                    const RealType* wa2) const {
    const ref_3d_tp<const RealType> in(cc, ido, l1, 3);
    const ref_3d_tp<RealType> out(ch, ido, 3, l1);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(k, 0), *const x1 = in.column(k, 1),
                              *const x2 = in.column(k, 2);
        RealType *const y0 = out.column(0, k), *const y1 = out.column(1, k),
                        *const y2 = out.column(2, k);
        const RealType sum = x1[0] + x2[0];
        y0[0] = x0[0] + sum;
        y1[ido - 1] = x0[0] - RealType(0.5) * sum;
        y2[0] = constants_.sin_60 * (x2[0] - x1[0]);
        for_each_pair(ido, [&](std::size_t r, std::size_t m) {
            pair z0 = load(x0 + r), z1 = rotate(wa1 + r - 1, load(x1 + r)),
                 z2 = rotate(wa2 + r - 1, load(x2 + r));
            butterfly3(constants_, z0, z1, z2);
            store(y0 + r, z0);
            store(y1 + m, conj(z2));
            store(y2 + r, z1);
        });
    }
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::passf4(std::uint64_t ido, std::uint64_t l1,
                                                    const RealType* cc, RealType* ch,
                                                    const RealType* wa1, const RealType* wa2,
                                                    const RealType* wa3) const {
    const RealType hsqt2 = std::sqrt(RealType(0.5));
    const ref_3d_tp<const RealType> in(cc, ido, l1, 4);
    const ref_3d_tp<RealType> out(ch, ido, 4, l1);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(k, 0), *const x1 = in.column(k, 1),
                              *const x2 = in.column(k, 2), *const x3 = in.column(k, 3);
        RealType *const y0 = out.column(0, k), *const y1 = out.column(1, k),
                        *const y2 = out.column(2, k), *const y3 = out.column(3, k);
        const RealType even = x0[0] + x2[0], odd = x1[0] + x3[0];
        y0[0] = even + odd;
        y1[ido - 1] = x0[0] - x2[0];
        y2[0] = x3[0] - x1[0];
        y3[ido - 1] = even - odd;
        for_each_pair(ido, [&](std::size_t r, std::size_t m) {
            pair z0 = load(x0 + r), z1 = rotate(wa1 + r - 1, load(x1 + r)),
                 z2 = rotate(wa2 + r - 1, load(x2 + r)), z3 = rotate(wa3 + r - 1, load(x3 + r));
            butterfly4(z0, z1, z2, z3);
            store(y0 + r, z0);
            store(y1 + m, conj(z3));
            store(y2 + r, z1);
            store(y3 + m, conj(z2));
        });
        if (ido % 2 == 0) {
            const std::size_t last = ido - 1;
            const RealType re = hsqt2 * (x1[last] - x3[last]);
            const RealType im = hsqt2 * (x1[last] + x3[last]);
            y0[last] = x0[last] + re;
            y1[0] = -im - x2[last];
            y2[last] = x0[last] - re;
            y3[0] = x2[last] - im;
        }
    }
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::passf5(std::uint64_t ido, std::uint64_t l1,
                                                    const RealType* cc, RealType* ch,
                                                    const RealType* wa1, const RealType* wa2,
                                                    const RealType* wa3,
                                                    const RealType* wa4) const {
    const RealType tr11 = constants_.sin_18, ti11 = constants_.cos_18;
    const RealType tr12 = -constants_.cos_36, ti12 = constants_.sin_36;
    const ref_3d_tp<const RealType> in(cc, ido, l1, 5);
    const ref_3d_tp<RealType> out(ch, ido, 5, l1);
    for (std::size_t k = 0; k < l1; ++k) {
        const RealType *const x0 = in.column(k, 0), *const x1 = in.column(k, 1),
                              *const x2 = in.column(k, 2), *const x3 = in.column(k, 3),
                              *const x4 = in.column(k, 4);
        RealType *const y0 = out.column(0, k), *const y1 = out.column(1, k),
                        *const y2 = out.column(2, k), *const y3 = out.column(3, k),
                        *const y4 = out.column(4, k);
        const RealType sum1 = x1[0] + x4[0], sum2 = x2[0] + x3[0];
        const RealType difference1 = x4[0] - x1[0], difference2 = x3[0] - x2[0];
        y0[0] = x0[0] + sum1 + sum2;
        y1[ido - 1] = x0[0] + tr11 * sum1 + tr12 * sum2;
        y2[0] = ti11 * difference1 + ti12 * difference2;
        y3[ido - 1] = x0[0] + tr12 * sum1 + tr11 * sum2;
        y4[0] = ti12 * difference1 - ti11 * difference2;
        for_each_pair(ido, [&](std::size_t r, std::size_t m) {
            pair z0 = load(x0 + r), z1 = rotate(wa1 + r - 1, load(x1 + r)),
                 z2 = rotate(wa2 + r - 1, load(x2 + r)), z3 = rotate(wa3 + r - 1, load(x3 + r)),
                 z4 = rotate(wa4 + r - 1, load(x4 + r));
            butterfly5(constants_, z0, z1, z2, z3, z4);
            store(y0 + r, z0);
            store(y1 + m, conj(z4));
            store(y2 + r, z1);
            store(y3 + m, conj(z3));
            store(y4 + r, z2);
        });
    }
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::passfg(std::uint64_t ido, std::uint64_t ip,
                                                    std::uint64_t l1, std::uint64_t idl1,
                                                    RealType* cc, RealType* c1, RealType* c2,
                                                    RealType* ch, RealType* ch2,
                                                    const RealType* wa) const {
    const std::size_t half = (ip + 1) / 2;
    const ref_3d_tp<RealType> parts(ido == 1 ? ch : c1, ido, l1, ip), folded(c1, ido, l1, ip);
    // Fold y_j and y_{ip−j}, brought to a common origin, into their sum and −i times their
    // difference: what multiplies the cosines and the sines.
    for (std::size_t j = 1; j < half; ++j) {
        const RealType *const w = wa + (j - 1) * ido, *const wm = wa + (ip - j - 1) * ido;
        for (std::size_t k = 0; k < l1; ++k) {
            const RealType *const x = parts.column(k, j), *const xm = parts.column(k, ip - j);
            RealType *const y = folded.column(k, j), *const ym = folded.column(k, ip - j);
            const RealType first = x[0], firstMirror = xm[0];
            y[0] = first + firstMirror;
            ym[0] = firstMirror - first;
            for_each_pair(ido, [&](std::size_t r, std::size_t) {
                const pair z = rotate(w + r - 1, load(x + r));
                const pair zm = rotate(wm + r - 1, load(xm + r));
                store(y + r, z + zm);
                store(ym + r, quarter_back(z - zm));
            });
        }
    }

    // Lines 1 … half − 1 and, for the sines, their mirrors; then line 0.
    const ref_2d_tp<RealType> terms(c2, idl1, ip), lines(ch2, idl1, ip);
    std::copy_n(parts.column(0, 0), idl1, terms.column(0));
    std::copy_n(terms.column(0), idl1, lines.column(0));
    const pair<RealType>* const roots = roots_of_order(ip);
    for (std::size_t l = 1; l < half; ++l) {
        RealType *const cosines = lines.column(l), *const sines = lines.column(ip - l);
        std::copy_n(terms.column(0), idl1, cosines);
        std::fill_n(sines, idl1, RealType(0));
        std::size_t power = 0;  // l·j modulo ip
        for (std::size_t j = 1; j < half; ++j) {
            power = power + l < ip ? power + l : power + l - ip;
            add_scaled(idl1, roots[power].re, terms.column(j), cosines);
            add_scaled(idl1, roots[power].im, terms.column(ip - j), sines);
        }
    }
    for (std::size_t j = 1; j < half; ++j)
        add_scaled(idl1, RealType(1), terms.column(j), lines.column(0));

    // Combine cosine and sine parts of each line into the packed transforms.
    const ref_3d_tp<RealType> in(ch, ido, l1, ip), out(cc, ido, ip, l1);
    for (std::size_t k = 0; k < l1; ++k) std::copy_n(in.column(k, 0), ido, out.column(0, k));
    for (std::size_t j = 1; j < half; ++j) {
        for (std::size_t k = 0; k < l1; ++k) {
            const RealType *const x = in.column(k, j), *const xm = in.column(k, ip - j);
            RealType *const upper = out.column(2 * j - 1, k), *const lower =
                                                                  out.column(2 * j, k);
            upper[ido - 1] = x[0];
            lower[0] = xm[0];
            for_each_pair(ido, [&](std::size_t r, std::size_t m) {
                const pair cosine = load(x + r), sine = load(xm + r);
                store(lower + r, cosine + sine);
                store(upper + m, conj(cosine - sine));
            });
        }
    }
}

template class real_to_complex<double, std::complex<double>>;

}  // namespace fftpack
