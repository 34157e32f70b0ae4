#include "zemra/toolbox/fftpack/kernels_lanes.h"

namespace fftpack {

const kernels baseline_kernels = kKernels;

#ifdef ZEMRA_AVX2_KERNELS
extern const kernels kAvx2Kernels;
const kernels& wide_kernels() { return kAvx2Kernels; }
#else
const kernels& wide_kernels() { return baseline_kernels; }
#endif

}  // namespace fftpack
