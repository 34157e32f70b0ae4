#include "zemra/system/force_system_ms.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

#include "zemra/matrix/kernels.h"
#include "zemra/matrix/products.h"
#include "zemra/system/abcd.h"

namespace ZEMRA::Vibration {
namespace {

// The states of a rigid body at zero frequency, where they are infinite: of the body's own
// coordinate and of its coupling to the one it drives.
constexpr double kRigidBody = 1e30;
constexpr double kRigidBodyCoupling = 1e99;

// The share of a response that may be wrong unsaid.
constexpr double kLargestError = 1e-3;
// A response below this share of what its row of C could make of the states is a zero of the
// model, or next to it: nobody asks for its digits.
constexpr double kNothing = 1e-10;

constexpr char kInaccurate[] =
    "ZEMRA/Vibration modal form:\n   At w = %g, the lowest frequency asked for, rounding of "
    "the eigenvectors changes a response\n   by about %.1e of its size. Use the state-space "
    "form of this model there.";

template <typename T>
double Largest(int n, const T* values) {
    double largest = 0.0;
    for (int i = 0; i < n; ++i) largest = std::max(largest, std::abs(values[i]));
    return largest;
}

// The index of the lowest frequency that is not 0, or −1.
int Lowest(const Matrix1D<double>& w) {
    int lowest = -1;
    for (int k = 0; k < w.Size(0); ++k)
        if (w(k) != 0.0 && std::isfinite(w(k)) &&
            (lowest < 0 || std::fabs(w(k)) < std::fabs(w(lowest))))
            lowest = k;
    return lowest;
}

}  // namespace

ForceSystemMS::ForceSystemMS(double time, const MatrixSparse2D<double>& A,
                             const Matrix2D<double>& B, const Matrix2D<double>& C,
                             const Matrix2D<double>& D,
                             const Matrix1D<const Vibration::Actuator*>& actuators,
                             const EigenProblem& eigen,
                             std::shared_ptr<const ModalResidual> residual)
    : ForceSystem(time, B, C, D, actuators),
      eigen_(eigen),
      A_(A),
      residual_(std::move(residual)) {
    CheckABCDSizes(A_, B_, C_, D_);
    ReadModes();
}

ForceSystemMS::ForceSystemMS(const ForceSystemMS& other)
    : ForceSystem(other),
      eigen_(other.eigen_),
      A_(other.A_),
      modes_(other.modes_),
      sweep_(other.sweep_),
      residual_(other.residual_),
      stride_(other.stride_) {}

const Matrix2D<double>& ForceSystemMS::ABCDMatrix(char which) const {
    if (which != 'A') return MatrixBesideA(which);
    if (denseA_.Size(0) != A_.Size(0)) denseA_ = Matrix2D<double>(A_);
    return denseA_;
}

// Taken from the sparse matrix once: a lookup there is a search.
void ForceSystemMS::ReadModes() {
    const int n = A_.Size(0);
    for (int i = 0; i < n; i += modes_.back().States()) {
        const double b = i + 1 < n ? -A_(i + 1, i) : 0.0;
        const int predecessor = Predecessor(i, b != 0.0);
        modes_.push_back({i, A_(i, i), b, predecessor});
        if (predecessor != i) stride_ = 5;
    }
}

// Links join neighbours of one kind; the band has no place for others.
int ForceSystemMS::Predecessor(int row, bool pair) const {
    if (modes_.empty() || modes_.back().IsPair() != pair) return row;
    const int previous = modes_.back().row;
    const bool linked = eigen_.Eigenvalues() == A_.Size(0) ? eigen_.Defective(row) == previous
                                                           : !pair && A_(previous, row) != 0.0;
    return linked ? previous : row;
}

int ForceSystemMS::ModeNumberToColumn(int mode) const {
    const auto number = static_cast<std::size_t>(mode);
    return number < modes_.size() ? modes_[number].row : A_.Size(0);
}

bool ForceSystemMS::ComplexMode(int column) const {
    const auto mode = std::lower_bound(modes_.begin(), modes_.end(), column,
                                       [](const Mode& m, int c) { return m.row < c; });
    return mode != modes_.end() && mode->row == column && mode->IsPair();
}

void ForceSystemMS::FrequencyResponse(double w, Matrix2D<Complex>& H, bool statesOnly) {
    SetSIA_inv(w);
    Matrix2D<Complex> X(A_.Size(0), B_.Size(1));
    SetSIAB(B_, X);
    H = statesOnly ? std::move(X) : OutputsOf(X);
}

std::vector<char> ForceSystemMS::SweepTogether(const Matrix1D<double>& w, Matrix3D<Complex>& H,
                                               bool statesOnly) {
    return sweep_.Run({modes_, B_, statesOnly ? nullptr : &C_, statesOnly ? nullptr : &D_}, w,
                      H);
}

// The states that a residual adds are bounded first, in O(n·(m + p)): sound models are done
// then.
void ForceSystemMS::Judge(const Matrix1D<double>& w, const Matrix3D<Complex>& H) {
    const int lowest = residual_ ? Lowest(w) : -1;
    if (lowest < 0) return;
    const int n = A_.Size(0), m = B_.Size(1), p = C_.Size(0);
    SetSIA_inv(w(lowest));
    Matrix2D<Complex> X(n, m);
    SetSIAB(B_, X);
    double largestState = 0.0;
    for (int i = 0; i < n; ++i)
        largestState = std::max(largestState, Largest(m, X.Row(i).Data()));
    const Matrix1D<double> mostStates = MostStates(residual_->most);

    // The responses of an output that is to be judged, else 0.
    Matrix1D<double> response(p);
    bool isDoubtful = false;
    for (int i = 0; i < p; ++i) {
        const double* row = C_.Row(i).Data();
        double most = 0.0;
        for (int j = 0; j < n; ++j) most += std::fabs(row[j]) * mostStates(j);
        const double size = Largest(m, H.Slot(lowest).Row(i).Data());
        if (!(size > kNothing * Largest(n, row) * largestState)) continue;
        response(i) = size;
        isDoubtful = isDoubtful || most * largestState > kLargestError * size;
    }
    if (!isDoubtful) return;

    Matrix2D<Complex> change(n, m);
    SetSIAB(residual_->Tinv * (residual_->R * X), change);
    const Matrix2D<Complex> error = C_ * change;
    double worst = 0.0;
    for (int i = 0; i < p; ++i)
        if (response(i) > 0.0)
            worst = std::max(worst, Largest(m, error.Row(i).Data()) / response(i));
    if (worst > kLargestError) (Warning(kInaccurate) << w(lowest) << worst).Print();
}

Complex& ForceSystemMS::Band(int row, int column) {
    const int slot = column - (row - 1);
    assert(slot >= 0 && slot < stride_);
    return band_[static_cast<std::size_t>(row) * static_cast<std::size_t>(stride_) +
                 static_cast<std::size_t>(slot)];
}

void ForceSystemMS::SetSIA_inv(double w) {
    // Every frequency writes the same entries; all others stay zero.
    band_.resize(static_cast<std::size_t>(A_.Size(0)) * static_cast<std::size_t>(stride_));
    for (const Mode& mode : modes_) {
        if (mode.IsPair())
            SetPair(mode, w);
        else
            SetReal(mode, w);
    }
}

void ForceSystemMS::SetReal(const Mode& mode, double w) {
    const auto [i, a, b, k] = mode;
    const bool singular = a == 0.0 && w == 0.0;
    const Complex d = singular ? kRigidBody : 1.0 / Complex(-a, w);
    Band(i, i) = d;
    if (k != i) Band(k, i) = singular ? kRigidBodyCoupling : Product(d, d);
}

void ForceSystemMS::SetPair(const Mode& mode, double w) {
    const auto [i, a, b, k] = mode;
    const Complex den(a * a + b * b - w * w, -2.0 * a * w);
    const Complex p = Complex(-a, w) / den;
    const Complex q = b / den;
    Band(i, i) = Band(i + 1, i + 1) = p;
    Band(i, i + 1) = q;
    Band(i + 1, i) = -q;
    if (k == i) return;

    // (p, q; −q, p) squared, the block that couples a follower to its predecessor.
    const Complex e = Product(p, p) - Product(q, q);
    const Complex f = 2.0 * Product(p, q);
    Band(k, i) = Band(k + 1, i + 1) = e;
    Band(k, i + 1) = f;
    Band(k + 1, i) = -f;
}

template <typename Visit>
void ForceSystemMS::ForEachInBand(const Visit& visit) const {
    const int n = A_.Size(0);
    const Complex* band = band_.data();
    for (int r = 0; r < n; ++r, band += stride_)
        for (int e = 0; e < stride_; ++e)
            if (const int column = r - 1 + e; column >= 0 && column < n)
                visit(r, column, band[e]);
}

template <typename T>
void ForceSystemMS::SetSIAB(const Matrix2D<T>& B, Matrix2D<Complex>& X) const {
    ForEachInBand([&](int r, int column, const Complex& value) {
        AddScaled(B.Size(1), value, B.Row(column).Data(), X.Row(r).Data());
    });
}

Matrix1D<double> ForceSystemMS::MostStates(const Matrix1D<double>& b) const {
    Matrix1D<double> most(A_.Size(0));
    ForEachInBand([&](int r, int column, const Complex& value) {
        most(r) += (std::fabs(value.real()) + std::fabs(value.imag())) * b(column);
    });
    return most;
}

}  // namespace ZEMRA::Vibration
