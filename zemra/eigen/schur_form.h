#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "zemra/eigen/flat_matrix.h"
#include "zemra/matrix/kernels.h"
#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// The quasi-triangular matrix T of the QR iteration, held by rows, because back-substitution
/// sums along them. Which 2 × 2 blocks are real ones is told by the eigenvalues E; the entries
/// below all others mean nothing.
class SchurForm {
  public:
    /// Takes over t, column-major, and transposes it in place.
    SchurForm(FlatMatrix<double> t, const Matrix1D<Complex>& E) : rows_(t), E_(E) {
        Transpose(t);
        for (int i = 0; i < Order(); ++i) {
            double sum = 0.0;
            for (int c = std::max(i - IsLowerRowOfBlock(i), 0); c < Order(); ++c)
                sum += std::fabs((*this)(i, c));
            norm_ = std::max(norm_, sum);
        }
    }

    int Order() const { return rows_.Order(); }
    double& operator()(int i, int j) { return rows_(j, i); }
    double operator()(int i, int j) const { return rows_(j, i); }
    const double* Row(int i) const { return rows_.Column(i); }
    bool IsLowerRowOfBlock(int i) const { return E_(i).imag() < 0.0; }

    /// The largest sum of magnitudes along a row.
    double Norm() const { return norm_; }
    /// What a pivot that is too small counts as.
    double TinyPivot() const {
        return std::numeric_limits<double>::epsilon() *
               std::max(norm_, std::numeric_limits<double>::min());
    }

    /// Σ T(i, m)·y[m] over m = first … last, in ascending order.
    template <typename V>
    V Sum(int i, int first, int last, const V* y) const {
        const double* const row = Row(i);
        V sum{};
        for (int m = first; m <= last; ++m) sum += Product(row[m], y[m]);
        return sum;
    }

    /// Element i of (T − λI)·y, where y ends with element last.
    template <typename V>
    V Residual(int i, int last, const V& lambda, const V* y) const {
        V sum = Product((*this)(i, i) - lambda, y[i]);
        if (IsLowerRowOfBlock(i)) sum += Product((*this)(i, i - 1), y[i - 1]);
        return sum + Sum(i, i + 1, last, y);
    }

  private:
    FlatMatrix<double> rows_;
    const Matrix1D<Complex>& E_;
    double norm_ = 0.0;
};

}  // namespace ZEMRA::Vibration
