#include "zemra/toolbox/fftpack/complex_to_complex.h"

#include <algorithm>

namespace fftpack {

template <typename RealType, typename ComplexType>
complex_to_complex<RealType, ComplexType>::complex_to_complex(std::size_t n, const kernels& set)
    : factorization(n, false),
      passes_(factors(), unit_circle(n, set), set),
      ch_(n < 2 ? 0 : 2 * n) {}

template <typename RealType, typename ComplexType>
void complex_to_complex<RealType, ComplexType>::forward(RealType* seq) {
    const RealType* const result = passes_.run(1, seq, ch_.data(), seq);
    if (result != seq) std::copy_n(result, 2 * n(), seq);
}

template class complex_to_complex<double, std::complex<double>>;

}  // namespace fftpack
