#pragma once

#include <vector>

#include "zemra/toolbox/fd_data.h"

namespace ZEMRA::Vibration {

/// Which of the six parameters are free.
using FDFree = std::array<bool, 6>;

/// A parameter vector to begin with; the parameters that are not free keep their values.
struct FDCandidate {
    FDParameters p;
    FDFree free;
};

/// The low-frequency viscous damping: Im(H)/w of the first min(n, 16) points, fitted by a
/// polynomial and extrapolated to w = 0; 0 when that is negative. Points with w = 0 do not
/// enter; without others the result is 0.
double GetC(int n, const Matrix1D<Complex>& H, const Matrix1D<double>& omega);

/// The static stiffness K0, Re(H) of the first min(n, 16) points extrapolated to w = 0 (0 when
/// that is negative), and the high-frequency damping C0, the slope of Im(H) at the last
/// frequency of the last min(n, 16) points; 0 when Im(H)/w falls there by more than 1e-4 a
/// rad/s, or when the last frequency is 0.
void GetK0C0(int n, const Matrix1D<Complex>& H, const Matrix1D<double>& omega, double& K0,
             double& C0);

/// The candidates, in the order in which they are tried. From the simplest element, a spring
/// and a damper in parallel, to all six parameters, and one built from the data directly.
std::vector<FDCandidate> FDCandidates(const FDData& data);

}  // namespace ZEMRA::Vibration
