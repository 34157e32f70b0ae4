#include "zemra/system/sweep_kernels_lanes.h"

namespace ZEMRA::Vibration {

extern const SweepKernels kBaselineSweepKernels;
const SweepKernels kBaselineSweepKernels = kSweepKernels;

#ifdef ZEMRA_AVX2_KERNELS
extern const SweepKernels kAvx2SweepKernels;
#else
static const SweepKernels& kAvx2SweepKernels = kBaselineSweepKernels;
#endif

const SweepKernels& SweepKernelsOf(KernelSet set) {
    return set == KernelSet::kAvx2 ? kAvx2SweepKernels : kBaselineSweepKernels;
}

}  // namespace ZEMRA::Vibration
