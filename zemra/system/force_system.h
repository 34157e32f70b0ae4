#pragma once

#include <vector>

#include "zemra/system/system.h"

namespace ZEMRA::Vibration {

/// A model whose inputs are forces. The concrete models hold A and solve one frequency.
class ForceSystem : public System {
    // Converts the responses of its force models, and their shares in participation.
    friend class KinematicSystem;

  public:
    ///   B (states × inputs), C (outputs × states), D (outputs × inputs)
    ///   actuators  one per column of B, copied
    ForceSystem(double time, const Matrix2D<double>& B, const Matrix2D<double>& C,
                const Matrix2D<double>& D,
                const Matrix1D<const Vibration::Actuator*>& actuators)
        : System(time, actuators), B_(B), C_(C), D_(D) {}

    using System::FrequencyResponse;
    const Matrix3D<Complex>& TransferFunction(const Matrix1D<double>& w) override;
    const Matrix3D<Complex>& MCT(const Matrix1D<double>& w, bool withActuators) override;

    /// The factor of mode q (column c) for output o, input i and frequency k is
    /// m = C(o, c)·X(k, c, i), both columns of a conjugate pair together, X being the state
    /// response per unit input. Projected, it is the part of m along the total response
    /// r = Σ C(o, s)·X(k, s, i) + Σ D(o, j)·u(j), u being the actuators' amplitudes at w(k);
    /// 0 where |r| is at most 1e-18. A mode beyond the states has the factor 0.
    const Matrix1D<Complex>& MPF(int input, int output, int frequency, int mode,
                                 const Matrix1D<double>& w, bool project) override;

    int Outputs() const override { return D_.Size(0); }
    int Inputs() const override { return D_.Size(1); }

  protected:
    ForceSystem(double time, const Matrix2D<double>& B, const Matrix2D<double>& C,
                const Matrix2D<double>& D)
        : System(time), B_(B), C_(C), D_(D) {}
    ForceSystem(const ForceSystem&) = default;

    /// Solves one frequency: H = C·(j·w·I − A)⁻¹·B + D (outputs × inputs), or with statesOnly
    /// H = (j·w·I − A)⁻¹·B (states × inputs). H comes sized and zeroed and stays so where a
    /// solution cannot be found.
    virtual void FrequencyResponse(double w, Matrix2D<Complex>& H, bool statesOnly) = 0;

    /// Solves those frequencies of w that are answered together, each into the slot of its
    /// index and as FrequencyResponse does to rounding. Returns one flag per frequency; what
    /// the slots of the others hold is lost. Prints nothing.
    virtual std::vector<char> SweepTogether(const Matrix1D<double>& w, Matrix3D<Complex>& H,
                                            bool statesOnly);

    /// Warns where a sweep H that is about to be stored cannot be trusted.
    virtual void Judge(const Matrix1D<double>& /*w*/, const Matrix3D<Complex>& /*H*/) {}

    /// C·X + D (p × m), the outputs that go with the states X (n × m) per unit input.
    Matrix2D<Complex> OutputsOf(const Matrix2D<Complex>& X) const;

    /// The matrix 'B', 'C' or 'D'; throws BadMatrixLetter for another letter.
    const Matrix2D<double>& MatrixBesideA(char which) const;

    /// The state response per unit input, [frequency][state][input].
    const Matrix3D<Complex>& MPT(const Matrix1D<double>& w);

    // The factors along one index, or of one combination, from X = MPT(w) and the amplitudes
    // u at the fixed frequency (row k of U at frequency k). Each fills mpfCache_.
    const Matrix1D<Complex>& MPFbyFrequencyCalc(const Matrix3D<Complex>& X,
                                                const Matrix2D<Complex>& U, int input,
                                                int output, int mode, int nFrequencies,
                                                bool project);
    const Matrix1D<Complex>& MPFCalc(const Matrix3D<Complex>& X, const Matrix1D<Complex>& u,
                                     int input, int output, int mode, int frequency,
                                     bool project);  // along the negative index, if any
    const Matrix1D<Complex>& MPFbyInputCalc(const Matrix3D<Complex>& X,
                                            const Matrix1D<Complex>& u, int output, int mode,
                                            int frequency, bool project);
    const Matrix1D<Complex>& MPFbyOutputCalc(const Matrix3D<Complex>& X,
                                             const Matrix1D<Complex>& u, int input, int mode,
                                             int frequency, bool project);
    const Matrix1D<Complex>& MPFbyModeCalc(const Matrix3D<Complex>& X,
                                           const Matrix1D<Complex>& u, int input, int output,
                                           int frequency, bool project);
    const Matrix1D<Complex>& MPFbyAllCalc(const Matrix3D<Complex>& X,
                                          const Matrix1D<Complex>& u, int input, int output,
                                          int mode, int frequency, bool project);

    Matrix2D<double> B_;
    Matrix2D<double> C_;
    Matrix2D<double> D_;

  private:
    /// The first column of a mode in C.
    virtual int ModeNumberToColumn(int mode) const = 0;
    /// Whether a column begins a conjugate pair.
    virtual bool ComplexMode(int column) const = 0;

    Matrix3D<Complex> Sweep(const Matrix1D<double>& w, int nrows, bool statesOnly);
    // Solves the frequencies that are not solved yet, in the order of w.
    void Complete(const std::vector<char>& solved, const Matrix1D<double>& w,
                  Matrix3D<Complex>& H, bool statesOnly);
    Matrix2D<Complex> SolveAt(double w) override;

    Complex Feedthrough(int output, const Matrix1D<Complex>& u) const;
    Complex Participation(const Matrix2D<Complex>& X, Complex feedthrough, int input,
                          int output, int mode, bool project) const;
    int ModeCount() const;
};

}  // namespace ZEMRA::Vibration
