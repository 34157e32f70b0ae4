#pragma once

#include <concepts>

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// Gaussian elimination with row pivoting, for T = double and Complex.
template <typename T>
class Gauss {
  public:
    /// Solves A·X = B. A (n × n) is not changed; B (n × r) holds X on return. Always true.
    ///
    /// Throws Error "ZEMRA::Vibration::Gauss::Solve<T>: Matrix singular\n   bad Row: %d Val:
    /// (%17.12g)" (on two lines) with the step and the largest magnitude found there, when
    /// that is below 1e-18; B is then partly transformed.
    /// Golub & Van Loan, Matrix Computations, section 3.4 (partial pivoting).
    static bool Solve(const Matrix2D<T>& A, Matrix2D<T>& B);

    /// The same for one right-hand side b (n), unchanged when an Error is thrown.
    static bool Solve(const Matrix2D<double>& A,
                      Matrix1D<double>& b) requires std::same_as<T, double>;
};

}  // namespace ZEMRA::Vibration
