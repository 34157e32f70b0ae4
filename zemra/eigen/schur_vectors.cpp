#include "zemra/eigen/schur_vectors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "zemra/eigen/chain_solver.h"
#include "zemra/eigen/chains.h"
#include "zemra/message/message.h"
#include "zemra/solver/mat2x2.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kDefective[] =
    "QR: The eigen solution produced one or more defective eigen values.\n    For these eigen "
    "values generalized eigen vectors will be used in the solution.\n    This generally "
    "indicates a problem with the model (zero stiffness, free body, invalid constraint).";

constexpr double kUnit = 2.220446049250313e-16;
constexpr double kNegligible = 1e-12;  // what a repeated eigenvalue may leave in its row
constexpr double kPoorBlock = 1e-13;   // of the terms of one equation of a 2 × 2 block

double LargerPart(double x) { return std::fabs(x); }
double LargerPart(const Complex& z) {
    return std::max(std::fabs(z.real()), std::fabs(z.imag()));
}

// Solves a 2 × 2 system, a in column order, by elimination with complete pivoting, where a
// pivot counts as tiny at least.
template <typename V>
std::array<V, 2> SolveWithPivotsOf(double tiny, std::array<V, 4> a, std::array<V, 2> b) {
    const auto largest = std::max_element(
        a.begin(), a.end(), [](const V& x, const V& y) { return std::abs(x) < std::abs(y); });
    const auto where = largest - a.begin();
    const bool lowerRow = where % 2 == 1, rightColumn = where >= 2;
    if (lowerRow) {
        std::swap(a[0], a[1]);
        std::swap(a[2], a[3]);
        std::swap(b[0], b[1]);
    }
    if (rightColumn) {
        std::swap(a[0], a[2]);
        std::swap(a[1], a[3]);
    }
    const auto pivot = [tiny](const V& p) { return std::abs(p) < tiny ? V(tiny) : p; };
    const V f = a[1] / pivot(a[0]);
    const V second = (b[1] - f * b[0]) / pivot(a[3] - f * a[2]);
    const V first = (b[0] - a[2] * second) / pivot(a[0]);
    return rightColumn ? std::array<V, 2>{second, first} : std::array<V, 2>{first, second};
}

// Zeros when the block is singular. A badly scaled one whose residual is poor is solved again
// with complete pivoting.
template <typename V>
std::array<V, 2> SolveBlock(const std::array<V, 4>& a, const std::array<V, 2>& b) {
    std::array<V, 2> x = b;
    if (!mat2x2<V>::Solve(a.data(), x.data())) return {};
    for (std::size_t i = 0; i < 2; ++i) {
        const V first = a[i] * x[0], second = a[i + 2] * x[1];
        const double terms = std::abs(first) + std::abs(second) + std::abs(b[i]);
        if (!(std::abs(first + second - b[i]) <= kPoorBlock * terms))
            return SolveWithPivotsOf(std::numeric_limits<double>::min(), a, b);
    }
    return x;
}

class SchurVectors {
  public:
    SchurVectors(FlatMatrix<double> t, CoupledBlock block, Matrix1D<Complex>& E,
                 Matrix1D<int>& D, FlatMatrix<double> Y)
        : T_(t, block, E), E_(E), Y_(Y), chains_(T_, E, D, Y) {}

    bool Find() {
        for (int k = 0; k < T_.Order(); ++k) {
            if (E_(k).imag() == 0.0)
                FindReal(k);
            else
                FindPair(k++);
        }
        return defective_;
    }

  private:
    SchurForm T_;
    Matrix1D<Complex>& E_;
    FlatMatrix<double> Y_;
    ChainSolver chains_;
    bool defective_ = false;

    void FindReal(int k) {
        const double lambda = E_(k).real();
        double* const y = Y_.Column(k);
        y[k] = 1.0;
        const int stop = Substitute(k, k, lambda, y);
        if (stop < 0) {
            if (T_.HasEigenvector(k, lambda, y)) return;
        } else {
            switch (chains_.Extend(k, stop)) {
                case ChainSolver::Outcome::kGeneralized:
                    WarnOnce();
                    return;
                case ChainSolver::Outcome::kOrdinary:
                    return;
                case ChainSolver::Outcome::kNoSolution:
                    break;
            }
        }
        y[k] = 1.0;
        SubstituteWithTinyPivots(k, k, lambda, y);
    }

    void FindPair(int k) {
        const Complex lambda = E_(k);
        const double p = lambda.real(), q = lambda.imag();
        const double lower = T_(k + 1, k), upper = T_(k, k + 1);
        const Complex first = std::fabs(lower) > std::fabs(upper)
                                  ? Complex(-q / lower, -(T_(k + 1, k + 1) - p) / lower)
                                  : Complex(0.0, -upper) / Complex(T_(k, k) - p, -q);
        Matrix1D<Complex> y(T_.Order());
        y(k) = first;
        y(k + 1) = Complex(0.0, 1.0);
        Substitute(k, k + 1, lambda, y.Data());
        if (!T_.HasEigenvector(k + 1, lambda, y.Data())) {
            y(k) = first;
            y(k + 1) = Complex(0.0, 1.0);
            SubstituteWithTinyPivots(k, k + 1, lambda, y.Data());
        }
        for (int i = 0; i <= k + 1; ++i) {
            Y_(i, k) = y(i).real();
            Y_(i, k + 1) = y(i).imag();
        }
    }

    void WarnOnce() {
        if (!defective_) Warning(kDefective).Print();
        defective_ = true;
    }

