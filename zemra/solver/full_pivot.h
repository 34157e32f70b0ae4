#pragma once

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// Gaussian elimination that takes, at each step, the larger of the best row pivot and the
/// best column pivot, for T = double and Complex. One column and one row are searched once:
/// between partial and complete pivoting.
template <typename T>
class FullPivot {
  public:
    /// Solves A·X = B. A (n × n) is not changed; B (n × r) holds X on return. Always true.
    ///
    /// Throws Error "FullPivot::Solve: Matrix singular.\n   Could not find a pivot for row
    /// %d.\n   Max value: %17.12g" (on three lines) with the step and the largest magnitude
    /// found there, when that is below 1e-18; B is then unchanged.
    /// Golub & Van Loan, Matrix Computations, section 3.4.
    static bool Solve(const Matrix2D<T>& A, Matrix2D<T>& B);
};

}  // namespace ZEMRA::Vibration
