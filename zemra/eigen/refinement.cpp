#include "zemra/eigen/refinement.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

#include "zemra/matrix/products.h"
#include "zemra/solver/elimination.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kToleranceVariable[] = "ZEMRA_VIBRATION_EIGEN_ERROR";
constexpr double kDefaultTolerance = 0.05;
constexpr double kClose = 1e-10;
constexpr double kSmallestPivot = 2.220446049250313e-16;
constexpr int kMostSolves = 11;

double Tolerance() {
    const char* const text = std::getenv(kToleranceVariable);
    return text && *text ? std::atof(text) : kDefaultTolerance;
}

// Whether another eigenvalue is so near that the vectors of the two cannot be told apart.
std::vector<char> FindCloseOnes(const Matrix1D<Complex>& E) {
    const int n = E.Size(0);
    std::vector<char> close;
    close.reserve(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        if (i > 0 && E(i - 1).imag() > 0.0) {  // a partner takes the answer of the first
            close.push_back(close.back());
            continue;
        }
        double nearest = 1e10;
        for (int j = 0; j < n; ++j)
            if (j != i) nearest = std::min(nearest, std::abs(E(i) - E(j)));
        close.push_back(nearest < kClose ? 1 : 0);
    }
    return close;
}

// The vector in column i, or in columns i and i + 1 for a pair.
template <typename T>
Matrix1D<T> Gather(const Matrix2D<double>& m, int i) {
    Matrix1D<T> v(m.Size(0));
    for (int k = 0; k < m.Size(0); ++k) {
        if constexpr (std::is_same_v<T, double>)
            v(k) = m(k, i);
        else
            v(k) = {m(k, i), m(k, i + 1)};
    }
    return v;
}

void Scatter(const Matrix1D<double>& v, Matrix2D<double>& m, int i) {
    for (int k = 0; k < v.Size(0); ++k) m(k, i) = v(k);
}
void Scatter(const Matrix1D<Complex>& v, Matrix2D<double>& m, int i) {
    for (int k = 0; k < v.Size(0); ++k) {
        m(k, i) = v(k).real();
        m(k, i + 1) = v(k).imag();
    }
}

// The first of the components of largest magnitude.
template <typename T>
Pivot FindLargest(const Matrix1D<T>& v) {
    Pivot best{0, Magnitude(v(0))};
    for (int k = 1; k < v.Size(0); ++k)
        if (Magnitude(v(k)) > best.magnitude) best = {k, Magnitude(v(k))};
    return best;
}

template <typename T>
Matrix1D<T> ScaledToOne(Matrix1D<T> v) {
    const double largest = FindLargest(v).magnitude;
    for (int k = 0; k < v.Size(0); ++k) v(k) /= largest == 0.0 ? 1.0 : largest;
    return v;
}

// Σ|(A·v)_k − λ·v_k| / n.
template <typename T>
double MeanResidual(const Matrix1D<T>& Av, const T& lambda, const Matrix1D<T>& v) {
    double sum = 0.0;
    for (int k = 0; k < v.Size(0); ++k) sum += Magnitude(Av(k) - Product(lambda, v(k)));
    return sum / v.Size(0);
}

// A − λI = Pᵀ·L·U with row pivoting. A singular matrix is what is wanted here: a pivot that is
// too small is replaced.
template <typename T>
class ShiftedFactors {
  public:
    ShiftedFactors(const Matrix2D<double>& A, const T& lambda)
        : w_(A.Size(0), A.Size(0)), pivots_(static_cast<std::size_t>(A.Size(0))) {
        const int n = A.Size(0);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) w_(i, j) = i == j ? A(i, j) - lambda : T(A(i, j));
        for (int k = 0; k < n; ++k) {
            const int p = FindPivotRow(w_, k, n).index;
            pivots_[static_cast<std::size_t>(k)] = p;
            w_.Piviot(k, p);
            if (Magnitude(w_(k, k)) < kSmallestPivot) w_(k, k) = kSmallestPivot;
            const T* const pivotRow = w_.Row(k).Data();
            for (int i = k + 1; i < n; ++i) {
                T* const row = w_.Row(i).Data();
                if (Magnitude(row[k]) == 0.0) continue;
                row[k] /= pivotRow[k];
                SubtractScaled(n - (k + 1), row[k], pivotRow + (k + 1), row + (k + 1));
            }
        }
    }

    void Solve(Matrix1D<T>& x) const {
        const int n = x.Size(0);
        for (int k = 0; k < n; ++k) std::swap(x(k), x(pivots_[static_cast<std::size_t>(k)]));
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < i; ++j) x(i) -= Product(w_(i, j), x(j));
        for (int i = n - 1; i >= 0; --i) {
            for (int j = i + 1; j < n; ++j) x(i) -= Product(w_(i, j), x(j));
            x(i) /= w_(i, i);
        }
    }

  private:
    Matrix2D<T> w_;
    std::vector<int> pivots_;
};

