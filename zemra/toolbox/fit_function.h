#pragma once

#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// A polynomial fitted to points by least squares, with as many coefficients as it takes.
///
/// One coefficient after the other is added, up to 8 and no more than there are distinct
/// abscissae, until the sum of squares r is at most 1e-6 or one more changes it by at most 1e-6
/// (at first it counts as 1). A polynomial whose normal equations are singular, or whose r is
/// not finite, is given up for the previous one. The abscissae are scaled so that the last one
/// sits at 2; a last abscissa of 0 leaves them unscaled.
///
/// Cost: O(n·m²) for each number m of coefficients tried.
/// Normal equations of the monomial basis: Golub & Van Loan, Matrix Computations, 5.3.2.
class cFitFunction {
  public:
    /// Fits y(x) at n points in any order. Without points the polynomial is 0.
    cFitFunction(int n, const double* y, const double* x);

    /// The polynomial at x.
    double Eval(double x) const;
    /// Its first derivative at x.
    double EvalD1(double x) const;
    /// How many coefficients it has.
    int Coefficients() const { return c_.Size(0); }

  private:
    Matrix1D<double> c_;  // lowest power first

    /// Fits c_ at its size and returns the sum of squares. Throws Error when the normal
    /// equations are singular.
    double fitFunction(int n, const double* y, const double* t);
};

}  // namespace ZEMRA::Vibration
