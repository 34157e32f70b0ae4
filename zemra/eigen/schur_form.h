#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "zemra/eigen/balance.h"
#include "zemra/matrix/kernels.h"
#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// The quasi-triangular matrix T of the QR iteration, held by rows, because back-substitution
/// sums along them. Which 2 × 2 blocks are real ones is told by the eigenvalues E; the entries
/// below all others mean nothing.
class SchurForm {
  public:
    /// Takes over t, column-major, and transposes it in place. The rows and columns of block
    /// have been balanced.
    SchurForm(FlatMatrix<double> t, CoupledBlock block, const Matrix1D<Complex>& E)
        : rows_(t), E_(E) {
        Transpose(t);
        AddToNorm(0, block.low - 1);
        AddToNorm(block.low, block.igh);
        AddToNorm(block.igh + 1, Order() - 1);
    }

    int Order() const { return rows_.Order(); }
    double& operator()(int i, int j) { return rows_(j, i); }
    double operator()(int i, int j) const { return rows_(j, i); }
    const double* Row(int i) const { return rows_.Column(i); }
    bool IsLowerRowOfBlock(int i) const { return E_(i).imag() < 0.0; }

    /// The largest sum of magnitudes along a row, within the block that was balanced or within
    /// the isolated rows on either side of it: what couples them is scaled by whatever suited
    /// the block, and says nothing about size.
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
    /// The sum of the magnitudes of that element's terms.
    double ResidualTerms(int i, int last, double lambda, const double* y) const {
        double sum = std::fabs(((*this)(i, i) - lambda) * y[i]);
        if (IsLowerRowOfBlock(i)) sum += std::fabs((*this)(i, i - 1) * y[i - 1]);
        for (int m = i + 1; m <= last; ++m) sum += std::fabs((*this)(i, m) * y[m]);
        return sum;
    }

  private:
    FlatMatrix<double> rows_;
    const Matrix1D<Complex>& E_;
    double norm_ = 0.0;

    void AddToNorm(int first, int last) {
        for (int i = first; i <= last; ++i) {
            double sum = IsLowerRowOfBlock(i) ? std::fabs((*this)(i, i - 1)) : 0.0;
            for (int c = i; c <= last; ++c) sum += std::fabs((*this)(i, c));
            norm_ = std::max(norm_, sum);
        }
    }
};

}  // namespace ZEMRA::Vibration
