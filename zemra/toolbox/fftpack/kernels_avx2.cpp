#include "zemra/toolbox/fftpack/kernels_lanes.h"

namespace fftpack {

extern const kernels kAvx2Kernels;
const kernels kAvx2Kernels = kKernels;

}  // namespace fftpack
