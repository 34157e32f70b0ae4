#pragma once

#include "zemra/matrix/kernel_set.h"

namespace ZEMRA::Vibration {

/// A reflection I + v·uᵀ of three elements x, y, z, u = (1, u1, u2), in that order; or of two.
/// All zero: none.
struct Reflection3 {
    double u1, u2, v0, v1, v2;
};
struct Reflection2 {
    double u1, v0, v1;
};

/// What step k of a sweep does to the columns of a matrix: first reflects columns k + 2, k + 1
/// and k, then columns k + 1 and k. A narrow sweep has the second alone.
struct SweepStep {
    Reflection3 wide;
    Reflection2 narrow;
};

/// A sweep of the iteration over rows l … en of two row-major matrices, rows a stride apart.
/// Rows and columns are counted from 0.
struct QzSweep {
    bool isDouble;
    int l, en;
    int firstRow, lastColumn;  // what is kept up
    long long stride;
    double *a, *b;
    int rowsOfZ;  // of a column-major z; 0: there is none
    long long strideOfZ;
    double* z;
    double start[3];   // the starting column; a single sweep has two
    SweepStep* steps;  // room for en − l, all zero
};

/// The kernels of the QZ algorithm, for one instruction set. Later decisions read most of what
/// they make, so every element is made by the same operations in the same order on every set:
/// products are never fused into sums, and pairs come out the same to the last bit.
struct QzKernels {
    /// Reflects two rows of count elements. Up to three elements behind them may change too.
    void (*reflectRows2)(const Reflection2& r, long long count, double* x, double* y);

    /// Chases the bulge of the starting column down to row en, or until it is used up. Up to
    /// three elements behind the last column may change too.
    void (*chaseBulge)(const QzSweep& sweep);

    /// Takes nrows rows, four or eight, a stride apart, of two row-major matrices, or of a
    /// alone when b is null, through reflections of neighbouring columns, each one column
    /// before the last. The elements are those of the first reflection's last column.
    void (*reflectDownRows)(long long stride, double* a, double* b, long long nrows,
                            long long count, const Reflection2* reflections);

    /// Takes nrows rows of a column-major matrix through them; z is that column.
    void (*reflectDownColumns)(long long nrows, long long stride, double* z, long long count,
                               const Reflection2* reflections);

    /// Adds −(uᵀ·x)/ρ·u to each of ncols columns x of a row-major matrix of nrows rows. Up to
    /// fifteen elements behind each row may change too.
    void (*reflectColumns)(long long nrows, long long ncols, long long stride, double* m,
                           const double* u, double rho);
};

extern const QzKernels kBaselineQzKernels, kAvx2QzKernels;

/// The kernels of a set that IsAvailable.
inline const QzKernels& QzKernelsOf(KernelSet set) {
    return OneOf(set, kBaselineQzKernels, kAvx2QzKernels);
}

}  // namespace ZEMRA::Vibration
