#include "zemra/system/kinematic_system.h"

#include "zemra/matrix/products.h"
#include "zemra/message/message.h"
#include "zemra/solver/matrix_inverse.h"
#include "zemra/system/kinematic_model.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kActuatorCount[] = "KinematicSystem: %d actuators for a model of %d inputs.";
constexpr char kMotionCount[] =
    "KinematicSystem: %d actuators prescribe a motion, the constraint model has %d inputs and "
    "%d outputs.";
constexpr char kNoEquivalentForce[] =
    "An equivalent force for a kinematic actuator could not be found.\n"
    "Check C and D matricies for the most probable cause.\n"
    "  1) Velocity actuator with no damping in model.\n"
    "  2) Kinematic actuator connected to ground.\n"
    "  3) Kinematic actuator connected to fully constrained part.\n"
    "  4) Kinematic actuator connected to a part constrained by mode removal.\n"
    "  5) Zero mass.\n"
    "  6) Multiple kinematic actuators over constraining a part.";

constexpr char kLostDigits[] =
    "ZEMRA/Vibration kinematic system:\n   The equivalent forces have lost nearly all digits "
    "at %d of %d frequencies, the first w = %g.\n   Multiple kinematic actuators nearly over "
    "constrain a part there, or a part that nothing\n   holds is driven too close to zero "
    "frequency.";

// A copy has the dynamic type of its source, so the cast holds.
std::unique_ptr<ForceSystem> DeepCopy(const ForceSystem& model) {
    return std::unique_ptr<ForceSystem>(static_cast<ForceSystem*>(model.Copy().release()));
}

// Runs work(); an Error of it means that there are no equivalent forces.
template <typename Work>
auto FindingForces(const Work& work) {
    try {
        return work();
    } catch (const Error&) {
        throw Error(kNoEquivalentForce);
    }
}

Matrix2D<Complex> Invert(const Matrix2D<Complex>& G) {
    return FindingForces([&] { return MatrixInverse2D<Complex>::Inverse(G); });
}

}  // namespace

KinematicSystem::KinematicSystem(double time,
                                 const Matrix1D<const Vibration::Actuator*>& actuators,
                                 std::unique_ptr<ForceSystem> model,
                                 std::unique_ptr<ForceSystem> modelH)
    : System(time, actuators),
      model_(std::move(model)),
      modelH_(std::move(modelH)),
      kinematic_(KinematicInputs(actuators)) {
    if (actuators.Size(0) != model_->Inputs())
        throw Error(kActuatorCount) << actuators.Size(0) << model_->Inputs();
    const int k = static_cast<int>(kinematic_.size());
    if (modelH_->Inputs() != k || modelH_->Outputs() != k)
        throw Error(kMotionCount) << k << modelH_->Inputs() << modelH_->Outputs();
}

KinematicSystem::KinematicSystem(const KinematicSystem& other)
    : System(other),
      model_(DeepCopy(*other.model_)),
      modelH_(DeepCopy(*other.modelH_)),
      kinematic_(other.kinematic_) {}

// The force model's sweep comes after the constraint model's: solving may print, and a handler
// that queries this model may replace what the force model answered before.
const Matrix3D<Complex>& KinematicSystem::TransferFunction(const Matrix1D<double>& w) {
    if (HasTransferFunction(w)) return tfCache_;
    const Matrix3D<Complex> Ginv = UnitMotionForces(w);
    StoreTransferFunction(FromForceToKinematic(Ginv, model_->TransferFunction(w)), w);
    return tfCache_;
}

const Matrix3D<Complex>& KinematicSystem::MPT(const Matrix1D<double>& w) {
    if (HasMPT(w)) return mptCache_;
    const Matrix3D<Complex> Ginv = UnitMotionForces(w);
    StoreMPT(FromForceToKinematic(Ginv, model_->MPT(w)), w);
    return mptCache_;
}

// Not through MPT, whose cache belongs to the participation factors.
const Matrix3D<Complex>& KinematicSystem::MCT(const Matrix1D<double>& w, bool withActuators) {
    if (HasMCT(w, withActuators)) return mctCache_;
    const Matrix2D<Complex> u = withActuators ? Amplitudes(w) : Matrix2D<Complex>();
    const Matrix3D<Complex> Ginv = UnitMotionForces(w);
    Matrix3D<Complex> coordinates = FromForceToKinematic(Ginv, model_->MPT(w));
    if (withActuators) ScaleColumns(coordinates, u);
    StoreMCT(std::move(coordinates), w, withActuators);
    return mctCache_;
}

