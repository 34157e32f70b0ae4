#pragma once

#include "zemra/matrix/matrix3d.h"

namespace ZEMRA::Vibration {

/// Products and differences of dense containers. Each element of a product is the sum over the
/// inner index in ascending order, starting from 0. Extents are not compared with each other:
/// the caller passes those that fit.

/// a (p × n) times b (n × m).
Matrix2D<double> operator*(const Matrix2D<double>& a, const Matrix2D<double>& b);
Matrix2D<Complex> operator*(const Matrix2D<Complex>& a, const Matrix2D<Complex>& b);
Matrix2D<Complex> operator*(const Matrix2D<Complex>& a, const Matrix2D<double>& b);
Matrix2D<Complex> operator*(const Matrix2D<double>& a, const Matrix2D<Complex>& b);

/// a minus b, element by element.
Matrix2D<double> operator-(const Matrix2D<double>& a, const Matrix2D<double>& b);

/// a (p × n) times the vector x (n).
Matrix1D<double> operator*(const Matrix2D<double>& a, const Matrix1D<double>& x);
Matrix1D<Complex> operator*(const Matrix2D<Complex>& a, const Matrix1D<Complex>& x);
Matrix1D<Complex> operator*(const Matrix2D<double>& a, const Matrix1D<Complex>& x);

/// Slot by slot product.
Matrix3D<Complex> operator*(const Matrix3D<Complex>& a, const Matrix3D<Complex>& b);

}  // namespace ZEMRA::Vibration
