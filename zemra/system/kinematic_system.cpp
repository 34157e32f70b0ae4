#include "zemra/system/kinematic_system.h"

#include <algorithm>
#include <cmath>

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

// What a sweep may be off by, as part of the largest magnitude in a row of G over the
// frequencies, and the part of a motion that this may change before G is solved for by itself:
// where G vanishes or loses its rank, the rounding of a sweep must not pass for a motion.
constexpr double kSweepError = 1e-13;
constexpr double kLargestChange = 1e-3;

// The largest finite magnitude in each row of the flagged slots.
std::vector<double> LargestInRows(const Matrix3D<Complex>& G, const std::vector<char>& flags) {
    std::vector<double> largest(static_cast<std::size_t>(G.Size(1)), 0.0);
    for (int f = 0; f < G.Size(0); ++f)
        for (int i = 0; flags[static_cast<std::size_t>(f)] && i < G.Size(1); ++i)
            for (int j = 0; j < G.Size(2); ++j)
                if (const double size = std::abs(G(f, i, j)); std::isfinite(size))
                    largest[static_cast<std::size_t>(i)] =
                        std::max(largest[static_cast<std::size_t>(i)], size);
    return largest;
}

// Whether what a sweep may be off by in G changes the motions little.
bool IsCertain(const std::vector<double>& largest, const Matrix2D<Complex>& Ginv) {
    for (int c = 0; c < Ginv.Size(1); ++c) {
        double sum = 0.0;
        for (int j = 0; j < Ginv.Size(0); ++j) sum += std::abs(Ginv(j, c));
        // Not where it is no number.
        if (!(kSweepError * largest[static_cast<std::size_t>(c)] * sum <= kLargestChange))
            return false;
    }
    return true;
}

// Inverts the flagged slots of G and takes the flag from those that are not certain.
void InvertSwept(const Matrix3D<Complex>& G, Matrix3D<Complex>& Ginv,
                 std::vector<char>& swept) {
    const std::vector<double> largest = LargestInRows(G, swept);
    for (int f = 0; f < G.Size(0); ++f) {
        char& flag = swept[static_cast<std::size_t>(f)];
        if (!flag) continue;
        try {
            Ginv.Slot(f) = MatrixInverse2D<Complex>::Inverse(G.Slot(f));
            flag = IsCertain(largest, Ginv.Slot(f)) ? 1 : 0;
        } catch (const Error&) {
            flag = 0;
        }
    }
}

// Takes the flag from what is not swept.
void LeaveOut(const std::vector<char>& swept, std::vector<char>& solved) {
    std::transform(swept.begin(), swept.end(), solved.begin(), solved.begin(),
                   [](char a, char b) { return a && b ? 1 : 0; });
}

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
      joint_(other.joint_ ? DeepCopy(*other.joint_) : nullptr),
      kinematic_(other.kinematic_),
      swept_(other.swept_) {}

void KinematicSystem::SolveTogether(const MakeModel& make) {
    const Matrix2D<double>&B = model_->B_, &BH = modelH_->B_, &C = model_->C_,
          &CH = modelH_->C_;
    const int n = B.Size(0), m = B.Size(1), p = C.Size(0), k = CH.Size(0);
    if (BH.Size(0) != n) return;
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < k; ++c)
            if (!(BH(i, c) == B(i, Input(c)))) return;

    Matrix2D<double> bothC(p + k, n), bothD(p + k, m);
    std::vector<char> wanted(static_cast<std::size_t>(p + k) * static_cast<std::size_t>(m), 1);
    for (int i = 0; i < p; ++i) {
        bothC.Row(i) = C.Row(i);
        bothD.Row(i) = model_->D_.Row(i);
    }
    std::fill(wanted.begin() + static_cast<std::ptrdiff_t>(p) * m, wanted.end(), 0);
    for (int i = 0; i < k; ++i) {
        bothC.Row(p + i) = CH.Row(i);
        for (int c = 0; c < k; ++c) {
            bothD(p + i, Input(c)) = modelH_->D_(i, c);
            wanted[static_cast<std::size_t>(p + i) * static_cast<std::size_t>(m) +
                   static_cast<std::size_t>(Input(c))] = 1;
        }
    }
    joint_ = make(bothC, bothD, wanted);
}

