#include "zemra/system/force_system_ss.h"

#include "zemra/matrix/products.h"
#include "zemra/message/message.h"
#include "zemra/solver/matrix_inverse.h"
#include "zemra/system/abcd.h"

namespace ZEMRA::Vibration {
namespace {

// Stands in for zero frequency where a rigid-body mode makes the model singular there.
constexpr double kQuasiStatic = 1e-6;

}  // namespace

ForceSystemSS::ForceSystemSS(double time, const Matrix2D<double>& A, const Matrix2D<double>& B,
                             const Matrix2D<double>& C, const Matrix2D<double>& D,
                             const Matrix1D<const Vibration::Actuator*>& actuators)
    : ForceSystem(time, B, C, D, actuators), A_(A) {
    CheckABCDSizes(A_, B_, C_, D_);
}

const Matrix2D<double>& ForceSystemSS::ABCDMatrix(char which) const {
    return which == 'A' ? A_ : MatrixBesideA(which);
}

void ForceSystemSS::FrequencyResponse(double w, Matrix2D<Complex>& H, bool statesOnly) {
    try {
        H = Response(w, statesOnly);
    } catch (const Error& error) {
        if (w != 0.0) {
            error.Print();
            return;
        }
        try {
            H = Response(kQuasiStatic, statesOnly);
        } catch (const Error&) {
            // A model singular at both stays without a response, and without a word.
        }
    }
}

std::vector<char> ForceSystemSS::SweepTogether(const Matrix1D<double>& w, Matrix3D<Complex>& H,
                                               bool statesOnly) {
    if (UseOldInverse()) return ForceSystem::SweepTogether(w, H, statesOnly);
    if (statesOnly) return sweep_.Run({A_, B_, nullptr, nullptr}, w, H);
    return sweep_.Run({A_, B_, &C_, &D_, wanted_.empty() ? nullptr : &wanted_}, w, H);
}

Matrix2D<Complex> ForceSystemSS::Response(double w, bool statesOnly) const {
    const int n = A_.Size(0);
    Matrix2D<Complex> M(n, n);
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < n; ++k) M(i, k) = Complex(-A_(i, k), 0.0);
        M(i, i) = Complex(-A_(i, i), w);
    }
    Matrix2D<Complex> X = MatrixInverse2D<Complex>::Inverse(M) * B_;
    if (statesOnly) return X;
    return OutputsOf(X);
}

}  // namespace ZEMRA::Vibration
