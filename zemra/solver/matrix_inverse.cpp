#include "zemra/solver/matrix_inverse.h"

#include <cstdlib>

#include "zemra/message/message.h"
#include "zemra/solver/full_pivot.h"
#include "zemra/solver/gauss.h"
#include "zemra/solver/gauss_full.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kNotSquare[] = "MatrixInverse2D::Inverse: Matrix is not square: %d x %d";

template <typename T>
Matrix2D<T> Identity(int n) {
    Matrix2D<T> identity(n, n);
    for (int i = 0; i < n; ++i) identity(i, i) = T(1);
    return identity;
}

}  // namespace

bool UseOldInverse() {
    const char* const value = std::getenv("ZEMRA_VIBRATION_OLD_INVERSE");
    return value && *value;
}

template <typename T>
Matrix2D<T> MatrixInverse2D<T>::Inverse(const Matrix2D<T>& A) {
    const int n = A.Size(0);
    if (A.Size(1) != n) throw Error(kNotSquare) << n << A.Size(1);
    Matrix2D<T> X = Identity<T>(n);
    try {
        UseOldInverse() ? Gauss<T>::Solve(A, X) : FullPivot<T>::Solve(A, X);
    } catch (const Error&) {
        X = Identity<T>(n);  // Gauss leaves a half-eliminated right-hand side
        GaussFull<T>::Solve(A, X);
    }
    return X;
}

Matrix3D<Complex> MatrixInverse3D<Complex>::Inverse(const Matrix3D<Complex>& A) {
    Matrix3D<Complex> X(A.Size(0), A.Size(1), A.Size(2));
    for (int k = 0; k < A.Size(0); ++k)
        X.Slot(k) = MatrixInverse2D<Complex>::Inverse(A.Slot(k));
    return X;
}

template class MatrixInverse2D<double>;
template class MatrixInverse2D<Complex>;

}  // namespace ZEMRA::Vibration
