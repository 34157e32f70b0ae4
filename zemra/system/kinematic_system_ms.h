#pragma once

#include <memory>

#include "zemra/eigen/eigen_problem.h"
#include "zemra/system/kinematic_system.h"
#include "zemra/system/modal_residual.h"

namespace ZEMRA::Vibration {

/// The kinematic system of two modal-space models.
class KinematicSystemMS : public KinematicSystem {
  public:
    ///   A (s × s, modal), B (s × m), C (p × s), D (p × m)
    ///   BH (s × k), CH (k × s), DH (k × k)   the constraints, as KinematicModel gives them
    ///   actuators                            one per column of B, k of them not 'F'; copied
    ///   eigen                                copied, for Eigen() alone: both models read the
    ///                                        chains of eigenvectors from A
    ///   residual                             of the modal form, or null: as of ForceSystemMS,
    ///                                        for the sweeps of either model
    ///
    /// Throws the size Errors of ForceSystemMS, for either model, and of KinematicSystem.
    KinematicSystemMS(double time, const MatrixSparse2D<double>& A, const Matrix2D<double>& B,
                      const Matrix2D<double>& C, const Matrix2D<double>& D,
                      const Matrix2D<double>& BH, const Matrix2D<double>& CH,
                      const Matrix2D<double>& DH,
                      const Matrix1D<const Vibration::Actuator*>& actuators,
                      const EigenProblem& eigen,
                      const std::shared_ptr<const ModalResidual>& residual = nullptr);
    KinematicSystemMS(const KinematicSystemMS&) = default;

    std::unique_ptr<System> Copy() const override {
        return std::make_unique<KinematicSystemMS>(*this);
    }

    /// The modal state matrix.
    const MatrixSparse2D<double>& AMatrix() const;
    /// The eigen problem that the modal form was built from.
    const EigenProblem& Eigen() const { return eigen_; }

  private:
    EigenProblem eigen_;
};

}  // namespace ZEMRA::Vibration
