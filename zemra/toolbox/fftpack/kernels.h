#pragma once

#include <cstddef>

namespace fftpack {

/// The inner loops of the transforms, compiled for one instruction set. Complex values lie
/// interleaved, and every factor e^(−iθ) is stored as its conjugate (cos θ, sin θ).
struct kernels {
    /// Places that a pass takes side by side, 1 or 2, for the order of its table.
    std::size_t places;

    /// table[k] = e^(2πik/n) for 0 ≤ k < count ≤ n, as pairs; no error exceeds one ulp of 1.
    void (*roots)(std::size_t n, std::size_t count, double* table);

    /// A pass of a radix that has_pass over l1 groups, from cc(ido, radix, l1) to ch(ido, l1,
    /// radix), arrays of complex values with the first index fastest. in may be out when l1
    /// is 1.
    void (*pass)(std::size_t radix, std::size_t ido, std::size_t l1, const double* in,
                 double* out, const double* table);

    /// The same on one group of real values, cc(ido, radix), of radix 3, 5 or 9; only the first
    /// (radix + 1)/2 columns of ch(ido, radix) are made, those of which the others are mirrors.
    void (*real_pass)(std::size_t radix, std::size_t ido, const double* in, double* out,
                      const double* table);

    /// Lines 1 … half − 1 of 2·half real values, from the transform z of the half complex
    /// values that they are in pairs: X_k = E_k + e^(−iπk/half)·O_k, of which E and O are the
    /// spectra of the values in even and in odd places. table[k − 1] holds the root for line k
    /// up to half/2; z and lines do not overlap.
    /// Press et al., Numerical Recipes, section 12.3 (realft).
    void (*unfold)(std::size_t half, const double* z, double* lines, const double* table);

    /// For each of so many real columns, terms(columns, p): the value x_0, the sums s_j = x_j +
    /// x_{p−j} at 0 < j < p/2 and the differences d_j = x_j − x_{p−j} at p − j. Into
    /// lines(columns, p): x_0 + Σ_j s_j·cos(2πjl/p) at l < p/2 and Σ_j d_j·sin(2πjl/p) at
    /// p − l. roots holds those of order p. About p²/2 multiplications a column.
    void (*sums)(std::size_t p, std::size_t columns, const double* terms, double* lines,
                 const double* roots);

    /// result = conj(a·Z + b·Z*) for n complex values, of which Z*_f = conj(Z_{n−f}).
    void (*multiply_spectra)(std::size_t n, const double* a, const double* b, const double* Z,
                             double* result);
};

/// Whether the kernels have a pass of the radix; other odd ones need prime_sums.
constexpr bool has_pass(std::size_t radix) {
    return (radix >= 2 && radix <= 5) || radix == 8 || radix == 9;
}

/// Kernels that run on every processor of the architecture.
extern const kernels baseline_kernels;
/// Kernels for AVX2 with fused multiply-add, which only a processor that has both may run.
extern const kernels avx2_kernels;

}  // namespace fftpack
