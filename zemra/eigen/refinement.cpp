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
    std::vector<double> parts(2 * static_cast<std::size_t>(n));
    double *const re = parts.data(), *const im = re + n;
    for (int i = 0; i < n; ++i) {
        re[i] = E(i).real();
        im[i] = E(i).imag();
    }
    for (int i = 0; i < n; ++i) {
        if (i > 0 && E(i - 1).imag() > 0.0) {  // a partner takes the answer of the first
            close.push_back(close.back());
            continue;
        }
        const auto isNear = [re, im, i](int j) {
            return static_cast<int>(std::fabs(re[i] - re[j]) < kClose) &
                   static_cast<int>(std::fabs(im[i] - im[j]) < kClose);
        };
        int near = -isNear(i);  // how many others are, by their parts
        for (int j = 0; j < n; ++j) near += isNear(j);
        char any = 0;
        for (int j = 0; near > 0 && j < n; ++j)
            if (j != i && std::abs(E(i) - E(j)) < kClose) any = 1;
        close.push_back(any);
    }
    return close;
}

// The vector in column i, or in columns i and i + 1 for a pair.
template <typename T>
Matrix1D<T> Gather(FlatMatrix<double> m, int i) {
    Matrix1D<T> v(m.Order());
    for (int k = 0; k < m.Order(); ++k) {
        if constexpr (std::is_same_v<T, double>)
            v(k) = m(k, i);
        else
            v(k) = {m(k, i), m(k, i + 1)};
    }
    return v;
}

void Scatter(const Matrix1D<double>& v, FlatMatrix<double> m, int i) {
    for (int k = 0; k < v.Size(0); ++k) m(k, i) = v(k);
}
void Scatter(const Matrix1D<Complex>& v, FlatMatrix<double> m, int i) {
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
            Matrix1D<Complex>& E, FlatMatrix<double> V, int i) {
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

// Element k of A·v − λ·v for the vector in column i, or in columns i and i + 1.
double Difference(double lambda, FlatMatrix<double> product, FlatMatrix<double> v, int k,
                  int i) {
    return product(k, i) - lambda * v(k, i);
}
Complex Difference(const Complex& lambda, FlatMatrix<double> product, FlatMatrix<double> v,
                   int k, int i) {
    return Complex(product(k, i), product(k, i + 1)) -
           Product(lambda, Complex(v(k, i), v(k, i + 1)));
}

// Divides column i, or the pair of columns i and i + 1, by its largest magnitude, the root of
// the largest square; a NaN counts only in the first row, as in FindLargest.
void ScaleColumn(FlatMatrix<double> v, int i, bool isPair) {
    const int n = v.Order();
    double* const re = v.Column(i);
    double* const im = isPair ? v.Column(i + 1) : nullptr;
    const auto size = [&](int k) {
        return im ? re[k] * re[k] + im[k] * im[k] : std::fabs(re[k]);
    };
    double largest = size(0);
    for (int k = 1; k < n; ++k)
        if (size(k) > largest) largest = size(k);
    if (im) largest = std::sqrt(largest);
    if (largest == 0.0 || largest == 1.0) return;
    for (int k = 0; k < n; ++k) re[k] /= largest;
    for (int k = 0; im && k < n; ++k) im[k] /= largest;
}

// Whether Σ|A·v − λ·v| is certainly no more than most, for the vector in column i, or in
// columns i and i + 1; told without the roots of the moduli, and in no order.
bool IsCertainlySmall(const Complex& lambda, FlatMatrix<double> product, FlatMatrix<double> v,
                      int i, double most) {
    constexpr int kSums = 4;
    const int n = v.Order();
    const bool isPair = lambda.imag() != 0.0;
    const double *const re = v.Column(i), *const im = v.Column(isPair ? i + 1 : i);
    const double *const ofRe = product.Column(i), *const ofIm =
                                                      product.Column(isPair ? i + 1 : i);
    const double p = lambda.real(), q = lambda.imag();
    double sums[kSums] = {};
    const auto add = [&](int k, double& sum) {
        sum += std::fabs(ofRe[k] - (p * re[k] - q * im[k])) +
               std::fabs(ofIm[k] - (p * im[k] + q * re[k]));
    };
    int k = 0;
    for (; k + kSums <= n; k += kSums)
        for (int s = 0; s < kSums; ++s) add(k + s, sums[s]);
    for (; k < n; ++k) add(k, sums[0]);
    constexpr double kWithRoundings = 1.0 + 1e-9;
    return (sums[0] + sums[1] + sums[2] + sums[3]) * kWithRoundings <= most;
}

// A·v, all columns at once; by is for A.
void Multiply(const Matrix2D<double>& A, FlatMatrix<double> v, FlatMatrix<double> product,
              FlatMatrix<double> by, const EigenKernels* kernels) {
    const int n = v.Order();
    if (!kernels) {
        for (int c = 0; c < n; ++c) {
            const Matrix1D<double> column = A * Gather<double>(v, c);
            std::copy_n(column.Data(), n, product.Column(c));
        }
        return;
    }
    for (int r = 0; r < n; ++r) std::copy_n(A.Row(r).Data(), n, by.Column(r));
    std::vector<double> work(8 * static_cast<std::size_t>(n));
    const std::vector<int> used(static_cast<std::size_t>(n), n);
    kernels->multiply({n, v.LeadingDimension(), by.Column(0), true, v.Column(0), used.data(),
                       product.Column(0), work.data()});
}

}  // namespace

void RefineVectors(const Matrix2D<double>& A, const Matrix1D<int>& D, Matrix1D<Complex>& E,
                   FlatMatrix<double> V, const std::array<FlatMatrix<double>, 3>& work,
                   const EigenKernels* kernels) {
    const int n = A.Size(0);
    const double tolerance = Tolerance();
    const std::vector<char> close = FindCloseOnes(E);
    const auto isChecked = [&](int i) {
        return D(i) == i && !close[static_cast<std::size_t>(i)];
    };

    const FlatMatrix<double>&scaled = work[0], &product = work[1], &by = work[2];
    for (int i = 0; i < n; ++i) std::copy_n(V.Column(i), n, scaled.Column(i));
    for (int i = 0; i < n; ++i) {
        if (E(i).imag() > 0.0)
            ScaleColumn(scaled, i, true);
        else if (E(i).imag() == 0.0)
            ScaleColumn(scaled, i, false);
    }
    Multiply(A, scaled, product, by, kernels);

    const auto check = [&]<typename T>(const T& lambda, int i) {
        if (kernels && IsCertainlySmall(lambda, product, scaled, i, tolerance * n)) return;
        double sum = 0.0;
        for (int k = 0; k < n; ++k) sum += Magnitude(Difference(lambda, product, scaled, k, i));
        const double error = sum / n;
        if (error > tolerance) Refine(A, lambda, Gather<T>(scaled, i), error, E, V, i);
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
