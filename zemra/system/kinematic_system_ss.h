#pragma once

#include "zemra/system/kinematic_system.h"

namespace ZEMRA::Vibration {

/// The kinematic system of two state-space models. Every state is its own mode.
class KinematicSystemSS : public KinematicSystem {
  public:
    ///   A (n × n), B (n × m), C (p × n), D (p × m)
    ///   BH (n × k), CH (k × n), DH (k × k)   the constraints, as KinematicModel gives them
    ///   actuators                            one per column of B, k of them not 'F'; copied
    ///
    /// Throws the size Errors of ForceSystemSS, for either model, and of KinematicSystem.
    KinematicSystemSS(double time, const Matrix2D<double>& A, const Matrix2D<double>& B,
                      const Matrix2D<double>& C, const Matrix2D<double>& D,
                      const Matrix2D<double>& BH, const Matrix2D<double>& CH,
                      const Matrix2D<double>& DH,
                      const Matrix1D<const Vibration::Actuator*>& actuators);
    KinematicSystemSS(const KinematicSystemSS&) = default;

    std::unique_ptr<System> Copy() const override {
        return std::make_unique<KinematicSystemSS>(*this);
    }
};

}  // namespace ZEMRA::Vibration
