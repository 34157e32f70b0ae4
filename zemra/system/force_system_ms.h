#pragma once

#include <memory>
#include <vector>

#include "zemra/eigen/eigen_problem.h"
#include "zemra/system/force_system.h"
#include "zemra/system/modal_residual.h"
#include "zemra/system/modal_sweep.h"

namespace ZEMRA::Vibration {

/// The force model in modal coordinates: its A is block-diagonal, B and C are expressed in the
/// same coordinates (see Canon). One mode is one real eigenvalue or one conjugate pair.
///
/// The rows of A (n × n), from the top:
///   real mode at row i       A(i, i) = a, A(i + 1, i) = 0
///   pair a ± jb at i, i + 1  (a, b; −b, a), of which the first column is read
///   chain member             its row or rows follow its predecessor's, coupled by ones in the
///                            predecessor's rows and the member's columns, as in a Jordan block
///
/// (j·w·I − A)⁻¹ is known block by block: a frequency costs O(n) for the band of the inverse,
/// O(n·m) for the states and O(p·n·m) for the outputs. The band is exact but for chains of
/// more than two members, which get the coupling to the immediate predecessor only.
class ForceSystemMS : public ForceSystem {
  public:
    ///   A (n × n), B (n × m), C (p × n), D (p × m)
    ///   actuators  one per column of B, copied
    ///   eigen      the problem that the modes came from, copied. When it holds n eigenvalues
    ///              its Defective(i) are the chain links; otherwise (a selection of modes, or
    ///              an empty problem) row i is linked to row i − 1 where both are real modes
    ///              and A(i − 1, i) ≠ 0.
    ///   residual   of this modal form, or null. With it, transfer functions of a vector of
    ///              frequencies are judged at the lowest that is not 0: a Warning is printed
    ///              where its first-order effect on an output is more than a thousandth of
    ///              the response, unless that is next to nothing itself.
    ///
    /// Throws the Error of CheckABCDSizes.
    ForceSystemMS(double time, const MatrixSparse2D<double>& A, const Matrix2D<double>& B,
                  const Matrix2D<double>& C, const Matrix2D<double>& D,
                  const Matrix1D<const Vibration::Actuator*>& actuators,
                  const EigenProblem& eigen,
                  std::shared_ptr<const ModalResidual> residual = nullptr);
    /// A copy drops the scratch of the last frequency and the dense A.
    ForceSystemMS(const ForceSystemMS& other);

    using System::FrequencyResponse;
    const Matrix2D<double>& ABCDMatrix(char which) const override;
    std::unique_ptr<System> Copy() const override {
        return std::make_unique<ForceSystemMS>(*this);
    }

    const MatrixSparse2D<double>& AMatrix() const { return A_; }
    const EigenProblem& Eigen() const { return eigen_; }

    /// The road of the sweeps from now on; tests and benchmarks compare them.
    void TakeRoad(SweepRoad road, KernelSet kernels = ChosenKernels()) {
        sweep_ = ModalSweep(road, kernels);
    }

  protected:
    /// At w = 0 a real mode at exactly 0 (a rigid body) answers with 1e30 and the coupling of
    /// its chain with 1e99 in place of a division by zero. An undamped pair excited at its own
    /// frequency is not guarded: its response is infinite or not a number.
    void FrequencyResponse(double w, Matrix2D<Complex>& H, bool statesOnly) override;

    std::vector<char> SweepTogether(const Matrix1D<double>& w, Matrix3D<Complex>& H,
                                    bool statesOnly) override;

    void Judge(const Matrix1D<double>& w, const Matrix3D<Complex>& H) override;

  private:
    EigenProblem eigen_;
    MatrixSparse2D<double> A_;
    mutable Matrix2D<double> denseA_;  // made when first asked for
    std::vector<Mode> modes_;          // in the order of their rows
    ModalSweep sweep_;
    std::shared_ptr<const ModalResidual> residual_;  // or null
    int stride_ = 3;                                 // 5 where there are chains
    // Row r of (j·w·I − A)⁻¹ from column r − 1 on: stride_ entries, all others are zero.
    std::vector<Complex> band_;

    void ReadModes();
    int Predecessor(int row, bool pair) const;
    /// n for a mode beyond the last.
    int ModeNumberToColumn(int mode) const override;
    bool ComplexMode(int column) const override;

    void SetSIA_inv(double w);
    void SetReal(const Mode& mode, double w);
    void SetPair(const Mode& mode, double w);
    Complex& Band(int row, int column);
    /// visit(row, column, value) for each entry of the band, row by row.
    template <typename Visit>
    void ForEachInBand(const Visit& visit) const;
    /// X += (j·w·I − A)⁻¹·B.
    template <typename T>
    void SetSIAB(const Matrix2D<T>& B, Matrix2D<Complex>& X) const;
    /// At least |(j·w·I − A)⁻¹|·b.
    Matrix1D<double> MostStates(const Matrix1D<double>& b) const;
};

}  // namespace ZEMRA::Vibration
