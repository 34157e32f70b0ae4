#pragma once

#include <cmath>
#include <complex>

#include "zemra/toolbox/fftpack/array_view.h"
#include "zemra/toolbox/fftpack/factorization.h"
#include "zemra/toolbox/fftpack/passes.h"

namespace fftpack {

/// Forward transform of n complex values, X_k = Σ_j x_j·e^(−2πi·jk/n), not scaled.
///
/// The tables and the work array belong to the object: build it once for all transforms of one
/// length, and use it from one thread at a time. A transform allocates nothing; it costs
/// O(n·Σ factors), a large prime p counting no more than about log₂p. A length below 2 leaves
/// the data as they are. The last digits of a result depend on the kernels.
///
/// Swarztrauber, Vectorizing the FFTs, in Parallel Computations (1982), and FFTPACK (cffti,
/// cfftf); see passes for the order of the factors.
template <typename RealType = double, typename ComplexType = std::complex<RealType>>
class complex_to_complex : public factorization {
  public:
    explicit complex_to_complex(std::size_t n, const kernels& set = baseline_kernels);

    /// Degrees to radians: deg·atan(1)/45.
    static RealType deg_as_rad(const RealType& deg) {
        return deg * std::atan(RealType(1)) / 45;
    }

    /// In place on n complex values, real and imaginary parts interleaved.
    void forward(RealType* seq);
    void forward(ComplexType* seq) { forward(reinterpret_cast<RealType*>(seq)); }

  private:
    passes passes_;
    work_array<RealType> ch_;  // the other end of the passes' ping-pong
};

extern template class complex_to_complex<double, std::complex<double>>;

}  // namespace fftpack
