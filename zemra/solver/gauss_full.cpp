#include "zemra/solver/gauss_full.h"

#include <numeric>

#include "zemra/message/message.h"
#include "zemra/solver/elimination.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kSingular[] =
    "GaussFull::Solve: Matrix singular.\n   Could not find a pivot for row %d.\n   Max value: "
    "%17.12g";
constexpr char kLastRowSingular[] =
    "GaussFull::Solve: : Matrix singular.\n   Could not find a pivot for row %d.\n   Max "
    "value: %17.12g";

}  // namespace

template <typename T>
double GaussFull<T>::FMAX(const Matrix1D<T>& v, int len) {
    double largest = 0.0;
    for (int i = 0; i < len; ++i)
        if (Magnitude(v(i)) > largest) largest = Magnitude(v(i));
    return largest;
}

template <typename T>
bool GaussFull<T>::Solve(const Matrix2D<T>& A, Matrix2D<T>& B) {
    Matrix2D<T> w = A;
    Matrix2D<T> x = B;
    const int n = w.Size(0);
    std::vector<int> perm(static_cast<std::size_t>(n));
    std::iota(perm.begin(), perm.end(), 0);

    int active = n;  // rows from here on are negligible
    for (int k = 0; k < active;) {
        const Pivot inColumn = FindPivotRow(w, k, active);
        if (inColumn.magnitude >= kZeroPivot) {
            ExchangeRows(w, x, k, inColumn.index);
            ScalePivotRow(w, x, k);
            EliminateBelow(w, x, k);
            ++k;
            continue;
        }
        const Pivot inRow = FindPivotColumn(w, k, k + 1, active, {k, Magnitude(w(k, k))});
        if (inRow.magnitude >= kZeroPivot) {
            ExchangeColumns(w, perm, active, k, inRow.index);
            continue;
        }
        --active;
        ExchangeRows(w, x, k, active);
        if (FMAX(x.Row(active), x.Size(1)) > kZeroPivot)
            throw Error(k == active ? kLastRowSingular : kSingular) << k << inRow.magnitude;
        ExchangeColumns(w, perm, active, k, active);
    }

    BackSubstitute(w, x, active - 2);
    for (int i = active; i < n; ++i) x.Row(i) = Matrix1D<T>(x.Size(1));
    ScatterRows(x, perm, B);
    return true;
}

template <typename T>
bool GaussFull<T>::Solve(const Matrix2D<double>& A,
                         Matrix1D<double>& b) requires std::same_as<T, double> {
    return SolveVector<GaussFull<double>>(A, b);
}

template class GaussFull<double>;
template class GaussFull<Complex>;

}  // namespace ZEMRA::Vibration
