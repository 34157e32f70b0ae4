#include "zemra/eigen/eigen_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const EigenKernels kAvx2EigenKernels;
const EigenKernels kAvx2EigenKernels = kEigenKernels;

}  // namespace ZEMRA::Vibration
