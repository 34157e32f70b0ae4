#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zemra/toolbox/fftpack/kernels.h"
#include "zemra/toolbox/fftpack/prime_sums.h"
#include "zemra/toolbox/fftpack/unit_circle.h"

namespace fftpack {

/// The radix passes of forward transforms of n complex values, and their tables.
///
/// The kernels work along the places behind a pass, or over its groups where there is but one,
/// so the primes above 5 come first, then 5s, pairs of 3s as 9s, and powers of two as 4s with
/// at most one 8 or 2 among them. (More 8s mean fewer passes, but as many streams a power of
/// two apart, which from 4096 points on fall on the same few lines of the cache. Before the
/// last two 4s the one is still narrow.)
class passes {
  public:
    passes() = default;
    /// factors: those of n, primes or fours, in any order; circle: of an order divisible by n.
    passes(const std::vector<int>& factors, const unit_circle& circle, const kernels& set);

    /// Transforms so many groups at a time, whose values lie in from(n, groups), first index
    /// fastest; line k of group g is [k·groups + g] of the result, in from or in other, both of
    /// n·groups complex values. Answers which: wanted for one group, where that can be.
    double* run(std::size_t groups, double* from, double* other, const double* wanted);

  private:
    struct step {
        std::size_t radix, ido, table;
        std::size_t prime;  // the place in primes_, or none
    };
    static constexpr std::size_t kNone = ~std::size_t{0};

    const kernels* kernels_ = nullptr;
    std::vector<step> steps_;
    std::vector<double> tables_;  // of one step after the other
    std::vector<prime_sums> primes_;

    void prime_pass(const step& s, std::size_t l1, double* cc, double* ch);
};

}  // namespace fftpack
