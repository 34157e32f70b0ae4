#pragma once

#include <cassert>
#include <complex>
#include <cstddef>
#include <limits>
#include <memory>
#include <type_traits>

namespace ZEMRA::Vibration {

using Complex = std::complex<double>;

/// Abstract base of the owning containers. They have value semantics, are indexed from 0 and
/// check no index; a copy is deep and exactly as large as its source.
class Matrix {
  public:
    virtual ~Matrix() = default;
    /// The extent in dimension dim; 0 for a dimension the container does not have.
    virtual int Size(int dim) const = 0;
    /// A new heap copy of the same dynamic type, owned by the caller.
    virtual Matrix* Copy() const = 0;

  protected:
    Matrix() = default;
    Matrix(const Matrix&) = default;
    Matrix(Matrix&&) = default;
    Matrix& operator=(const Matrix&) = default;
    Matrix& operator=(Matrix&&) = default;
};

/// Storage for the product of the extents, zero or as T's constructor leaves it; none when one
/// of them is 0. A product beyond all numbers is memory that there is not.
template <typename T, typename... Extents>
std::unique_ptr<T[]> AllocateBlock(Extents... extents) {
    assert(((extents >= 0) && ...));
    if (((extents <= 0) || ...)) return nullptr;
    std::size_t count = 1;
    const auto multiply = [&](std::size_t by) {
        constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
        count = count > kMost / by ? kMost : count * by;
    };
    (multiply(static_cast<std::size_t>(extents)), ...);
    if constexpr (std::is_class_v<T>)  // to be value-initialised, zeros would come first
        return std::make_unique_for_overwrite<T[]>(count);
    else
        return std::make_unique<T[]>(count);
}

}  // namespace ZEMRA::Vibration
