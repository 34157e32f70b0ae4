#include "zemra/eigen/qz_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const QzKernels kAvx2QzKernels;
const QzKernels kAvx2QzKernels = kQzKernels;

}  // namespace ZEMRA::Vibration
