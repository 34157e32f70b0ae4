#pragma once

#include <complex>

#include "zemra/toolbox/fftpack/butterfly.h"
#include "zemra/toolbox/fftpack/factorization.h"

namespace fftpack {

/// Forward transform of n complex values, X_k = Σ_j x_j·e^(−2πi·jk/n), not scaled.
///
/// The tables and the work array belong to the object: build it once for all transforms of one
/// length, and use it from one thread at a time. A transform allocates nothing; it costs
/// O(n·Σ factors). A length below 2 leaves the data as they are.
///
/// Swarztrauber, Vectorizing the FFTs, in Parallel Computations (1982), and FFTPACK (cffti,
/// cfftf); the factors are taken in the order of factorization.
template <typename RealType = double, typename ComplexType = std::complex<RealType>>
class complex_to_complex : public factorization {
  public:
    explicit complex_to_complex(std::size_t n);

    /// Degrees to radians: deg·atan(1)/45.
    static RealType deg_as_rad(const RealType& deg) {
        return radix_constants<RealType>::deg_as_rad(deg);
    }

    /// In place on n complex values, real and imaginary parts interleaved.
    void forward(RealType* seq);
    void forward(ComplexType* seq) { forward(reinterpret_cast<RealType*>(seq)); }

  private:
    radix_constants<RealType> constants_;
    std::vector<RealType> wa_;  // twiddles, factor by factor
    std::vector<RealType> ch_;  // the other end of the passes' ping-pong

    void compute_twiddles();

    // The passes take l1 transforms of ip groups, cc(ido, ip, l1), to ip·l1 partial ones,
    // ch(ido, l1, ip); ido counts real and imaginary parts. Each table holds the twiddles of
    // one of the ip, beginning with (1, 0).
    void passf2(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1) const;
    void passf3(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1, const RealType* wa2) const;
    void passf4(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1, const RealType* wa2, const RealType* wa3) const;
    void passf5(std::uint64_t ido, std::uint64_t l1, const RealType* cc, RealType* ch,
                const RealType* wa1, const RealType* wa2, const RealType* wa3,
                const RealType* wa4) const;
    // Any odd radix above 5, whose tables begin with the roots of unity of order ip. cc, c1 and
    // c2 are one array seen in three shapes, ch and ch2 another. Whether the result is in ch,
    // not back in cc.
    bool passfg(std::uint64_t ido, std::uint64_t ip, std::uint64_t l1, std::uint64_t idl1,
                RealType* cc, RealType* c1, RealType* c2, RealType* ch, RealType* ch2,
                const RealType* wa) const;
};

extern template class complex_to_complex<double, std::complex<double>>;

}  // namespace fftpack
