#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// Evaluates an excitation: called with the actuator's own copy of the caller's data, its size
/// in bytes and the angular frequency w; writes the value's real and imaginary part.
using ActuatorFunc = void (*)(unsigned long long size, void* data, double w, double* re,
                              double* im);

/// The excitation at one input of a model: a force ('F') or a prescribed displacement,
/// velocity or acceleration ('D', 'V', 'A'), as a function of the angular frequency, with
/// optional cross actuators for the cross spectral densities with other inputs.
///
/// A value: a copy copies the data block and all cross actuators, and shares nothing.
class Actuator {
  public:
    /// Without a function, of no type; exists so that vectors of actuators can be made.
    Actuator() = default;

    ///   type    'F', 'D', 'V' or 'A'
    ///   func    the evaluation function; a null one evaluates to 0
    ///   size    bytes at data, which are copied; a null data counts as size 0
    ///   psd     true: func yields a power spectral density; false: an amplitude
    ///   nCross  slots at cross; a count below 1 or a null list means none
    ///   cross   each slot null or an actuator, which is copied. Slot m of the actuator of
    ///           input j is the cross spectral density between input m and input j.
    ///
    /// Throws Error "Vibration Actuator unknown type: %c must be [F, D, V, A]." before
    /// anything is copied.
    Actuator(char type, ActuatorFunc func, unsigned long long size, const void* data, bool psd,
             int nCross, const Actuator* const* cross);

    Actuator(const Actuator& other);
    Actuator(Actuator&&) noexcept = default;
    Actuator& operator=(const Actuator& other);
    Actuator& operator=(Actuator&&) noexcept = default;
    ~Actuator() = default;

    char DVAType() const { return dvaType_; }
    bool PSD() const { return isPSD_; }

    /// The cross actuator in slot i, or null for an empty slot and any other index.
    const Actuator* CrossActuator(int i) const;
    /// Whether slot i holds a cross actuator; for a negative i, whether there is any slot.
    bool HasCrossActuator(int i) const;

    /// The function's value at w.
    Complex Evaluate(double w) const;

    /// The spectral density at w for a band of width dw: the value itself when the function
    /// yields a density, else z·z·0.5/dw of the amplitude z. z·z is the complex square, not
    /// |z|²: an amplitude at 90 degrees gives a negative density.
    Complex EvalPSD(double w, double dw) const;

    /// Element by element over a vector of frequencies.
    Matrix1D<Complex> Evaluate(const Matrix1D<double>& w) const;
    /// The same with one band for all elements: the span of w, first to last, over 2π.
    Matrix1D<Complex> EvalPSD(const Matrix1D<double>& w) const;

  private:
    unsigned long long dataSize_ = 0;
    std::unique_ptr<std::byte[]> data_;  // the function may keep state of its own there
    ActuatorFunc func_ = nullptr;
    std::vector<std::unique_ptr<const Actuator>> cross_;
    char dvaType_ = '\0';
    bool isPSD_ = false;

    void CopyData(const void* data, unsigned long long size);
};

/// A constant phasor. data: two doubles, the magnitude and the phase in radians.
void ssFunc(unsigned long long size, void* data, double w, double* re, double* im);

/// The data of rmFunc.
struct RotatingMass {
    bool useUnitFactor;  // take 1 for scale
    bool onRealAxis;     // else on the negative imaginary axis
    double value1;
    double value2;
    double scale;
};

/// A force that grows with the square of the frequency: value2·value1·w²·scale, at 0 or at
/// −90 degrees. data: one RotatingMass.
void rmFunc(unsigned long long size, void* data, double w, double* re, double* im);

extern template class Matrix1D<Actuator>;
extern template class Matrix1D<const Actuator*>;

}  // namespace ZEMRA::Vibration
