#pragma once

#include <cmath>
#include <utility>

#include "zemra/matrix/matrix2d.h"

namespace ZEMRA::Vibration {

/// How far a modal form is from its model: A·T = T·A′ + R, A′ being the matrix in the modal
/// coordinates q of x = T·q. R is 0 but for rounding. To first order it changes the states
/// q = (j·w·I − A′)⁻¹·B′ by (j·w·I − A′)⁻¹·Tinv·R·q.
struct ModalResidual {
    Matrix2D<double> Tinv;  // the left inverse of T (s × n)
    Matrix2D<double> R;     // n × s
    /// The row sums of |Tinv|·|R| (s), which bound Tinv·R·q by the largest of |q|.
    Matrix1D<double> most;

    ModalResidual(Matrix2D<double> leftInverse, Matrix2D<double> residual)
        : Tinv(std::move(leftInverse)), R(std::move(residual)), most(Tinv.Size(0)) {
        for (int k = 0; k < R.Size(0); ++k) {
            double sum = 0.0;
            for (int s = 0; s < R.Size(1); ++s) sum += std::fabs(R(k, s));
            for (int r = 0; r < Tinv.Size(0); ++r) most(r) += std::fabs(Tinv(r, k)) * sum;
        }
    }
};

}  // namespace ZEMRA::Vibration
