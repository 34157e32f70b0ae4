#pragma once

#include <functional>
#include <vector>

#include "zemra/system/force_system.h"

namespace ZEMRA::Vibration {

/// A model some of whose inputs prescribe a motion: those whose actuator is not a force ('F').
///
/// Two force models share one A. The model proper (A, B, C, D) has a force at every input; the
/// constraint model (A, BH, CH, DH) leads from the forces at the k kinematic inputs to the
/// motions prescribed there, G(w) = CH·(j·w·I − A)⁻¹·BH + DH (k × k). Column c of G⁻¹ is the
/// set of forces that gives motion c the value 1 and the other motions 0, so the kinematic
/// columns of any force result T become T_kin·G⁻¹, per unit motion. The columns of forces stay
/// as they are: they ignore the prescribed motions.
///
/// Where G cannot be inverted the queries throw Error "An equivalent force for a kinematic
/// actuator could not be found.\nCheck C and D matricies for the most probable cause.\n …",
/// with a list of causes; so also where the constraint model has no response at all. Where the
/// inverse has lost nearly all digits to cancellation a Warning is printed, once for a sweep.
class KinematicSystem : public System {
  public:
    using System::FrequencyResponse;
    const Matrix3D<Complex>& TransferFunction(const Matrix1D<double>& w) override;
    const Matrix3D<Complex>& MCT(const Matrix1D<double>& w, bool withActuators) override;

    /// The factors of the model proper, from the converted state response and with the
    /// equivalent forces for its feed-through. Over all modes and unprojected they sum to
    /// H − D in the column of a force and to H − (D_kin·G⁻¹)_c in that of motion c.
    const Matrix1D<Complex>& MPF(int input, int output, int frequency, int mode,
                                 const Matrix1D<double>& w, bool project) override;

    /// Of the model proper.
    const Matrix2D<double>& ABCDMatrix(char which) const override {
        return model_->ABCDMatrix(which);
    }
    /// Of the constraint model: A, BH, CH or DH, and the same Error.
    const Matrix2D<double>& ABCDMatrixH(char which) const { return modelH_->ABCDMatrix(which); }
    int Outputs() const override { return model_->Outputs(); }
    int Inputs() const override { return model_->Inputs(); }

  protected:
    ///   actuators  one per input of the model, copied
    ///   model      (A, B, C, D), neither null nor with actuators of its own
    ///   modelH     (A, BH, CH, DH), the same
    ///
    /// Throws Error "KinematicSystem: %d actuators for a model of %d inputs." or
    /// "KinematicSystem: %d actuators prescribe a motion, the constraint model has %d inputs
    /// and %d outputs." (on one line) when these numbers differ.
    KinematicSystem(double time, const Matrix1D<const Vibration::Actuator*>& actuators,
                    std::unique_ptr<ForceSystem> model, std::unique_ptr<ForceSystem> modelH);
    KinematicSystem(const KinematicSystem& other);

    const ForceSystem& ForceModel() const { return *model_; }

    /// Lets one sweep answer both models where BH holds the kinematic columns of B, as it does
    /// when KinematicModel made it: that of the model of A and B with the outputs of both,
    /// which make builds from its C and D. wanted, outputs × inputs and row-major, flags what
    /// will be asked of it.
    using MakeModel = std::function<std::unique_ptr<ForceSystem>(
        const Matrix2D<double>& C, const Matrix2D<double>& D, const std::vector<char>& wanted)>;
    void SolveTogether(const MakeModel& make);

    /// The forces at all inputs that give the actuators' amplitudes u at w: of a force its
    /// amplitude, of the motions G⁻¹ times theirs.
    Matrix1D<Complex> EvaluateActuatorForce(double w, const Matrix1D<Complex>& u);

    /// The state response per unit force or motion, [frequency][state][input].
    const Matrix3D<Complex>& MPT(const Matrix1D<double>& w);

  private:
    std::unique_ptr<ForceSystem> model_;
    std::unique_ptr<ForceSystem> modelH_;
    std::unique_ptr<ForceSystem> joint_;  // the outputs of both, or null
    std::vector<int> kinematic_;          // the inputs that prescribe a motion, in order

    // The frequencies of the constraint model's last transfer function that a sweep has
    // answered well enough for G to be inverted. At the others both models are solved by
    // themselves.
    std::vector<char> swept_;

    int Input(int motion) const { return kinematic_[static_cast<std::size_t>(motion)]; }
    Matrix2D<Complex> SolveAt(double w) override;

    // Answers of the joint model, the outputs of both.
    struct Together {
        std::vector<char> solved;  // empty: the models are to be asked
        Matrix3D<Complex> H;
    };
    // G⁻¹ at every frequency.
    struct UnitForces {
        Matrix3D<Complex> Ginv;
        std::vector<char> swept;
    };
    struct UnitForcesAt {
        Matrix2D<Complex> G, Ginv;
        bool swept;
    };
    Together AskForOutputs(const Matrix1D<double>& w);
    UnitForces UnitMotionForces(const Matrix1D<double>& w, const Together& together);
    UnitForces UnitMotionForces(const Matrix1D<double>& w);
    UnitForcesAt UnitMotionForces(double w);
    UnitForces SolveForMotions(const Matrix1D<double>& w, const Together& together);
    const Matrix3D<Complex>& ForceTransferFunction(const Matrix1D<double>& w,
                                                   Together&& together,
                                                   const std::vector<char>& swept);
    const Matrix3D<Complex>& ForceStates(const Matrix1D<double>& w,
                                         const std::vector<char>& swept);
    Matrix2D<Complex> ForceResponseAt(double w, bool swept);
    void FromForceToKinematic(const Matrix2D<Complex>& Ginv, Matrix2D<Complex>& H) const;
    Matrix3D<Complex> FromForceToKinematic(const Matrix3D<Complex>& Ginv,
                                           const Matrix3D<Complex>& T) const;
};

}  // namespace ZEMRA::Vibration
