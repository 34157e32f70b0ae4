#pragma once

#include <utility>
#include <vector>

#include "zemra/matrix/kernels.h"
#include "zemra/matrix/matrix2d.h"
#include "zemra/solver/magnitude.h"

namespace ZEMRA::Vibration {

/// The steps that the elimination solvers share, on a work matrix w (n × m) and the right-hand
/// sides x (n × r).

/// A pivot of smaller magnitude counts as zero. The test is absolute, whatever the scale of
/// the matrix.
inline constexpr double kZeroPivot = 1e-18;

/// A candidate for the pivot: where it stands and how large it is.
struct Pivot {
    int index;
    double magnitude;
};

/// The largest magnitude in column k from row k to row end − 1. The lowest row wins a tie.
template <typename T>
Pivot FindPivotRow(const Matrix2D<T>& w, int k, int end) {
    Pivot best{k, Magnitude(w(k, k))};
    for (int i = k + 1; i < end; ++i) {
        const double magnitude = Magnitude(w(i, k));
        if (magnitude > best.magnitude) best = {i, magnitude};
    }
    return best;
}

/// The largest magnitude in row k from column begin to column end − 1, if it exceeds that of
/// best; else best. The lowest column wins a tie.
template <typename T>
Pivot FindPivotColumn(const Matrix2D<T>& w, int k, int begin, int end, Pivot best) {
    const T* const row = w.Row(k).Data();
    for (int j = begin; j < end; ++j) {
        const double magnitude = Magnitude(row[j]);
        if (magnitude > best.magnitude) best = {j, magnitude};
    }
    return best;
}

template <typename T>
void ExchangeRows(Matrix2D<T>& w, Matrix2D<T>& x, int i, int k) {
    if (i == k) return;
    w.Piviot(i, k);
    x.Piviot(i, k);
}

/// Exchanges columns j and k of w in its first nrows rows and records it in perm.
template <typename T>
void ExchangeColumns(Matrix2D<T>& w, std::vector<int>& perm, int nrows, int j, int k) {
    if (j == k) return;
    std::swap(perm[static_cast<std::size_t>(j)], perm[static_cast<std::size_t>(k)]);
    for (int i = 0; i < nrows; ++i) std::swap(w(i, j), w(i, k));
}

/// Divides pivot row k by its pivot, through one reciprocal.
template <typename T>
void ScalePivotRow(Matrix2D<T>& w, Matrix2D<T>& x, int k) {
    const T reciprocal = T(1) / w(k, k);
    w(k, k) = T(1);
    Scale(w.Size(1) - (k + 1), reciprocal, w.Row(k).Data() + (k + 1));
    Scale(x.Size(1), reciprocal, x.Row(k).Data());
}

/// Clears column k below the unit pivot. Rows that already hold a zero there are skipped,
/// which keeps banded and block-structured state matrices cheap.
template <typename T>
void EliminateBelow(Matrix2D<T>& w, Matrix2D<T>& x, int k) {
    const int tail = w.Size(1) - (k + 1);
    const T* const pivotRow = w.Row(k).Data() + (k + 1);
    const T* const pivotRhs = x.Row(k).Data();
    for (int i = k + 1; i < w.Size(0); ++i) {
        T* const row = w.Row(i).Data();
        const T f = row[k];
        if (Magnitude(f) == 0.0) continue;
        row[k] = T(0);
        SubtractScaled(tail, f, pivotRow, row + (k + 1));
        SubtractScaled(x.Size(1), f, pivotRhs, x.Row(i).Data());
    }
}

/// Back substitution from row start up to row 0 through the unit upper triangle of w.
template <typename T>
void BackSubstitute(const Matrix2D<T>& w, Matrix2D<T>& x, int start) {
    for (int i = start; i >= 0; --i) {
        const T* const row = w.Row(i).Data();
        T* const rhs = x.Row(i).Data();
        for (int j = i + 1; j < w.Size(1); ++j)
            SubtractScaled(x.Size(1), row[j], x.Row(j).Data(), rhs);
    }
}

/// Row i of the solution belongs to unknown perm[i].
template <typename T>
void ScatterRows(Matrix2D<T>& x, const std::vector<int>& perm, Matrix2D<T>& b) {
    for (int i = 0; const int unknown : perm) b.Row(unknown) = std::move(x.Row(i++));
}

/// Solves for one right-hand side with the matrix form of Solver.
template <typename Solver>
bool SolveVector(const Matrix2D<double>& A, Matrix1D<double>& b) {
    Matrix2D<double> column(b.Size(0), 1);
    for (int i = 0; i < b.Size(0); ++i) column(i, 0) = b(i);
    Solver::Solve(A, column);
    b = column.Column(0);
    return true;
}

}  // namespace ZEMRA::Vibration
