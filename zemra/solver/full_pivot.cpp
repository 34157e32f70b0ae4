#include "zemra/solver/full_pivot.h"

#include <numeric>

#include "zemra/message/message.h"
#include "zemra/solver/elimination.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kSingular[] =
    "FullPivot::Solve: Matrix singular.\n   Could not find a pivot for row %d.\n   Max value: "
    "%17.12g";

}  // namespace

template <typename T>
bool FullPivot<T>::Solve(const Matrix2D<T>& A, Matrix2D<T>& B) {
    Matrix2D<T> w = A;
    Matrix2D<T> x = B;
    const int n = w.Size(0);
    std::vector<int> perm(static_cast<std::size_t>(n));
    std::iota(perm.begin(), perm.end(), 0);
    for (int k = 0; k < n; ++k) {
        const Pivot inColumn = FindPivotRow(w, k, n);
        const Pivot best = FindPivotColumn(w, k, k + 1, w.Size(1), inColumn);
        if (best.magnitude < kZeroPivot) throw Error(kSingular) << k << best.magnitude;
        if (best.magnitude > inColumn.magnitude)
            ExchangeColumns(w, perm, n, k, best.index);
        else
            ExchangeRows(w, x, k, best.index);
        ScalePivotRow(w, x, k);
        EliminateBelow(w, x, k);
    }
    BackSubstitute(w, x, n - 2);
    ScatterRows(x, perm, B);
    return true;
}

template class FullPivot<double>;
template class FullPivot<Complex>;

}  // namespace ZEMRA::Vibration
