#pragma once

#include <vector>

#include "zemra/matrix/matrix2d.h"
#include "zemra/system/actuator.h"

namespace ZEMRA::Vibration {

/// The inputs whose actuator prescribes a motion (is not 'F'), in actuator order.
std::vector<int> KinematicInputs(const Matrix1D<const Actuator*>& actuators);

/// Splits B, C and D of a model with prescribed motions. Of its n states and m inputs, the k
/// inputs whose actuator is not a force ('F') prescribe a motion; the model's last k outputs
/// are those motions, one per such actuator, in actuator order.
///
///   C()     p × n   the outputs before them, p = rows of C − k
///   D()     p × m
///   Bhat()  n × k   the forces behind the motions: their columns of B
///   Chat()  k × n   the motions
///   Dhat()  k × k   the motions, in the columns of their actuators
class KinematicModel {
  public:
    ///   B (n × m), C (p + k × n), D (p + k × m)
    ///   actuators  one per column of B; read here only
    ///
    /// Throws Error "KinematicModel: %d actuators for a model of %d inputs." (on one line) when
    /// their number is not the columns of B, else the "ABCD Matrix size error." of a
    /// state-space model, with the A that fits B, when B, C and D do not fit each other or C
    /// has fewer rows than there are motions.
    KinematicModel(const Matrix2D<double>& B, const Matrix2D<double>& C,
                   const Matrix2D<double>& D, const Matrix1D<const Actuator*>& actuators);

    const Matrix2D<double>& C() const { return C_; }
    const Matrix2D<double>& D() const { return D_; }
    const Matrix2D<double>& Bhat() const { return Bhat_; }
    const Matrix2D<double>& Chat() const { return Chat_; }
    const Matrix2D<double>& Dhat() const { return Dhat_; }

  private:
    Matrix2D<double> C_;
    Matrix2D<double> D_;
    Matrix2D<double> Bhat_;
    Matrix2D<double> Chat_;
    Matrix2D<double> Dhat_;
};

}  // namespace ZEMRA::Vibration
