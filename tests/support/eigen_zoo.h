#pragma once

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/models.h"

namespace ZEMRA::Vibration::tests {

/// A matrix to solve for its eigenvalues.
struct EigenCase {
    std::string name;
    Matrix2D<double> A;
    bool isWellScaled = true;  // its residuals can be judged by its norm
};

inline void PrintTo(const EigenCase& one, std::ostream* out) { *out << one.name; }

namespace zoo {

using Dense = ::Eigen::MatrixXd;
using ::Eigen::Index;

/// Whole numbers from low to high; the same on every platform.
class Dice {
  public:
    explicit Dice(unsigned seed) : generator_(seed) {}
    int Roll(int low, int high) {
        return low + static_cast<int>(generator_() % static_cast<unsigned>(high - low + 1));
    }

  private:
    std::mt19937 generator_;
};

inline Dense Rows(std::initializer_list<std::initializer_list<double>> rows) {
    return ToEigen(FromRows(Table<double>(rows.begin(), rows.end())));
}

inline Dense BlockDiagonal(const std::vector<Dense>& blocks) {
    Index n = 0;
    for (const Dense& block : blocks) n += block.rows();
    Dense A = Dense::Zero(n, n);
    for (Index at = 0; const Dense& block : blocks) {
        A.block(at, at, block.rows(), block.rows()) = block;
        at += block.rows();
    }
    return A;
}

/// The states in another order.
inline Dense Permuted(const Dense& A, unsigned seed) {
    Dice dice(seed);
    const int n = static_cast<int>(A.rows());
    ::Eigen::PermutationMatrix<::Eigen::Dynamic> P(n);
    P.setIdentity();
    for (int i = n - 1; i > 0; --i) P.applyTranspositionOnTheRight(i, dice.Roll(0, i));
    return P * A * P.transpose();
}

/// S⁻¹·A·S for an S of whole numbers with determinant 1: exact for an A of small ones.
inline Dense Disguised(Dense A, unsigned seed) {
    Dice dice(seed);
    const int n = static_cast<int>(A.rows());
    for (int step = 0; step < 2 * n && n > 1; ++step) {
        const int i = dice.Roll(0, n - 1), j = (i + dice.Roll(1, n - 1)) % n;
        const double f = dice.Roll(0, 1) ? 1.0 : -1.0;
        A.row(i) += f * A.row(j);
        A.col(j) -= f * A.col(i);
    }
    return A;
}

inline Dense Jordan(double lambda, Index size) {
    Dense J = lambda * Dense::Identity(size, size);
    J.diagonal(1).setOnes();
    return J;
}

/// A chain of bodies that are joined to each other, and to walls on both sides when grounded.
inline Dense Mechanical(Index n, double stiffness, double damping, bool grounded = true) {
    ::Eigen::VectorXd springs = ::Eigen::VectorXd::Ones(n);
    springs(0) = 0;
    const Dense K = grounded ? BetweenWalls(n) : Links(springs);
    return FirstOrder(stiffness * K, damping * K);
}

/// q' = M⁻¹·p, p' = 0; the momenta first when they come first.
inline Dense FreeBodies(const std::vector<double>& masses, bool momentaFirst) {
    const Index n = static_cast<Index>(masses.size());
    Dense A = Dense::Zero(2 * n, 2 * n);
    for (Index i = 0; i < n; ++i)
        A(momentaFirst ? n + i : i, momentaFirst ? i : n + i) =
            1.0 / masses[static_cast<std::size_t>(i)];
    return A;
}

inline Dense Frank(Index n) {
    return Dense::NullaryExpr(n, n, [n](Index i, Index j) {
        return j < i - 1 ? 0.0 : static_cast<double>(n - std::max(i, j));
    });
}

inline Dense Grcar(Index n) {
    return Dense::NullaryExpr(n, n, [](Index i, Index j) {
        return j == i - 1 ? -1.0 : j >= i && j <= i + 3 ? 1.0 : 0.0;
    });
}

inline Dense Kahan(Index n, double angle) {
    return Dense::NullaryExpr(n, n, [angle](Index i, Index j) {
        const double s = std::pow(std::sin(angle), static_cast<double>(i));
        return j < i ? 0.0 : j == i ? s : -s * std::cos(angle);
    });
}

/// Of the monic polynomial with these roots.
inline Dense Companion(const std::vector<double>& roots) {
    const Index n = static_cast<Index>(roots.size());
    ::Eigen::VectorXd c = ::Eigen::VectorXd::Zero(n + 1);  // of the powers, ascending
    c(0) = 1.0;
    for (const double root : roots)
        for (Index i = n; i >= 0; --i) c(i) = (i > 0 ? c(i - 1) : 0.0) - root * c(i);
    Dense A = Dense::Zero(n, n);
    A.diagonal(-1).setOnes();
    A.col(n - 1) = -c.head(n);
    return A;
}

class Collector {
  public:
    std::vector<EigenCase> Take() { return std::move(cases_); }

