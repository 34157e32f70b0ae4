#pragma once

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// How far a modal form is from its model: A·T = T·A′ + R, A′ being the matrix in the modal
/// coordinates q of x = T·q. R is 0 but for rounding. To first order it changes the states
/// q = (j·w·I − A′)⁻¹·B′ by (j·w·I − A′)⁻¹·Tinv·R·q.
struct ModalResidual {
    Matrix2D<double> Tinv;  // the left inverse of T (s × n)
    Matrix2D<double> R;     // n × s
};

}  // namespace ZEMRA::Vibration
