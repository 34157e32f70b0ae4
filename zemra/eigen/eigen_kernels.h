#pragma once

#include "zemra/matrix/kernel_set.h"

namespace ZEMRA::Vibration {

/// One sweep of the double-shift QR iteration, from row m to row en of the window l … en.
struct QrSweep {
    int n;
    int ld;          // leading dimension, n rounded up to a multiple of 4 at least
    double* h;       // ld × (n + 3), column-major; columns from n on are scratch
    double* z;       // ld × n, column-major, or null; rows from n on are scratch
    int l, m, en;    // 0 ≤ l ≤ m < en − 1
    int firstRow;    // of the columns to transform, l or 0
    int lastColumn;  // of the rows to transform, en or n − 1; three more may change
    double p, q, r;  // what the first reflector maps to a multiple of (1, 0, 0)
};

/// One step of the reduction to Hessenberg form by elementary transformations: for each row
/// i > m, in ascending order, row i −= y_i·row m, then column m += y_i·column i. Column m − 1
/// is left alone.
struct Elimination {
    int n;
    int ld;           // leading dimension, n rounded up to a multiple of 4 at least
    double* a;        // ld × n, column-major; rows from n on are scratch
    int m, igh;       // m < igh; rows and columns to igh are reduced, rows of those behind, too
    const double* y;  // ld numbers, zeros but for the multipliers m + 1 … igh
    double* work;     // 2·ld numbers
};

/// C := A·B, of order n. Each element is its sum in ascending order from a zero on.
struct MatrixProduct {
    int n;
    int ld;  // leading dimension of all three
    const double* a;
    bool aIsByRows;  // else column-major, like the others
    const double* b;
    const int* used;  // of each column of B: the elements from this one on are zero
    double* c;
    double* work;  // 8·n numbers
};

/// Pairs whose vectors are solved for side by side.
constexpr int kPairs = 8;
/// Their numbers row by row: kPairs real parts, then as many imaginary ones.
constexpr int kPairsWidth = 2 * kPairs;

/// Of the back-substitution (T − λI)·y = 0 for several pairs, one row of T, or the two of a
/// 2 × 2 block.
struct PairRows {
    const double* upper;   // the row, or the first one of a block
    const double* lower;   // the second one of a block, or null
    int j, last;           // y is known from row j + 1, behind the rows, to last
    const double* lambda;  // kPairsWidth numbers
    double* y;             // kPairsWidth numbers for each row of T
    int firstPair, end;    // those that are solved for
    double *size,
        *residual;  // kPairs each: |y| at least, |(T − λI)·y| at most; brought up to date
    double* sums;   // receives −Σ T(i, m)·y[m], kPairsWidth numbers for each row
};

/// The loops of the eigen solver that take most of its time, for one instruction set.
///
/// All of them do to every element what the plain loops do, in the same order and without
/// fusing, so that results are the same bit for bit whatever the set.
struct EigenKernels {
    /// Chases the bulge of a sweep.
    void (*chaseBulge)(const QrSweep& sweep);

    void (*eliminate)(const Elimination& step);
    void (*multiply)(const MatrixProduct& product);

    /// Solves for elements j, or j − 1 and j, as SchurVectors does it one pair at a time. The
    /// pairs in the bits of the result are left to that: a number is so large or so small, or a
    /// solution so poor, that there is more to do.
    unsigned (*solvePairs)(const PairRows& rows);
};

extern const EigenKernels kBaselineEigenKernels, kAvx2EigenKernels, kAvx512EigenKernels;

/// The kernels of a set that IsAvailable.
inline const EigenKernels& EigenKernelsOf(KernelSet set) {
    return OneOf(set, kBaselineEigenKernels, kAvx2EigenKernels, kAvx512EigenKernels);
}

}  // namespace ZEMRA::Vibration