const Matrix1D<Complex>& KinematicSystem::MPF(int input, int output, int frequency, int mode,
                                              const Matrix1D<double>& w, bool project) {
    const int running = (input < 0) + (output < 0) + (frequency < 0) + (mode < 0);
    if (running > 1) return mpfCache_ = Matrix1D<Complex>();
    if (frequency < 0) {
        Matrix2D<Complex> U = Amplitudes(w);
        MPT(w);  // leaves the constraint model's responses known
        for (int k = 0; k < w.Size(0); ++k) U.Row(k) = EvaluateActuatorForce(w(k), U.Row(k));
        return mpfCache_ = model_->MPFbyFrequencyCalc(MPT(w), U, input, output, mode, w.Size(0),
                                                      project);
    }
    const Matrix1D<Complex> u = Amplitudes(w(frequency));
    MPT(w);
    const Matrix1D<Complex> f = EvaluateActuatorForce(w(frequency), u);
    return mpfCache_ = model_->MPFCalc(MPT(w), f, input, output, mode, frequency, project);
}

Matrix1D<Complex> KinematicSystem::EvaluateActuatorForce(double w, const Matrix1D<Complex>& u) {
    const Matrix2D<Complex> Ginv = Invert(modelH_->ResponseAt(w));
    Matrix1D<Complex> motions(Ginv.Size(1));
    for (int c = 0; c < motions.Size(0); ++c) motions(c) = u(Input(c));
    const Matrix1D<Complex> forces = Ginv * motions;
    Matrix1D<Complex> f = u;
    for (int c = 0; c < forces.Size(0); ++c) f(Input(c)) = forces(c);
    return f;
}

Matrix2D<Complex> KinematicSystem::SolveAt(double w) {
    const Matrix2D<Complex> G = modelH_->ResponseAt(w), Ginv = Invert(G);
    if (Cancellation(G, Ginv) > kTooMuchCancellation)
        (Warning(kLostDigits) << 1 << 1 << w).Print();
    Matrix2D<Complex> H = model_->ResponseAt(w);
    FromForceToKinematic(Ginv, H);
    return H;
}

// G⁻¹ at every frequency.
Matrix3D<Complex> KinematicSystem::UnitMotionForces(const Matrix1D<double>& w) {
    return FindingForces([&] {
        const Matrix3D<Complex>& G = modelH_->TransferFunction(w);
        Matrix3D<Complex> Ginv = MatrixInverse3D<Complex>::Inverse(G);
        int lost = 0, first = 0;
        for (int k = w.Size(0) - 1; k >= 0; --k)
            if (Cancellation(G.Slot(k), Ginv.Slot(k)) > kTooMuchCancellation) {
                ++lost;
                first = k;
            }
        if (lost > 0) (Warning(kLostDigits) << lost << w.Size(0) << w(first)).Print();
        return Ginv;
    });
}

Matrix3D<Complex> KinematicSystem::FromForceToKinematic(const Matrix3D<Complex>& Ginv,
                                                        const Matrix3D<Complex>& T) const {
    Matrix3D<Complex> converted = T;
    for (int k = 0; k < T.Size(0); ++k) FromForceToKinematic(Ginv.Slot(k), converted.Slot(k));
    return converted;
}

// Replaces the kinematic columns T of H by T·G⁻¹.
void KinematicSystem::FromForceToKinematic(const Matrix2D<Complex>& Ginv,
                                           Matrix2D<Complex>& H) const {
    const int k = Ginv.Size(0);
    Matrix2D<Complex> T(H.Size(0), k);
    for (int i = 0; i < H.Size(0); ++i)
        for (int c = 0; c < k; ++c) T(i, c) = H(i, Input(c));
    const Matrix2D<Complex> P = T * Ginv;
    for (int i = 0; i < H.Size(0); ++i)
        for (int c = 0; c < k; ++c) H(i, Input(c)) = P(i, c);
}

}  // namespace ZEMRA::Vibration
