#pragma once

#include <complex>

#include "zemra/toolbox/fftpack/array_view.h"
#include "zemra/toolbox/fftpack/factorization.h"
#include "zemra/toolbox/fftpack/passes.h"

namespace fftpack {

/// Forward transform of n real values, X_k = Σ_j x_j·e^(−2πi·jk/n), not scaled.
///
/// The tables and the work arrays belong to the object: build it once for all transforms of one
/// length, and use it from one thread at a time. A transform allocates nothing; it costs
/// O(n·Σ factors), a large prime p counting no more than about log₂p. A length below 2 leaves
/// the data as they are. The last digits of a result depend on the kernels.
///
/// Both roads lead through complex passes. An even n is a complex transform of the n/2 pairs of
/// neighbours, whose lines are unfolded. Of an odd n a first pass of radix p, on real values,
/// leaves out those of its p partial transforms whose lines are the conjugates of others'; the
/// other passes complete (p + 1)/2 groups.
/// Swarztrauber, Vectorizing the FFTs, in Parallel Computations (1982), and FFTPACK (rffti,
/// rfftf), whose packed spectrum this is.
template <typename RealType = double, typename ComplexType = std::complex<RealType>>
class real_to_complex : public factorization {
  public:
    explicit real_to_complex(std::size_t n, const kernels& set = baseline_kernels);

    std::size_t n_real() const { return n(); }
    /// n/2 + 1.
    std::size_t n_complex() const { return n_complex_; }

    /// In place on n values. The packed spectrum: Re X_0; Re X_k, Im X_k for k = 1 … (n−1)/2;
    /// for even n, Re X_{n/2}.
    void forward_compressed(RealType* seq);

    /// In place on 2·n_complex() values, the first n of them the input. The spectrum X_0 …
    /// X_{n/2}, real and imaginary parts interleaved. Touches nothing when n is 0.
    void forward_adaptor(RealType* seq);
    /// The same on n_complex() complex values, whose storage begins with the n real ones.
    void forward_adaptor(ComplexType* seq) {
        forward_adaptor(reinterpret_cast<RealType*>(seq));
    }

  private:
    const kernels* kernels_;
    std::size_t n_complex_;
    std::size_t radix_ = 1;          // of the first pass on an odd number of values
    std::vector<prime_sums> prime_;  // of that radix, if it is not one of the kernels'
    passes passes_;                  // behind it, or of an even number
    std::vector<RealType> wa_;       // factors of the first pass, or roots to unfold by
    work_array<RealType> ch_;        // the other end of the passes' ping-pong
    std::vector<RealType> ch2_;      // its first end, for an odd number

    // Answers Re X_0, and for even n Re X_{n/2}; lines receives X_1 … X_{(n−1)/2}.
    struct real_lines {
        RealType first, last;
    };
    real_lines transform(RealType* seq, RealType* lines);
    real_lines transform_even(RealType* seq, RealType* lines);
    real_lines transform_odd(RealType* seq, RealType* lines);
    void prime_pass(RealType* x, RealType* y);
};

extern template class real_to_complex<double, std::complex<double>>;

}  // namespace fftpack
