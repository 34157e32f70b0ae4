#include "zemra/solver/inverse_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const InverseKernels kAvx2InverseKernels;
const InverseKernels kAvx2InverseKernels = kInverseKernels;

}  // namespace ZEMRA::Vibration
