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
constexpr double kPoorVector = SchurForm::kPoor;
constexpr double kPoorBlock = 1e-13;  // of the terms of one equation of a 2 × 2 block

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

// An upper bound of |x| that costs no root.
double SumOfParts(double x) { return std::fabs(x); }
double SumOfParts(const Complex& z) { return std::fabs(z.real()) + std::fabs(z.imag()); }

// Zeros when the block is singular. A badly scaled one whose residual is poor is solved again
// with complete pivoting.
template <typename V>
std::array<V, 2> SolveBlock(const std::array<V, 4>& a, const std::array<V, 2>& b) {
    std::array<V, 2> x = b;
    if (!mat2x2<V>::Solve(a.data(), x.data())) return {};
    for (std::size_t i = 0; i < 2; ++i) {
        const V first = a[i] * x[0], second = a[i + 2] * x[1];
        // Nearly always far below the bound; then the moduli need not be known exactly.
        const double parts = LargerPart(first) + LargerPart(second) + LargerPart(b[i]);
        if (SumOfParts(first + second - b[i]) <= 0.5 * kPoorBlock * parts) continue;
        const double terms = std::abs(first) + std::abs(second) + std::abs(b[i]);
        if (!(std::abs(first + second - b[i]) <= kPoorBlock * terms))
            return SolveWithPivotsOf(std::numeric_limits<double>::min(), a, b);
    }
    return x;
}

class SchurVectors {
  public:
    SchurVectors(FlatMatrix<double> t, CoupledBlock block, Matrix1D<Complex>& E,
                 Matrix1D<int>& D, FlatMatrix<double> Y, const EigenKernels* kernels)
        : T_(t, block, E),
          isBlockAll_(block.low == 0 && block.igh == t.Order() - 1),
          E_(E),
          Y_(Y),
          chains_(T_, E, D, Y),
          kernels_(kernels) {}

    bool Find() {
        for (int k = 0; k < T_.Order(); ++k) {
            if (E_(k).imag() == 0.0)
                FindReal(k);
            else if (kernels_)
                FindPairLater(k++);
            else
                FindPair(k++);
        }
        FindWaitingPairs();
        return defective_;
    }

  private:
    SchurForm T_;
    bool isBlockAll_;  // no row is isolated
    Matrix1D<Complex>& E_;
    FlatMatrix<double> Y_;
    ChainSolver chains_;
    const EigenKernels* kernels_;
    std::vector<int> waiting_;  // pairs not yet solved for
    std::vector<double> side_;  // row by row, the real parts of kPairs vectors, the imaginary
    bool defective_ = false;

