#include "zemra/solver/inverse_kernels_lanes.h"

const ZEMRA::Vibration::InverseKernels ZEMRA::Vibration::kAvx2InverseKernels = kInverseKernels;
