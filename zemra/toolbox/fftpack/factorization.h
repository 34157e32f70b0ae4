#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fftpack {

/// The number of lines 0 … n/2 that describe the spectrum of n real values; the others are
/// their conjugates.
constexpr std::size_t n_complex_from_n_real(std::size_t n) { return n / 2 + 1; }

/// The factors of a transform length, in the order in which the radix passes take them.
///
/// 3s are divided out of n first, then 4s, then 2s, so that at most one 2 remains; the list
/// begins with the 2, then, for a complex transform, the 3s and the 4s, for a real one the 4s
/// and the 3s (the real passes of odd radix need an odd number of elements behind them), and
/// ends with the primes from 5 on in ascending order. Lengths below 2 have no factors.
class factorization {
  public:
    factorization(std::size_t n, bool real);

    std::size_t n() const { return n_; }
    const std::vector<int>& factors() const { return factors_; }

  private:
    std::uint64_t n_;
    std::vector<int> factors_;
};

}  // namespace fftpack
