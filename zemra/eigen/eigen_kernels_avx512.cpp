#include "zemra/eigen/eigen_kernels_lanes.h"

const ZEMRA::Vibration::EigenKernels ZEMRA::Vibration::kAvx512EigenKernels = kEigenKernels;
