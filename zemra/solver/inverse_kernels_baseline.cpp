#include "zemra/solver/inverse_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const InverseKernels kBaselineInverseKernels;
const InverseKernels kBaselineInverseKernels = kInverseKernels;

#ifdef ZEMRA_AVX2_KERNELS
extern const InverseKernels kAvx2InverseKernels;
#else
static const InverseKernels& kAvx2InverseKernels = kBaselineInverseKernels;
#endif

const InverseKernels& InverseKernelsOf(KernelSet set) {
    return set == KernelSet::kAvx2 ? kAvx2InverseKernels : kBaselineInverseKernels;
}

}  // namespace ZEMRA::Vibration
