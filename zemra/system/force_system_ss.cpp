#include "zemra/system/force_system_ss.h"

#include "zemra/matrix/products.h"
#include "zemra/message/message.h"
#include "zemra/solver/matrix_inverse.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kSizeError[] =
    "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n   A: %d x "
    "%d\n   B: %d x %d\n   C: %d x %d\n   D: %d x %d ";
constexpr char kBadMatrix[] = "Invalid matrix option [%c] must be A, B, C, or D.";

// Stands in for zero frequency where a rigid-body mode makes the model singular there.
constexpr double kQuasiStatic = 1e-6;

void CheckSizes(const Matrix& A, const Matrix& B, const Matrix& C, const Matrix& D) {
    const bool fit = A.Size(0) == A.Size(1) && B.Size(0) == A.Size(0) &&
                     C.Size(1) == A.Size(1) && D.Size(0) == C.Size(0) && D.Size(1) == B.Size(1);
    if (fit) return;
    throw Error(kSizeError) << A.Size(0) << A.Size(1) << B.Size(0) << B.Size(1) << C.Size(0)
                            << C.Size(1) << D.Size(0) << D.Size(1);
}

}  // namespace

ForceSystemSS::ForceSystemSS(double time, const Matrix2D<double>& A, const Matrix2D<double>& B,
                             const Matrix2D<double>& C, const Matrix2D<double>& D,
                             const Matrix1D<const Vibration::Actuator*>& actuators)
    : ForceSystem(time, B, C, D, actuators), A_(A) {
    CheckSizes(A_, B_, C_, D_);
}

const Matrix2D<double>& ForceSystemSS::ABCDMatrix(char which) const {
    switch (which) {
        case 'A':
            return A_;
        case 'B':
            return B_;
        case 'C':
            return C_;
        case 'D':
            return D_;
        default:
            throw Error(kBadMatrix) << which;
    }
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

Matrix2D<Complex> ForceSystemSS::Response(double w, bool statesOnly) const {
    const int n = A_.Size(0);
    Matrix2D<Complex> M(n, n);
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < n; ++k) M(i, k) = Complex(-A_(i, k), 0.0);
        M(i, i) = Complex(-A_(i, i), w);
    }
    Matrix2D<Complex> X = MatrixInverse2D<Complex>::Inverse(M) * B_;
    if (statesOnly) return X;

    Matrix2D<Complex> H = C_ * X;
    for (int i = 0; i < H.Size(0); ++i)
        for (int j = 0; j < H.Size(1); ++j) H(i, j) += D_(i, j);
    return H;
}

}  // namespace ZEMRA::Vibration
