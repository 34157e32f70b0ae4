#pragma once

#include <memory>

#include "zemra/api/zmapi_actuator.h"

namespace ZEMRA {
namespace Vibration {
class System;
}
}  // namespace ZEMRA

class ZmAPI_EigenProblem;
class ZmAPI_SystemSS;

/// A linear model in modal form, with its eigen solution: a state-space model in real modal
/// coordinates, all of them or those of a selection of modes. A sweep costs O(n·m) a frequency.
///
/// A mode is a real eigenvalue, with one coordinate, or a conjugate pair, with two: for the
/// vector v of σ + jω the states are x = (Re v, −Im v)·(q1, q2), and A' holds [[σ, −ω], [ω,
/// σ]].
///
/// Frequencies are angular (rad/s), the time convention is e^(+jwt), and a frequency argument
/// is a real vector. Failures are printed through the message handler and answered with a
/// neutral value: a 1 × 1 real matrix holding 0, (0, 0), or 0. An object without a model
/// answers every query so, without a message. A sweep repeated over the same frequencies is
/// answered from the model's caches.
class ZM_API ZmAPI_System : public ZmAPI {
  public:
    ///   time       the time of the linearisation, reported by Time()
    ///   A, B, C, D n × n, n × m, p × n, p × m. A sparse A is taken as modal already; it needs
    ///              an eigen problem and force actuators only
    ///   actuators  one per column of B, copied. With any that prescribes a motion, the last
    ///              rows of C and D are, one for each of them in their order, the motions that
    ///              they prescribe, and no outputs
    ///   modes      the nModes mode numbers to keep, in increasing order; a count below 1 or
    ///              null keeps all
    ///   eigen      a solved eigen problem of A, copied; null or empty: A is solved here
    ///
    /// There is no model after "ZmAPI_System: Non dense matrix",
    /// "ZmAPI_System: Actuator %d is missing." or an Error of the eigen problem, of the modal
    /// transformation or of the model's sizes; each is printed. A nearly singular matrix of
    /// eigenvectors is warned of. With the environment variable ZEMRA_DUMP_VIBRATION_MODEL set,
    /// the matrices are first written to the file it names.
    ZmAPI_System(double time, const ZmAPI_Matrix& A, const ZmAPI_Matrix& B,
                 const ZmAPI_Matrix& C, const ZmAPI_Matrix& D,
                 const ZmAPI_Actuator* const* actuators, int nModes, const int* modes,
                 const ZmAPI_EigenProblem* eigen);
    /// The same model with all modes; without a model when ss has none.
    explicit ZmAPI_System(const ZmAPI_SystemSS& ss);
    ZmAPI_System(const ZmAPI_System& other);
    ZmAPI_System& operator=(const ZmAPI_System& other);
    ~ZmAPI_System() override;

    /// Transfer functions H(w) = C·(jwI − A)⁻¹·B + D: [frequency][output][input]; the column
    /// of a prescribed motion is the response per unit of that motion.
    /// Error: "ZmAPI_System::TransferFunction: Invalid input".
    ZmAPI_Matrix TransferFunction(const ZmAPI_Matrix& freq);
    /// H(w) with each column times its actuator's amplitude: [frequency][output][input].
    /// Error: "ZmAPI_System::FrequencyResponse: Invalid input".
    ZmAPI_Matrix FrequencyResponse(const ZmAPI_Matrix& freq);

    /// The output spectral matrix at w: H·S·Hᴴ [output][output], S being the spectral
    /// densities of the inputs for a band of width dw (in the actuators' units). A repeated w
    /// is answered from the cache, whatever dw is.
    ZmAPI_Matrix PSD(double w, double dw);
    /// The density of one output, element [output][output] of the same matrix. Error:
    /// "ZmAPI_System::PSD: output channel index (%d) out of range (0, %d)".
    ZmAPI_Complex PSD(int output, double w, double dw);

    /// Modal coordinates [frequency][coordinate][input], per unit input, or times the
    /// actuators' amplitudes. Error: "ZmAPI_System::MCT: Invalid input".
    ZmAPI_Matrix MCT(const ZmAPI_Matrix& freq, bool withActuators);

    /// Modal participation factors: the share of each mode in the response of an output to an
    /// input at one frequency, as a complex vector. One index may be negative: all its values.
    /// With project, the part in phase with the total response. Errors begin
    /// "ZmAPI_System::MPF: ".
    ZmAPI_Matrix MPF(int input, int output, int freqIndex, int mode, const ZmAPI_Matrix& freq,
                     bool project);

    /// The matrix 'A' (sparse), 'B', 'C' or 'D' of the modal form. Error: "Invalid matrix
    /// option [%c] must be A, B, C, or D."
    ZmAPI_Matrix ModalMatrix(char which) const;

    /// A copy of input i's actuator; a force of zero when there is none. Error:
    /// "ZmAPI_System::Actuator: input channel index (%d) out of range (0, %d)".
    ZmAPI_Actuator Actuator(int i) const;
    int Outputs() const;
    int Inputs() const;
    double Time() const;
    /// Whether the object holds no model.
    bool Error() const;

    /// The eigen solution of A, whole also where modes were selected. Its order and its errors
    /// are those of ZmAPI_EigenProblem; here they are printed, and answered with (0, 0).
    int Eigenvalues() const;
    /// Eigenvalue i in rad/s; both parts over 2π with hertz.
    ZmAPI_Complex Eigenvalue(int i, bool hertz) const;
    /// Component j of eigenvector i.
    ZmAPI_Complex Eigenvector(int i, int j) const;
    /// Writes the Eigenvalues() components of eigenvector i to out; nothing after an error.
    void Eigenvector(int i, ZmAPI_Complex* out) const;
    /// The previous member of eigenvalue i's chain; i itself when it has none. Throws
    /// ZEMRA::Vibration::Error "Defective: Range error."; 0 without a model.
    int Defective(int i) const;
    /// The mean residual of eigenpair i; −1 without a model or after an error. The flag has no
    /// effect.
    double CheckEigenVector(int i, bool flag) const;

  private:
    std::unique_ptr<ZEMRA::Vibration::System> model_;
};
