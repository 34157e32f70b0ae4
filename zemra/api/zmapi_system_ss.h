#pragma once

#include <memory>

#include "zemra/api/zmapi_actuator.h"

namespace ZEMRA {
namespace Vibration {
class System;
}
}  // namespace ZEMRA

/// A linear model in first-order state-space form, ẋ = A·x + B·u, y = C·x + D·u, analysed as
/// it is: dense A (n × n), B (n × m), C (p × n), D (p × m), and one actuator per input.
///
/// Frequencies are angular (rad/s), the time convention is e^(+jwt), and a frequency argument
/// is a real vector. Failures are printed through the message handler and answered with a
/// neutral value: a 1 × 1 real matrix holding 0, (0, 0), or 0. An object without a model
/// answers every query so, without a message. A sweep repeated over the same frequencies is
/// answered from the model's caches.
class ZM_API ZmAPI_SystemSS : public ZmAPI {
  public:
    ///   time       the time of the linearisation, reported by Time()
    ///   actuators  one per column of B, copied. With any that prescribes a motion, the last
    ///              rows of C and D are, one for each of them in their order, the motions that
    ///              they prescribe, and no outputs
    ///
    /// There is no model when a matrix is not a dense real matrix (without a message), an
    /// actuator is missing or empty ("ZmAPI_SystemSS: Actuator %d is missing.") or the sizes
    /// do not fit ("ABCD Matrix size error. …"). With the environment variable
    /// ZEMRA_DUMP_VIBRATION_MODEL set, the matrices are first written to the file it names.
    ZmAPI_SystemSS(double time, const ZmAPI_Matrix& A, const ZmAPI_Matrix& B,
                   const ZmAPI_Matrix& C, const ZmAPI_Matrix& D,
                   const ZmAPI_Actuator* const* actuators);
    ZmAPI_SystemSS(const ZmAPI_SystemSS& other);
    ZmAPI_SystemSS& operator=(const ZmAPI_SystemSS& other);
    ~ZmAPI_SystemSS() override;

    /// Transfer functions H(w) = C·(jwI − A)⁻¹·B + D: [frequency][output][input]; the column
    /// of a prescribed motion is the response per unit of that motion.
    /// Error: "ZmAPI_SystemSS::TransferFunction: Invalid input".
    ZmAPI_Matrix TransferFunction(const ZmAPI_Matrix& freq);
    /// H(w) with each column times its actuator's amplitude: [frequency][output][input].
    /// Error: "ZmAPI_SystemSS::FrequencyResponse: Invalid input".
    ZmAPI_Matrix FrequencyResponse(const ZmAPI_Matrix& freq);

    /// The output spectral matrix at w: H·S·Hᴴ [output][output], S being the spectral
    /// densities of the inputs for a band of width dw (in the actuators' units). A repeated w
    /// is answered from the cache, whatever dw is.
    ZmAPI_Matrix PSD(double w, double dw);
    /// The density of one output, element [output][output] of the same matrix. Error:
    /// "ZmAPI_SystemSS::PSD: output channel index (%d) out of range (0, %d)".
    ZmAPI_Complex PSD(int output, double w, double dw);

    /// Modal coordinates [frequency][state][input]: the response of every state, per unit
    /// input, or times the actuators' amplitudes. Error: "ZmAPI_SystemSS::MCT: Invalid input".
    ZmAPI_Matrix MCT(const ZmAPI_Matrix& freq, bool withActuators);

    /// Modal participation factors: the share of each state in the response of an output to an
    /// input at one frequency, as a complex vector. One index may be negative: all its values.
    /// With project, the part in phase with the total response. Errors begin
    /// "ZmAPI_SystemSS::MPF: ".
    ZmAPI_Matrix MPF(int input, int output, int freqIndex, int mode, const ZmAPI_Matrix& freq,
                     bool project);

    /// The matrix 'A', 'B', 'C' or 'D'. Error: "Invalid matrix option [%c] must be A, B, C, or
    /// D."
    ZmAPI_Matrix ModalMatrix(char which) const;
    /// The static compliance D − C·A⁻¹·B (p × m), per unit force at every input. States
    /// coupled to nothing, and rigid-body modes, are left out, each with a warning.
    ZmAPI_Matrix ComplianceMatrix() const;

    /// A copy of input i's actuator; a force of zero when there is none. Error:
    /// "ZmAPI_SystemSS::Actuator: input channel index (%d) out of range (0, %d)".
    ZmAPI_Actuator Actuator(int i) const;
    int Outputs() const;
    int Inputs() const;
    double Time() const;
    /// Whether the object holds no model.
    bool Error() const;

    /// The core model. Throws ZEMRA::Vibration::Error "ZmAPI_SystemSS::GetSystem: No model"
    /// for an object without one.
    const ZEMRA::Vibration::System& GetSystem() const;

  private:
    std::unique_ptr<ZEMRA::Vibration::System> model_;
};
