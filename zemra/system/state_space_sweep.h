#pragma once

#include <memory>
#include <vector>

#include "zemra/matrix/matrix3d.h"
#include "zemra/system/sweep_kernels.h"
#include "zemra/system/sweep_road.h"

namespace ZEMRA::Vibration {

/// A state matrix made ready for many frequencies: A = (D·Q)·H·(D·Q)⁻¹ with a diagonal D that
/// balances A, an orthogonal Q and H upper Hessenberg. The vector b becomes (D·Q)⁻¹·b, a
/// multiple of the first unit vector. Never changes.
class ReducedStateMatrix {
  public:
    ///   A  n × n, in range (see StateSpaceSweep)
    ///   b  n × 1
    ReducedStateMatrix(const SweepKernels& kernels, const Matrix2D<double>& A,
                       const Matrix1D<double>& b);

    /// The stack of −H above C·D·Q, (n + p) × n, column-major. A null C stands for I.
    std::vector<double> Stack(const Matrix2D<double>* C) const;
    /// (D·Q)⁻¹·B, n × m, row-major; the first column of B is b.
    std::vector<double> Inputs(const Matrix2D<double>& B) const;

    /// What rounding took from the elements of H, n × n, column-major.
    const double* Low() const { return h_.data() + ld_ * static_cast<std::size_t>(n_); }
    long long LowStride() const { return static_cast<long long>(ld_); }

    double Norm() const { return norm_; }  // ‖D⁻¹·A·D‖, Frobenius
    /// ‖|H|‖, at most: how large an error that is small beside each element of H can be.
    double NormOfMagnitudes() const { return normOfMagnitudes_; }
    const std::vector<double>& Scale() const { return scale_; }  // the diagonal of D

  private:
    int n_;
    std::size_t ld_;
    std::vector<double> scale_;
    double norm_ = 0.0;
    double normOfMagnitudes_;
    std::vector<double> h_;      // H and what rounding took from it
    std::vector<double> basis_;  // D·Q, column-major
};

/// Sweeps C·(j·w·I − A)⁻¹·B + D, several frequencies side by side, and says at which of them
/// the answer is certain. It is not where the matrix is so near a singular one that the
/// absolute threshold of the inverse could have spoken, or where something is not finite or
/// beyond 1e100. The Hessenberg form answers where its error, measured if need be, is at most
/// 1e-13 of the largest magnitude in its row of the result, elimination elsewhere.
///
/// The reductions are kept; a copy shares them.
class StateSpaceSweep {
  public:
    /// C and D are null for the state response (j·w·I − A)⁻¹·B.
    struct Matrices {
        const Matrix2D<double>& A;  // n × n
        const Matrix2D<double>& B;  // n × m
        const Matrix2D<double>* C;  // p × n
        const Matrix2D<double>* D;  // p × m
        // Which elements of the result count, p × m flags, row-major; the others come out as
        // if the input did not reach the output. Null: all.
        const std::vector<char>* wanted = nullptr;
    };

    explicit StateSpaceSweep(SweepRoad road = SweepRoad::kFast,
                             KernelSet kernels = ChosenKernels())
        : road_(road), kernels_(&SweepKernelsOf(kernels)) {}

    ///   model   the same at every call, but for C and D
    ///   result  [frequency][p or n][m]; what it holds where the answer is not certain is lost
    ///
    /// Returns one flag per frequency: whether its answer is certain. O(n²·(m + 1)) for each
    /// after one reduction, O(n³), per model.
    std::vector<char> Run(const Matrices& model, const Matrix1D<double>& w,
                          Matrix3D<Complex>& result);

  private:
    SweepRoad road_;
    const SweepKernels* kernels_;
    int asked_ = 0;  // frequencies so far, but no more than count
    std::shared_ptr<const ReducedStateMatrix> reduced_;
    std::shared_ptr<const ReducedStateMatrix> transposed_;  // of Aᵀ, for the first row of C

    const ReducedStateMatrix& Reduced(const Matrices& model, bool transposed);
};

}  // namespace ZEMRA::Vibration
