#pragma once

#include "zemra/toolbox/fd_data.h"

namespace ZEMRA::Vibration {

/// Fits an element to measured stiffness on the data's own scale. Newton steps refine each of
/// the candidates, then the best of them with all six parameters free. Steps and limits are
/// absolute (an error of 1e-6 is small, the derivatives' step is 1e-5), made for stiffness of
/// order 1 to 100.
/// Cost: up to 490 Newton steps.
FDParameters SearchFDElement(const FDData& data);

/// The element that fits the data best: the result of the search, unless a second search on
/// the data scaled to a largest stiffness of 100, or a least-squares refinement of the better
/// of the two or of a candidate, comes out with a strictly lower squared error.
/// What either search finds is first moved within LargestFDParameters.
///
/// The parameters are not unique, since the stiffness has four degrees of freedom: compare
/// elements by their stiffness. Throws Error "ZmAPI_ToolBox::FDElementID: No element with a
/// finite error was found."
FDParameters IdentifyFDElement(const FDData& data);

}  // namespace ZEMRA::Vibration
