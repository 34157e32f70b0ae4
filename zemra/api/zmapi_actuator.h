#pragma once

#include <memory>

#include "zemra/api/zmapi_matrix.h"

namespace ZEMRA {
namespace Vibration {
class Actuator;
}
}  // namespace ZEMRA

/// Evaluates an excitation: called with the library's own copy of the host's data, its size in
/// bytes and the angular frequency w (rad/s); writes the value's real and imaginary part. Runs
/// on the caller's thread; what it throws passes through to the host's call (but a
/// ZEMRA::Vibration::Error that interrupts a system's query, which is printed).
typedef void (*ActuatorFunc)(unsigned long long size, void* data, double w, double* re,
                             double* im);

/// The host's handle on one actuator: the excitation at one input of a model. The type letter
/// is 'F' for a force, 'D', 'V' or 'A' for a prescribed displacement, velocity or
/// acceleration; another letter is reported ("Vibration Actuator unknown type: %c must be
/// [F, D, V, A].") and gives an empty handle, which answers '0', false and 0.
class ZM_API ZmAPI_Actuator : public ZmAPI {
  public:
    /// func yields a complex amplitude. A null func evaluates to 0; the size bytes at data are
    /// copied, a null data counts as size 0.
    ZmAPI_Actuator(char type, ActuatorFunc func, unsigned long long size, const void* data);
    /// A constant phasor; the phase in degrees.
    ZmAPI_Actuator(char type, double magnitude, double phaseDegrees);
    /// A force that grows with the square of the frequency, as of a rotating mass: amplitude
    /// value2·value1·w²·scale (1 for scale when useUnitFactor), at 0 degrees when onRealAxis,
    /// else at −90.
    ZmAPI_Actuator(bool useUnitFactor, bool onRealAxis, double value1, double value2,
                   double scale);
    /// func yields a power spectral density. cross holds nCross slots, each null or an
    /// actuator, which is copied: slot m of the actuator of input j is the cross spectral
    /// density E[u_m·conj(u_j)] between input m and input j. A count below 1 or a null list
    /// means none.
    ZmAPI_Actuator(char type, ActuatorFunc func, unsigned long long size, const void* data,
                   int nCross, const ZmAPI_Actuator* const* cross);
    /// A copy of a core actuator.
    explicit ZmAPI_Actuator(const ZEMRA::Vibration::Actuator& actuator);

    ZmAPI_Actuator(const ZmAPI_Actuator& other);
    ZmAPI_Actuator& operator=(const ZmAPI_Actuator& other);
    ~ZmAPI_Actuator() override;

    /// The type letter; '0' for an empty handle.
    char DVAType() const;
    /// Whether the function yields a power spectral density.
    bool PSD() const;
    /// Whether slot i holds a cross actuator; for a negative i, whether there is any slot.
    bool HasCrossActuator(int i) const;
    /// A copy of the cross actuator in slot i; for any other index a force of zero.
    ZmAPI_Actuator CrossActuator(int i) const;

    /// The function's value at w (rad/s).
    ZmAPI_Complex Evaluate(double w) const;
    /// The spectral density at w for a band of width dw: the value itself of a spectral
    /// actuator, else z·z·0.5/dw of the amplitude z (the complex square).
    ZmAPI_Complex EvalPSD(double w, double dw) const;

    /// The same at every element of a real vector, as a complex vector; EvalPSD with one band,
    /// the span of w over 2π. For anything else than a real vector the error
    /// "ZmAPI_Actuator::Evaluate : Omega not a vector" (or "…::EvalPSD : …") is printed, and
    /// the answer, as that of an empty handle, is one complex zero.
    ZmAPI_Matrix Evaluate(const ZmAPI_Matrix& w) const;
    ZmAPI_Matrix EvalPSD(const ZmAPI_Matrix& w) const;

    /// The core actuator, owned by this handle; null for an empty one.
    const ZEMRA::Vibration::Actuator* GetActuator() const;

  protected:
    /// An empty handle.
    ZmAPI_Actuator();

  private:
    std::unique_ptr<ZEMRA::Vibration::Actuator> impl_;
};
