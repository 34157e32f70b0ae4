#include "zemra/system/kinematic_system_ss.h"

#include "zemra/system/force_system_ss.h"

namespace ZEMRA::Vibration {
namespace {

std::unique_ptr<ForceSystem> MakeForceModel(double time, const Matrix2D<double>& A,
                                            const Matrix2D<double>& B,
                                            const Matrix2D<double>& C,
                                            const Matrix2D<double>& D) {
    return std::make_unique<ForceSystemSS>(time, A, B, C, D, Matrix1D<const Actuator*>());
}

}  // namespace

KinematicSystemSS::KinematicSystemSS(double time, const Matrix2D<double>& A,
                                     const Matrix2D<double>& B, const Matrix2D<double>& C,
                                     const Matrix2D<double>& D, const Matrix2D<double>& BH,
                                     const Matrix2D<double>& CH, const Matrix2D<double>& DH,
                                     const Matrix1D<const Vibration::Actuator*>& actuators)
    : KinematicSystem(time, actuators, MakeForceModel(time, A, B, C, D),
                      MakeForceModel(time, A, BH, CH, DH)) {
    SolveTogether([&](const Matrix2D<double>& bothC, const Matrix2D<double>& bothD,
                      const std::vector<char>& wanted) {
        auto both = std::make_unique<ForceSystemSS>(time, A, B, bothC, bothD,
                                                    Matrix1D<const Vibration::Actuator*>());
        both->AnswerOnly(wanted);
        return both;
    });
}

}  // namespace ZEMRA::Vibration
