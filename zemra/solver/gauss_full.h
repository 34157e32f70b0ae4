#pragma once

#include <concepts>

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// Gaussian elimination with row pivoting for systems that may be rank-deficient but
/// consistent, for T = double and Complex. Where a column holds no pivot a column of the same
/// row is exchanged with it; a row that has become zero moves to the end and its unknown is
/// set to zero.
template <typename T>
class GaussFull {
  public:
    /// Solves A·X = B. A (n × n) is not changed; B (n × r) holds X on return. Always true.
    ///
    /// Throws Error "GaussFull::Solve: Matrix singular.\n   Could not find a pivot for row
    /// %d.\n   Max value: %17.12g" (on three lines) with the step and the largest magnitude of
    /// the negligible row, when its right-hand side exceeds 1e-18. For the last active row the
    /// text begins "GaussFull::Solve: : ". B is then unchanged.
    static bool Solve(const Matrix2D<T>& A, Matrix2D<T>& B);

    /// The same for one right-hand side b (n).
    static bool Solve(const Matrix2D<double>& A,
                      Matrix1D<double>& b) requires std::same_as<T, double>;

  private:
    /// The largest magnitude among the first len elements of v; 0 when there are none.
    static double FMAX(const Matrix1D<T>& v, int len);
};

}  // namespace ZEMRA::Vibration