// Says and changes nothing. Whoever needs one answer asks for both, so that its bits do not
// depend on what was asked before.
KinematicSystem::Together KinematicSystem::AskForOutputs(const Matrix1D<double>& w) {
    Together together;
    if (!joint_) return together;
    together.H = Matrix3D<Complex>(w.Size(0), joint_->Outputs(), joint_->Inputs());
    together.solved = joint_->SweepTogether(w, together.H, false);
    return together;
}

// G⁻¹, when only that is needed.
KinematicSystem::UnitForces KinematicSystem::UnitMotionForces(const Matrix1D<double>& w) {
    return UnitMotionForces(w, modelH_->HasTransferFunction(w) ? Together() : AskForOutputs(w));
}

const Matrix3D<Complex>& KinematicSystem::ForceTransferFunction(
    const Matrix1D<double>& w, Together&& together, const std::vector<char>& swept) {
    if (model_->HasTransferFunction(w)) return model_->tfCache_;
    Matrix3D<Complex> T(w.Size(0), model_->Outputs(), model_->Inputs());
    std::vector<char> solved = std::move(together.solved);
    if (solved.empty()) solved = model_->SweepTogether(w, T, false);
    for (int f = 0; f < together.H.Size(0); ++f)
        for (int i = 0; i < T.Size(1); ++i)
            T.Slot(f).Row(i) = std::move(together.H.Slot(f).Row(i));
    LeaveOut(swept, solved);
    model_->Complete(solved, w, T, false);
    model_->Judge(w, T);
    model_->StoreTransferFunction(std::move(T), w);
    return model_->tfCache_;
}

// From the matrix that the joint model has prepared.
const Matrix3D<Complex>& KinematicSystem::ForceStates(const Matrix1D<double>& w,
                                                      const std::vector<char>& swept) {
    if (model_->HasMPT(w)) return model_->mptCache_;
    Matrix3D<Complex> X(w.Size(0), model_->B_.Size(0), model_->Inputs());
    std::vector<char> solved = (joint_ ? joint_ : model_)->SweepTogether(w, X, true);
    LeaveOut(swept, solved);
    model_->Complete(solved, w, X, true);
    model_->StoreMPT(std::move(X), w);
    return model_->mptCache_;
}

// The force model is completed after the constraint model: solving may print, and a handler
// that queries this model may replace what the force model answered before.
const Matrix3D<Complex>& KinematicSystem::TransferFunction(const Matrix1D<double>& w) {
    if (HasTransferFunction(w)) return tfCache_;
    const bool known = model_->HasTransferFunction(w) && modelH_->HasTransferFunction(w);
    Together together = known ? Together() : AskForOutputs(w);
    const UnitForces forces = UnitMotionForces(w, together);
    StoreTransferFunction(
        FromForceToKinematic(forces.Ginv,
                             ForceTransferFunction(w, std::move(together), forces.swept)),
        w);
    return tfCache_;
}

const Matrix3D<Complex>& KinematicSystem::MPT(const Matrix1D<double>& w) {
    if (HasMPT(w)) return mptCache_;
    const UnitForces forces = UnitMotionForces(w);
    StoreMPT(FromForceToKinematic(forces.Ginv, ForceStates(w, forces.swept)), w);
    return mptCache_;
}

// Not through MPT, whose cache belongs to the participation factors.
const Matrix3D<Complex>& KinematicSystem::MCT(const Matrix1D<double>& w, bool withActuators) {
    if (HasMCT(w, withActuators)) return mctCache_;
    const Matrix2D<Complex> u = withActuators ? Amplitudes(w) : Matrix2D<Complex>();
    const UnitForces forces = UnitMotionForces(w);
    Matrix3D<Complex> coordinates =
        FromForceToKinematic(forces.Ginv, ForceStates(w, forces.swept));
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
    const Matrix2D<Complex> Ginv = UnitMotionForces(w).Ginv;
    Matrix1D<Complex> motions(Ginv.Size(1));
    for (int c = 0; c < motions.Size(0); ++c) motions(c) = u(Input(c));
    const Matrix1D<Complex> forces = Ginv * motions;
    Matrix1D<Complex> f = u;
    for (int c = 0; c < forces.Size(0); ++c) f(Input(c)) = forces(c);
    return f;
}

