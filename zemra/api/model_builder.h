#pragma once

#include "zemra/api/zmapi_actuator.h"
#include "zemra/eigen/eigen_problem.h"
#include "zemra/system/system.h"

/// How an interface system becomes a core model. Borrows everything; what is built copies it.

using CoreActuators = ZEMRA::Vibration::Matrix1D<const ZEMRA::Vibration::Actuator*>;

/// The matrices of ẋ = A·x + B·u, y = C·x + D·u.
struct StateSpace {
    const ZEMRA::Vibration::Matrix2D<double>& A;
    const ZEMRA::Vibration::Matrix2D<double>& B;
    const ZEMRA::Vibration::Matrix2D<double>& C;
    const ZEMRA::Vibration::Matrix2D<double>& D;
};

/// The dense real matrix that a handle holds, or null.
const ZEMRA::Vibration::Matrix2D<double>* Dense(const ZmAPI_Matrix& m);

/// The core actuators of the first n handles. Throws Error "<owner>: Actuator %d is missing."
/// for the first handle that is null or empty, or when there is no list for them.
CoreActuators CollectActuators(const char* owner, int n, const ZmAPI_Actuator* const* handles);

/// Whether any actuator prescribes a motion.
bool AnyMotion(const CoreActuators& actuators);

/// The state-space model: of forces, or kinematic with any motion. Throws the Errors of
/// CheckABCDSizes and KinematicModel.
std::unique_ptr<ZEMRA::Vibration::System> BuildStateSpaceModel(double time,
                                                               const StateSpace& model,
                                                               const CoreActuators& actuators);

/// The modal model of the given modes, all with nModes below 1 or null modes; eigen is a
/// solved problem of A, or null to solve it here. Throws the Errors of the solution, of Canon
/// and of KinematicModel.
std::unique_ptr<ZEMRA::Vibration::System> BuildModalModel(
    double time, const StateSpace& model, const CoreActuators& actuators, int nModes,
    const int* modes, const ZEMRA::Vibration::EigenProblem* eigen);

/// The modal model, with all modes, of one that BuildStateSpaceModel built.
std::unique_ptr<ZEMRA::Vibration::System> ConvertToModal(
    const ZEMRA::Vibration::System& stateSpace);
