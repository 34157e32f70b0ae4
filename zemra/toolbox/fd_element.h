#pragma once

#include <array>

#include "zemra/matrix/matrix1d.h"

namespace ZEMRA::Vibration {

/// The parameters of a frequency-dependent element (a bushing, a mount), in this order: K0, C0,
/// K1, C1, K2, C2. A spring K0 and a damper C0 in parallel with a series connection of two
/// spring-damper pairs (K1, C1) and (K2, C2).
using FDParameters = std::array<double, 6>;

/// The constants of the form in which the stiffness is evaluated,
///
///   H(w) = K + iwC + R·(K2 + iwC2)/(Ks + iwCs)
///
/// that of the definition with (K1 + iwC1) divided by the denominator: it stays finite when one
/// of the pairs is a damper alone. Without dampers in the series connection R is 0.
struct FDSeriesForm {
    double K, C, R, K2, C2, Ks, Cs;

    explicit FDSeriesForm(const FDParameters& p);
};

/// The complex dynamic stiffness of the element at the first n angular frequencies of omega
/// (no more than there are):
///
///   H(w) = K0 + iwC0 + (K1 + iwC1)·(K2 + iwC2) / ((K1 + K2) + iw(C1 + C2))
///
/// A series connection without springs and dampers is absent; one of dampers alone has its
/// limit at w = 0. Finite parameters give a finite stiffness.
/// Cost: one complex division a frequency.
Matrix1D<Complex> doFDEvaluate(int n, double K0, double C0, double K1, double C1, double K2,
                               double C2, const Matrix1D<double>& omega);

}  // namespace ZEMRA::Vibration