Matrix2D<Complex> KinematicSystem::SolveAt(double w) {
    const auto [G, Ginv, swept] = UnitMotionForces(w);
    if (Cancellation(G, Ginv) > kTooMuchCancellation)
        (Warning(kLostDigits) << 1 << 1 << w).Print();
    Matrix2D<Complex> H = ForceResponseAt(w, swept);
    FromForceToKinematic(Ginv, H);
    return H;
}

Matrix2D<Complex> KinematicSystem::ForceResponseAt(double w, bool swept) {
    if (int f = 0; swept || model_->findFrequency(w, f)) return model_->ResponseAt(w);
    Matrix2D<Complex> H(model_->Outputs(), model_->Inputs());
    model_->FrequencyResponse(w, H, false);
    return H;
}

// As of a sweep when the constraint model's last one holds w.
KinematicSystem::UnitForcesAt KinematicSystem::UnitMotionForces(double w) {
    if (int f = 0; modelH_->findFrequency(w, f)) {
        const Matrix2D<Complex>& G = modelH_->tfCache_.Slot(f);
        return {G, Invert(G), swept_[static_cast<std::size_t>(f)] != 0};
    }
    const int k = modelH_->Outputs();
    const Matrix1D<double> one(1, w);
    Matrix3D<Complex> G(1, k, k), Ginv(1, k, k);
    std::vector<char> swept = modelH_->SweepTogether(one, G, false);
    InvertSwept(G, Ginv, swept);
    if (swept[0]) return {G.Slot(0), Ginv.Slot(0), true};
    modelH_->Complete(swept, one, G, false);
    return {G.Slot(0), Invert(G.Slot(0)), false};
}

// The constraint model's transfer function is kept also where it cannot be inverted.
KinematicSystem::UnitForces KinematicSystem::SolveForMotions(const Matrix1D<double>& w,
                                                             const Together& together) {
    const int p = model_->Outputs(), k = modelH_->Outputs();
    Matrix3D<Complex> G(w.Size(0), k, k);
    UnitForces forces{Matrix3D<Complex>(w.Size(0), k, k), together.solved};
    if (forces.swept.empty()) forces.swept = modelH_->SweepTogether(w, G, false);
    for (int f = 0; f < together.H.Size(0); ++f)
        for (int i = 0; i < k; ++i)
            for (int c = 0; c < k; ++c) G(f, i, c) = together.H(f, p + i, Input(c));
    InvertSwept(G, forces.Ginv, forces.swept);
    modelH_->Complete(forces.swept, w, G, false);
    modelH_->Judge(w, G);
    std::vector<char> swept = forces.swept;
    modelH_->StoreTransferFunction(std::move(G), w);
    swept_ = std::move(swept);
    for (int f = 0; f < w.Size(0); ++f)
        if (!forces.swept[static_cast<std::size_t>(f)])
            forces.Ginv.Slot(f) = MatrixInverse2D<Complex>::Inverse(modelH_->tfCache_.Slot(f));
    return forces;
}

KinematicSystem::UnitForces KinematicSystem::UnitMotionForces(const Matrix1D<double>& w,
                                                              const Together& together) {
    return FindingForces([&] {
        UnitForces forces =
            modelH_->HasTransferFunction(w)
                ? UnitForces{MatrixInverse3D<Complex>::Inverse(modelH_->tfCache_), swept_}
                : SolveForMotions(w, together);
        const Matrix3D<Complex>& G = modelH_->tfCache_;
        int lost = 0, first = 0;
        for (int k = w.Size(0) - 1; k >= 0; --k)
            if (Cancellation(G.Slot(k), forces.Ginv.Slot(k)) > kTooMuchCancellation) {
                ++lost;
                first = k;
            }
        if (lost > 0) (Warning(kLostDigits) << lost << w.Size(0) << w(first)).Print();
        return forces;
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
