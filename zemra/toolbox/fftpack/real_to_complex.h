#pragma once

#include <complex>

#include "zemra/toolbox/fftpack/butterfly.h"
#include "zemra/toolbox/fftpack/factorization.h"

namespace fftpack {

/// Forward transform of n real values, X_k = Σ_j x_j·e^(−2πi·jk/n), not scaled.
///
/// The tables and the work array belong to the object: build it once for all transforms of one
/// length, and use it from one thread at a time. A transform allocates nothing; it costs
/// O(n·Σ factors). A length below 2 leaves the data as they are.
///
/// Swarztrauber, Vectorizing the FFTs, in Parallel Computations (1982), and FFTPACK (rffti,
/// rfftf). Two departures: the factors are taken in the order of factorization, and the general
/// pass reads its roots of unity from a table, where the published one finds them by two nested
/// recurrences; those lose the square of the radix (six digits at a prime factor of 10007).
template <typename RealType = double, typename ComplexType = std::complex<RealType>>
class real_to_complex : public factorization {
  public:
    explicit real_to_complex(std::size_t n);

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
    std::size_t n_complex_;
    radix_constants<RealType> constants_;
    std::vector<RealType> wa_;           // twiddles, factor by factor but for the last
    std::vector<pair<RealType>> roots_;  // of order p, for each prime factor p above 5
    std::vector<RealType> ch_;           // the other end of the passes' ping-pong

    void compute_twiddles();
    void compute_roots();
    const pair<RealType>* roots_of_order(std::uint64_t ip) const;

    // The passes take l1 groups of ip interleaved partial transforms, cc(ido, l1, ip), to
    // l1 packed transforms, ch(ido, ip, l1). Each table holds the twiddles of one of the ip.
    void passf2(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1) const;
    void passf3(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1, const RealType* wa2) const;
    void passf4(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1, const RealType* wa2, const RealType* wa3) const;
    void passf5(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1, const RealType* wa2, const RealType* wa3,
                const RealType* wa4) const;
    // Any odd radix. cc, c1 and c2 are one array seen in three shapes, ch and ch2 another. The
    // input is in cc, but for ido = 1 in ch; the result is in cc.
    void passfg(std::uint64_t ido, std::uint64_t ip, std::uint64_t l1, std::uint64_t idl1,
                RealType* cc, RealType* c1, RealType* c2, RealType* ch, RealType* ch2,
                const RealType* wa) const;
};

extern template class real_to_complex<double, std::complex<double>>;

}  // namespace fftpack
