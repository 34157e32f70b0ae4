#include "zemra/solver/gauss.h"

#include <utility>

#include "zemra/message/message.h"
#include "zemra/solver/elimination.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kSingular[] =
    "ZEMRA::Vibration::Gauss::Solve<T>: Matrix singular\n   bad Row: %d Val: (%17.12g)";

// Unlike the other solvers, divides element by element: the result differs in the last bits
// from a product with the reciprocal.
template <typename T>
void DividePivotRow(Matrix2D<T>& w, Matrix2D<T>& b, int k) {
    T* const row = w.Row(k).Data();
    T* const rhs = b.Row(k).Data();
    const T d = std::exchange(row[k], T(1));
    for (int j = k + 1; j < w.Size(1); ++j) row[j] /= d;
    for (int j = 0; j < b.Size(1); ++j) rhs[j] /= d;
}

}  // namespace

template <typename T>
bool Gauss<T>::Solve(const Matrix2D<T>& A, Matrix2D<T>& B) {
    Matrix2D<T> w = A;
    const int n = w.Size(0);
    for (int k = 0; k < n; ++k) {
        const Pivot pivot = FindPivotRow(w, k, n);
        if (pivot.magnitude < kZeroPivot) throw Error(kSingular) << k << pivot.magnitude;
        ExchangeRows(w, B, k, pivot.index);
        DividePivotRow(w, B, k);
        EliminateBelow(w, B, k);
    }
    BackSubstitute(w, B, n - 2);
    return true;
}

template <typename T>
bool Gauss<T>::Solve(const Matrix2D<double>& A,
                     Matrix1D<double>& b) requires std::same_as<T, double> {
    return SolveVector<Gauss<double>>(A, b);
}

template class Gauss<double>;
template class Gauss<Complex>;

}  // namespace ZEMRA::Vibration