    // The 2 × 2 system of rows j − 1 and j, for y below them.
    template <typename V>
    std::array<V, 4> Block(int j, const V& lambda) const {
        return {T_(j - 1, j - 1) - lambda, T_(j, j - 1), T_(j - 1, j), T_(j, j) - lambda};
    }
    template <typename V>
    std::array<V, 2> BlockSide(int j, int last, const V* y) const {
        return {-T_.Sum(j - 1, j + 1, last, y), -T_.Sum(j, j + 1, last, y)};
    }

    // Solves (T − λI)·y = 0 for the rows above start, where y is known from start to last.
    // Returns the row at which a real eigenvalue turned out to be defective, or −1.
    template <typename V>
    int Substitute(int start, int last, const V& lambda, V* y) const {
        for (int j = start - 1; j >= 0; --j) {
            if (T_.IsLowerRowOfBlock(j)) {
                const std::array<V, 2> x = SolveBlock(Block(j, lambda), BlockSide(j, last, y));
                --j;
                y[j] = x[0];
                y[j + 1] = x[1];
                AvoidOverflow(j, last, std::max(LargerPart(x[0]), LargerPart(x[1])), y);
                continue;
            }
            if (!SolveRow(j, last, lambda, y)) return j;
            AvoidOverflow(j, last, LargerPart(y[j]), y);
        }
        return -1;
    }

    // Only a pivot that is exactly zero makes an eigenvalue defective.
    bool SolveRow(int j, int last, double lambda, double* y) const {
        const double w = T_(j, j) - lambda;
        if (std::fabs(w) > 1.0) {
            const double* const row = T_.Row(j);
            double sum = 0.0;
            for (int m = j + 1; m <= last; ++m) sum += row[m] * y[m] / w;
            y[j] = -sum;
            return true;
        }
        const double sum = T_.Sum(j, j + 1, last, y);
        if (w == 0.0) {
            y[j] = 0.0;
            return std::fabs(sum) < kNegligible;
        }
        y[j] = -sum / w;
        return true;
    }
    bool SolveRow(int j, int last, const Complex& lambda, Complex* y) const {
        y[j] = -T_.Sum(j, j + 1, last, y) / (T_(j, j) - lambda);
        return true;
    }

    // The same with pivots of at least ε·|T|. An eigenvalue that is nearly repeated gets a
    // vector nearly parallel to the other one's, with a small residual.
    template <typename V>
    void SubstituteWithTinyPivots(int start, int last, const V& lambda, V* y) const {
        const double tiny = T_.TinyPivot();
        for (int j = start - 1; j >= 0; --j) {
            if (T_.IsLowerRowOfBlock(j)) {
                const auto x = SolveWithPivotsOf(tiny, Block(j, lambda), BlockSide(j, last, y));
                --j;
                y[j] = x[0];
                y[j + 1] = x[1];
                AvoidOverflow(j, last, std::max(LargerPart(x[0]), LargerPart(x[1])), y);
                continue;
            }
            const V w = T_(j, j) - lambda;
            y[j] = -T_.Sum(j, j + 1, last, y) / (std::abs(w) < tiny ? V(tiny) : w);
            AvoidOverflow(j, last, LargerPart(y[j]), y);
        }
    }

    template <typename V>
    static void AvoidOverflow(int first, int last, double t, V* y) {
        if (t * kUnit * t > 1.0)
            for (int i = first; i <= last; ++i) y[i] /= t;
    }
};

// The first of the components of largest squared modulus, in the order given.
template <typename V>
class LargestComponent {
  public:
    void Offer(const V& component) {
        const double square = std::norm(component);
        if (square <= largest_) return;
        largest_ = square;
        value_ = component;
    }
    /// 1 when all are zero.
    V Value() const { return value_; }

  private:
    double largest_ = 0.0;
    V value_ = 1.0;
};

void NormaliseChain(const std::vector<int>& members, FlatMatrix<double> v) {
    LargestComponent<double> largest;
    for (const int member : members)
        for (int i = 0; i < v.Order(); ++i) largest.Offer(v(i, member));
    for (const int member : members)
        for (int i = 0; i < v.Order(); ++i) v(i, member) /= largest.Value();
}

void NormalisePair(int k, FlatMatrix<double> v) {
    LargestComponent<Complex> largest;
    for (int i = 0; i < v.Order(); ++i) largest.Offer({v(i, k), v(i, k + 1)});
    for (int i = 0; i < v.Order(); ++i) {
        const Complex component = Complex(v(i, k), v(i, k + 1)) / largest.Value();
        v(i, k) = component.real();
        v(i, k + 1) = component.imag();
    }
}

}  // namespace

bool FindSchurVectors(FlatMatrix<double> t, CoupledBlock block, Matrix1D<Complex>& E,
                      Matrix1D<int>& D, FlatMatrix<double> y) {
    return SchurVectors(t, block, E, D, y).Find();
}

void BackTransform(FlatMatrix<double> z, FlatMatrix<double> y) {
    const int n = z.Order();
    std::vector<double> v(static_cast<std::size_t>(n));
    for (int c = 0; c < n; ++c) {
        double* const column = y.Column(c);
        std::fill(v.begin(), v.end(), 0.0);
        for (int r = 0; r < n; ++r)
            if (column[r] != 0.0) AddScaled(n, column[r], z.Column(r), v.data());
        std::copy(v.begin(), v.end(), column);
    }
}

void NormaliseVectors(const Matrix1D<Complex>& E, const Matrix1D<int>& D,
                      FlatMatrix<double> v) {
    for (int h = 0; h < v.Order(); ++h) {
        if (D(h) != h) continue;
        if (E(h).imag() == 0.0)
            NormaliseChain(ChainMembers(h, D), v);
        else if (E(h).imag() > 0.0)
            NormalisePair(h, v);
    }
}

}  // namespace ZEMRA::Vibration
