#include "tests/support/model_zoo.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace ZEMRA::Vibration::tests {
namespace {

/// Uniform between two numbers, or evenly in their logarithms.
class Chance {
  public:
    explicit Chance(unsigned seed) : generator_(seed) {}
    double Uniform(double low, double high) {
        return low + (high - low) * static_cast<double>(generator_() >> 1) / 0x1p31;
    }
    double Decades(double low, double high) {
        return std::pow(10.0, Uniform(std::log10(low), std::log10(high)));
    }
    Eigen::VectorXd Values(Eigen::Index n, double low, double high) {
        Eigen::VectorXd values(n);
        for (double& value : values) value = Decades(low, high);
        return values;
    }

  private:
    std::mt19937 generator_;
};

Eigen::MatrixXd Skew(Chance& chance, Eigen::Index n, double size) {
    Eigen::MatrixXd S = Eigen::MatrixXd::Zero(n, n);
    for (Eigen::Index i = 0; i < n; ++i)
        for (Eigen::Index j = 0; j < i; ++j) S(i, j) = chance.Uniform(-size, size);
    return S - S.transpose();
}

}  // namespace

std::vector<Mechanism> Mechanisms(unsigned seed, int largest) {
    using Eigen::MatrixXd;
    using Eigen::VectorXd;
    Chance chance(seed);
    const Eigen::Index n = 1 + static_cast<Eigen::Index>(chance.Uniform(0, largest));
    const VectorXd masses = chance.Values(n, 0.1, 100), springs = chance.Values(n, 1e2, 1e5);
    const MatrixXd M = masses.asDiagonal(), K = Links(springs), F = Ends(n),
                   none = MatrixXd::Zero(n, n);
    const auto dampers = [&](double low, double high) {
        return Links(chance.Values(n, low, high));
    };

    std::vector<Mechanism> all;
    const auto add = [&](const std::string& family, const MatrixXd& m, const MatrixXd& R,
                         const MatrixXd& k, const MatrixXd& f) {
        all.push_back({family, family + " " + std::to_string(seed), m, R, k, f});
    };
    add("damped chain", M, dampers(1, 100), K, F);
    add("lightly damped chain", M, 1e-7 * K + 1e-4 * M, K, F);
    add("undamped chain", M, none, K, F);
    add("overdamped chain", M, dampers(1e3, 1e5), K, F);
    // Springs and masses such that rounding spares the zero eigenvalues.
    VectorXd whole(n + 1), powers(n + 1);
    for (Eigen::Index i = 0; i <= n; ++i) {
        whole(i) = i == 0 ? 0 : std::floor(chance.Uniform(1, 1000));
        powers(i) = std::exp2(std::floor(chance.Uniform(-3, 8)));
    }
    const MatrixXd exact = Links(whole);
    add("free body", powers.asDiagonal(), 0x1p-9 * exact, exact, Ends(n + 1));
    VectorXd loose = springs;
    loose(0) = 0;
    add("rounded free body", M, 1e-4 * Links(loose), Links(loose), F);
    const double spin = chance.Decades(0.1, 100);
    add("rotor", M, dampers(1, 30) + spin * Skew(chance, n, 1), K, F);
    // The damping of a spinning shaft follows it: skew stiffness.
    add("circulatory", M, dampers(1, 30), K + Skew(chance, n, 10), F);
    const VectorXd mixed =
        VectorXd::NullaryExpr(n, [&] { return chance.Uniform(0, 1) < 0.5 ? 1.0 : 1e10; });
    add("stiff beside soft", M, 1e-6 * Links(mixed) + 1e-3 * M, Links(mixed), F);
    // Two of a kind: every frequency twice.
    MatrixXd twiceM = MatrixXd::Zero(2 * n, 2 * n), twiceK = twiceM;
    twiceM.topLeftCorner(n, n) = twiceM.bottomRightCorner(n, n) = M;
    twiceK.topLeftCorner(n, n) = twiceK.bottomRightCorner(n, n) = K;
    add("repeated frequencies", twiceM, 1e-4 * twiceK, twiceK, Ends(2 * n));
    const MatrixXd S = ToEigen(RandomMatrix<double>(static_cast<int>(n), static_cast<int>(n),
                                                    seed + 1000)),
                   T = ToEigen(RandomMatrix<double>(static_cast<int>(n), static_cast<int>(n),
                                                    seed + 2000)),
                   I = MatrixXd::Identity(n, n);
    const MatrixXd frameM = S * S.transpose() + 0.1 * I,
                   frameK = 1e4 * (T * T.transpose() + 0.1 * I);
    add("frame", frameM, 0.2 * frameM + 1e-4 * frameK, frameK, F);
    return all;
}

std::vector<std::pair<std::string, Model>> FirstOrderModels(unsigned seed, int largest) {
    using Eigen::MatrixXd;
    Chance chance(seed + 500);
    const int n = 1 + static_cast<int>(chance.Uniform(0, largest));
    const auto random = [&](int rows, int columns, unsigned k) {
        return ToEigen(RandomMatrix<double>(rows, columns, 10 * seed + k));
    };
    std::vector<std::pair<std::string, Model>> all;
    const auto add = [&](const std::string& family, const MatrixXd& A, const MatrixXd& B,
                         const MatrixXd& C, const MatrixXd& D) {
        all.push_back({family, {family + " " + std::to_string(seed), A, B, C, D}});
    };
    const MatrixXd dense =
        random(n, n, 1) - 1.5 * std::sqrt(n / 3.0) * MatrixXd::Identity(n, n);
    add("dense", dense, random(n, 3, 2), random(4, n, 3), random(4, 3, 4));
    // The same in other units for each state.
    MatrixXd units = MatrixXd::Zero(n, n);
    for (int i = 0; i < n; ++i) units(i, i) = chance.Decades(1e-6, 1e6);
    add("badly scaled", units.inverse() * dense * units, units.inverse() * random(n, 2, 5),
        random(2, n, 6) * units, random(2, 2, 7));
    // A filter in controller form; its vectors are those of Vandermonde.
    const int order = 2 + n % 8;
    MatrixXd A = MatrixXd::Zero(order, order);
    A.diagonal(1).setOnes();
    Eigen::VectorXd c = Eigen::VectorXd::Zero(order + 1);
    c(0) = 1;
    for (int i = 0; i < order; ++i) {
        const double pole = -chance.Decades(0.1, 30);
        for (int j = order; j >= 0; --j) c(j) = (j > 0 ? c(j - 1) : 0) - pole * c(j);
    }
    A.row(order - 1) = -c.head(order).transpose();
    add("filter", A, MatrixXd::Identity(order, order).rightCols(1), random(1, order, 8),
        random(1, 1, 9));
    // Two lags in series at one pole, which is a power of two: an exact chain of two.
    const double pole = -std::exp2(std::floor(chance.Uniform(-4, 6)));
    add("defective", MatrixXd{{pole, 1}, {0, pole}}, random(2, 2, 10), random(2, 2, 11),
        random(2, 2, 12));
    return all;
}

}  // namespace ZEMRA::Vibration::tests
