#include "zemra/solver/matrix_inverse.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <type_traits>
#include <vector>

#include "zemra/message/message.h"
#include "zemra/solver/full_pivot.h"
#include "zemra/solver/gauss.h"
#include "zemra/solver/gauss_full.h"
#include "zemra/solver/inverse_kernels.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kNotSquare[] = "MatrixInverse2D::Inverse: Matrix is not square: %d x %d";

template <typename T>
Matrix2D<T> Identity(int n) {
    Matrix2D<T> identity(n, n);
    for (int i = 0; i < n; ++i) identity(i, i) = T(1);
    return identity;
}

// Row by row, the parts of a row one after the other, padded with zeros.
void Split(int n, const double* row, std::size_t leading, double* w) {
    std::copy_n(row, n, w);
    std::fill(w + n, w + leading, 0.0);
}
void Split(int n, const Complex* row, std::size_t leading, double* w) {
    for (int j = 0; j < n; ++j) {
        w[j] = row[j].real();
        w[leading + static_cast<std::size_t>(j)] = row[j].imag();
    }
    std::fill(w + n, w + leading, 0.0);
    std::fill(w + leading + n, w + 2 * leading, 0.0);
}

// Whether the kernels could give the inverse that FullPivot does.
template <typename T>
bool InvertInLanes(const Matrix2D<T>& A, Matrix2D<T>& X) {
    constexpr bool kIsReal = std::is_same_v<T, double>;
    const InverseKernels& kernels = InverseKernelsOf(ChosenKernels());
    const int n = A.Size(0), parts = kIsReal ? 1 : 2;
    const auto size = static_cast<std::size_t>(n);
    const auto leading = static_cast<std::size_t>(kernels.leading(n));
    const std::size_t stride = leading * static_cast<std::size_t>(parts);
    const auto work = static_cast<std::size_t>(kernels.work(n, parts));
    constexpr std::size_t kLine = 64;  // bytes that the cache takes together
    std::size_t space = (size * stride + work) * sizeof(double) + kLine;
    const auto storage = std::make_unique_for_overwrite<std::byte[]>(space);
    void* start = storage.get();
    auto* const w = static_cast<double*>(std::align(kLine, 1, start, space));
    const auto indices = std::make_unique_for_overwrite<int[]>(size * (size + 5));
    std::vector<double*> rows(size);
    for (int i = 0; double*& row : rows) {
        Split(n, A.Row(i).Data(), leading, w + static_cast<std::size_t>(i) * stride);
        row = reinterpret_cast<double*>(X.Row(i++).Data());  // as std::complex is laid out
    }
    const InverseJob job{n, w, rows.data(), w + size * stride, indices.get()};
    return kIsReal ? kernels.invertReal(job) : kernels.invertComplex(job);
}

}  // namespace

void Reciprocate(double& re, double& im) {
    const Complex reciprocal = Complex(1.0) / Complex(re, im);
    re = reciprocal.real();
    im = reciprocal.imag();
}

bool UseOldInverse() {
    const char* const value = std::getenv("ZEMRA_VIBRATION_OLD_INVERSE");
    return value && *value;
}

template <typename T>
Matrix2D<T> MatrixInverse2D<T>::Inverse(const Matrix2D<T>& A) {
    const int n = A.Size(0);
    if (A.Size(1) != n) throw Error(kNotSquare) << n << A.Size(1);
    if (!UseOldInverse()) {
        Matrix2D<T> X(n, n);
        if (InvertInLanes(A, X)) return X;
    }
    return InverseByElimination(A);
}

template <typename T>
Matrix2D<T> MatrixInverse2D<T>::InverseByElimination(const Matrix2D<T>& A) {
    const int n = A.Size(0);
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
