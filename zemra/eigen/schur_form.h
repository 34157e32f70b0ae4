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
        : rows_(t), block_(block), E_(E) {
        Transpose(t);
        norm_ = Norm([block](int i, int c) { return block.Contains(i) == block.Contains(c); });
        if (norm_ == 0.0) norm_ = Norm([](int, int) { return true; });
    }

    int Order() const { return rows_.Order(); }
    double& operator()(int i, int j) { return rows_(j, i); }
    double operator()(int i, int j) const { return rows_(j, i); }
    const double* Row(int i) const { return rows_.Column(i); }
    bool IsLowerRowOfBlock(int i) const { return E_(i).imag() < 0.0; }

    /// |T|: the largest sum of magnitudes along a row, without what couples the balanced block
    /// with the isolated rows. That is scaled as it suited the block, and says nothing of size.
    double Norm() const { return norm_; }
    /// The size of row i up to column last. That of an isolated row is its own, however small
    /// beside the block, since the iteration has added nothing to it; the rows of the block all
    /// carry the rounding of |T|.
    double RowNorm(int i, int last) const {
        if (block_.Contains(i)) return norm_;
        double sum = 0.0;
        for (int c = i; c <= last; ++c) sum += std::fabs((*this)(i, c));
        return sum > 0.0 ? sum : norm_;
    }
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
    template <typename V>
    double ResidualTerms(int i, int last, const V& lambda, const V* y) const {
        double sum = std::abs(Product((*this)(i, i) - lambda, y[i]));
        if (IsLowerRowOfBlock(i)) sum += std::abs(Product((*this)(i, i - 1), y[i - 1]));
        for (int m = i + 1; m <= last; ++m) sum += std::abs(Product((*this)(i, m), y[m]));
        return sum;
    }

    static constexpr double kPoor = 1e-10;  // what a residual may come to, see HasEigenvector

    /// Whether y, which ends with element last, is an eigenvector: no element of (T − λI)·y is
    /// above 1e-10 of |T|·|y| and of its own terms. By rows, |T| is that of the row.
    template <typename V>
    bool HasEigenvector(int last, const V& lambda, const V* y, bool byRows = false) const {
        double size = 0.0;
        for (int i = 0; i <= last; ++i) size = std::max(size, std::abs(y[i]));
        for (int i = 0; i <= last; ++i) {
            const double residual = std::abs(Residual(i, last, lambda, y));
            if (residual <= kPoor * (byRows ? RowNorm(i, last) : norm_) * size) continue;
            if (!(residual <= kPoor * ResidualTerms(i, last, lambda, y))) return false;
        }
        return true;
    }

  private:
    FlatMatrix<double> rows_;
    CoupledBlock block_;
    const Matrix1D<Complex>& E_;
    double norm_ = 0.0;

    template <typename Counts>
    double Norm(const Counts& counts) const {
        double largest = 0.0;
        for (int i = 0; i < Order(); ++i) {
            double sum = IsLowerRowOfBlock(i) ? std::fabs((*this)(i, i - 1)) : 0.0;
            for (int c = i; c < Order(); ++c)
                if (counts(i, c)) sum += std::fabs((*this)(i, c));
            largest = std::max(largest, sum);
        }
        return largest;
    }
};

}  // namespace ZEMRA::Vibration
