#pragma once

#include <vector>

#include "zemra/matrix/matrix2d.h"
#include "zemra/toolbox/fd_element.h"

namespace ZEMRA::Vibration {

/// Measured complex stiffness over angular frequency, one point a row.
class FDData {
  public:
    /// From a real N × 4 matrix of rows (a, f, b, phase): the stiffness b/a at the phase
    /// (degrees), the frequency f in Hz.
    ///
    /// Throws Error "ZmAPI_ToolBox::FDElementID: Data must have four columns not %d.",
    /// "ZmAPI_ToolBox::FDElementID: Data must be a real matrix.",
    /// "ZmAPI_ToolBox::FDElementID: Data must have at least one row." and
    /// "ZmAPI_ToolBox::FDElementID: Row %d gives no finite stiffness and frequency.", rows
    /// counting from 0.
    explicit FDData(const Matrix& data);

    int Points() const { return omega_.Size(0); }
    const Matrix1D<double>& Omega() const { return omega_; }
    const Matrix1D<Complex>& Stiffness() const { return H_; }
    double LargestStiffness() const;

    /// The same points with factor times the stiffness.
    FDData Scaled(double factor) const;

    /// The sum over all points of |H(w; p) − H|²; infinite when it is not a finite number.
    double SquaredError(const FDParameters& p) const;

  private:
    Matrix1D<double> omega_;
    Matrix1D<Complex> H_;
};

}  // namespace ZEMRA::Vibration
