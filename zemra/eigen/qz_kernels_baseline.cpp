#include "zemra/eigen/qz_kernels_lanes.h"

const ZEMRA::Vibration::QzKernels ZEMRA::Vibration::kBaselineQzKernels = kQzKernels;
