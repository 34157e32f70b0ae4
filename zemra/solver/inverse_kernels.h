#pragma once

#include "zemra/matrix/kernel_set.h"

namespace ZEMRA::Vibration {

/// An inverse by the steps of FullPivot. A row of a matrix of one part (real) or two
/// (complex) is stored as parts·leading(n) numbers, the real parts of the columns before the
/// imaginary ones, both padded with zeros.
struct InverseJob {
    int n;             // order
    double* w;         // the matrix; lost
    double* const* x;  // receives the rows of the inverse, parts interleaved
    double* work;      // work(n) numbers
    int* indices;      // 5·n + n² numbers
};

/// The kernels of the inverse, for one instruction set. They make the pivots of FullPivot, and
/// every element goes through the same operations in the same order, so that it is the same
/// number, to the last bit: products are never fused into sums here. Only the order between
/// elements differs: the updates of several steps are applied together, what the identity and
/// the factors leave zero is passed over, and columns of the inverse are made a few at a time.
///
/// False when FullPivot must be asked: a pivot is below its threshold or so large that zeros
/// times infinities might have mattered, or the result holds something that is not finite. x
/// may then hold anything.
///
/// Cost: n³ multiplications, less for sparse factors.
struct InverseKernels {
    bool (*invertReal)(const InverseJob& job);
    bool (*invertComplex)(const InverseJob& job);
    long long (*leading)(int n);  // numbers from one part of a row to the next
    long long (*work)(int n, int parts);
};

extern const InverseKernels kBaselineInverseKernels, kAvx2InverseKernels;

/// The kernels of a set that IsAvailable.
inline const InverseKernels& InverseKernelsOf(KernelSet set) {
    return OneOf(set, kBaselineInverseKernels, kAvx2InverseKernels);
}

/// The reciprocal of re + i·im that every solver takes, in place.
void Reciprocate(double& re, double& im);

}  // namespace ZEMRA::Vibration
