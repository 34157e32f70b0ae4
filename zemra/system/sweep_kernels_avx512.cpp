#include "zemra/system/sweep_kernels_lanes.h"

const ZEMRA::Vibration::SweepKernels ZEMRA::Vibration::kAvx512SweepKernels = kSweepKernels;
