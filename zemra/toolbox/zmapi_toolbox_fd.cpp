#include <array>
#include <cmath>

#include "zemra/api/guarded.h"
#include "zemra/matrix/matrix_sparse.h"
#include "zemra/solver/magnitude.h"
#include "zemra/toolbox/fd_element.h"
#include "zemra/toolbox/fd_identification.h"
#include "zemra/toolbox/zmapi_toolbox.h"

using ZEMRA::Vibration::Complex;
using ZEMRA::Vibration::FDParameters;
using ZEMRA::Vibration::Matrix1D;
using ZEMRA::Vibration::Matrix2D;

namespace {

bool HasValues(const ZmAPI_Matrix& m) {
    const ZEMRA::Vibration::Matrix* const core = &m.GetMatrix();
    return dynamic_cast<const Matrix1D<double>*>(core) ||
           dynamic_cast<const Matrix1D<float>*>(core) ||
           dynamic_cast<const ZEMRA::Vibration::MatrixSparse1D<double>*>(core);
}

// The first n values of a vector. Where one is missing a handle reports it, once; not m itself,
// which would keep silent when it is empty.
bool ReadValues(const ZmAPI_Matrix& m, int n, Matrix1D<double>& values) {
    if (!HasValues(m) || m.Size(0) < n) {
        ZmAPI_Matrix(m.GetMatrix()).Value(n - 1);
        return false;
    }
    values = Matrix1D<double>(n);
    for (int k = 0; k < n; ++k) values(k) = m.Value(k);
    return true;
}

Matrix1D<Complex> Evaluate(const FDParameters& p, const Matrix1D<double>& omega) {
    return ZEMRA::Vibration::doFDEvaluate(omega.Size(0), p[0], p[1], p[2], p[3], p[4], p[5],
                                          omega);
}

// Columns 2e and 2e + 1 of m.
void StoreMagnitudePhase(const Matrix1D<Complex>& H, int e, Matrix2D<double>& m) {
    for (int k = 0; k < H.Size(0); ++k) {
        m(k, 2 * e) = ZEMRA::Vibration::MAG(H(k));
        m(k, 2 * e + 1) = toDEG(std::atan2(H(k).imag(), H(k).real()));
    }
}

}  // namespace

ZmAPI_Matrix ZmAPI_ToolBox::FDEvaluate(double K0, double C0, double K1, double C1, double K2,
                                       double C2, const ZmAPI_Matrix& omega,
                                       bool magnitudePhase) {
    Matrix1D<double> w;
    if (!ReadValues(omega, omega.Size(0), w)) return NeutralMatrix();
    const Matrix1D<Complex> H = Evaluate({K0, C0, K1, C1, K2, C2}, w);
    if (!magnitudePhase) return ZmAPI_Matrix(H);
    Matrix2D<double> pairs(w.Size(0), 2);
    StoreMagnitudePhase(H, 0, pairs);
    return ZmAPI_Matrix(pairs);
}

ZmAPI_Matrix ZmAPI_ToolBox::FDEvaluate(ZmAPI_Matrix& K0, ZmAPI_Matrix& C0, ZmAPI_Matrix& K1,
                                       ZmAPI_Matrix& C1, ZmAPI_Matrix& K2, ZmAPI_Matrix& C2,
                                       const ZmAPI_Matrix& omega, bool magnitudePhase) {
    const int elements = K0.Size(0);
    const std::array<const ZmAPI_Matrix*, 6> given{&K0, &C0, &K1, &C1, &K2, &C2};
    std::array<Matrix1D<double>, 6> values;
    Matrix1D<double> w;
    for (std::size_t i = 0; i < given.size(); ++i)
        if (!ReadValues(*given[i], elements, values[i])) return NeutralMatrix();
    if (!ReadValues(omega, omega.Size(0), w)) return NeutralMatrix();

    const int n = w.Size(0);
    Matrix2D<Complex> stiffness(magnitudePhase ? 0 : n, elements);
    Matrix2D<double> pairs(magnitudePhase ? n : 0, 2 * elements);
    for (int e = 0; e < elements; ++e) {
        FDParameters p{};
        for (std::size_t i = 0; i < p.size(); ++i) p[i] = values[i](e);
        const Matrix1D<Complex> H = Evaluate(p, w);
        if (magnitudePhase)
            StoreMagnitudePhase(H, e, pairs);
        else
            for (int k = 0; k < n; ++k) stiffness(k, e) = H(k);
    }
    return magnitudePhase ? ZmAPI_Matrix(pairs) : ZmAPI_Matrix(stiffness);
}

ZmAPI_Matrix ZmAPI_ToolBox::FDElementID(const ZmAPI_Matrix& data) {
    const FDParameters zeros{};
    return Guarded(ZmAPI_Matrix(6, zeros.data()), [&] {
        const ZEMRA::Vibration::FDData measured(data.GetMatrix());
        return ZmAPI_Matrix(6, ZEMRA::Vibration::IdentifyFDElement(measured).data());
    });
}
