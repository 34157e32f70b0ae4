#pragma once

#include "zemra/toolbox/fd_start.h"

namespace ZEMRA::Vibration {

/// One Newton step for the least squared error on the free parameters of p, with derivatives by
/// central differences of step 1e-5. Returns the squared error at the point it leaves in p,
/// which is never larger than at the point it began with; then, and where the equations have
/// no solution, p stays as it is.
///
/// A parameter that would become negative is approached half way (the whole step is shortened),
/// or set to 0 when it is below 1e-4 of the norm of the free parameters. A step that does not
/// lower the error is halved up to 11 times.
/// Cost: two errors for a free parameter, four for a pair, and at most 13 for the step.
/// Nocedal & Wright, Numerical Optimization, 3.1 and 8.1.
double NewtonStep(const FDData& data, const FDFree& free, FDParameters& p);

}  // namespace ZEMRA::Vibration
