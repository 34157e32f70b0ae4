#include "zemra/system/system.h"

#include "zemra/matrix/kernels.h"
#include "zemra/matrix/products.h"

namespace ZEMRA::Vibration {
namespace {

Matrix2D<Complex> ConjugateTranspose(const Matrix2D<Complex>& H) {
    Matrix2D<Complex> result(H.Size(1), H.Size(0));
    for (int i = 0; i < H.Size(0); ++i)
        for (int j = 0; j < H.Size(1); ++j) result(j, i) = std::conj(H(i, j));
    return result;
}

}  // namespace

System::System(double time, const Matrix1D<const Vibration::Actuator*>& actuators)
    : actuators_(actuators.Size(0)), time_(time) {
    for (int i = 0; i < actuators.Size(0); ++i) actuators_(i) = *actuators(i);
}

const Matrix3D<Complex>& System::FrequencyResponse(const Matrix1D<double>& w) {
    if (frTfVersion_ == tfVersion_ && HasTransferFunction(w)) return frCache_;
    const Matrix2D<Complex> u = Amplitudes(w);
    Matrix3D<Complex> response = TransferFunction(w);
    ScaleColumns(response, u);
    frCache_ = std::move(response);
    frTfVersion_ = tfVersion_;
    return frCache_;
}

bool System::findFrequency(double w, int& index) {
    const int n = tfFrequencies_.Size(0);
    if (!tfComputed_ || n == 0) return false;
    const auto& f = tfFrequencies_;
    const auto found = [&](int i) {
        cursor_ = i;
        index = i;
        return true;
    };

    if (cursor_ >= n || cursor_ < 0) cursor_ = 0;
    if (w == f(cursor_)) return found(cursor_);
    if (cursor_ < n - 2 && w == f(cursor_ + 1)) return found(cursor_ + 1);
    if (cursor_ >= 1 && w == f(cursor_ - 1)) return found(cursor_ - 1);
    if (w == f(0)) return found(0);
    if (w == f(n - 1)) return found(n - 1);

    int lo = 0;
    int hi = n - 1;
    do {
        const int mid = (lo + hi) / 2;
        if (f(mid) == w) return found(mid);
        (w > f(mid) ? lo : hi) = mid;
    } while (hi - lo > 1);
    return false;
}

Matrix1D<Complex> System::Amplitudes(double w) const {
    Matrix1D<Complex> u(actuators_.Size(0));
    for (int j = 0; j < u.Size(0); ++j) u(j) = actuators_(j).Evaluate(w);
    return u;
}

Matrix2D<Complex> System::Amplitudes(const Matrix1D<double>& w) const {
    Matrix2D<Complex> u(w.Size(0), actuators_.Size(0));
    for (int k = 0; k < w.Size(0); ++k) u.Row(k) = Amplitudes(w(k));
    return u;
}

void System::ScaleColumns(Matrix3D<Complex>& values, const Matrix2D<Complex>& u) {
    for (int k = 0; k < values.Size(0); ++k)
        for (int i = 0; i < values.Size(1); ++i)
            for (int j = 0; j < values.Size(2); ++j)
                values(k, i, j) = Product(values(k, i, j), u(k, j));
}

Matrix2D<Complex> System::ResponseAt(double w) {
    int k = 0;
    return findFrequency(w, k) ? tfCache_.Slot(k) : SolveAt(w);
}

// The inputs' spectral matrix S (inputs × inputs) at w.
Matrix2D<Complex> System::InputDensity(double w, double dw) const {
    const int n = Inputs();
    Matrix2D<Complex> S(n, n);
    for (int j = 0; j < n; ++j) S(j, j) = actuators_(j).EvalPSD(w, dw);
    for (int j = 0; j < n; ++j)
        for (int m = 0; m < n; ++m)
            if (const auto* cross = actuators_(j).CrossActuator(m))
                S(m, j) += cross->EvalPSD(w, dw);
    return S;
}

const Matrix2D<Complex>& System::PSD(double w, double dw) {
    if (psdComputed_ && w == psdFrequency_) return psdCache_;
    const Matrix2D<Complex> H = ResponseAt(w);
    const Matrix2D<Complex> S = InputDensity(w, dw);
    psdCache_ = H * S * ConjugateTranspose(H);
    psdFrequency_ = w;
    psdComputed_ = true;
    return psdCache_;
}

Complex System::PSD(int output, double w, double dw) {
    int k = 0;
    const Matrix1D<Complex> h =
        findFrequency(w, k) ? tfCache_.Slot(k).Row(output) : SolveAt(w).Row(output);
    Complex result = 0.0;
    for (int j = 0; j < h.Size(0); ++j) {
        Complex a = 0.0;
        for (int m = 0; m < h.Size(0); ++m)
            if (const auto* cross = actuators_(j).CrossActuator(m))
                a += Product(cross->EvalPSD(w, dw), h(m));
        a += Product(actuators_(j).EvalPSD(w, dw), h(j));
        result += Product(std::conj(h(j)), a);
    }
    return result;
}

void System::StoreTransferFunction(Matrix3D<Complex>&& values, const Matrix1D<double>& w) {
    Matrix1D<double> frequencies = w;  // the last step that can fail
    tfCache_ = std::move(values);
    tfFrequencies_ = std::move(frequencies);
    tfComputed_ = true;
    ++tfVersion_;
    cursor_ = -1;
}

void System::StoreMPT(Matrix3D<Complex>&& values, const Matrix1D<double>& w) {
    Matrix1D<double> frequencies = w;  // the last step that can fail
    mptCache_ = std::move(values);
    mptFrequencies_ = std::move(frequencies);
    mptComputed_ = true;
}

void System::StoreMCT(Matrix3D<Complex>&& values, const Matrix1D<double>& w,
                      bool withActuators) {
    Matrix1D<double> frequencies = w;  // the last step that can fail
    mctCache_ = std::move(values);
    mctFrequencies_ = std::move(frequencies);
    mctWithActuators_ = withActuators;
    mctComputed_ = true;
}

}  // namespace ZEMRA::Vibration
