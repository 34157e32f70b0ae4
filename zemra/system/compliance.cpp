#include "zemra/system/compliance.h"

#include "zemra/matrix/products.h"
#include "zemra/message/message.h"
#include "zemra/solver/matrix_inverse.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kZeroColumns[] =
    "ZEMRA/Vibration compliance matrix:\n   The A matrix and C matrix have %d zero columns.\n  "
    " These states are not coupled to other states or outputs and have been removed.";

bool ZeroColumn(const Matrix2D<double>& a, int j) {
    for (int i = 0; i < a.Size(0); ++i)
        if (a(i, j) != 0.0) return false;
    return true;
}

}  // namespace

void FilterZeros(Matrix2D<double>& A, Matrix2D<double>& B, Matrix2D<double>& C) {
    int removed = 0;
    for (int k = A.Size(1) - 1; k >= 0; --k) {
        if (!ZeroColumn(A, k) || !ZeroColumn(C, k)) continue;
        A.DeleteRow(k);
        A.DeleteColumn(k);
        B.DeleteRow(k);
        C.DeleteColumn(k);
        ++removed;
    }
    if (removed > 0) (Warning(kZeroColumns) << removed).Print();
}

Matrix2D<double> ComplianceMatrix(Matrix2D<double> A, Matrix2D<double> B, Matrix2D<double> C,
                                  const Matrix2D<double>& D) {
    FilterZeros(A, B, C);
    return D - C * MatrixInverse2D<double>::Inverse(A) * B;
}

}  // namespace ZEMRA::Vibration
