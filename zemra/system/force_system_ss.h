#pragma once

#include "zemra/system/force_system.h"
#include "zemra/system/state_space_sweep.h"

namespace ZEMRA::Vibration {

/// The force model in plain state-space form, with a dense A. Every state is its own mode.
class ForceSystemSS : public ForceSystem {
  public:
    ///   A (n × n), B (n × m), C (p × n), D (p × m)
    ///   actuators  one per column of B, copied
    ///
    /// Throws the Error of CheckABCDSizes.
    ForceSystemSS(double time, const Matrix2D<double>& A, const Matrix2D<double>& B,
                  const Matrix2D<double>& C, const Matrix2D<double>& D,
                  const Matrix1D<const Vibration::Actuator*>& actuators);
    ForceSystemSS(const ForceSystemSS&) = default;

    using System::FrequencyResponse;
    const Matrix2D<double>& ABCDMatrix(char which) const override;
    /// Lets a sweep leave out what it is not asked for: of the transfer function only the
    /// flagged elements, outputs × inputs and row-major, are judged and answered.
    void AnswerOnly(std::vector<char> wanted) { wanted_ = std::move(wanted); }
    std::unique_ptr<System> Copy() const override {
        return std::make_unique<ForceSystemSS>(*this);
    }

    /// The road of the sweeps from now on; tests and benchmarks compare them.
    void TakeRoad(SweepRoad road, KernelSet kernels = ChosenKernels()) {
        sweep_ = StateSpaceSweep(road, kernels);
    }

  protected:
    /// Inverts j·w·I − A: about 4/3·n³ complex multiplications.
    ///
    /// Where the matrix is singular, w = 0 answers with the response at 1e-6 (a rigid body
    /// then shows its large quasi-static response) or, failing that too, leaves H without a
    /// word; at any other frequency the Error is printed and H is left as it is.
    void FrequencyResponse(double w, Matrix2D<Complex>& H, bool statesOnly) override;

    /// With ZEMRA_VIBRATION_OLD_INVERSE, none.
    std::vector<char> SweepTogether(const Matrix1D<double>& w, Matrix3D<Complex>& H,
                                    bool statesOnly) override;

  private:
    Matrix2D<double> A_;
    StateSpaceSweep sweep_;
    std::vector<char> wanted_;  // empty: everything

    Matrix2D<Complex> Response(double w, bool statesOnly) const;
    int ModeNumberToColumn(int mode) const override { return mode; }
    bool ComplexMode(int) const override { return false; }
};

}  // namespace ZEMRA::Vibration
