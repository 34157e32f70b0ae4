#pragma once

#include <vector>

#include "zemra/matrix/matrix3d.h"
#include "zemra/system/sweep_kernels.h"
#include "zemra/system/sweep_road.h"

namespace ZEMRA::Vibration {

/// A real eigenvalue a, or a ± jb where b ≠ 0, of a block-diagonal A.
struct Mode {
    int row;
    double a;
    double b;
    int predecessor;  // row of the previous member of its chain, or its own

    bool IsPair() const { return b != 0.0; }
    int States() const { return IsPair() ? 2 : 1; }
};

/// Sweeps C·(j·w·I − A)⁻¹·B + D of a block-diagonal A, several frequencies side by side, as
/// ForceSystemMS does frequency by frequency. An element of the result is a sum over the modes
/// of products c·b with the functions of frequency that (j·w·I − A)⁻¹ is made of; the products
/// are formed once a sweep, the functions once a frequency.
class ModalSweep {
  public:
    /// C and D are null for the state response (j·w·I − A)⁻¹·B.
    struct Matrices {
        const std::vector<Mode>& modes;  // in the order of their rows
        const Matrix2D<double>& B;       // n × m
        const Matrix2D<double>* C;       // p × n
        const Matrix2D<double>* D;       // p × m
    };

    explicit ModalSweep(SweepRoad road = SweepRoad::kFast, KernelSet kernels = ChosenKernels())
        : road_(road), kernels_(&SweepKernelsOf(kernels)) {}

    ///   result  [frequency][p or n][m]; what it holds where a frequency is not answered is
    ///           lost
    ///
    /// Returns one flag per frequency: whether it is answered. It is not on a pole, or where
    /// something is not finite or squares leave the range of numbers. About 2·n·(p·m + 3)
    /// multiplications for each after 2·n·p·m, in a table of 4·n² numbers or n·m if those are
    /// more.
    std::vector<char> Run(const Matrices& model, const Matrix1D<double>& w,
                          Matrix3D<Complex>& result) const;

  private:
    SweepRoad road_;
    const SweepKernels* kernels_;
};

}  // namespace ZEMRA::Vibration
