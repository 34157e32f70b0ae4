#pragma once

#include <cstddef>
#include <vector>

namespace fftpack {

/// A flat array seen as p(i, j) of size1 × size2, first index fastest. Owns nothing.
template <typename T>
class ref_2d_tp {
  public:
    ref_2d_tp(T* p, std::size_t size1, std::size_t /*size2*/) : p_(p), size1_(size1) {}

    T& operator()(std::size_t i, std::size_t j) const { return p_[i + size1_ * j]; }
    /// The contiguous elements p(0, j), p(1, j), …
    T* column(std::size_t j) const { return p_ + size1_ * j; }

  private:
    T* p_;
    std::size_t size1_;
};

/// A flat array seen as p(i, j, k) of size1 × size2 × size3, first index fastest. Owns nothing.
template <typename T>
class ref_3d_tp {
  public:
    ref_3d_tp(T* p, std::size_t size1, std::size_t size2, std::size_t /*size3*/)
        : p_(p), size1_(size1), size2_(size2) {}

    T& operator()(std::size_t i, std::size_t j, std::size_t k) const {
        return p_[i + size1_ * (j + size2_ * k)];
    }
    /// The contiguous elements p(0, j, k), p(1, j, k), …
    T* column(std::size_t j, std::size_t k) const { return p_ + size1_ * (j + size2_ * k); }

  private:
    T* p_;
    std::size_t size1_;
    std::size_t size2_;
};

/// n values to work on, one end of a ping-pong. Storage of some size begins at the start of a
/// page, like that of the data at the other end, and then elements of one index compete for the
/// same lines of the cache: the array begins half a page further on.
template <typename T>
class work_array {
  public:
    work_array() = default;
    explicit work_array(std::size_t n)
        : shift_(n < kPage ? 0 : kPage / 2), values_(n + shift_) {}

    T* data() { return values_.data() + shift_; }

  private:
    static constexpr std::size_t kPage = 4096 / sizeof(T);
    std::size_t shift_ = 0;
    std::vector<T> values_;
};

}  // namespace fftpack
