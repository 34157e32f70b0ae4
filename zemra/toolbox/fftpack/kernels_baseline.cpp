#include "zemra/toolbox/fftpack/kernels_lanes.h"

const fftpack::kernels fftpack::baseline_kernels = kKernels;
