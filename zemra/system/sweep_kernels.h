#pragma once

#include "zemra/matrix/kernel_set.h"

namespace ZEMRA::Vibration {

/// One chunk of a sweep, C·(j·w·I − A)⁻¹·B for as many frequencies side by side as the kernel
/// has lanes. Numbers that differ from lane to lane are stored lane by lane, the real parts of
/// all lanes before the imaginary ones: lane l of element e of a result stands at
/// [(2·e)·lanes + l], its imaginary part at [(2·e + 1)·lanes + l].
struct SweepChunk {
    int n;             // states
    int m;             // columns of B
    int p;             // rows of C
    const double* a;   // (n + p) × n, column-major: −A above C, A being upper Hessenberg
    const double* b;   // n × m, row-major; column 0 is zero but for its first element
    const double* w;   // one frequency per lane
    double* h;         // p × m results, row-major
    double* distance;  // one per lane: how far from singular, see the kernel
    double* work;      // as many numbers as the kernel asks for
    // For dense alone:
    int* indices;            // n + m
    unsigned char* nonzero;  // n·stride
    int stride;              // n rounded up to a multiple of 32
    // For refined alone:
    const double* aLow;  // n × n, column-major: what A has beyond the numbers of a
    long long aLowStride;
    double enough;           // a correction by this part of the solution needs no further one
    const double* bChanged;  // as b, but for column 0
    const double* aChanged;  // as a; its C counts
    double* hChanged;        // as h, of the changed B and C
};

/// Solves chunks in one of several ways.
struct ChunkKernel {
    void (*solve)(const SweepChunk& chunk);
    int lanes;                               // frequencies of a chunk
    long long (*work)(int n, int m, int p);  // numbers of work
};

/// The modes of a block-diagonal A, a or a ± jb where b ≠ 0, and one frequency per lane.
struct ModalFunctionsInput {
    int modes;
    const double* a;
    const double* b;
    const char* drives;  // whether the next mode is coupled to this one, of the same kind
    const double* w;
};

/// What modes add to the response of one output to one input, H, each with two sums over
/// functions of w² alone: Re H gets re·f and w²·dampedRe·g, Im H gets w·im·f and
/// w·dampedIm·g. Of a real mode f = 1/(w² + constant), and there is no g; of a pair
/// x = constant − w², g = 1/(x² + damping·w²) and f = x·g.
struct RealModeTerm {
    double constant, re, im;
};
struct PairTerm {
    double constant, damping, re, im, dampedRe, dampedIm;
};
struct ModalResponseInput {
    int reals, pairs;
    const RealModeTerm* real;
    const PairTerm* pair;
    const double* w;  // one frequency per lane
};

/// The kernels of the sweeps, for one instruction set.
struct SweepKernels {
    /// Reduces A to upper Hessenberg form H = Qᵀ·A·Q with Qᵀ·b a multiple of the first unit
    /// vector, by Householder reflections in twice the working precision, so that the result
    /// has little more than the rounding of its own elements. (In working precision the
    /// errors of n reflections pile up; as they respect no structure of A, they move lightly
    /// damped poles that elimination leaves in place.)
    ///
    ///   n      order
    ///   ld     leading dimension: n rounded up to a multiple of 4; rows past n hold zeros
    ///   a      2·ld·n: A, column-major, and as much zero; H on return, and then what
    ///          rounding took from it
    ///   b      ld numbers, overwritten; all zero: no condition
    ///   q      ld × n, column-major: the identity, or D for the product D·Q; receives Q
    ///   work   5·ld numbers
    ///
    /// Cost: about 5/3·n³ multiplications of twice the precision, some ten operations each.
    /// Golub & Van Loan, Matrix Computations, section 7.4.2 (Householder).
    /// Dekker, Numer. Math. 18 (1971) 224–242 (twice the precision).
    void (*reduce)(int n, int ld, double* a, double* b, double* q, double* work);

    /// Solves a chunk whose A is upper Hessenberg, in about 2·n²·(m + 1) multiplications a
    /// frequency. Columns are rotated from the last one up so that j·w·I − A becomes upper
    /// triangular, C below it and B beside it taken along; a column of the factor is used as
    /// it is made. The distance is an estimate, from above, of that of j·w·I − A to the next
    /// singular matrix: the smallest of the factor's diagonal and of ‖b‖/‖(j·w·I − A)⁻¹·b‖
    /// over the columns of B.
    ChunkKernel reduced;

    /// Solves a chunk as reduced does and then corrects the solution by its residual, in twice
    /// the precision as A is, until a correction is small enough or the fourth is made; and
    /// once more for a slightly different B and C. The distance is the length of the last
    /// correction over that of the solution, summed over the columns of B. About 4·n²·(1 + 2·m)
    /// multiplications a frequency and n²·m of twice the precision.
    /// Wilkinson, Rounding Errors in Algebraic Processes (1963), chapter 3.
    ChunkKernel refined;

    /// Solves a chunk with any A by elimination with the pivots of FullPivot, 4/3·n³
    /// multiplications a frequency; A is stored in the same way and not scaled. The structure
    /// of A survives as in the inverse, and so does its accuracy. With p = 0 the solution
    /// itself, n × m, is the result. The distance is the smallest pivot, relative to the
    /// largest element of its column as given, or 1e3 times the pivot if that is less.
    ChunkKernel dense;

    /// The elements of (j·w·I − A)⁻¹ of a block-diagonal A, s = jw − a: mode by mode 1/s, or
    /// p = s/(s² + b²) and q = b/(s² + b²) of a pair; behind those of a mode that drives the
    /// next one the square of that one's block, 1/s², or p² − q² and 2pq. The size, one per
    /// lane, is the sum of x + 1/x over x = |s|² and |s² + b²|².
    void (*modalFunctions)(const ModalFunctionsInput& in, double* functions, double* size);
    /// results sums of so many terms: Σ_t coefficients[e·terms + t]·function t, stored as
    /// results of a chunk are. What is not finite in a lane makes its notFinite, 0 before, no
    /// number.
    void (*combineModes)(int results, int terms, const double* coefficients,
                         const double* functions, double* h, double* notFinite);
    /// H of one output and input, stored as a result of a chunk, and the size as above, of
    /// x = 1/f of the real modes and 1/g of the pairs.
    void (*modalResponse)(const ModalResponseInput& in, double* h, double* size);
    int modalLanes;  // frequencies of a chunk
};

extern const SweepKernels kBaselineSweepKernels, kAvx2SweepKernels, kAvx512SweepKernels;

/// The kernels of a set that IsAvailable.
inline const SweepKernels& SweepKernelsOf(KernelSet set) {
    return OneOf(set, kBaselineSweepKernels, kAvx2SweepKernels, kAvx512SweepKernels);
}

}  // namespace ZEMRA::Vibration
