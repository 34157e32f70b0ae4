#include "zemra/eigen/chain_solver.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "zemra/eigen/chains.h"
#include "zemra/message/message.h"
#include "zemra/solver/gauss_full.h"

namespace ZEMRA::Vibration {
namespace {

constexpr double kLargeResidual = 1e-8;  // of a chain relation, of its right-hand side
constexpr double kUnit = std::numeric_limits<double>::epsilon();
constexpr double kNoShare = 1e-12;  // of a chain in a combination, of the vector

double LargestMagnitude(int n, const double* v) {
    double largest = 0.0;
    for (int i = 0; i < n; ++i) largest = std::max(largest, std::fabs(v[i]));
    return largest;
}

// A solution x of w(:, 0 … n−1)·x = w(:, n) for a w of any rank, by elimination with complete
// pivoting. Pivots are sought in the columns before preferred as long as these hold one larger
// than tolerance times their largest element, then in the other columns. Unknowns without a
// pivot are 0; rows without one are dropped, so it is for the caller to look at the residual.
class RankRevealingElimination {
  public:
    RankRevealingElimination(Matrix2D<double> w, int preferred, double tolerance)
        : w_(std::move(w)), n_(w_.Size(1) - 1), pivotColumn_() {
        pivotColumn_.reserve(static_cast<std::size_t>(w_.Size(0)));
        Eliminate(0, preferred, tolerance);
        Eliminate(preferred, n_, tolerance);
    }

    std::vector<double> Solution() const {
        std::vector<double> x(static_cast<std::size_t>(n_));
        for (int i = Rank() - 1; i >= 0; --i) {
            double sum = w_(i, n_);
            for (int j = i + 1; j < Rank(); ++j)
                sum -= w_(i, PivotColumn(j)) * x[static_cast<std::size_t>(PivotColumn(j))];
            x[static_cast<std::size_t>(PivotColumn(i))] = sum / w_(i, PivotColumn(i));
        }
        return x;
    }

  private:
    Matrix2D<double> w_;
    int n_;
    std::vector<int> pivotColumn_;  // of each row that has one

    int Rank() const { return static_cast<int>(pivotColumn_.size()); }
    int PivotColumn(int row) const { return pivotColumn_[static_cast<std::size_t>(row)]; }

    void Eliminate(int first, int end, double tolerance) {
        double largest = 0.0;
        for (int i = 0; i < w_.Size(0); ++i)
            largest =
                std::max(largest, LargestMagnitude(end - first, w_.Row(i).Data() + first));
        while (Rank() < w_.Size(0)) {
            const auto [row, column] = FindPivot(first, end);
            if (!(std::fabs(w_(row, column)) > tolerance * largest)) return;
            w_.Piviot(Rank(), row);
            const double* const pivot = w_.Row(Rank()).Data();
            for (int i = Rank() + 1; i < w_.Size(0); ++i) {
                const double f = w_(i, column) / pivot[column];
                if (f == 0.0) continue;
                SubtractScaled(n_ + 1, f, pivot, w_.Row(i).Data());
                w_(i, column) = 0.0;  // never a pivot again
            }
            pivotColumn_.push_back(column);
        }
    }

