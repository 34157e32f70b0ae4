#include "zemra/matrix/products.h"

#include "zemra/matrix/kernels.h"

namespace ZEMRA::Vibration {
namespace {

// Row i of the result collects a(i, k) times row k of b in k order, so every loop runs along
// contiguous rows and each element is still its sum in ascending k.
template <typename R, typename A, typename B>
Matrix2D<R> Multiply(const Matrix2D<A>& a, const Matrix2D<B>& b) {
    const int m = b.Size(1);
    Matrix2D<R> result(a.Size(0), m);
    for (int i = 0; i < a.Size(0); ++i) {
        R* const row = result.Row(i).Data();
        for (int k = 0; k < a.Size(1); ++k) AddScaled(m, a(i, k), b.Row(k).Data(), row);
    }
    return result;
}

template <typename R, typename A, typename X>
Matrix1D<R> Multiply(const Matrix2D<A>& a, const Matrix1D<X>& x) {
    Matrix1D<R> result(a.Size(0));
    for (int i = 0; i < a.Size(0); ++i) {
        const A* const row = a.Row(i).Data();
        R sum{};
        for (int k = 0; k < a.Size(1); ++k) sum += Product(row[k], x(k));
        result(i) = sum;
    }
    return result;
}

}  // namespace

Matrix2D<double> operator*(const Matrix2D<double>& a, const Matrix2D<double>& b) {
    return Multiply<double>(a, b);
}
Matrix2D<Complex> operator*(const Matrix2D<Complex>& a, const Matrix2D<Complex>& b) {
    return Multiply<Complex>(a, b);
}
Matrix2D<Complex> operator*(const Matrix2D<Complex>& a, const Matrix2D<double>& b) {
    return Multiply<Complex>(a, b);
}
Matrix2D<Complex> operator*(const Matrix2D<double>& a, const Matrix2D<Complex>& b) {
    return Multiply<Complex>(a, b);
}

Matrix2D<double> operator-(const Matrix2D<double>& a, const Matrix2D<double>& b) {
    Matrix2D<double> result = a;
    for (int i = 0; i < a.Size(0); ++i)
        SubtractScaled(a.Size(1), 1.0, b.Row(i).Data(), result.Row(i).Data());
    return result;
}

Matrix1D<double> operator*(const Matrix2D<double>& a, const Matrix1D<double>& x) {
    return Multiply<double>(a, x);
}
Matrix1D<Complex> operator*(const Matrix2D<Complex>& a, const Matrix1D<Complex>& x) {
    return Multiply<Complex>(a, x);
}
Matrix1D<Complex> operator*(const Matrix2D<double>& a, const Matrix1D<Complex>& x) {
    return Multiply<Complex>(a, x);
}

Matrix3D<Complex> operator*(const Matrix3D<Complex>& a, const Matrix3D<Complex>& b) {
    Matrix3D<Complex> result(a.Size(0), a.Size(1), b.Size(2));
    for (int k = 0; k < a.Size(0); ++k) result.Slot(k) = a.Slot(k) * b.Slot(k);
    return result;
}

}  // namespace ZEMRA::Vibration
