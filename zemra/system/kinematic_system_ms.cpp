#include "zemra/system/kinematic_system_ms.h"

#include "zemra/system/force_system_ms.h"

namespace ZEMRA::Vibration {
namespace {

// Without an eigen problem the model reads its chains from A.
std::unique_ptr<ForceSystem> MakeForceModel(double time, const MatrixSparse2D<double>& A,
                                            const Matrix2D<double>& B,
                                            const Matrix2D<double>& C,
                                            const Matrix2D<double>& D) {
    return std::make_unique<ForceSystemMS>(time, A, B, C, D, Matrix1D<const Actuator*>(),
                                           EigenProblem());
}

}  // namespace

KinematicSystemMS::KinematicSystemMS(double time, const MatrixSparse2D<double>& A,
                                     const Matrix2D<double>& B, const Matrix2D<double>& C,
                                     const Matrix2D<double>& D, const Matrix2D<double>& BH,
                                     const Matrix2D<double>& CH, const Matrix2D<double>& DH,
                                     const Matrix1D<const Vibration::Actuator*>& actuators,
                                     const EigenProblem& eigen)
    : KinematicSystem(time, actuators, MakeForceModel(time, A, B, C, D),
                      MakeForceModel(time, A, BH, CH, DH)),
      eigen_(eigen) {
    SolveTogether(
        [&](const Matrix2D<double>& bothC, const Matrix2D<double>& bothD,
            const std::vector<char>&) { return MakeForceModel(time, A, B, bothC, bothD); });
}

const MatrixSparse2D<double>& KinematicSystemMS::AMatrix() const {
    return static_cast<const ForceSystemMS&>(ForceModel()).AMatrix();
}

}  // namespace ZEMRA::Vibration
