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
    static constexpr int kPairs = kSumWidth / 2;  // that are solved for side by side

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

    // The vector of one of the pairs that are solved for side by side.
    struct Lane {
        int k;
        Complex lambda;
        double* re;  // of its component 0
        bool isRescaled = false;
        double size = 0.0, residual = 0.0;  // of |y| at least, of (T − λI)·y at most

        double* im() const { return re + kPairs; }
        // The place of component i among the real, or the imaginary, parts.
        static std::ptrdiff_t Place(int i) { return std::ptrdiff_t{i} * kSumWidth; }
        Complex Get(int i) const { return {re[Place(i)], im()[Place(i)]}; }
        void Set(int i, const Complex& y) {
            re[Place(i)] = y.real();
            im()[Place(i)] = y.imag();
            size = std::max(size, LargerPart(y));
        }
        void Note(const Complex& r) {
            if (!(SumOfParts(r) <= residual)) residual = SumOfParts(r);  // a NaN stays
        }
        // As AvoidOverflow, after rows first … have been stored.
        void AvoidOverflow(int first, double t) {
            if (!(t * kUnit * t > 1.0)) return;
            isRescaled = true;
            for (int i = first; i <= k + 1; ++i) {
                re[Place(i)] /= t;
                im()[Place(i)] /= t;
            }
        }
    };

    // The same as FindPair for each of them, with the sums of a row of T made side by side. A
    // component that a shorter vector does not have is a zero.
    void FindWaitingPairs() {
        if (waiting_.empty()) return;
        const int last = waiting_.back() + 1;
        side_.assign(static_cast<std::size_t>(last + 1) * kSumWidth, 0.0);
        std::vector<Lane> lanes;
        for (const int k : waiting_) {
            Lane lane{k, E_(k), side_.data() + lanes.size()};
            lane.Set(k, FirstOfPair(k));
            lane.Set(k + 1, Complex(0.0, 1.0));
            const std::array<Complex, 4> own = Block(k + 1, lane.lambda);
            lane.Note(Product(own[0], lane.Get(k)) + Product(own[2], lane.Get(k + 1)));
            lane.Note(Product(own[1], lane.Get(k)) + Product(own[3], lane.Get(k + 1)));
            lanes.push_back(lane);
        }
        waiting_.clear();
        for (int j = last - 2; j >= 0; --j) {
            if (T_.IsLowerRowOfBlock(j)) {
                SolveBlockRows(j, last, lanes);
                --j;
            } else {
                SolveRows(j, last, lanes);
            }
        }
        // What is not clearly a vector is looked at as FindPair does.
        for (const Lane& lane : lanes) {
            if (isBlockAll_ && !lane.isRescaled &&
                lane.residual <= 0.5 * kPoorVector * T_.Norm() * lane.size) {
                for (int i = 0; i <= lane.k + 1; ++i) {
                    Y_(i, lane.k) = lane.Get(i).real();
                    Y_(i, lane.k + 1) = lane.Get(i).imag();
                }
                continue;
            }
            Matrix1D<Complex> y(T_.Order());
            for (int i = 0; i <= lane.k + 1; ++i) y(i) = lane.Get(i);
            CheckAndStorePair(lane.k, y);
        }
    }

    void SolveRows(int j, int last, std::vector<Lane>& lanes) const {
        double sums[kSumWidth];
        kernels_->sum(T_.Row(j), j + 1, last, side_.data(), sums);
        for (std::size_t e = 0; e < lanes.size(); ++e) {
            Lane& lane = lanes[e];
            if (lane.k <= j) continue;
            const Complex sum(sums[e], sums[kPairs + e]), w = T_(j, j) - lane.lambda;
            const Complex y = -sum / w;
            lane.Set(j, y);
            lane.Note(Product(w, y) + sum);
            lane.AvoidOverflow(j, LargerPart(y));
        }
    }

    void SolveBlockRows(int j, int last, std::vector<Lane>& lanes) const {
        double upper[kSumWidth], lower[kSumWidth];
        kernels_->sum(T_.Row(j - 1), j + 1, last, side_.data(), upper);
        kernels_->sum(T_.Row(j), j + 1, last, side_.data(), lower);
        for (std::size_t e = 0; e < lanes.size(); ++e) {
            Lane& lane = lanes[e];
            if (lane.k <= j) continue;
            const std::array<Complex, 2> side{-Complex(upper[e], upper[kPairs + e]),
                                              -Complex(lower[e], lower[kPairs + e])};
            const std::array<Complex, 4> a = Block(j, lane.lambda);
            const std::array<Complex, 2> x = SolveBlock(a, side);
            lane.Set(j - 1, x[0]);
            lane.Set(j, x[1]);
            lane.Note(Product(a[0], x[0]) + Product(a[2], x[1]) - side[0]);
            lane.Note(Product(a[1], x[0]) + Product(a[3], x[1]) - side[1]);
            lane.AvoidOverflow(j - 1, std::max(LargerPart(x[0]), LargerPart(x[1])));
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
                      Matrix1D<int>& D, FlatMatrix<double> y, const EigenKernels* kernels) {
    return SchurVectors(t, block, E, D, y, kernels).Find();
}

void BackTransform(FlatMatrix<double> z, FlatMatrix<double> y, const EigenKernels* kernels) {
    const int n = z.Order();
    if (kernels) {
        const std::vector<double> given(y.Column(0), y.Column(0) + Elements(n));
        std::vector<int> used(static_cast<std::size_t>(n));
        for (int c = 0; c < n; ++c) {
            int& depth = used[static_cast<std::size_t>(c)];
            for (depth = n; depth > 0 && y(depth - 1, c) == 0.0;) --depth;
        }
        std::vector<double> work(8 * static_cast<std::size_t>(n));
        kernels->multiply(
            {n, z.Column(0), false, given.data(), used.data(), y.Column(0), work.data()});
        return;
    }
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
