#pragma once

#include <cstdint>
#include <memory>

#include "zemra/matrix/matrix3d.h"
#include "zemra/system/actuator.h"

namespace ZEMRA::Vibration {

/// A linear model at one time, ẋ = A·x + B·u, y = C·x + D·u, with one actuator per input.
///
/// Every frequency w is angular: it enters as j·w and reaches the actuator functions
/// unchanged. Indices are 0-based and not checked here. Results are references to caches of
/// the model, valid until the next call that recomputes the same cache; a sweep over the
/// frequency vector of the last one costs nothing. Vectors are the same when they are equal
/// element by element. An exception that leaves an operation (an Error, one of an actuator
/// function or message handler, lack of memory) leaves the caches as they were. Even a query
/// writes the caches: one thread at a time.
class System {
  public:
    virtual ~System() = default;

    /// H(w): [frequency][output][input].
    virtual const Matrix3D<Complex>& TransferFunction(const Matrix1D<double>& w) = 0;
    /// Element [output][output] of PSD(w, dw), without forming that matrix. Not cached.
    Complex PSD(int output, double w, double dw);
    /// The output spectral matrix H·S·Hᴴ [output][output] at w, S being the inputs' spectral
    /// densities for a band of width dw: the actuators' on the diagonal, the cross actuator
    /// in slot m of actuator j added at [m][j]. A repeated w answers from the cache, whatever
    /// dw is.
    const Matrix2D<Complex>& PSD(double w, double dw);
    /// Modal coordinates: the state response [frequency][state][input], times the actuators'
    /// amplitudes when withActuators is true, else per unit input.
    virtual const Matrix3D<Complex>& MCT(const Matrix1D<double>& w, bool withActuators) = 0;
    /// Modal participation factors, computed anew from the cached state response: the share of
    /// a mode in the response of an output to an input at w(frequency). A negative index asks
    /// for all values of that index; more than one gives an empty vector. With project, the
    /// part in phase with the total response.
    virtual const Matrix1D<Complex>& MPF(int input, int output, int frequency, int mode,
                                         const Matrix1D<double>& w, bool project) = 0;
    /// The matrix 'A', 'B', 'C' or 'D'.
    /// Throws Error "Invalid matrix option [%c] must be A, B, C, or D." for another letter.
    virtual const Matrix2D<double>& ABCDMatrix(char which) const = 0;
    virtual int Outputs() const = 0;
    virtual int Inputs() const = 0;
    /// A new copy of the same dynamic type, caches included.
    virtual std::unique_ptr<System> Copy() const = 0;

    /// Frequency response: H(w) with each input's column times its actuator's amplitude,
    /// [frequency][output][input].
    const Matrix3D<Complex>& FrequencyResponse(const Matrix1D<double>& w);
    const Vibration::Actuator& Actuator(int i) const { return actuators_(i); }
    /// The time at which the model was linearised.
    double Time() const { return time_; }

  protected:
    explicit System(double time = 0.0) : time_(time) {}
    System(double time, const Matrix1D<const Vibration::Actuator*>& actuators);
    System(const System&) = default;
    System& operator=(const System&) = delete;

    /// Looks w up in the vector of the last transfer function, which is taken to ascend; near
    /// the last hit one or two comparisons suffice. False when it is not found or nothing has
    /// been computed yet.
    bool findFrequency(double w, int& index);

    /// The actuators' amplitudes, [frequency][input]. Called before a cache is changed or
    /// referenced: a function that throws leaves the caches as they were, and one that queries
    /// its own model pulls nothing away.
    Matrix2D<Complex> Amplitudes(const Matrix1D<double>& w) const;
    /// The actuators' amplitudes at one frequency.
    Matrix1D<Complex> Amplitudes(double w) const;
    /// H(w) (outputs × inputs), of the last transfer function when it holds w, else solved.
    Matrix2D<Complex> ResponseAt(double w);

    /// Multiplies element (k, i, j) by u(k, j).
    static void ScaleColumns(Matrix3D<Complex>& values, const Matrix2D<Complex>& u);

    /// Store a complete result together with what it was computed for, or nothing at all.
    void StoreTransferFunction(Matrix3D<Complex>&& values, const Matrix1D<double>& w);
    void StoreMPT(Matrix3D<Complex>&& values, const Matrix1D<double>& w);
    void StoreMCT(Matrix3D<Complex>&& values, const Matrix1D<double>& w, bool withActuators);

    // Whether a cache already holds the answer.
    bool HasTransferFunction(const Matrix1D<double>& w) const {
        return tfComputed_ && w == tfFrequencies_;
    }
    bool HasMPT(const Matrix1D<double>& w) const {
        return mptComputed_ && w == mptFrequencies_;
    }
    bool HasMCT(const Matrix1D<double>& w, bool withActuators) const {
        return mctComputed_ && withActuators == mctWithActuators_ && w == mctFrequencies_;
    }

    // Caches start as one zero; the flags say that nothing has been computed yet, so that no
    // frequency, whatever its value, hits an initial cache.
    Matrix3D<Complex> mptCache_{1, 1, 1};
    Matrix3D<Complex> frCache_{1, 1, 1};
    Matrix3D<Complex> tfCache_{1, 1, 1};
    Matrix3D<Complex> mctCache_{1, 1, 1};
    Matrix1D<Complex> mpfCache_{1};
    Matrix2D<Complex> psdCache_{1, 1};
    std::int64_t tfVersion_ = 1;
    std::int64_t frTfVersion_ = 0;
    bool mctWithActuators_ = false;
    bool tfComputed_ = false;
    bool mptComputed_ = false;
    bool mctComputed_ = false;
    bool psdComputed_ = false;
    double psdFrequency_ = -1.0;
    int cursor_ = -99;
    Matrix1D<double> tfFrequencies_;
    Matrix1D<double> mptFrequencies_;
    Matrix1D<double> mctFrequencies_;
    Matrix1D<Vibration::Actuator> actuators_;
    double time_;

  private:
    /// Solves one frequency: H(w) (outputs × inputs), no cache changed.
    virtual Matrix2D<Complex> SolveAt(double w) = 0;

    Matrix2D<Complex> InputDensity(double w, double dw) const;
};

}  // namespace ZEMRA::Vibration