    void Add(const std::string& name, const Dense& A, bool isWellScaled = true) {
        cases_.push_back({name + "_" + std::to_string(cases_.size()), ToCore(A), isWellScaled});
    }
    /// A, and A in other orders of the states.
    void AddOrders(const std::string& name, const Dense& A, unsigned orders = 4) {
        Add(name, A);
        for (unsigned seed = 1; seed <= orders; ++seed) Add(name, Permuted(A, seed));
    }
    /// A, and A in other bases of whole numbers.
    void AddDisguises(const std::string& name, const Dense& A) {
        AddOrders(name, A, 2);
        for (unsigned seed = 1; seed <= 4; ++seed) Add(name, Disguised(A, seed));
    }

  private:
    std::vector<EigenCase> cases_;
};

inline void AddDenseAndTriangular(Collector& zoo) {
    const auto random = [](int n, unsigned seed) {
        return ToEigen(RandomMatrix<double>(n, n, seed));
    };
    for (int n = 1; n <= 60; ++n) zoo.Add("Dense", random(n, static_cast<unsigned>(n)));
    for (const int n : {2, 7, 20}) {
        const Dense A = random(n, 70), upper = A.triangularView<::Eigen::Upper>();
        zoo.Add("UpperTriangular", upper);
        zoo.Add("LowerTriangular", upper.transpose());
        zoo.Add("Diagonal", A.diagonal().asDiagonal());
    }
    // Exact repetitions all over, with and without chains.
    for (unsigned seed = 0; seed < 40; ++seed) {
        Dice dice(seed);
        const int n = dice.Roll(2, 8);
        Dense T = Dense::Zero(n, n);
        for (int i = 0; i < n; ++i) {
            T(i, i) = dice.Roll(0, 1);
            for (int j = i + 1; j < n; ++j) T(i, j) = dice.Roll(-2, 2) * dice.Roll(0, 1);
        }
        zoo.Add("ZeroOneTriangle", T);
        zoo.Add("ZeroOneTriangle", Permuted(T, seed));
        if (n <= 6) zoo.Add("ZeroOneTriangle", Disguised(T, seed));
    }
}

inline void AddMechanical(Collector& zoo) {
    for (const Index n : {1, 2, 5, 16})
        for (const double damping : {0.0, 0.01, 4.0})
            zoo.AddOrders("Mechanical", Mechanical(n, 1.0, damping), 1);
    for (const Index n : {1, 2, 3, 6}) {
        zoo.AddOrders("FloatingChain", Mechanical(n, 1.0, 0.0, false));
        zoo.AddOrders("FloatingChain", Mechanical(n, 3.0, 0.1, false));
        zoo.AddOrders("DashpotsOnly", Mechanical(n, 0.0, 1.0, false));
        zoo.AddOrders("DashpotsOnly", Mechanical(n, 0.0, 0.3, true));
    }
    const std::vector<double> some{1.0, 2.0, 0.3, 7.0, 0.01, 150.0};
    for (std::size_t bodies = 1; bodies <= some.size(); ++bodies) {
        const std::vector<double> masses(some.begin(),
                                         some.begin() + static_cast<long>(bodies));
        const Dense free = FreeBodies(masses, false);
        zoo.AddOrders("FreeBodies", FreeBodies(std::vector<double>(bodies, 1.0), false));
        zoo.AddOrders("FreeBodies", free, 6);
        zoo.AddOrders("FreeBodies", FreeBodies(masses, true));

        // Elastic modes beside the bodies, driving them, and driven by them.
        const Dense elastic = Mechanical(2, 5.0, 0.02);
        Dense A = BlockDiagonal({free, elastic});
        zoo.AddOrders("FreeBeside", A);
        for (Index i = 0; i < static_cast<Index>(bodies); ++i) {
            A(static_cast<Index>(bodies) + i, free.rows() + i % 2) = 5.0 + double(i);
            A(static_cast<Index>(bodies) + i, free.rows() + 2) = 0.02;
        }
        zoo.AddOrders("FreeDriven", A);
        zoo.AddOrders("FreeDriving", A.transpose());
    }
    zoo.AddOrders("LagAtThePole", Rows({{-1, 1, 0}, {0, 0, 1}, {0, -2, -3}}));
    zoo.AddOrders("LagAtThePole",
                  Rows({{-2, 1, 0, 0}, {0, -2, 1, 0}, {0, 0, 0, 1}, {0, 0, -6, -5}}));
}

inline void AddDefective(Collector& zoo) {
    for (const double lambda : {0.0, 1.0, -2.0}) {
        for (const Index size : {2, 3, 4}) zoo.AddDisguises("Jordan", Jordan(lambda, size));
        zoo.AddDisguises("JordanPair", BlockDiagonal({Jordan(lambda, 2), Jordan(lambda, 2)}));
        zoo.AddDisguises("JordanUneven", BlockDiagonal({Jordan(lambda, 3), Jordan(lambda, 1),
                                                        Jordan(lambda, 2)}));
        zoo.AddDisguises("JordanBeside", BlockDiagonal({Jordan(lambda, 2), Jordan(3.0, 2),
                                                        Rows({{0, -1}, {1, 0}})}));
    }
    // Rounding keeps a subdiagonal element just above what is negligible.
    zoo.Add("Stalling", Rows({{7, -8, 3, 6}, {3, -3, 1, 3}, {4, -4, 1, 4}, {-6, 8, -3, -5}}));
    // Components that grow by 1e8 a row would overflow.
    Dense growing = Jordan(0.0, 60);
    for (Index i = 0; i < 60; ++i) growing(i, i) = 1e-8 * static_cast<double>(i);
    zoo.Add("Growing", growing);
    // Two chains whose ends combine: (T − λI)·y meets both heads, of unequal length.
    zoo.Add("CombinedHeads", Rows({{0, 0, 1}, {0, 0, 1}, {0, 0, 0}}));
    zoo.Add("CombinedChains", Rows({{0, 1, 0, 2}, {0, 0, 0, 3}, {0, 0, 0, 5}, {0, 0, 0, 0}}));
    // The same with one chain in a block that balancing scales, and with everything isolated.
    zoo.Add("CombinedAcross",
            Rows({{0, 0, 0, 1}, {0, 1, -0x1p12, 0x1p12}, {0, -0x1p-12, 1, 1}, {0, 0, 0, 0}}));
    zoo.Add("Isolated", Rows({{0, 0, 0}, {0, 0, 0}, {3, 2, 0}}));
    // Pairs of complex Jordan blocks, which get nearly dependent ordinary vectors.
    zoo.Add("ComplexJordan",
            Rows({{0, 4, -3, 2}, {2, 4, -4, 3}, {3, 6, -6, 4}, {0, -3, 2, -2}}));
    const Dense J = Rows({{0, -1, 1, 0}, {1, 0, 0, 1}, {0, 0, 0, -1}, {0, 0, 1, 0}});
    zoo.AddDisguises("ComplexJordan", J);
    // Real vectors that meet a singular 2 x 2 block on the way up.
    zoo.Add("NearlySingular", Rows({{0, -1, 1, -1, 0},
                                    {2, -2, 0, 0, 2},
                                    {7, -7, 0, 0, 7},
                                    {5, -5, 0, 0, 5},
                                    {3, -2, -1, 1, 3}}));
    zoo.Add("NearlySingular", Rows({{-16, -4, 5, 3, 3},
                                    {21, 5, -7, -4, -4},
                                    {-3, 0, 0, 1, 1},
                                    {-21, -6, 7, 3, 4},
                                    {-21, -6, 7, 4, 3}}));
}

inline void AddClassics(Collector& zoo) {
    for (const Index n : {4, 8, 12}) zoo.Add("Frank", Frank(n));
    for (const Index n : {10, 30, 60}) zoo.Add("Grcar", Grcar(n));
    for (const Index n : {6, 20, 40}) zoo.Add("Kahan", Kahan(n, 1.2));
    std::vector<double> roots(12);
    std::iota(roots.begin(), roots.end(), 1.0);
    zoo.Add("Companion", Companion(roots), false);
    zoo.Add("Companion", Companion({1, 1, 1, 1}));
    zoo.Add("Companion", Companion({-1e-3, 1e-2, 0.1, 1, 10, 100, 1000}), false);
    Dense cyclic = Dense::Zero(12, 12);  // the twelfth roots of 1
    cyclic.diagonal(-1).setOnes();
    cyclic(0, 11) = 1.0;
    zoo.AddOrders("Cyclic", cyclic);
}

inline void AddBadlyScaled(Collector& zoo) {
    const auto powers = [](Index n, unsigned seed) {
        Dice dice(seed);
        return ::Eigen::VectorXd(::Eigen::VectorXd::NullaryExpr(
            n, [&](Index) { return std::pow(10.0, dice.Roll(-12, 12)); }));
    };
    for (unsigned seed = 1; seed <= 6; ++seed)
        for (const Dense& A : {ToEigen(RandomMatrix<double>(12, 12, seed)), Grcar(20),
                               Mechanical(6, 1.0, 0.1), Mechanical(3, 2.0, 0.0, false)}) {
            const Dense d = powers(A.rows(), seed).asDiagonal(),
                        e = powers(A.rows(), seed + 50).asDiagonal();
            zoo.Add("ScaledRows", d * A, false);
            zoo.Add("ScaledColumns", A * e, false);
            zoo.Add("ScaledBoth", d * A * e, false);
            zoo.Add("ScaledSimilar", d * A * d.inverse(), false);
        }
}

}  // namespace zoo

/// The matrices that an eigen solver has to get right: some 700, from 1 × 1 to 60 × 60, with
/// the rigid bodies, repeated eigenvalues and scalings that models bring along.
inline std::vector<EigenCase> EigenZoo() {
    zoo::Collector zoo;
    zoo::AddDenseAndTriangular(zoo);
    zoo::AddMechanical(zoo);
    zoo::AddDefective(zoo);
    zoo::AddClassics(zoo);
    zoo::AddBadlyScaled(zoo);
    return zoo.Take();
}

}  // namespace ZEMRA::Vibration::tests
