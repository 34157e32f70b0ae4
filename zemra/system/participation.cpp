#include "zemra/matrix/kernels.h"
#include "zemra/system/force_system.h"

namespace ZEMRA::Vibration {
namespace {

// A total response at or below this has no direction to project on.
constexpr double kNoResponse = 1e-18;

// The part of m in phase with r, as a complex number along r.
Complex Project(const Complex& m, const Complex& r) {
    const double magnitude = std::abs(r);
    if (!(magnitude > kNoResponse)) return 0.0;
    const Complex direction = r / magnitude;
    return direction * (m.real() * direction.real() + m.imag() * direction.imag());
}

}  // namespace

const Matrix1D<Complex>& ForceSystem::MPF(int input, int output, int frequency, int mode,
                                          const Matrix1D<double>& w, bool project) {
    const int running = (input < 0) + (output < 0) + (frequency < 0) + (mode < 0);
    if (running > 1) return mpfCache_ = Matrix1D<Complex>();
    if (frequency < 0) {
        const Matrix2D<Complex> U = Amplitudes(w);
        return MPFbyFrequencyCalc(MPT(w), U, input, output, mode, w.Size(0), project);
    }
    const Matrix1D<Complex> u = Amplitudes(w(frequency));
    return MPFCalc(MPT(w), u, input, output, mode, frequency, project);
}

const Matrix1D<Complex>& ForceSystem::MPFCalc(const Matrix3D<Complex>& X,
                                              const Matrix1D<Complex>& u, int input, int output,
                                              int mode, int frequency, bool project) {
    if (input < 0) return MPFbyInputCalc(X, u, output, mode, frequency, project);
    if (output < 0) return MPFbyOutputCalc(X, u, input, mode, frequency, project);
    if (mode < 0) return MPFbyModeCalc(X, u, input, output, frequency, project);
    return MPFbyAllCalc(X, u, input, output, mode, frequency, project);
}

const Matrix1D<Complex>& ForceSystem::MPFbyFrequencyCalc(const Matrix3D<Complex>& X,
                                                         const Matrix2D<Complex>& U, int input,
                                                         int output, int mode, int nFrequencies,
                                                         bool project) {
    Matrix1D<Complex> factors(nFrequencies);
    for (int k = 0; k < nFrequencies; ++k)
        factors(k) = Participation(X.Slot(k), Feedthrough(output, U.Row(k)), input, output,
                                   mode, project);
    return mpfCache_ = std::move(factors);
}

const Matrix1D<Complex>& ForceSystem::MPFbyInputCalc(const Matrix3D<Complex>& X,
                                                     const Matrix1D<Complex>& u, int output,
                                                     int mode, int frequency, bool project) {
    const Complex feedthrough = Feedthrough(output, u);
    Matrix1D<Complex> factors(B_.Size(1));
    for (int i = 0; i < factors.Size(0); ++i)
        factors(i) = Participation(X.Slot(frequency), feedthrough, i, output, mode, project);
    return mpfCache_ = std::move(factors);
}

const Matrix1D<Complex>& ForceSystem::MPFbyOutputCalc(const Matrix3D<Complex>& X,
                                                      const Matrix1D<Complex>& u, int input,
                                                      int mode, int frequency, bool project) {
    Matrix1D<Complex> factors(C_.Size(0));
    for (int o = 0; o < factors.Size(0); ++o)
        factors(o) =
            Participation(X.Slot(frequency), Feedthrough(o, u), input, o, mode, project);
    return mpfCache_ = std::move(factors);
}

const Matrix1D<Complex>& ForceSystem::MPFbyModeCalc(const Matrix3D<Complex>& X,
                                                    const Matrix1D<Complex>& u, int input,
                                                    int output, int frequency, bool project) {
    const Complex feedthrough = Feedthrough(output, u);
    Matrix1D<Complex> factors(ModeCount());
    for (int q = 0; q < factors.Size(0); ++q)
        factors(q) = Participation(X.Slot(frequency), feedthrough, input, output, q, project);
    return mpfCache_ = std::move(factors);
}

const Matrix1D<Complex>& ForceSystem::MPFbyAllCalc(const Matrix3D<Complex>& X,
                                                   const Matrix1D<Complex>& u, int input,
                                                   int output, int mode, int frequency,
                                                   bool project) {
    return mpfCache_ =
               Matrix1D<Complex>(1, Participation(X.Slot(frequency), Feedthrough(output, u),
                                                  input, output, mode, project));
}

Complex ForceSystem::Feedthrough(int output, const Matrix1D<Complex>& u) const {
    Complex sum = 0.0;
    for (int j = 0; j < D_.Size(1); ++j) sum += Product(D_(output, j), u(j));
    return sum;
}

Complex ForceSystem::Participation(const Matrix2D<Complex>& X, Complex feedthrough, int input,
                                   int output, int mode, bool project) const {
    const int n = C_.Size(1);
    const auto part = [&](int s) { return Product(C_(output, s), X(s, input)); };

    Complex modal = 0.0;
    const int column = ModeNumberToColumn(mode);
    if (column < n) modal = part(column);
    if (column + 1 < n && ComplexMode(column)) modal += part(column + 1);
    if (!project) return modal;

    Complex total = 0.0;
    for (int s = 0; s < n; ++s) total += part(s);
    return Project(modal, total + feedthrough);
}

// The columns of C less the second ones of conjugate pairs.
int ForceSystem::ModeCount() const {
    int count = 0;
    for (int c = 0; c < C_.Size(1); c += ComplexMode(c) ? 2 : 1) ++count;
    return count;
}

}  // namespace ZEMRA::Vibration
