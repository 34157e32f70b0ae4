#include "zemra/api/model_builder.h"

#include <algorithm>
#include <string>

#include "zemra/system/abcd.h"
#include "zemra/system/canon.h"
#include "zemra/system/force_system_ms.h"
#include "zemra/system/force_system_ss.h"
#include "zemra/system/kinematic_model.h"
#include "zemra/system/kinematic_system_ms.h"
#include "zemra/system/kinematic_system_ss.h"

using ZEMRA::Vibration::Actuator;
using ZEMRA::Vibration::Canon;
using ZEMRA::Vibration::EigenProblem;
using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::ForceSystemMS;
using ZEMRA::Vibration::ForceSystemSS;
using ZEMRA::Vibration::KinematicModel;
using ZEMRA::Vibration::KinematicSystem;
using ZEMRA::Vibration::KinematicSystemMS;
using ZEMRA::Vibration::KinematicSystemSS;
using ZEMRA::Vibration::Matrix2D;
using ZEMRA::Vibration::System;

namespace {

constexpr char kMissingActuator[] = ": Actuator %d is missing.";

bool PrescribesMotion(const Actuator* actuator) { return actuator->DVAType() != 'F'; }

StateSpace Matrices(const System& model) {
    return {model.ABCDMatrix('A'), model.ABCDMatrix('B'), model.ABCDMatrix('C'),
            model.ABCDMatrix('D')};
}

Matrix2D<double> Stacked(const Matrix2D<double>& top, const Matrix2D<double>& bottom) {
    Matrix2D<double> result(top.Size(0) + bottom.Size(0), top.Size(1));
    for (int i = 0; i < top.Size(0); ++i) result.Row(i) = top.Row(i);
    for (int i = 0; i < bottom.Size(0); ++i) result.Row(top.Size(0) + i) = bottom.Row(i);
    return result;
}

// The k × k feed-through of the motions in the columns of their actuators, 0 in the others.
Matrix2D<double> SpreadOverInputs(const Matrix2D<double>& DH, const CoreActuators& actuators) {
    Matrix2D<double> result(DH.Size(0), actuators.Size(0));
    for (int j = 0, c = 0; j < actuators.Size(0); ++j) {
        if (!PrescribesMotion(actuators(j))) continue;
        for (int i = 0; i < DH.Size(0); ++i) result(i, j) = DH(i, c);
        ++c;
    }
    return result;
}

}  // namespace

const Matrix2D<double>* Dense(const ZmAPI_Matrix& m) {
    return dynamic_cast<const Matrix2D<double>*>(&m.GetMatrix());
}

CoreActuators CollectActuators(const char* owner, int n, const ZmAPI_Actuator* const* handles) {
    CoreActuators actuators(n);
    for (int k = 0; k < n; ++k) {
        actuators(k) = handles && handles[k] ? handles[k]->GetActuator() : nullptr;
        if (!actuators(k)) throw Error(std::string(owner) + kMissingActuator) << k;
    }
    return actuators;
}

bool AnyMotion(const CoreActuators& actuators) {
    const auto* const first = actuators.Data();
    return std::any_of(first, first + actuators.Size(0), PrescribesMotion);
}

std::unique_ptr<System> BuildStateSpaceModel(double time, const StateSpace& model,
                                             const CoreActuators& actuators) {
    const auto& [A, B, C, D] = model;
    if (!AnyMotion(actuators))
        return std::make_unique<ForceSystemSS>(time, A, B, C, D, actuators);
    CheckABCDSizes(A, B, C, D);
    const KinematicModel split(B, C, D, actuators);
    return std::make_unique<KinematicSystemSS>(time, A, B, split.C(), split.D(), split.Bhat(),
                                               split.Chat(), split.Dhat(), actuators);
}

std::unique_ptr<System> BuildModalModel(double time, const StateSpace& model,
                                        const CoreActuators& actuators, int nModes,
                                        const int* modes, const EigenProblem* eigen) {
    EigenProblem own;
    if (!eigen) {
        own = EigenProblem(model.A);
        own.Solve(/*noVectors=*/false);
        eigen = &own;
    }
    const Canon modal(model.A, model.B, model.C, model.D, nModes, modes, *eigen);
    if (!AnyMotion(actuators))
        return std::make_unique<ForceSystemMS>(time, modal.A(), modal.B(), modal.C(), modal.D(),
                                               actuators, *eigen, modal.Residual());
    const KinematicModel split(modal.B(), modal.C(), modal.D(), actuators);
    return std::make_unique<KinematicSystemMS>(time, modal.A(), modal.B(), split.C(), split.D(),
                                               split.Bhat(), split.Chat(), split.Dhat(),
                                               actuators, *eigen, modal.Residual());
}

std::unique_ptr<System> ConvertToModal(const System& stateSpace) {
    CoreActuators actuators(stateSpace.Inputs());
    for (int k = 0; k < actuators.Size(0); ++k) actuators(k) = &stateSpace.Actuator(k);

    const StateSpace whole = Matrices(stateSpace);
    const auto* const kinematic = dynamic_cast<const KinematicSystem*>(&stateSpace);
    if (!kinematic)
        return BuildModalModel(stateSpace.Time(), whole, actuators, 0, nullptr, nullptr);

    // The constraint outputs go back below the outputs, where the split looks for them.
    const Matrix2D<double> C = Stacked(whole.C, kinematic->ABCDMatrixH('C'));
    const Matrix2D<double> D =
        Stacked(whole.D, SpreadOverInputs(kinematic->ABCDMatrixH('D'), actuators));
    return BuildModalModel(stateSpace.Time(), {whole.A, whole.B, C, D}, actuators, 0, nullptr,
                           nullptr);
}
