#pragma once

#include <cstddef>
#include <vector>

#include "zemra/toolbox/fftpack/kernels.h"

namespace fftpack {

/// The roots of unity e^(2πik/n), 0 ≤ k < n, from which all tables of a length are picked. Of
/// an n divisible by 4 one octant is computed and reflected, of another even n a quadrant, of
/// an odd n half of the circle.
class unit_circle {
  public:
    unit_circle(std::size_t n, const kernels& set);

    std::size_t order() const { return order_; }
    /// Copies the root of index k to a pair.
    void copy(std::size_t k, double* pair) const {
        pair[0] = values_[2 * k];
        pair[1] = values_[2 * k + 1];
    }
    /// table[i] = e^(2πi·i·step/n) for i < count.
    void copy(std::size_t step, std::size_t count, double* table) const;
    /// The (radix − 1)·ido factors e^(2πi·jk/(radix·ido)) of a pass, in the order in which the
    /// kernels read them: for the places k that go side by side, one j after the other.
    void copy_twiddles(std::size_t radix, std::size_t ido, double* table) const;

  private:
    std::size_t order_, places_;
    std::vector<double> values_;
};

}  // namespace fftpack
