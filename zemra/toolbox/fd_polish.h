#pragma once

#include "zemra/toolbox/fd_data.h"

namespace ZEMRA::Vibration {

/// The largest parameters that the data can tell from a rigid connection: 1e7 times the largest
/// stiffness; for the dampers, at the highest frequency. Beyond, the terms of the stiffness
/// cancel to so few digits that rounding decides the error.
FDParameters LargestFDParameters(const FDData& data);

/// A least squared error near start, with parameters between 0 and the largest sensible ones.
///
/// Levenberg-Marquardt with analytic derivatives. A parameter at a limit that the error pushes
/// further out stays there; the others solve (JᵀJ + μ·diag(JᵀJ))·δ = −Jᵀr, and what would pass
/// a limit is set to it before the rest is solved for again. The result has at most the error
/// of the start, moved within the limits. Cost: a Jacobian and a 6 × 6 solution a step, at most
/// 200 steps. Marquardt, J. SIAM 11 (1963) 431–441; the projection: Kanzow, Yamashita &
/// Fukushima, J. Comput. Appl. Math. 172 (2004) 375–397.
FDParameters PolishFDElement(const FDData& data, const FDParameters& start);

}  // namespace ZEMRA::Vibration
