#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "zemra/toolbox/fftpack/kernels.h"
#include "zemra/toolbox/fftpack/unit_circle.h"

namespace fftpack {

class passes;

/// The cosine and sine sums of a transform of an odd prime order p, which real and complex
/// passes have in common; a complex column counts as two real ones.
///
/// With a primitive root g of p, jl = g^(t−r) makes them convolutions over half the powers,
/// since the cosine repeats itself after that half and the sine its negative. From kLeastLong
/// on they go through two complex transforms of a smooth length of at least p − 2: the sums and
/// differences of a column are the real and the imaginary parts, which the spectra of even and
/// odd symmetry keep apart. O(p·log p) for a column instead of p²/2.
/// Rader, Proc. IEEE 56 (1968) 1107–1108.
class prime_sums {
  public:
    /// circle: of an order divisible by p.
    prime_sums(std::size_t p, const unit_circle& circle, const kernels& set);
    prime_sums(prime_sums&&) noexcept;
    ~prime_sums();

    std::size_t order() const { return p_; }
    /// See kernels::sums; the terms may be lost.
    void run(std::size_t columns, const double* terms, double* lines);

  private:
    struct convolution;

    std::size_t p_;
    const kernels* kernels_;
    std::vector<double> roots_;  // e^(2πij/p), pairs
    std::unique_ptr<convolution> long_;
};

}  // namespace fftpack
