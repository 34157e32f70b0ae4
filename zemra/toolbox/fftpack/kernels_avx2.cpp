#include "zemra/toolbox/fftpack/kernels_lanes.h"

const fftpack::kernels fftpack::avx2_kernels = kKernels;
