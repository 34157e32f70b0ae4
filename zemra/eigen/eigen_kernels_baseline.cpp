#include "zemra/eigen/eigen_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const EigenKernels kBaselineEigenKernels;
const EigenKernels kBaselineEigenKernels = kEigenKernels;

#ifdef ZEMRA_AVX2_KERNELS
extern const EigenKernels kAvx2EigenKernels;
#else
static const EigenKernels& kAvx2EigenKernels = kBaselineEigenKernels;
#endif

const EigenKernels& EigenKernelsOf(KernelSet set) {
    return set == KernelSet::kAvx2 ? kAvx2EigenKernels : kBaselineEigenKernels;
}

}  // namespace ZEMRA::Vibration
