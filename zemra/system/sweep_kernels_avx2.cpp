#include "zemra/system/sweep_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const SweepKernels kAvx2SweepKernels;
const SweepKernels kAvx2SweepKernels = kSweepKernels;

}  // namespace ZEMRA::Vibration
