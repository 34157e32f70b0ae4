#include "zemra/toolbox/fd_element.h"

#include <algorithm>

namespace ZEMRA::Vibration {
namespace {

// (K2 + iwC2)/(Ks + iwCs). Without springs the ratio is that of the dampers at any frequency;
// at w = 0, where the denominator is 0, it is given that limit.
Complex SeriesRatio(const FDSeriesForm& e, double w) {
    const Complex denominator(e.Ks, w * e.Cs);
    if (denominator == 0.0) return e.C2 / e.Cs;
    return Complex(e.K2, w * e.C2) / denominator;
}

}  // namespace

FDSeriesForm::FDSeriesForm(const FDParameters& p)
    : K(p[0]), C(p[1]), R(0.0), K2(p[4]), C2(p[5]), Ks(p[2] + p[4]), Cs(p[3] + p[5]) {
    if (Cs != 0.0) {
        K += p[3] * K2 / Cs;
        C += p[3] * C2 / Cs;
        R = p[2] - Ks * p[3] / Cs;
    } else if (Ks != 0.0) {
        K += p[2] * K2 / Ks;
    }
}

Matrix1D<Complex> doFDEvaluate(int n, double K0, double C0, double K1, double C1, double K2,
                               double C2, const Matrix1D<double>& omega) {
    const FDSeriesForm e({K0, C0, K1, C1, K2, C2});
    Matrix1D<Complex> H(std::clamp(n, 0, omega.Size(0)));
    for (int k = 0; k < H.Size(0); ++k) {
        const double w = omega(k);
        H(k) = Complex(e.K, w * e.C);
        if (e.Cs != 0.0) H(k) += e.R * SeriesRatio(e, w);
    }
    return H;
}

}  // namespace ZEMRA::Vibration
