#include "zemra/toolbox/fd_element.h"

#include <algorithm>

namespace ZEMRA::Vibration {
namespace {

// (K + iwC)/(Ks + iwCs). Without springs the ratio is that of the dampers at any frequency; at
// w = 0, where the denominator is 0, it is given that limit.
Complex SeriesRatio(double K, double C, double Ks, double Cs, double w) {
    const Complex denominator(Ks, w * Cs);
    if (denominator == 0.0) return C / Cs;
    return Complex(K, w * C) / denominator;
}

}  // namespace

Matrix1D<Complex> doFDEvaluate(int n, double K0, double C0, double K1, double C1, double K2,
                               double C2, const Matrix1D<double>& omega) {
    const double Ks = K1 + K2;
    const double Cs = C1 + C2;
    // H = K + iwC + R·q, q = (K2 + iwC2)/(Ks + iwCs): the formula with (K1 + iwC1) divided by
    // the denominator, which stays finite when one of the pairs is a damper alone.
    double K = K0;
    double C = C0;
    double R = 0.0;
    if (Cs != 0.0) {
        K = K0 + C1 * K2 / Cs;
        C = C0 + C1 * C2 / Cs;
        R = K1 - Ks * C1 / Cs;
    } else if (Ks != 0.0) {
        K = K0 + K1 * K2 / Ks;
    }

    Matrix1D<Complex> H(std::clamp(n, 0, omega.Size(0)));
    for (int k = 0; k < H.Size(0); ++k) {
        const double w = omega(k);
        H(k) = Complex(K, w * C);
        if (Cs != 0.0) H(k) += R * SeriesRatio(K2, C2, Ks, Cs, w);
    }
    return H;
}

}  // namespace ZEMRA::Vibration
