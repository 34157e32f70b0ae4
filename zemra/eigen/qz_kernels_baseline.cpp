#include "zemra/eigen/qz_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const QzKernels kBaselineQzKernels;
const QzKernels kBaselineQzKernels = kQzKernels;

#ifdef ZEMRA_AVX2_KERNELS
extern const QzKernels kAvx2QzKernels;
#else
static const QzKernels& kAvx2QzKernels = kBaselineQzKernels;
#endif

const QzKernels& QzKernelsOf(KernelSet set) {
    return set == KernelSet::kAvx2 ? kAvx2QzKernels : kBaselineQzKernels;
}

}  // namespace ZEMRA::Vibration