    std::pair<int, int> FindPivot(int first, int end) const {
        std::pair<int, int> best{Rank(), first};
        double largest = -1.0;
        for (int i = Rank(); i < w_.Size(0); ++i)
            for (int j = first; j < end; ++j)
                if (std::fabs(w_(i, j)) > largest) {
                    largest = std::fabs(w_(i, j));
                    best = {i, j};
                }
        return best;
    }
};

}  // namespace

ChainSolver::Outcome ChainSolver::Extend(int k, int m) {
    if (ExtendChainOf(m, k)) return Outcome::kGeneralized;
    // Beside stiff modes a pivot that counts can be below the first tolerance.
    for (const double tolerance : {1e-12, 1e-15}) {
        const Outcome outcome = ExtendCombination(k, tolerance);
        if (outcome != Outcome::kNoSolution) return outcome;
    }
    return Outcome::kNoSolution;
}

// Solves for the chain that row m belongs to, with the elimination that sets negligible rows
// aside: row m has a zero on the diagonal, and row k is zero.
bool ChainSolver::ExtendChainOf(int m, int k) {
    const int last = FindEndOfDefectiveChain(m, D_);
    const double lambda = E_(k).real();
    Matrix2D<double> M(k + 1, k + 1);
    for (int i = 0; i <= k; ++i) {
        if (i < k) M(i, i) = T_(i, i) - lambda;
        if (T_.IsLowerRowOfBlock(i)) M(i, i - 1) = T_(i, i - 1);
        for (int c = i + 1; c <= k; ++c) M(i, c) = T_(i, c);
    }
    const double* const rhs = Y_.Column(last);
    Matrix1D<double> y(k + 1, rhs);
    try {
        GaussFull<double>::Solve(M, y);
    } catch (const Error&) {
        return false;
    }
    if (y(k) == 0.0 || !Follows(k, y.Data(), rhs)) return false;
    StoreColumn(k, y.Data());
    Link(k, last);
    return true;
}

ChainSolver::Outcome ChainSolver::ExtendCombination(int k, double tolerance) {
    const double lambda = E_(k).real();
    std::vector<std::vector<int>> chains;
    for (int h = 0; h < k; ++h)
        if (D_(h) == h && E_(h).imag() == 0.0 && (E_(h).real() == lambda || T_(h, h) == lambda))
            chains.push_back(ChainMembers(h, D_));
    const int count = static_cast<int>(chains.size());

    Matrix2D<double> w(k, k + count + 1);
    for (int i = 0; i < k; ++i) {
        w(i, i) = T_(i, i) - lambda;
        if (T_.IsLowerRowOfBlock(i)) w(i, i - 1) = T_(i, i - 1);
        for (int c = i + 1; c < k; ++c) w(i, c) = T_(i, c);
        for (int e = k; const auto& chain : chains) w(i, e++) = -Y_(i, chain.back());
        w(i, k + count) = -T_(i, k);
        Scale(k + count + 1, 1.0 / T_.RowNorm(i, k), w.Row(i).Data());
    }
    std::vector<double> y = RankRevealingElimination(std::move(w), k, tolerance).Solution();
    const std::vector<double> share(y.begin() + k, y.end());
    y.resize(static_cast<std::size_t>(k));
    y.push_back(1.0);

    const double size = LargestMagnitude(k + 1, y.data());
    const auto takesPart = [&](std::size_t e) { return std::fabs(share[e]) > kNoShare * size; };
    std::size_t longest = chains.size();
    for (std::size_t e = 0; e < chains.size(); ++e)
        if (takesPart(e) &&
            (longest == chains.size() || chains[e].size() > chains[longest].size()))
            longest = e;

    if (longest == chains.size()) {
        if (!T_.HasEigenvector(k, lambda, y.data(), /*byRows=*/true))
            return Outcome::kNoSolution;
        StoreColumn(k, y.data());
        return Outcome::kOrdinary;
    }

    // The rebased chain has entries down to row k − 1, whatever the indices of its members.
    const std::vector<int>& chain = chains[longest];
    std::vector<std::vector<double>> rebased;
    rebased.reserve(chain.size());
    for (const int member : chain)
        rebased.emplace_back(Y_.Column(member), Y_.Column(member) + k);
    for (std::size_t e = 0; e < chains.size(); ++e) {
        if (e == longest || !takesPart(e)) continue;
        const std::size_t head = chain.size() - chains[e].size();
        for (std::size_t i = 0; i < chains[e].size(); ++i)
            AddScaled(k, share[e] / share[longest], Y_.Column(chains[e][i]),
                      rebased[head + i].data());
    }
    for (double& component : y) component /= share[longest];

    const std::vector<double>& end = rebased.back();
    if (!Follows(k, y.data(), end.data())) return Outcome::kNoSolution;
    for (std::size_t i = 0; i < chain.size(); ++i)
        std::copy(rebased[i].begin(), rebased[i].end(), Y_.Column(chain[i]));
    StoreColumn(k, y.data());
    Link(k, chain.back());
    return Outcome::kGeneralized;
}

void ChainSolver::Link(int k, int end) {
    D_(k) = end;
    E_(k) = E_(end);
    T_(k, k) = E_(k).real();
}

void ChainSolver::StoreColumn(int k, const double* y) {
    double* const column = Y_.Column(k);
    std::fill(std::copy_n(y, k + 1, column), column + Y_.Order(), 0.0);
}

// Whether (T − λI)·y = rhs in the rows above k, where y ends in row k: each row in its own
// size, and with what rounding leaves unknown of it. A y that is large because a pivot was
// noise solves nothing.
bool ChainSolver::Follows(int k, const double* y, const double* rhs) const {
    const double lambda = E_(k).real();
    double residual = 0.0, size = 0.0;
    for (int i = 0; i < k; ++i) {
        const double row = (std::fabs(T_.Residual(i, k, lambda, y) - rhs[i]) +
                            kUnit * T_.ResidualTerms(i, k, lambda, y)) /
                           T_.RowNorm(i, k);
        if (!(row <= residual)) residual = row;  // a NaN stays
        size = std::max(size, std::fabs(rhs[i]) / T_.RowNorm(i, k));
    }
    return residual <= kLargeResidual * size;
}

}  // namespace ZEMRA::Vibration
