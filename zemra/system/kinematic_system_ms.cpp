#include "zemra/system/kinematic_system_ms.h"

#include "zemra/system/force_system_ms.h"

namespace ZEMRA::Vibration {
namespace {

// Without an eigen problem the model reads its chains from A.
std::unique_ptr<ForceSystem> MakeForceModel(
    double time, const MatrixSparse2D<double>& A, const Matrix2D<double>& B,
    const Matrix2D<double>& C, const Matrix2D<double>& D,
    const std::shared_ptr<const ModalResidual>& residual = nullptr) {
    return std::make_unique<ForceSystemMS>(time, A, B, C, D, Matrix1D<const Actuator*>(),
                                           EigenProblem(), residual);
}

}  // namespace

KinematicSystemMS::KinematicSystemMS(double time, const MatrixSparse2D<double>& A,
                                     const Matrix2D<double>& B, const Matrix2D<double>& C,
                                     const Matrix2D<double>& D, const Matrix2D<double>& BH,
                                     const Matrix2D<double>& CH, const Matrix2D<double>& DH,
                                     const Matrix1D<const Vibration::Actuator*>& actuators,
                                     const EigenProblem& eigen,
                                     const std::shared_ptr<const ModalResidual>& residual)
    : KinematicSystem(time, actuators, MakeForceModel(time, A, B, C, D, residual),
                      MakeForceModel(time, A, BH, CH, DH, residual)),
      eigen_(eigen) {
    SolveTogether(
        [&](const Matrix2D<double>& bothC, const Matrix2D<double>& bothD,
            const std::vector<char>&) { return MakeForceModel(time, A, B, bothC, bothD); });
}

const MatrixSparse2D<double>& KinematicSystemMS::AMatrix() const {
    return static_cast<const ForceSystemMS&>(ForceModel()).AMatrix();
}

}  // namespace ZEMRA::Vibration
