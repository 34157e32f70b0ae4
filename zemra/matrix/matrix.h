#pragma once

#include <complex>

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

}  // namespace ZEMRA::Vibration
