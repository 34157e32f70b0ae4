#include "zemra/system/force_system.h"

#include "zemra/matrix/products.h"
#include "zemra/system/abcd.h"

namespace ZEMRA::Vibration {

std::vector<char> ForceSystem::SweepTogether(const Matrix1D<double>& w, Matrix3D<Complex>&,
                                             bool) {
    return std::vector<char>(static_cast<std::size_t>(w.Size(0)), 0);
}

void ForceSystem::Complete(const std::vector<char>& solved, const Matrix1D<double>& w,
                           Matrix3D<Complex>& H, bool statesOnly) {
    for (int k = 0; k < w.Size(0); ++k) {
        if (solved[static_cast<std::size_t>(k)]) continue;
        H.Slot(k) = Matrix2D<Complex>(H.Size(1), H.Size(2));
        FrequencyResponse(w(k), H.Slot(k), statesOnly);
    }
}

Matrix3D<Complex> ForceSystem::Sweep(const Matrix1D<double>& w, int nrows, bool statesOnly) {
    Matrix3D<Complex> result(w.Size(0), nrows, B_.Size(1));
    Complete(SweepTogether(w, result, statesOnly), w, result, statesOnly);
    return result;
}

const Matrix3D<Complex>& ForceSystem::TransferFunction(const Matrix1D<double>& w) {
    if (HasTransferFunction(w)) return tfCache_;
    Matrix3D<Complex> H = Sweep(w, C_.Size(0), false);
    Judge(w, H);
    StoreTransferFunction(std::move(H), w);
    return tfCache_;
}

const Matrix3D<Complex>& ForceSystem::MPT(const Matrix1D<double>& w) {
    if (!HasMPT(w)) StoreMPT(Sweep(w, C_.Size(1), true), w);
    return mptCache_;
}

const Matrix3D<Complex>& ForceSystem::MCT(const Matrix1D<double>& w, bool withActuators) {
    if (HasMCT(w, withActuators)) return mctCache_;
    const Matrix2D<Complex> u = withActuators ? Amplitudes(w) : Matrix2D<Complex>();
    Matrix3D<Complex> coordinates = MPT(w);
    if (withActuators) ScaleColumns(coordinates, u);
    StoreMCT(std::move(coordinates), w, withActuators);
    return mctCache_;
}

Matrix2D<Complex> ForceSystem::OutputsOf(const Matrix2D<Complex>& X) const {
    Matrix2D<Complex> H = C_ * X;
    for (int i = 0; i < H.Size(0); ++i)
        for (int j = 0; j < H.Size(1); ++j) H(i, j) += D_(i, j);
    return H;
}

const Matrix2D<double>& ForceSystem::MatrixBesideA(char which) const {
    switch (which) {
        case 'B':
            return B_;
        case 'C':
            return C_;
        case 'D':
            return D_;
        default:
            throw BadMatrixLetter(which);
    }
}

Matrix2D<Complex> ForceSystem::SolveAt(double w) {
    const Matrix3D<Complex> H = Sweep(Matrix1D<double>(1, w), C_.Size(0), false);
    return H.Slot(0);
}

}  // namespace ZEMRA::Vibration
