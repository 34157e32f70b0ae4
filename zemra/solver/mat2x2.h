#pragma once

#include "zemra/matrix/matrix.h"

namespace ZEMRA::Vibration {

/// Direct solution of 2 × 2 systems, for T = double and Complex.
template <typename T>
class mat2x2 {
  public:
    /// Solves a system by Cramer's rule and by elimination with row pivoting and keeps the
    /// solution with the smaller residual; Cramer's when they are equal.
    ///
    ///   a  the matrix in column order: a11, a21, a12, a22
    ///   x  b1, b2 on entry, the solution on return
    ///
    /// False, with x unchanged, when the determinant's magnitude is not above 1e-25.
    static bool Solve(const T* a, T* x);
};

}  // namespace ZEMRA::Vibration