    void FindReal(int k) {
        const double lambda = E_(k).real();
        double* const y = Y_.Column(k);
        y[k] = 1.0;
        const int stop = Substitute(k, k, lambda, y);
        if (stop < 0) {
            if (T_.HasEigenvector(k, lambda, y)) return;
        } else {
            FindWaitingPairs();  // with T as it has been so far
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

    // Component k of the vector of a pair at k, k + 1 whose next one is i.
    Complex FirstOfPair(int k) const {
        const double p = E_(k).real(), q = E_(k).imag();
        const double lower = T_(k + 1, k), upper = T_(k, k + 1);
        return std::fabs(lower) > std::fabs(upper)
                   ? Complex(-q / lower, -(T_(k + 1, k + 1) - p) / lower)
                   : Complex(0.0, -upper) / Complex(T_(k, k) - p, -q);
    }

    void FindPair(int k) {
        Matrix1D<Complex> y(T_.Order());
        y(k) = FirstOfPair(k);
        y(k + 1) = Complex(0.0, 1.0);
        Substitute(k, k + 1, E_(k), y.Data());
        CheckAndStorePair(k, y);
    }

    void CheckAndStorePair(int k, Matrix1D<Complex>& y) {
        const Complex lambda = E_(k);
        if (!T_.HasEigenvector(k + 1, lambda, y.Data())) {
            y(k) = FirstOfPair(k);
            y(k + 1) = Complex(0.0, 1.0);
            SubstituteWithTinyPivots(k, k + 1, lambda, y.Data());
        }
        for (int i = 0; i <= k + 1; ++i) {
            Y_(i, k) = y(i).real();
            Y_(i, k + 1) = y(i).imag();
        }
    }

    void FindPairLater(int k) {
        waiting_.push_back(k);
        if (waiting_.size() == kPairs) FindWaitingPairs();
    }

    // Pairs that are solved for side by side.
    struct Group {
        int count = 0;
        double* y;  // kPairsWidth numbers for each row of T
        std::array<int, kPairs> k{};
        std::array<double, kPairsWidth> lambda{};
        std::array<double, kPairs> size{},
            residual{};  // of |y| at least, of (T − λI)·y at most
        std::array<char, kPairs> isRescaled{};

        // Component i of pair e.
        double* At(std::size_t e, int i) const {
            return y + std::ptrdiff_t{i} * kPairsWidth + e;
        }
        Complex Get(std::size_t e, int i) const { return {At(e, i)[0], At(e, i)[kPairs]}; }
        Complex Lambda(std::size_t e) const { return {lambda[e], lambda[kPairs + e]}; }
        void Set(std::size_t e, int i, const Complex& value) {
            At(e, i)[0] = value.real();
            At(e, i)[kPairs] = value.imag();
            size[e] = std::max(size[e], LargerPart(value));
        }
        void Note(std::size_t e, const Complex& r) {
            if (!(SumOfParts(r) <= residual[e])) residual[e] = SumOfParts(r);  // a NaN stays
        }
        // As AvoidOverflow, after rows first … have been stored.
        void AvoidOverflow(std::size_t e, int first, double t) {
            if (!(t * kUnit * t > 1.0)) return;
            isRescaled[e] = 1;
            for (int i = first; i <= k[e] + 1; ++i) {
                At(e, i)[0] /= t;
                At(e, i)[kPairs] /= t;
            }
        }
    };

    // The same as FindPair for each of them. A component that a shorter vector does not have is
    // a zero.
    void FindWaitingPairs() {
        if (waiting_.empty()) return;
        const int last = waiting_.back() + 1;
        side_.assign(static_cast<std::size_t>(last + 1) * kPairsWidth, 0.0);
        Group group;
        group.y = side_.data();
        for (std::size_t e = 0; const int k : waiting_) {
            group.k[e] = k;
            group.lambda[e] = E_(k).real();
            group.lambda[kPairs + e] = E_(k).imag();
            group.Set(e, k, FirstOfPair(k));
            group.Set(e, k + 1, Complex(0.0, 1.0));
            const std::array<Complex, 4> own = Block(k + 1, E_(k));
            const Complex upper = group.Get(e, k), lower = group.Get(e, k + 1);
            group.Note(e, Product(own[0], upper) + Product(own[2], lower));
            group.Note(e, Product(own[1], upper) + Product(own[3], lower));
            group.count = static_cast<int>(++e);
        }
        waiting_.clear();
        for (int j = last - 2; j >= 0; j -= T_.IsLowerRowOfBlock(j) ? 2 : 1)
            SolveRows(j, last, group);
        // What is not clearly a vector is looked at as FindPair does.
        for (std::size_t e = 0; e < static_cast<std::size_t>(group.count); ++e) {
            const int k = group.k[e];
            if (isBlockAll_ && !group.isRescaled[e] &&
                group.residual[e] <= 0.5 * kPoorVector * T_.Norm() * group.size[e]) {
                for (int i = 0; i <= k + 1; ++i) {
                    Y_(i, k) = group.At(e, i)[0];
                    Y_(i, k + 1) = group.At(e, i)[kPairs];
                }
                continue;
            }
            Matrix1D<Complex> y(T_.Order());
            for (int i = 0; i <= k + 1; ++i) y(i) = group.Get(e, i);
            CheckAndStorePair(k, y);
        }
    }

    // Row j, or the block whose lower row it is.
    void SolveRows(int j, int last, Group& group) const {
        int first = 0;
        while (first < group.count && group.k[static_cast<std::size_t>(first)] <= j) ++first;
        const bool isBlock = T_.IsLowerRowOfBlock(j);
        double sums[2 * kPairsWidth];
        const unsigned left =
            kernels_->solvePairs({T_.Row(isBlock ? j - 1 : j), isBlock ? T_.Row(j) : nullptr, j,
                                  last, group.lambda.data(), group.y, first, group.count,
                                  group.size.data(), group.residual.data(), sums});
        for (std::size_t e = 0; left >> e != 0; ++e) {
            if ((left >> e & 1) == 0) continue;
            const Complex side(sums[e], sums[kPairs + e]), lambda = group.Lambda(e);
            if (!isBlock) {
                const Complex w = T_(j, j) - lambda, y = Quotient(side, w);
                group.Set(e, j, y);
                group.Note(e, Product(w, y) - side);
                group.AvoidOverflow(e, j, LargerPart(y));
                continue;
            }
            const double* const lower = sums + kPairsWidth;
            SolveBlockRows(j, e, {side, Complex(lower[e], lower[kPairs + e])}, group);
        }
    }

    void SolveBlockRows(int j, std::size_t e, const std::array<Complex, 2>& side,
                        Group& group) const {
        const std::array<Complex, 4> a = Block(j, group.Lambda(e));
        const std::array<Complex, 2> x = SolveBlock(a, side);
        group.Set(e, j - 1, x[0]);
        group.Set(e, j, x[1]);
        group.Note(e, Product(a[0], x[0]) + Product(a[2], x[1]) - side[0]);
        group.Note(e, Product(a[1], x[0]) + Product(a[3], x[1]) - side[1]);
        group.AvoidOverflow(e, j - 1, std::max(LargerPart(x[0]), LargerPart(x[1])));
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
        y[j] = Quotient(-T_.Sum(j, j + 1, last, y), T_(j, j) - lambda);
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
    double* __restrict const re = v.Column(k);
    double* __restrict const im = v.Column(k + 1);
    LargestComponent<Complex> largest;
    for (int i = 0; i < v.Order(); ++i) largest.Offer({re[i], im[i]});
    const SmithDivisor divisor(largest.Value());
    bool takesAll = true;
    for (int i = 0; i < v.Order(); ++i) takesAll &= divisor.Takes(re[i], im[i]);
    for (int i = 0; takesAll && i < v.Order(); ++i) {
        const double x = re[i], y = im[i];
        re[i] = divisor.Real(x, y);
        im[i] = divisor.Imaginary(x, y);
    }
    for (int i = 0; !takesAll && i < v.Order(); ++i) {
        const Complex component = Quotient(Complex(re[i], im[i]), largest.Value());
        re[i] = component.real();
        im[i] = component.imag();
    }
}

}  // namespace

bool FindSchurVectors(FlatMatrix<double> t, CoupledBlock block, Matrix1D<Complex>& E,
                      Matrix1D<int>& D, FlatMatrix<double> y, const EigenKernels* kernels) {
    return SchurVectors(t, block, E, D, y, kernels).Find();
}

void BackTransform(FlatMatrix<double> z, FlatMatrix<double> y, FlatMatrix<double> v,
                   const EigenKernels* kernels) {
    const int n = z.Order();
    if (kernels) {
        std::vector<int> used(static_cast<std::size_t>(n));
        for (int c = 0; c < n; ++c) {
            int& depth = used[static_cast<std::size_t>(c)];
            for (depth = n; depth > 0 && y(depth - 1, c) == 0.0;) --depth;
        }
        std::vector<double> work(8 * static_cast<std::size_t>(n));
        kernels->multiply({n, z.LeadingDimension(), z.Column(0), false, y.Column(0),
                           used.data(), v.Column(0), work.data()});
        return;
    }
    for (int c = 0; c < n; ++c) {
        double* const column = v.Column(c);
        std::fill_n(column, n, 0.0);
        for (int r = 0; r < n; ++r)
            if (y(r, c) != 0.0) AddScaled(n, y(r, c), z.Column(r), column);
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