// Solves with the factors until the solution is large, which tells that v has the eigenvector
// for its main part. Returns the place of its largest component.
template <typename T>
int InverseIteration(const ShiftedFactors<T>& factors, Matrix1D<T>& v) {
    const double enough = std::sqrt(static_cast<double>(v.Size(0)));
    Pivot largest{};
    for (int solve = 0; solve < kMostSolves; ++solve) {
        factors.Solve(v);
        largest = FindLargest(v);
        const T divisor = largest.magnitude == 0.0 ? T(1) : v(largest.index);
        for (int k = 0; k < v.Size(0); ++k) v(k) /= divisor;
        if (largest.magnitude >= enough) break;
    }
    return largest.index;
}

void StoreEigenvalue(double lambda, Matrix1D<Complex>& E, int i) { E(i) = lambda; }
void StoreEigenvalue(const Complex& lambda, Matrix1D<Complex>& E, int i) {
    E(i) = lambda;
    E(i + 1) = std::conj(lambda);
}

bool IsOfTheSameKind(double, double) { return true; }
bool IsOfTheSameKind(const Complex&, const Complex& now) { return now.imag() > 0.0; }

template <typename T>
void Refine(const Matrix2D<double>& A, const T& lambda, Matrix1D<T> v, double error,
            Matrix1D<Complex>& E, Matrix2D<double>& V, int i) {
    const int s = InverseIteration(ShiftedFactors<T>(A, lambda), v);
    v = ScaledToOne(std::move(v));
    const Matrix1D<T> Av = A * v;
    const double refinedError = MeanResidual(Av, lambda, v);
    if (!(refinedError < error)) return;
    Scatter(v, V, i);
    const T better = Av(s) / v(s);
    if (MeanResidual(Av, better, v) < refinedError && std::abs(lambda - better) < kClose &&
        IsOfTheSameKind(lambda, better))
        StoreEigenvalue(better, E, i);
}

}  // namespace

void RefineVectors(const Matrix2D<double>& A, const Matrix1D<int>& D, Matrix1D<Complex>& E,
                   Matrix2D<double>& V) {
    const int n = A.Size(0);
    const double tolerance = Tolerance();
    const std::vector<char> close = FindCloseOnes(E);
    const auto isChecked = [&](int i) {
        return D(i) == i && !close[static_cast<std::size_t>(i)];
    };

    Matrix2D<double> scaled = V;
    for (int i = 0; i < n; ++i) {
        if (E(i).imag() > 0.0)
            Scatter(ScaledToOne(Gather<Complex>(V, i)), scaled, i);
        else if (E(i).imag() == 0.0)
            Scatter(ScaledToOne(Gather<double>(V, i)), scaled, i);
    }
    const Matrix2D<double> product = A * scaled;

    const auto check = [&]<typename T>(const T& lambda, int i) {
        const Matrix1D<T> v = Gather<T>(scaled, i);
        const double error = MeanResidual(Gather<T>(product, i), lambda, v);
        if (error > tolerance) Refine(A, lambda, v, error, E, V, i);
    };
    for (int i = 0; i < n; ++i) {
        if (!isChecked(i)) continue;
        if (E(i).imag() == 0.0)
            check(E(i).real(), i);
        else if (E(i).imag() > 0.0)
            check(E(i), i);
    }
}

}  // namespace ZEMRA::Vibration
