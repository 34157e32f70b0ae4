#include "zemra/matrix/matrix.h"

#include "zemra/matrix/matrix3d.h"

namespace ZEMRA::Vibration {

// The containers that the models and the interface exchange; the interface tells them apart
// by their dynamic type. Vectors of actuators are instantiated beside the actuator.
template class Matrix1D<int>;
template class Matrix1D<float>;
template class Matrix1D<double>;
template class Matrix1D<Complex>;
template class Matrix1D<bool>;
template class Matrix1D<Matrix1D<double>>;
template class Matrix1D<Matrix1D<Complex>>;
template class Matrix1D<Matrix2D<double>>;
template class Matrix1D<Matrix2D<Complex>>;
template class Matrix2D<double>;
template class Matrix2D<Complex>;
template class Matrix3D<double>;
template class Matrix3D<Complex>;
template class MatrixSparse1D<double>;
template class MatrixSparse1D<Complex>;
template class MatrixSparse1D<MatrixSparse1D<double>>;

}  // namespace ZEMRA::Vibration
