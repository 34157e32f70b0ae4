#include "zemra/toolbox/fftpack/real_to_complex.h"

#include <algorithm>

namespace fftpack {

namespace {

// The radix of the first pass on an odd number of values: the more partial transforms, the
// nearer to half of them will do, but one that the kernels have costs least.
std::size_t first_radix(const std::vector<int>& factors) {
    const auto largest = static_cast<std::size_t>(factors.back());
    if (largest > 5) return largest;
    const auto threes = std::count(factors.begin(), factors.end(), 3);
    return threes >= 2 ? 9 : largest;
}

// The factors that such a pass leaves.
std::vector<int> without(std::size_t radix, std::vector<int> factors) {
    if (radix == 9)
        factors.erase(factors.begin(), factors.begin() + 2);  // the 3s of an odd number
    else
        factors.pop_back();
    return factors;
}

}  // namespace

template <typename RealType, typename ComplexType>
real_to_complex<RealType, ComplexType>::real_to_complex(std::size_t n, const kernels& set)
    : factorization(n, true), kernels_(&set), n_complex_(n_complex_from_n_real(n)) {
    if (n < 2) return;
    const unit_circle circle(n, set);
    if (n % 2 == 0) {
        const std::size_t half = n / 2;
        passes_ = passes(factorization(half, false).factors(), circle, set);
        wa_.resize(2 * (half / 2));
        for (std::size_t k = 1; k <= half / 2; ++k) circle.copy(k, wa_.data() + 2 * (k - 1));
        ch_ = work_array<RealType>(n);
        return;
    }
    radix_ = first_radix(factors());
    passes_ = passes(without(radix_, factors()), circle, set);
    const std::size_t ido = n / radix_;
    wa_.resize(2 * (radix_ - 1) * ido);
    ch_ = work_array<RealType>((radix_ + 1) * ido);
    ch2_.resize((radix_ + 1) * ido);
    if (has_pass(radix_)) {
        circle.copy_twiddles(radix_, ido, wa_.data());
        return;
    }
    prime_.emplace_back(radix_, circle, set);
    for (std::size_t j = 1; j <= radix_ / 2; ++j)
        circle.copy(j, ido, wa_.data() + 2 * (j - 1) * ido);
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::forward_compressed(RealType* seq) {
    if (n() < 2) return;
    const real_lines ends = transform(seq, seq + 1);
    seq[0] = ends.first;
    if (n() % 2 == 0) seq[n() - 1] = ends.last;
}

template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::forward_adaptor(RealType* seq) {
    if (n() == 0) return;
    const real_lines ends = n() < 2 ? real_lines{seq[0], 0} : transform(seq, seq + 2);
    seq[0] = ends.first;
    seq[1] = 0;
    if (n() % 2 == 1) return;
    seq[n()] = ends.last;
    seq[n() + 1] = 0;
}

template <typename RealType, typename ComplexType>
auto real_to_complex<RealType, ComplexType>::transform(RealType* seq, RealType* lines)
    -> real_lines {
    return n() % 2 == 0 ? transform_even(seq, lines) : transform_odd(seq, lines);
}

template <typename RealType, typename ComplexType>
auto real_to_complex<RealType, ComplexType>::transform_even(RealType* seq, RealType* lines)
    -> real_lines {
    const RealType* z = passes_.run(1, seq, ch_.data(), ch_.data());
    if (z == seq) z = std::copy_n(seq, n(), ch_.data()) - n();
    kernels_->unfold(n() / 2, z, lines, wa_.data());
    return {z[0] + z[1], z[0] - z[1]};
}

template <typename RealType, typename ComplexType>
auto real_to_complex<RealType, ComplexType>::transform_odd(RealType* seq, RealType* lines)
    -> real_lines {
    const std::size_t ido = n() / radix_, groups = (radix_ + 1) / 2;
    if (prime_.empty())
        kernels_->real_pass(radix_, ido, seq, ch_.data(), wa_.data());
    else
        prime_pass(seq, ch_.data());
    const RealType* const z = passes_.run(groups, ch_.data(), ch2_.data(), nullptr);

    // Line radix·k + g is value k of group g < groups, or the conjugate of value ido − 1 − k of
    // group radix − g.
    for (std::size_t k = 0; 2 * k < ido; ++k) {
        const RealType* const own = z + 2 * k * groups;
        const RealType* const mirrored = z + 2 * (ido - 1 - k) * groups;
        RealType* const line = lines + 2 * radix_ * k;
        // Line 0 is not among them, and the last k goes no further than half of the radix.
        std::copy(own + (k == 0 ? 2 : 0), own + 2 * groups, line - (k == 0 ? 0 : 2));
        if (2 * k + 1 == ido) break;
        for (std::size_t g = groups; g < radix_; ++g) {
            line[2 * (g - 1)] = mirrored[2 * (radix_ - g)];
            line[2 * (g - 1) + 1] = -mirrored[2 * (radix_ - g) + 1];
        }
    }
    return {z[0], 0};
}

// As kernels::real_pass; x is overwritten.
template <typename RealType, typename ComplexType>
void real_to_complex<RealType, ComplexType>::prime_pass(RealType* x, RealType* y) {
    const std::size_t ido = n() / radix_;
    const ref_2d_tp<RealType> in(x, ido, radix_), terms(ch2_.data(), ido, radix_);
    std::copy_n(in.column(0), ido, terms.column(0));
    for (std::size_t j = 1; j <= radix_ / 2; ++j) {
        const RealType *const a = in.column(j), *const b = in.column(radix_ - j);
        RealType *const sum = terms.column(j), *const difference = terms.column(radix_ - j);
        for (std::size_t i = 0; i < ido; ++i) {
            sum[i] = a[i] + b[i];
            difference[i] = a[i] - b[i];
        }
    }

    prime_[0].run(ido, terms.column(0), x);

    const ref_2d_tp<RealType> out(y, 2 * ido, radix_), rotations(wa_.data(), 2 * ido, radix_);
    for (std::size_t i = 0; i < ido; ++i) {
        y[2 * i] = x[i];
        y[2 * i + 1] = 0;
    }
    for (std::size_t j = 1; j <= radix_ / 2; ++j) {
        const RealType *const cosines = in.column(j), *const sines = in.column(radix_ - j);
        const RealType* const w = rotations.column(j - 1);
        RealType* const line = out.column(j);
        for (std::size_t i = 0; i < ido; ++i) {
            line[2 * i] = w[2 * i] * cosines[i] - w[2 * i + 1] * sines[i];
            line[2 * i + 1] = -w[2 * i] * sines[i] - w[2 * i + 1] * cosines[i];
        }
    }
}

template class real_to_complex<double, std::complex<double>>;

}  // namespace fftpack
