#include "zemra/toolbox/fftpack/passes.h"

#include <algorithm>
#include <utility>

#include "zemra/toolbox/fftpack/array_view.h"

namespace fftpack {

namespace {

// The radices of the passes, in their order.
std::vector<std::size_t> radices(const std::vector<int>& factors) {
    std::vector<std::size_t> result;
    std::size_t twos = 0, threes = 0;
    for (const int factor : factors) {
        if (factor == 2) ++twos;
        if (factor == 4) twos += 2;
        if (factor == 3) ++threes;
        if (factor >= 5) result.push_back(static_cast<std::size_t>(factor));
    }
    std::sort(result.rbegin(), result.rend());
    result.insert(result.end(), threes / 2, 9);
    result.insert(result.end(), threes % 2, 3);
    const std::size_t fours = (twos - (twos % 2 == 0 ? 0 : twos == 1 ? 1 : 3)) / 2;
    result.insert(result.end(), fours, 4);
    if (twos % 2 == 1)
        result.insert(
            result.end() - static_cast<std::ptrdiff_t>(std::min<std::size_t>(fours, 2)),
            twos == 1 ? 2 : 8);
    return result;
}

// z[i] = conj(w[i])·z[i] for so many pairs.
void rotate_all(std::size_t count, const double* __restrict w, double* __restrict z) {
    for (std::size_t i = 0; i < 2 * count; i += 2) {
        const double re = z[i], im = z[i + 1];
        z[i] = w[i] * re + w[i + 1] * im;
        z[i + 1] = w[i] * im - w[i + 1] * re;
    }
}

}  // namespace

passes::passes(const std::vector<int>& factors, const unit_circle& circle, const kernels& set)
    : kernels_(&set) {
    const std::vector<std::size_t> order = radices(factors);
    std::size_t ido = 1, size = 0;
    steps_.resize(order.size());
    for (std::size_t s = order.size(); s-- > 0; ido *= order[s]) {
        steps_[s] = {order[s], ido, size, kNone};
        // The last place has no factors but ones, which its kernel leaves out.
        if (ido > 1) size += 2 * (order[s] - 1) * ido;
    }
    tables_.resize(size);
    for (step& s : steps_) {
        double* const table = tables_.data() + s.table;
        if (has_pass(s.radix)) {
            if (s.ido > 1) circle.copy_twiddles(s.radix, s.ido, table);
            continue;
        }
        if (s.ido > 1)
            for (std::size_t j = 1; j < s.radix; ++j)
                circle.copy(j * (circle.order() / (s.radix * s.ido)), s.ido,
                            table + 2 * (j - 1) * s.ido);
        if (primes_.empty() || primes_.back().order() != s.radix)
            primes_.emplace_back(s.radix, circle, set);
        s.prime = primes_.size() - 1;
    }
}

double* passes::run(std::size_t groups, double* from, double* other, const double* wanted) {
    std::size_t l1 = groups;
    // An even number of passes would end where it began: then the first works in place.
    bool inPlace = groups == 1 && (steps_.size() % 2 == 0) == (wanted == other) &&
                   !steps_.empty() && steps_[0].prime == kNone;
    for (const step& s : steps_) {
        double* const to = inPlace ? from : other;
        if (s.prime == kNone)
            kernels_->pass(s.radix, s.ido, l1, from, to, tables_.data() + s.table);
        else
            prime_pass(s, l1, from, to);
        if (!inPlace) std::swap(from, other);
        inPlace = false;
        l1 *= s.radix;
    }
    return from;
}

// As every pass from cc(ido, ip, l1) to ch(ido, l1, ip); cc is overwritten.
void passes::prime_pass(const step& s, std::size_t l1, double* cc, double* ch) {
    const std::size_t ip = s.radix, ido = 2 * s.ido, idl1 = ido * l1;
    const ref_3d_tp<double> in(cc, ido, ip, l1), folded(ch, ido, l1, ip);
    for (std::size_t k = 0; k < l1; ++k) {
        std::copy_n(in.column(0, k), ido, folded.column(k, 0));
        for (std::size_t j = 1; j <= ip / 2; ++j) {
            const double *const x = in.column(j, k), *const xm = in.column(ip - j, k);
            double *const sum = folded.column(k, j), *const difference =
                                                         folded.column(k, ip - j);
            for (std::size_t i = 0; i < ido; ++i) {
                sum[i] = x[i] + xm[i];
                difference[i] = x[i] - xm[i];
            }
        }
    }

    primes_[s.prime].run(idl1, ch, cc);

    const double* const table = tables_.data() + s.table;
    const ref_3d_tp<double> lines(cc, ido, l1, ip), out(ch, ido, l1, ip);
    std::copy_n(cc, idl1, ch);
    for (std::size_t j = 1; j <= ip / 2; ++j) {
        for (std::size_t k = 0; k < l1; ++k) {
            const double *const c = lines.column(k, j), *const d = lines.column(k, ip - j);
            double *const y = out.column(k, j), *const ym = out.column(k, ip - j);
            for (std::size_t i = 0; i < ido; i += 2) {
                // c − i·d and c + i·d.
                y[i] = c[i] + d[i + 1];
                y[i + 1] = c[i + 1] - d[i];
                ym[i] = c[i] - d[i + 1];
                ym[i + 1] = c[i + 1] + d[i];
            }
        }
    }
    if (s.ido == 1) return;
    for (std::size_t j = 1; j < ip; ++j)
        for (std::size_t k = 0; k < l1; ++k)
            rotate_all(s.ido, table + (j - 1) * ido, out.column(k, j));
}

}  // namespace fftpack
